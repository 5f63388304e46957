"""The forms in which features are given out: features_test.py AUDIOMATCH"""

import base64
import os
import pathlib
import struct
import tempfile
import unittest
import zlib

from tool_runner import noise, run, run_json, write_wav


def numbers(data):
    """The numbers that bytes of the compact form are."""
    value = shift = 0
    for byte in data:
        value |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            yield value
            value = shift = 0


def unpack(data):
    """Length in seconds and (key, time) pairs, read apart from the tool."""
    assert data[:5] == b"AMFP\1" and struct.unpack("<I", data[-4:])[0] == zlib.crc32(data[:-4])
    start = data.index(b"\x78", 5)  # of the stream: zlib's usual first byte
    milliseconds, count = numbers(data[5:start])
    pairs, time, key = [], 0, 0
    flat = numbers(zlib.decompress(data[start:-4]))
    for step, value in zip(flat, flat):
        time, key = time + step, value if step else key + value
        pairs.append((key, time))
    assert len(pairs) == count
    return milliseconds / 1000, sorted(pairs)


class FeaturesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        write_wav("a.wav", noise("a", 3.5))

    def test_all_forms_hold_the_same(self):
        pairs = [(f["hashKey"], f["startTime"]) for f in run_json("features", "a.wav")[1]]
        heading, *lines = run("features", "a.wav", "--csv")[1].splitlines()
        self.assertEqual(heading, "startTime,hashKey")
        self.assertEqual([tuple(map(int, reversed(line.split(",")))) for line in lines], pairs)
        self.assertEqual(run("features", "a.wav", "--binary", "a.amfp"), (0, "", ""))
        binary = pathlib.Path("a.amfp").read_bytes()
        self.assertEqual(unpack(binary), (3.5, pairs))
        text = run("features", "a.wav", "--base64")[1]
        self.assertEqual((base64.b64decode(text), text.count("\n")), (binary, 1))
        table = run("features", "a.wav")[1].splitlines()
        self.assertEqual([int(line.split()[1]) for line in table[1:]], [key for key, _ in pairs])

    def test_who_resamples(self):
        def features(path, *exact):
            return {(f["hashKey"], f["startTime"]) for f in run_json("features", path, *exact)[1]}

        # At 8000 Hz nobody does; else most of the features are the same.
        self.assertEqual(features("a.wav"), features("a.wav", "--exact"))
        write_wav("b.wav", noise("b", 10), rate=16000)
        own, exact = features("b.wav"), features("b.wav", "--exact")
        self.assertNotEqual(own, exact)
        self.assertGreater(len(own & exact), 0.6 * len(own | exact))

    def test_one_form_at_a_time(self):
        for both in (["--csv", "--base64"], ["--csv", "--json"], ["--binary", "-", "--csv"],
                     ["--base64", "--picture", "p.png"]):
            self.assertEqual(run("features", "a.wav", *both)[:2], (2, ""))
        self.assertEqual(run("features", "a.wav", "--binary", "none/a.amfp")[0], 3)
        # A fingerprint takes the place of another one, not of the recording.
        self.assertEqual(run("features", "a.wav", "--binary", "a.amfp")[0], 0)
        before = pathlib.Path("a.wav").read_bytes()
        self.assertEqual(run("features", "a.wav", "--binary", "a.wav")[0], 3)
        self.assertEqual(pathlib.Path("a.wav").read_bytes(), before)
        self.assertEqual(sorted(os.listdir()), ["a.amfp", "a.wav"])


if __name__ == "__main__":
    unittest.main()
