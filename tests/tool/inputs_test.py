"""Files of every kind, good and bad, as the tool takes them: inputs_test.py AUDIOMATCH"""

import json
import os
import pathlib
import random
import shutil
import subprocess
import tempfile
import unittest

from tool_runner import TOOL, noise, run, run_json, write_wav

RATE = 44100


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], check=True)


def write_script(path, text):
    pathlib.Path(path).write_text("#!/bin/sh\n" + text)
    os.chmod(path, 0o755)


def ogg_checksum(page):
    """CRC-32 of polynomial 0x04C11DB7, neither reflected nor inverted."""
    value = 0
    for byte in page:
        value ^= byte << 24
        for _ in range(8):
            value = (value << 1 ^ (0x04C11DB7 if value & 1 << 31 else 0)) & 0xFFFFFFFF
    return value


class InputsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        # Noise of 8000 Hz: what has to be recognised at every rate lies below 4000 Hz.
        write_wav("low.wav", noise("reference", 20))
        ffmpeg("-i", "low.wav", "-ar", str(RATE), "reference.wav")
        ffmpeg("-ss", "5", "-t", "10", "-i", "reference.wav", "heard.wav")
        self.assertEqual(run("index", "db", "reference.wav")[0], 0)

    def assert_recognised(self, *files, code=0, messages="", **options):
        found, answers, said = run_json("match", "db", "--", *files, **options)
        self.assertEqual([answer["name"] for answer in answers], ["reference"] * len(files))
        self.assertEqual(found, code, said)
        self.assertRegex(said, f"^{messages}$" if messages == "" else messages)
        return said

    def damage(self, path, start=0.5, size=3000):
        """Overwrites some bytes by others, which aren't those of a frame's header."""
        data = bytearray(pathlib.Path(path).read_bytes())
        first = int(len(data) * start)
        data[first : first + size] = random.Random(1).randbytes(size).replace(b"\xff", b"\xfe")
        pathlib.Path(path).write_bytes(data)

    def test_formats_of_ffmpeg(self):
        picture = ("-f", "lavfi", "-i", "testsrc=d=10:s=64x64:r=5")
        ffmpeg("-i", "heard.wav", "a.m4a")
        ffmpeg("-i", "heard.wav", "-c:a", "alac", "lossless.m4a")
        ffmpeg("-i", "heard.wav", "a.wma")
        ffmpeg(*picture, "-i", "heard.wav", "-c:v", "mpeg4", "-c:a", "aac", "a.mp4")
        ffmpeg("-i", "a.mp4", "-c", "copy", "a.mkv")
        ffmpeg(*picture, "-c:v", "mpeg4", "mute.mp4")
        names = ["a.m4a", "lossless.m4a", "a.wma", "a.mp4", "a.mkv"]
        self.assert_recognised(*names)
        # Of the same samples, the same features.
        features = [run("features", file)[1] for file in ("heard.wav", "lossless.m4a")]
        self.assertEqual(features[0], features[1])
        code, _, messages = run("features", "mute.mp4")
        self.assertEqual((code, messages),
                         (3, "audiomatch: mute.mp4: not audio: ffmpeg finds no sound in it\n"))
        # No name is an option, an address or a pattern.
        odd = [b"-i.m4a", b"a:b.m4a", b"%03d.m4a", b"two\nlines.m4a", b"l\xe4rm.m4a", b"pipe:0"]
        for name in odd:
            shutil.copy("a.m4a", name)
        self.assert_recognised(*odd)
        code, _, messages = run("features", "a.m4a", env={"PATH": "/nowhere"})
        self.assertEqual(code, 3)
        self.assertRegex(messages, "a.m4a: .*; install ffmpeg to read M4A, WMA and video")

    def test_ffmpeg_that_ends_early(self):
        ffmpeg("-i", "heard.wav", "a.m4a")
        os.mkdir("bin")
        real = shutil.which("ffmpeg")
        write_script("bin/ffmpeg", f'{real} "$@" 2>/dev/null | head -c 1000000\nkill -9 $$\n')
        path = {"PATH": os.path.abspath("bin") + ":" + os.environ["PATH"]}
        # A second has 44100 floats.
        self.assert_recognised("a.m4a", env=path, code=4,
                               messages="a.m4a: damaged at 5.7 s: ffmpeg was ended by signal 9; ")
        self.assertEqual(run("match", "db", "--strict", "a.m4a", env=path)[0], 3)
        write_script("bin/ffmpeg", "echo no such codec >&2\nexit 1\n")
        code, _, messages = run("match", "db", "a.m4a", env=path)
        self.assertEqual(code, 3)
        self.assertIn("a.m4a: not audio that can be read: ffmpeg: no such codec", messages)

    def test_folder_of_anything(self):
        os.mkdir("music")
        shutil.copy("heard.wav", "music/good.wav")
        ffmpeg("-i", "heard.wav", "music/a.mp3")
        os.rename("music/a.mp3", "music/mislabelled.wav")
        pathlib.Path("music/cut.wav").write_bytes(pathlib.Path("heard.wav").read_bytes()[:500000])
        pathlib.Path("music/empty.wav").touch()
        pathlib.Path("music/empty.m4a").touch()
        pathlib.Path("music/notes.txt").write_text("no music")
        pathlib.Path("music/list.m3u8").write_text("#EXTM3U\n/etc/passwd\n")
        ffmpeg("-f", "lavfi", "-i", "testsrc=s=64x64", "-frames:v", "1", "music/cover.jpg")
        ffmpeg("-f", "lavfi", "-i", "testsrc=s=64x64", "-frames:v", "1", "music/cover.png")
        # Nothing of it is worth a try of ffmpeg.
        os.mkdir("bin")
        for program in ("ffmpeg", "ffprobe"):
            write_script(f"bin/{program}", "echo >>started\n")
        path = {"PATH": os.path.abspath("bin")}
        code, (*files, summary), messages = run_json("index", "new.db", "music", "--keep-duplicates",
                                                  env=path)
        self.assertEqual([file["name"] for file in files], ["cut", "good", "mislabelled"])
        self.assertEqual((code, summary["skipped"]), (4, 6))
        lines = messages.splitlines()
        self.assertEqual(len(lines), 7)
        for name in ("cover.jpg", "cover.png", "empty.m4a", "empty.wav", "list.m3u8",
                     "notes.txt"):
            self.assertEqual(sum(f"music/{name}: skipped: not audio" in line for line in lines), 1)
        self.assertRegex(messages, "music/cut.wav: damaged at 5.7 s: .* promises 10.0 s")
        self.assertFalse(os.path.exists("started"))

    def test_mpeg_audio_is_read_behind_what_passes_for_frames(self):
        ffmpeg("-i", "heard.wav", "-ac", "2", "-ar", "44100", "-write_xing", "0", "whole.mp3")
        whole = pathlib.Path("whole.mp3").read_bytes()
        # Random bytes begin as frames of any rate and layer do.
        for seed in range(5):
            middle = len(whole) // 2
            junk = random.Random(seed).randbytes(len(whole) // 8)
            pathlib.Path("a.mp3").write_bytes(whole[:middle] + junk + whole[middle + len(junk):])
            seconds = []
            for exact in ([], ["--exact"]):
                # Of some damage libmpg123 writes a line of its own among the messages.
                code, rows, _ = run("index", "new.db", "a.mp3", "--replace", "--json", *exact)
                self.assertEqual(code, 4)
                seconds.append(json.loads(rows.splitlines()[0])["seconds"])
            self.assertAlmostEqual(*seconds, delta=0.01)
        # Layer II, in one channel only.
        ffmpeg("-i", "heard.wav", "-ar", "44100", "-af", "pan=stereo|c1=c0", "right.mp2")
        ffmpeg("-i", "heard.wav", "-ar", "44100", "-af", "pan=stereo|c1=c0", "right.mp3")
        self.assert_recognised("right.mp2", "right.mp3")

    def test_damage_is_treated_alike(self):
        ffmpeg("-i", "heard.wav", "a.mp3")
        ffmpeg("-i", "heard.wav", "a.flac")
        ffmpeg("-i", "a.mp3", "-c", "copy", "mp3.wav")
        for file in ("a.mp3", "a.flac", "mp3.wav"):
            self.damage(file)
            commands = (("match", "db", file), ("index", "new.db", file, "--replace"),
                        ("features", file),
                        ("features", file, "--picture", "p.png"), ("stream", "--id", "1", file))
            for command in commands:
                code, _, messages = run(*command)
                self.assertEqual(code, 4, command)
                # Nothing but the tool's own line.
                self.assertRegex(messages, rf"^audiomatch: {file}: damaged at [45]\.\d s: .* "
                                           r"\(--strict refuses it\)\n$")
                code, _, messages = run(*command, "--strict")
                self.assertEqual(code, 3, command)
                self.assertRegex(messages, f"{file}: damaged at")
            self.assert_channel_left_out(file)
        # What has no match is better than what was left out, what can't be read is worse.
        write_wav("other.wav", noise("other", 0.5))
        self.assertEqual(run("match", "db", "other.wav", "a.flac")[0], 4)
        self.assertEqual(run("match", "db", "a.flac", "missing.wav")[0], 3)
        pathlib.Path("ruin.flac").write_bytes(pathlib.Path("a.flac").read_bytes()[:9000])
        self.damage("ruin.flac", 8400 / 9000, 600)
        self.assertEqual(run("index", "ruin.db", "ruin.flac")[0], 3)

    def test_ogg_through_a_pipe(self):
        ffmpeg("-i", "heard.wav", "-c:a", "libvorbis", "a.ogg")
        whole = pathlib.Path("a.ogg").read_bytes()
        middle = len(whole) // 2
        for bytes_, problem in ((whole, ""), (whole[:middle], "without the mark of an end"),
                                (whole[:middle] + whole[middle + 9000:], "pages are missing")):
            code, output, messages = run("match", "db", "-", stdin=bytes_)
            self.assertEqual((code, "reference" in output), (4 if problem else 0, True))
            self.assertIn(problem, messages)
            self.assertEqual(run("match", "db", "-", "--strict", stdin=bytes_)[0],
                             3 if problem else 0)

    def assert_channel_left_out(self, file):
        """What is damaged is left out of a channel and of a question, too."""
        for options, expected in (((), (4, 1)), (("--strict",), (3, 0))):
            channels = subprocess.Popen(
                [TOOL, "channels", *options, "--speed", "1000", f"radio={file}"], text=True,
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            while "damaged at" not in (message := channels.stderr.readline()):
                self.assertNotEqual(message, "")
            output, messages = channels.communicate(file + "\n")
            self.assertEqual((channels.returncode, output.count("\n")), expected)
            self.assertIn(f"{file}: damaged at", messages)

    def test_opus_whose_times_are_off(self):
        ffmpeg("-i", "heard.wav", "-c:a", "libopus", "a.opus")
        data = bytearray(pathlib.Path("a.opus").read_bytes())
        starts = [i for i in range(len(data)) if data[i : i + 4] == b"OggS"]
        self.assertGreater(len(starts), 6)
        # A page in the middle ends ten samples before its packets do.
        start, end = starts[5], starts[6]
        time = int.from_bytes(data[start + 6 : start + 14], "little") - 10
        data[start + 6 : start + 14] = time.to_bytes(8, "little")
        data[start + 22 : start + 26] = bytes(4)
        data[start + 22 : start + 26] = ogg_checksum(data[start:end]).to_bytes(4, "little")
        pathlib.Path("a.opus").write_bytes(data)
        self.assert_recognised("a.opus")
        code, (file, _), messages = run_json("index", "new.db", "a.opus")
        self.assertEqual((code, messages), (0, ""))
        self.assertAlmostEqual(file["seconds"], 10.0, places=2)

    def test_high_rates(self):
        for rate in (96000, 192000):
            ffmpeg("-i", "heard.wav", "-ar", str(rate), f"{rate}.wav")
            ffmpeg("-i", "reference.wav", "-ar", str(rate), f"whole{rate}.wav")
        self.assert_recognised("96000.wav", "192000.wav")
        code, files, _ = run_json("index", "high.db", "whole96000.wav", "whole192000.wav",
                                  "--keep-duplicates")
        self.assertEqual((code, [file["seconds"] for file in files[:2]]), (0, [20.0, 20.0]))
        self.assertRegex(run_json("match", "high.db", "heard.wav")[1][0]["name"], "^whole")
        # Either way of resampling finds what the other made.
        self.assertEqual(run("index", "exact.db", "whole96000.wav", "--exact")[0], 0)
        for database, exact in (("exact.db", []), ("high.db", ["--exact"])):
            code, rows, _ = run_json("match", database, "192000.wav", *exact)
            self.assertEqual((code, rows[0]["recognised"]), (0, True))
        write_wav("slow.wav", noise("slow", 5), rate=799)
        code, _, messages = run("features", "slow.wav")
        self.assertEqual(code, 3)
        self.assertIn("slow.wav: its sample rate of 799 Hz is outside 800 to 768000 Hz", messages)


if __name__ == "__main__":
    unittest.main()
