"""What match and channels say of known and unknown sound: recognition_test.py AUDIOMATCH"""

import array
import json
import os
import subprocess
import tempfile
import time
import unittest

from tool_runner import RATE, TOOL, noise, run, run_json, write_wav

MIX = [("silence", 0, 4), ("one", 3, 15), ("stranger", 0, 13), ("two", 0, 20), ("one", 0, 12),
       ("silence", 0, 6)]


def piece(recordings, name, start, seconds):
    if name == "silence":
        return array.array("h", bytes(2 * RATE * seconds))
    return recordings[name][start * RATE : (start + seconds) * RATE]


class RecognitionTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        self.recordings = {name: noise(name, 20) for name in ("one", "two", "three", "stranger")}
        os.mkdir("music")
        for name in ("one", "two", "three"):
            write_wav(f"music/{name}.wav", self.recordings[name])
        run("index", "db", "music")
        self.mix = array.array("h")
        for part in MIX:
            self.mix.extend(piece(self.recordings, *part))

    def assertHeard(self, rows):
        """The rows of the mix: what, from and to, and where in it that began."""
        self.assertEqual([(row["kind"], row["name"]) for row in rows if row["kind"] != "unknown"],
                         [(("recognised", name) if name != "silence" else ("silence", ""))
                          for name, _, _ in MIX if name != "stranger"])
        at = 0
        for row, (name, start, seconds) in zip(rows, MIX):
            self.assertEqual(row["recognised"], name not in ("silence", "stranger"))
            self.assertAlmostEqual(row["from"], at, delta=0.6, msg=name)
            self.assertAlmostEqual(row["to"], at + seconds, delta=1.0, msg=name)
            if row["recognised"]:
                self.assertAlmostEqual(row["position"] - row["from"], start - at, delta=0.1)
            at += seconds

    def test_a_mix_is_taken_apart(self):
        write_wav("mix.wav", self.mix)
        code, rows, messages = run_json("match", "db", "mix.wav", "--jobs", "2")
        self.assertEqual((code, messages, len(rows)), (0, "", len(MIX)))
        self.assertHeard(rows)
        self.assertEqual(run_json("match", "db", "mix.wav", "--jobs", "1")[1], rows)
        # Short ones on request; and one answer for a long one.
        write_wav("short.wav", piece(self.recordings, "two", 5, 10))
        whole, short = run_json("match", "db", "--whole", "mix.wav", "short.wav")[1]
        self.assertEqual((whole["to"], short["name"], short["features"] > 0), (70.0, "two", True))
        rows = run_json("match", "db", "--timeline", "short.wav")[1]
        self.assertEqual([(row["name"], row["features"]) for row in rows], [("two", None)])
        # Nothing that is known in it.
        write_wav("stranger.wav", self.recordings["stranger"])
        code, rows, _ = run_json("match", "db", "--timeline", "stranger.wav")
        self.assertEqual((code, [row["kind"] for row in rows]), (1, ["unknown"]))

    def test_standard_input_is_followed(self):
        raw = ("--rate", str(RATE), "--channels", "1", "--format", "s16le")
        code, rows, _ = run_json("match", "db", "-", *raw, stdin=self.mix.tobytes())
        self.assertEqual(code, 0)
        self.assertHeard([row for row in rows if row["event"] == "heard"])
        changes = [row for row in rows if row["event"] == "now"]
        self.assertEqual([row["name"] for row in changes if row["recognised"]],
                         ["one", "two", "one"])
        # Raw samples of a studio's rate, each twelve times, and none.
        fast = array.array("h", (sample for sample in piece(self.recordings, "one", 0, 8)
                                 for _ in range(12)))
        code, rows, _ = run_json("match", "db", "-", "--rate", "96000", stdin=fast.tobytes())
        self.assertEqual((code, rows[-1]["name"]), (0, "one"))
        self.assertEqual(run("match", "db", "-", *raw)[0], 3)
        # What follows a silence begins behind it.
        sound = sum((piece(self.recordings, *part) for part in
                     (("one", 0, 12), ("silence", 0, 6), ("stranger", 0, 15))), array.array("h"))
        unknown = [row for row in run_json("match", "db", "-", *raw, stdin=sound.tobytes())[1]
                   if (row["event"], row["kind"]) == ("now", "unknown")]
        self.assertAlmostEqual(unknown[-1]["from"], 18, delta=0.6)
        # A change is printed while the input is still open.
        process = subprocess.Popen([TOOL, "match", "db", "-", *raw], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        with process:
            process.stdin.write(piece(self.recordings, "one", 2, 11).tobytes())
            process.stdin.flush()
            self.assertRegex(process.stdout.readline(), rb"^0:00\.\d  one, from 0:0[12]\.\d on")
        self.assertEqual(process.returncode, 0)

    def test_the_verdict(self):
        write_wav("two.wav", piece(self.recordings, "two", 4, 10))
        code, (row,), _ = run_json("match", "db", "two.wav", "--explain")
        self.assertEqual((code, row["recognised"], row["agreeing"]),
                         (0, True, row["candidates"][0]["agreeing"]))
        self.assertEqual(row["candidates"][0]["name"], "two")
        for end in ("\n", "\0"):
            listed = run_json("match", "db", "--list", "-", *(["-0"] if end == "\0" else []),
                              stdin=f"two.wav{end}".encode())
            self.assertEqual((listed[0], [one["name"] for one in listed[1]]), (0, ["two"]))
        self.assertEqual(run("match", "db")[0], 2)
        self.assertEqual(run("match", "db", "two.wav", "--window", "nan")[0], 2)
        # A thousand features bring one more by chance.
        agreeing = str(row["agreeing"] - row["features"] // 1000)
        self.assertEqual(run("match", "db", "two.wav", "--min-agreeing", agreeing)[0], 0)
        self.assertEqual(run("match", "db", "two.wav", "--min-agreeing", agreeing + "0")[0], 1)
        # Plenty of agreement needs no lead over another name.
        self.assertLess(row["name_discrimination"], 1)
        self.assertEqual(run("match", "db", "two.wav", "--min-discrimination", "1")[0], 0)
        self.assertEqual(run("match", "db", "two.wav", "--min-discrimination", "1",
                             "--min-agreeing", agreeing)[0], 1)

    def test_fingerprints_are_as_good_as_their_recordings(self):
        write_wav("two.wav", piece(self.recordings, "two", 4, 10))
        for form in ("--json", "--csv", "--base64"):
            with open(form[2:], "w") as file:
                file.write(run("features", "two.wav", form)[1])
        run("features", "two.wav", "--binary", "binary")
        files = ["two.wav", "json", "csv", "base64", "binary"]
        code, rows, messages = run_json("match", "db", *files)
        self.assertEqual((code, messages), (0, ""))
        for row in rows[1:]:
            for key in ("name", "hits", "features", "agreeing", "discrimination", "position"):
                self.assertEqual(row[key], rows[0][key], row["file"])

    def test_channels_end_without_standard_input(self):
        write_wav("long.wav", self.mix)
        self.assertEqual(run("channels", "long.wav", stdin=None, preexec_fn=lambda: os.close(0))[0], 3)

    def test_channels(self):
        for name in ("one", "two"):
            os.mkfifo(name)
        channels = subprocess.Popen([TOOL, "channels", "--json", "--format", "s16le", "--rate",
                                     str(RATE), "one", "second=two"], stdin=subprocess.PIPE,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        write_wav("heard.wav", piece(self.recordings, "two", 6, 6))
        write_wav("unheard.wav", piece(self.recordings, "three", 6, 6))
        with channels, open("one", "wb") as one, open("two", "wb") as two:
            one.write(piece(self.recordings, "one", 0, 16).tobytes())
            two.write(piece(self.recordings, "two", 0, 16).tobytes())
            one.flush(), two.flush()
            for _ in range(2):
                self.assertIn(b"on air", channels.stderr.readline())
            answer = {"name": ""}
            deadline = time.monotonic() + 30
            while not answer.get("recognised") and time.monotonic() < deadline:
                channels.stdin.write(b"heard.wav\n")
                channels.stdin.flush()
                answer = json.loads(channels.stdout.readline())
            self.assertEqual((answer["name"], answer["recognised"]), ("second", True))
            channels.stdin.write(b"unheard.wav\n")
            channels.stdin.close()
            self.assertFalse(json.loads(channels.stdout.readline())["recognised"])
            self.assertEqual(channels.wait(timeout=60), 1)


if __name__ == "__main__":
    unittest.main()
