"""The command-line tool from the outside: end_to_end_test.py AUDIOMATCH"""

import array
import contextlib
import json
import os
import pathlib
import re
import signal
import struct
import subprocess
import tempfile
import time
import unittest

from tool_runner import RATE, TOOL, noise, run, run_json, write_wav

NAMES = ["one", "two", "four", "three"]  # of the audios in `music`, by path


def read(path):
    return pathlib.Path(path).read_bytes()


def read_database(path):
    """Names, and (audio, time) pairs bucket by bucket, read apart from the engine."""
    data, place, names, buckets = read(path), 4, [], []
    for _ in range(struct.unpack_from("<I", data)[0]):
        length, = struct.unpack_from("<I", data, place)
        names.append(data[place + 4 : place + 4 + length].decode())
        place += 4 + length + 1
    assert struct.unpack_from("<II", data, place) == (1 << 20, 1 << 14)
    place += 8
    for _ in range(1 << 20):
        count, = struct.unpack_from("<I", data, place)
        if count:
            entries = struct.unpack_from(f"<{count}Q", data, place + 4)
            buckets.append([(entry >> 14, entry & 0x3FFF) for entry in entries])
        place += 4 + 8 * count
    assert place == len(data)
    return names, buckets


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        os.makedirs("music/b")
        os.symlink("..", "music/b/loop")
        self.recordings = {name: noise(name, 20) for name in NAMES}
        for name, folder in zip(NAMES, ("music/b", "music/b", "music", "music")):
            write_wav(f"{folder}/{name}.wav", self.recordings[name])
        pathlib.Path("music/notes.txt").write_text("no music")
        write_wav("silence.wav", array.array("h", bytes(2 * RATE)))

    def test_index(self):
        code, (*files, summary), messages = run_json("index", "db", "music", "--entries", "300")
        self.assertEqual(code, 0)
        self.assertRegex(messages, "music/notes.txt: skipped: not audio")
        self.assertEqual([f["file"] for f in files], ["music/b/one.wav", "music/b/two.wav",
                                                      "music/four.wav", "music/three.wav"])
        names, buckets = read_database("db")
        self.assertEqual(names, NAMES + [""] * 8)
        self.assertEqual(buckets, [sorted(bucket) for bucket in buckets])
        file_entries = []
        for index, file in enumerate(files):
            self.assertGreater(file.pop("features"), 600)
            times = [time for bucket in buckets for audio, time in bucket if audio == index]
            file_entries.append(len(times))
            self.assertEqual(file, {"file": file["file"], "name": NAMES[index], "parts": 1,
                                    "seconds": 20.0, "entries": len(times)})
            # What a number of entries takes depends on how common their keys are.
            self.assertGreater(len(times), 150)
            self.assertLess(len(times), 4 * 300)
            # 624 frames, of which the last lack targets: 18 seconds are certain.
            counts = [sum(time // 32 == second for time in times) for second in range(18)]
            self.assertLessEqual(max(counts), 2 * min(counts))
        self.assertEqual(summary, {"database": "db", "audios": 4,
                                   "entries": sum(file_entries), "background": 8,
                                   "bytes": len(read("db")), "skipped": 1, "added": 4,
                                   "alreadyThere": 0, "duplicates": 0})
        run("index", "db1", "music", "--jobs", "1", "--entries", "300")
        run("index", "db2", "music", "--jobs", "2", "--entries", "300")
        self.assertEqual(read("db1"), read("db"))
        self.assertEqual(read("db2"), read("db"))

    def test_index_that_fails_leaves_the_old_database(self):
        write_wav("fast.wav", noise(1, 1), rate=96000)
        os.mkdir("empty")
        run("index", "db", "music/four.wav")
        old = read("db")
        before = sorted(os.listdir())
        for bad in ("missing.wav", "music/notes.txt", "silence.wav", "fast.wav"):
            code, output, messages = run("index", "db", "--replace", "music/b/one.wav", bad)
            self.assertEqual((code, output), (3, ""))
            self.assertIn(f"audiomatch: {bad}: ", messages)
        self.assertEqual(run("index", "new", "empty")[0], 3)
        # Nor is a recording replaced when the database was forgotten.
        self.assertEqual(run("index", "fast.wav", "music")[0], 3)
        self.assertEqual(read("fast.wav")[:4], b"RIFF")
        self.assertEqual(read("db"), old)
        self.assertEqual(sorted(os.listdir()), before)
        self.assertEqual(run("index", "db", "--replace", "--keep-going", "missing.wav",
                             "music")[0], 3)
        self.assertEqual(read_database("db")[0][:4], NAMES)

    def test_match_and_features(self):
        run("index", "db", "music")
        write_wav("a.wav", self.recordings["two"][40101:64101])
        quiet = (sample // 50 for sample in self.recordings["three"][90000:108000])
        stereo = (sample for sample in self.recordings["four"][9000:33000] for _ in "lr")
        write_wav("b.wav", array.array("h", quiet))
        write_wav("c.wav", array.array("h", stereo), channels=2)
        # Unknown, so that chance has a say, and resampled.
        write_wav("d.wav", noise("other", 60), rate=11025)
        files = ["a.wav", "b.wav", "c.wav", "d.wav", "d.wav", "d.wav"]
        code, answers, messages = run_json("match", "db", *files)
        self.assertEqual((code, messages), (1, ""))
        self.assertEqual([a["name"] for a in answers[:3]], ["two", "three", "four"])
        self.assertEqual([a["level"] for a in answers], [2, 2, 2, 0, 0, 0])
        self.assertEqual([a["recognised"] for a in answers], [True] * 3 + [False] * 3)
        self.assertEqual([a["error"] for a in answers], [None] * 6)
        self.assertEqual(list(answers[0])[:8], ["file", "name", "level", "discrimination",
                                                "features", "hits", "error", "recognised"])
        # Cut out at samples 40101, 90000 and 9000.
        for answer, second in zip(answers, (40101 / RATE, 90000 / RATE, 9000 / RATE)):
            self.assertAlmostEqual(answer["position"], second, delta=0.1)
        # Nothing of the files before it is in an answer.
        self.assertEqual(answers[4:], [answers[3]] * 2)
        self.assertEqual(run_json("match", "db", "d.wav")[1], [answers[3]])
        pairs = [(f["hashKey"], f["startTime"]) for f in run_json("features", "a.wav")[1]]
        self.assertEqual(len(pairs), answers[0]["features"])
        self.assertEqual(pairs, sorted(set(pairs)))

    def test_match_tells_why_there_is_none(self):
        run("index", "db", "music/b/one.wav", "--entries", "1", "--name", "single")
        self.assertEqual(read_database("db")[0][:2], ["single", ""])
        write_wav("other.wav", noise("other", 0.5))
        code, answers, messages = run_json("match", "db", "other.wav", "silence.wav")
        self.assertEqual(code, 1)
        for answer in answers:
            self.assertEqual([answer[key] for key in ("name", "level", "discrimination", "hits",
                                                      "recognised", "position")],
                             ["", None, None, 0, False, None])
        self.assertEqual([answer["kind"] for answer in answers], [None, "silence"])
        self.assertIn("no match", answers[0]["error"])
        # Silence is no mistake.
        self.assertEqual(messages, f"audiomatch: other.wav: {answers[0]['error']}\n")
        self.assertIn("(silence)", run("match", "db", "silence.wav")[1])
        # Of nothing nothing can be said.
        os.mkdir("nothing")
        self.assertEqual(run("match", "db", "nothing")[0], 3)
        pathlib.Path("nothing/text").write_text("text")
        self.assertEqual(run("match", "db", "nothing")[0], 3)
        for arguments in (("-", "other.wav"), ("-", "--whole")):
            self.assertEqual(run("match", "db", *arguments)[0], 2)
        self.assertEqual(run("match", "db", "other.wav", "missing.wav")[0], 3)
        # Not a database, a folder, no file, and one that ends early, which is said.
        for bad, reason in (("other.wav", "not a database"), ("music", "is a folder"),
                            ("missing", "No such file")):
            code, output, messages = run("match", bad, "other.wav")
            self.assertEqual((code, output), (3, ""))
            self.assertRegex(messages, f"audiomatch: {bad}: .*{reason}")
        pathlib.Path("cut").write_bytes(read("db")[:-1000])
        where = "".join(run("check", "cut")[1:])
        offset = re.search(r"byte ([\d,]+)", where)
        self.assertTrue(offset, where)
        self.assertIn(offset.group(0), run("match", "cut", "other.wav")[2])

    def test_match_at_other_speeds(self):
        run("index", "db", "music")
        # The same samples are over sooner at a higher rate, and sound higher.
        for name, rate in (("fast", 8240), ("slow", 7760), ("far", 8640)):
            write_wav(f"{name}.wav", self.recordings["two"][5 * RATE : 11 * RATE], rate=rate)
        write_wav("stranger.wav", noise("stranger", 6))
        files = ("fast.wav", "slow.wav", "far.wav", "stranger.wav", "music/four.wav", "silence.wav")
        code, answers, _ = run_json("match", "db", *files)
        self.assertEqual([(a["recognised"], "speed" in a) for a in answers],
                         [(recognised, False) for recognised in (False,) * 4 + (True, False)])
        code, answers, _ = run_json("match", "db", *files, "--speed", "4")
        self.assertEqual(code, 1)
        self.assertEqual([a["name"] for a in answers if a["recognised"]], ["two", "two", "four"])
        self.assertEqual([answers[i]["speed"] for i in (0, 1, 4)], [3.0, -3.0, 0.0])
        for answer in answers[:2]:
            self.assertAlmostEqual(answer["position"], 5.0, delta=0.1)
        self.assertEqual(run_json("match", "db", "far.wav", "--speed", "8")[1][0]["speed"], 8.0)
        table = run("match", "db", "fast.wav", "missing.wav", "--speed", "4")[1].splitlines()
        self.assertRegex(table[0], "SPEED$")
        self.assertRegex(table[1], r"\+3\.0 %$")
        for arguments in (["--speed", "0"], ["--speed", "11"], ["--speed", "2", "--timeline"]):
            self.assertEqual(run("match", "db", "fast.wav", *arguments)[0], 2)

    def test_wrong_usage(self):
        for line in ("", "index db", "match db", "index db music --jobs 0",
                     "index db music --name n", "index db music --entries 0",
                     "features f.wav --from 1", "stream music/four.wav",
                     "stream --id 1 --update 2 --monitor 3 music/four.wav",
                     "stream --id 1 --rate 8000 music/four.wav"):
            code, output, messages = run(*line.split())
            self.assertEqual((code, output, messages != ""), (2, "", True), line)

    def test_picture(self):
        file = "music/four.wav"
        code, (drawn,), _ = run_json("features", file, "--picture", "p.png", "--from", "12")
        # Of 8 s: (64000 - 256) / 256 = 249 frames of 32 ms.
        self.assertEqual((code, drawn["from"], round(drawn["seconds"], 3)), (0, 12.0, 7.968))
        png = read("p.png")
        self.assertEqual((png[:4], png[12:16], png[-8:-4]), (b"\x89PNG", b"IHDR", b"IEND"))
        self.assertEqual(run("features", file, "--picture", "none/p.png")[0], 3)

    def test_stream_gives_the_same_from_file_and_pipe(self):
        arguments = ("stream", "--id", "5", "--monitor", "2", "--json")
        code, output, _ = run(*arguments, "music/four.wav")
        samples = self.recordings["four"].tobytes()
        self.assertEqual(run(*arguments, "-", stdin=samples + b"left over"), (code, output, ""))
        analyses = [json.loads(line) for line in output.splitlines()]
        # 100 packets of 0.2 s: 25 fill the buffer, then an analysis every 5.
        self.assertEqual([(a["packet"], a["seconds"]) for a in analyses],
                         [(26 + 5 * i, 5.0 + i) for i in range(15)])
        for number, analysis in enumerate(analyses):
            values = [attribute["hashValue"] for attribute in analysis["attributes"]]
            self.assertNotEqual(values, [])
            self.assertEqual({value >> 14 for value in values}, {5})
            self.assertEqual({(value & 0x3FFF) // 32 for value in values}, {number})
            self.assertEqual(analysis["expired"],
                             analyses[number - 2]["attributes"] if number >= 2 else [])
        silence = json.loads(run(*arguments, "-", stdin=bytes(2 * RATE * 6))[1])
        self.assertEqual(list(silence.values()), [26, 5.0, [], [], 1])

    def test_stream_ends_well_by_signal_and_without_reader(self):
        for ending in (signal.SIGINT, signal.SIGTERM, None):
            stream = subprocess.Popen([TOOL, "stream", "--id", "1", "--json", "-"], bufsize=0,
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE)
            with stream:
                stream.stdin.write(self.recordings["one"].tobytes()[: 2 * RATE * 6])
                # Comes at once, while the input is still open.
                self.assertEqual(json.loads(stream.stdout.readline())["packet"], 26)
                if ending:
                    stream.send_signal(ending)
                else:
                    stream.stdout.close()
                    with contextlib.suppress(BrokenPipeError):
                        stream.stdin.write(self.recordings["one"].tobytes())
                self.assertEqual(stream.wait(timeout=60), 0)
                self.assertEqual(stream.stderr.read(), b"")


    def test_an_interrupted_index_leaves_the_old_database(self):
        run("index", "old.db", "music")
        before = read("old.db")
        os.mkdir("much")
        for number in range(40):
            write_wav(f"much/{number}.wav", noise(number, 60))
        for delay in (0.3, 0.1, 0.03):  # shorter ones for faster machines
            index = subprocess.Popen([TOOL, "index", "old.db", "--replace", "much"], stderr=subprocess.PIPE)
            with index:
                time.sleep(delay)
                index.send_signal(signal.SIGINT)
                index.wait(timeout=60)
            if index.returncode != 0:
                break
        self.assertEqual(index.returncode, -signal.SIGINT)
        self.assertEqual(read("old.db"), before)
        self.assertEqual([name for name in os.listdir() if name.startswith("old.db")],
                         ["old.db", "old.db.catalogue.json"])


if __name__ == "__main__":
    unittest.main()
