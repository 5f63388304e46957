"""Runs what the documents say, as written:

documents_test.py BUILD MUSIC PAGE...

Each block ```sh of a page runs in one shell for the page, in a folder that holds
what its reader would have: music in ~/Music, a recording of it, a broadcast. A
block that fails, or a line whose "# prints TEXT" isn't in its output, fails the test.
Exit code 77 without music.
"""

import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
TRACKS = {"Album A": ["track1", "track4", "track5", "track9"],
          "Album B": ["track16", "track20", "track22", "track26"]}
# Stands in for the recorder of the sound card: it plays what was heard, at once.
ARECORD = """#!/bin/sh
exec sox "$HEARD/heard.wav" -r 16000 -c 1 -b 16 -e signed -t raw -
"""


def sox(*arguments):
    subprocess.run(["sox", "-R", *map(str, arguments)], check=True, stderr=subprocess.DEVNULL)


def prepare(folder, build, music):
    """What the reader has; returns the environment of the shell."""
    home = folder / "home"
    for album, tracks in TRACKS.items():
        (home / "Music" / album).mkdir(parents=True)
        for track in tracks:
            os.symlink(music / f"{track}.ogg", home / "Music" / album / f"{track}.ogg")
    sox(music / "track4.ogg", "-r", 16000, "-c", 1, folder / "heard.wav", "trim", 20, 10)
    sox(music / "track2.ogg", folder / "unknown.wav", "trim", 20, 10)
    parts = []
    for track, start, seconds in (("track5", 0, 40), ("track2", 30, 25), ("track20", 0, 60)):
        part = folder / f"{track}.part.wav"
        sox(music / f"{track}.ogg", "-c", 1, part, "trim", start, seconds)
        parts.append(part)
    sox(*parts, folder / "broadcast.ogg")
    for part in parts:
        part.unlink()
    os.symlink(EXAMPLES, folder / "examples")
    os.symlink(EXAMPLES.parent / "scripts", folder / "scripts")
    (folder / "build").mkdir()
    os.symlink(build, folder / "build/release")
    programs = folder / "bin"
    programs.mkdir()
    (programs / "arecord").write_text(ARECORD)
    (programs / "arecord").chmod(0o755)
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    return {**os.environ, "PORT": str(port), "HOME": str(home), "HEARD": str(folder), "BUILD": str(build),
            "PATH": f"{programs}:{build}:{os.environ['PATH']}"}


def script_of(page):
    """The page's blocks as one script, and what it must print."""
    text = pathlib.Path(page).read_text()
    blocks = re.findall(r"^```sh\n(.*?)^```", text, re.S | re.M)
    script = "\n".join(blocks)
    return script, re.findall(r"# prints (.*)$", script, re.M)


def run_page(page, build, music):
    script, expected = script_of(page)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        environment = prepare(folder, build, music)
        done = subprocess.run(["bash", "-euo", "pipefail", "-c", script], cwd=folder,
                              env=environment, stdin=subprocess.DEVNULL, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=240)
    missing = [text for text in expected if text not in done.stdout]
    if done.returncode == 0 and not missing and script:
        return True
    print(f"{page}: exit code {done.returncode}, missing {missing}\n{done.stdout}")
    return False


def main():
    build, music = (pathlib.Path(path).resolve() for path in sys.argv[1:3])
    if not (music / "track1.ogg").exists():
        sys.exit(77)
    results = [run_page(page, build, music) for page in sys.argv[3:]]
    sys.exit(0 if all(results) else 1)


main()
