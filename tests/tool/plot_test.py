"""Pictures from the outside: plot_test.py AUDIOMATCH"""

import array
import json
import os
import pathlib
import random
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import wave
import xml.etree.ElementTree

TOOL = os.path.abspath(sys.argv.pop(1))
RATE = 8000
A4_POINTS = 595.3


def run(*arguments):
    done = subprocess.run([TOOL, *arguments], capture_output=True, timeout=60)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def run_json(*arguments):
    code, output, messages = run(*arguments, "--json")
    return code, json.loads(output or "null"), messages


def read(path):
    return pathlib.Path(path).read_bytes()


def write_noise(path, seed, seconds, level=1):
    samples = array.array("h", random.Random(seed).randbytes(int(seconds * RATE) * 2))
    with wave.open(path, "wb") as file:
        file.setparams((1, 2, RATE, 0, "NONE", ""))
        file.writeframes(array.array("h", (s * level for s in samples)).tobytes())


def size(picture):
    """Width and height, in points of a page or pixels of a PNG."""
    data = read(picture)
    if data.startswith(b"%PDF-"):
        assert data.rstrip().endswith(b"%%EOF")
        return [float(n) for n in re.search(rb"/MediaBox \[ ?0 0 ([\d.]+) ([\d.]+)", data).groups()]
    if data.startswith(b"\x89PNG"):
        assert data[-8:-4] == b"IEND"
        return list(struct.unpack(">II", data[16:24]))
    root = xml.etree.ElementTree.fromstring(data)
    assert root.tag == "{http://www.w3.org/2000/svg}svg"
    return [float(root.attrib[side].removesuffix("pt")) for side in ("width", "height")]


class PlotTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        write_noise("a.wav", "a", 90)

    def test_formats_and_lengths(self):
        title = "\u043c\u0443\u0437 \U0001f3a7 \u0645 \t\n" + "long " * 30
        os.link("a.wav", title + ".wav")
        for kind in ("png", "svg", "PDF"):
            for stretch in (("--seconds", "2"), ("--from", "70"), ()):
                code, drawn, messages = run_json("plot", title + ".wav", "-o", "p." + kind, *stretch)
                self.assertEqual((code, messages), (0, ""))
                width, height = size("p." + kind)
                self.assertLessEqual(width, A4_POINTS * (4 if kind == "png" else 1))
                self.assertLess(height, width)
                self.assertLess(len(read("p." + kind)), 5_000_000)
        # All of it: (90 * 8000 - 256) / 256 = 2811 frames of 32 ms.
        self.assertEqual(list(drawn), ["picture", "from", "seconds", "peaks", "landmarks",
                                       "version"])
        self.assertEqual((drawn["picture"], drawn["from"]), ("p.PDF", 0))
        self.assertAlmostEqual(drawn["seconds"], 2811 * 0.032)
        self.assertEqual(sorted(os.listdir()), sorted(["a.wav", title + ".wav", "p.png", "p.svg",
                                                       "p.PDF"]))

    def test_a_picture_replaces_pictures_only(self):
        os.link("a.wav", "b.png")
        before = read("a.wav")
        for command in (("plot", "a.wav", "-o", "b.png"), ("plot", "b.png", "-o", "b.png"),
                        ("features", "a.wav", "--picture", "a.wav")):
            code, output, messages = run(*command)
            self.assertEqual((code, output), (3, ""), command)
            self.assertRegex(messages, "exists and isn't a picture")
        self.assertEqual(read("a.wav"), before)
        run("plot", "a.wav", "-o", "c.svg", "--seconds", "1")
        os.rename("c.svg", "c.png")
        self.assertEqual(run("plot", "a.wav", "-o", "c.png", "--seconds", "1")[0], 0)
        self.assertEqual(run("features", "a.wav", "--picture", "c.png", "--seconds", "1")[0], 0)
        self.assertEqual(read("c.png")[:4], b"\x89PNG")

    def test_wrong_usage_and_nothing_to_draw(self):
        for line in ("plot a.wav", "plot a.wav -o a.jpg", "plot -o a.png",
                     "plot a.wav -o p.png --seconds 0", "plot a.wav -o p.png --from -1",
                     "plot a.wav -o p.png --match db --seconds 601",
                     "plot a.wav -o p.png --timeline db --from 1",
                     "plot a.wav -o p.png --timeline db --match db"):
            code, output, messages = run(*line.split())
            self.assertEqual((code, output, messages != ""), (2, "", True), line)
        write_noise("silence.wav", 0, 1, level=0)
        run("index", "db", "a.wav")
        for line in ("silence.wav", "missing.wav", "a.wav --from 91", "silence.wav --match db",
                     "a.wav --match missing", "a.wav --timeline missing"):
            self.assertEqual(run("plot", "-o", "p.png", *line.split())[0], 3, line)
        self.assertEqual(sorted(os.listdir()), ["a.wav", "db", "db.catalogue.json", "silence.wav"])

    def test_match(self):
        write_noise("other.wav", "other", 20)
        write_noise("unknown.wav", "unknown", 20)
        run("index", "db", "a.wav", "other.wav", "--replace")
        code, drawn, _ = run_json("plot", "--match", "db", "a.wav", "--from", "30", "--seconds",
                                  "10", "-o", "p.svg")
        self.assertEqual((code, drawn["recognised"], drawn["name"]), (0, True, "a"))
        self.assertEqual((drawn["from"], drawn["seconds"]), (30, 10))
        self.assertGreater(drawn["agreeing"], drawn["hits"] / 2)
        self.assertLessEqual(size("p.svg")[0], A4_POINTS)
        # By default the first minute.
        self.assertEqual(run_json("plot", "--match", "db", "a.wav", "-o", "p.svg")[1]["seconds"], 60)
        code, drawn, _ = run_json("plot", "--match", "db", "unknown.wav", "-o", "q.pdf")
        self.assertEqual((code, drawn["recognised"]), (0, False))
        self.assertLessEqual(size("q.pdf")[0], A4_POINTS)

    def test_timeline(self):
        write_noise("unknown.wav", "unknown", 20)
        run("index", "db", "a.wav", "--replace")
        code, drawn, _ = run_json("plot", "--timeline", "db", "a.wav", "-o", "p.svg")
        self.assertEqual((code, drawn["names"]), (0, 1))
        self.assertGreater(drawn["recognised"], drawn["seconds"] - 2)
        code, drawn, _ = run_json("plot", "--timeline", "db", "unknown.wav", "-o", "p.png")
        self.assertEqual((code, drawn["names"], drawn["recognised"]), (0, 0, 0))


if __name__ == "__main__":
    unittest.main()
