"""The recordings of measurements: music of games and telephone prompts, from Debian's packages."""
import pathlib, random, subprocess, sys, wave

work = pathlib.Path(__file__).resolve().parent.parent / "build/rates-music"
music = ["drascula-music", "planetblupi-music-ogg", "lincity-ng-data", "asc-music", "hedgewars-data",
         "warmux-data", "extremetuxracer-data", "freedroidrpg-data", "naev-data", "widelands-data"]
languages = ("en", "es", "fr", "it", "ru")

# Recordings that agree with each other far beyond chance, so that one isn't a stranger to the
# other. The last group is doubtful; docs/recognition.md has the rates with it, too.
shared = [
    {"widelands/menu", "widelands/ingame_14"},
    {"warmux/Olivier_Militon.-.Apnee", "warmux/Olivier_Militon.-.Apnee2"},
    {"naev/ambient2", "naev/ambient2_5"},
    {"drascula/track1", "drascula/track30"},
    {"freedroidrpg/HellFortressEntrance", "freedroidrpg/HellFortressTwo"},
    {"freedroidrpg/AmbientBattle", "freedroidrpg/TechBattle"},
    {"planetblupi/music000", "planetblupi/music001", "planetblupi/music002", "planetblupi/music003"},
]

# Of other games than the rest, as pieces of one game may share sounds.
strange = ("freedroidrpg", "warmux", "lincity", "extremetuxracer", "asc")


def in_half(half, name):
    """Divides music for good, whatever else there is: tune, check or all."""
    return half == "all" or (random.Random(name).random() < 0.5) == (half == "tune")


def seconds(path):
    return float(subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path],
                                capture_output=True, text=True, check=True).stdout)


def fetch(package):
    """The folder with a package's files."""
    folder = work / package
    if not (folder / "complete").exists():
        print("fetching", package, file=sys.stderr)
        folder.mkdir(parents=True, exist_ok=True)
        subprocess.run(["apt-get", "download", "-qq", package], cwd=folder, check=True)
        deb, = folder.glob("*.deb")
        subprocess.run(["dpkg", "-x", deb, folder], check=True)
        deb.unlink()
        (folder / "complete").touch()
    return folder


def tracks(package):
    """A package's sound files: music, and effects that last seconds."""
    for path in sorted(fetch(package).rglob("*")):
        if path.suffix in (".ogg", ".mp3") and path.is_file() and not path.is_symlink():
            yield path


def musical(packages=music, repeats=True):
    """Names and files of music; without `repeats` what sounds like another is left out."""
    left_out = set() if repeats else {name for group in shared for name in sorted(group)[1:]}
    for package in packages:
        for path in tracks(package):
            name = f"{package.split('-')[0]}/{path.stem}"
            if name not in left_out:
                yield name, path


def spoken(language, pieces):
    """A voice's prompts in random order, dealt to so many recordings."""
    package = f"asterisk-core-sounds-{language}-wav"
    prompts = sorted(path for path in fetch(package).rglob("*.wav")
                     if path.parent.name != "silence" and not path.is_symlink())
    random.Random(1).shuffle(prompts)
    recordings = []
    for piece in range(pieces):
        recordings.append(work / f"{package}-{piece}-of-{pieces}.wav")
        with wave.open(str(recordings[-1]), "wb") as out:
            out.setparams((1, 2, 8000, 0, "NONE", None))
            for prompt in prompts[piece::pieces]:
                with wave.open(str(prompt)) as one:
                    out.writeframes(one.readframes(one.getnframes()))
    return recordings
