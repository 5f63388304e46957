"""Keeping a database with the tool, from the outside: keeping_test.py AUDIOMATCH"""

import array
import fcntl
import json
import os
import pathlib
import random
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

import tool_runner
from tool_runner import RATE, TOOL, noise, run, run_json

BUCKETS = 1 << 20


def write_wav(path, samples):
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    tool_runner.write_wav(path, samples)


def read(path):
    return pathlib.Path(path).read_bytes()


def write_tags(path, **tags):
    """Gives a WAV file a list of tags."""
    chunks = b"INFO"
    for key, value in tags.items():
        text = value.encode() + b"\0" * (2 - len(value.encode()) % 2)
        chunks += key.encode() + struct.pack("<I", len(text)) + text
    wav = read(path) + b"LIST" + struct.pack("<I", len(chunks)) + chunks
    pathlib.Path(path).write_bytes(wav[:4] + struct.pack("<I", len(wav) - 8) + wav[8:])


def database(names, buckets):
    """A database put together by hand; `buckets` has packed entries by key."""
    data = struct.pack("<I", len(names))
    for name in names:
        data += struct.pack("<I", len(name)) + name + b"\0"
    parts, last = [data + struct.pack("<II", BUCKETS, 1 << 14)], 0
    for key, entries in sorted(buckets.items()):
        parts.append(bytes(4 * (key - last)) + struct.pack(f"<I{len(entries)}Q", len(entries),
                                                           *entries))
        last = key + 1
    return b"".join(parts) + bytes(4 * (BUCKETS - last))


def recordings(path):
    """What `list` tells of all but the background."""
    code, lines, messages = run_json("list", path)
    assert (code, messages) == (0, ""), messages
    return [line for line in lines if not line.get("background")]


def names(path):
    return [line["name"] for line in recordings(path)]


class KeepingTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        for number, name in enumerate(("one", "two", "three", "four")):
            write_wav(f"music/{name}.wav", noise(name, 8 + number))

    def files(self, *stems):
        return [f"music/{stem}.wav" for stem in stems]

    def works(self, *arguments, **options):
        code, output, messages = run(*arguments, **options)
        self.assertEqual((code, messages), (0, ""), arguments)
        return output

    def fails(self, *arguments, text, **options):
        code, output, messages = run(*arguments, **options)
        self.assertEqual((code, output), (3, ""), arguments)
        self.assertRegex(messages, text)

    def test_ways_to_the_same_database_give_the_same_bytes(self):
        self.works("index", "all", *self.files("one", "two", "three", "four"))
        self.works("index", "part", *self.files("one", "two"), "--jobs", "1")
        part = read("part")
        self.works("add", "part", *self.files("three", "four"), "--jobs", "2")
        self.assertEqual(read("part"), read("all"))
        self.works("remove", "part", "three", "four")
        self.assertEqual(read("part"), part)
        self.works("add", "rest", *self.files("three", "four"))
        self.works("merge", "merged", "part", "rest")
        self.assertEqual(read("merged"), read("all"))
        self.assertEqual(read("merged.catalogue.json"), read("all.catalogue.json"))
        # Its own parts may be the database that is replaced.
        self.works("merge", "part", "--replace", "part", "rest", "all")
        self.assertEqual(read("part"), read("all"))
        self.works("rename", "part", "two", "zwölf\nMonkeys")
        self.assertEqual(names("part"), ["one", "zwölf\nMonkeys", "three", "four"])
        self.assertEqual(len(read("part")), len(read("all")) + len("zwölf\nMonkeys".encode()) - 3)
        self.works("rename", "part", "zwölf\nMonkeys", "two")
        self.assertEqual(read("part"), read("all"))
        self.works("remove", "part", "--glob", "t*", "[of]*")
        self.assertEqual(read("part"), database([], {}))
        self.assertEqual(len(os.listdir()), len(("music", *4 * ("db", "catalogue"))))

    def test_what_cannot_be_done_changes_nothing(self):
        self.works("index", "db", "music")
        before = {name: read(name) for name in ("db", "db.catalogue.json")}
        for arguments, text in (
                (("remove", "db", "one", "five"), "no recording five"),
                (("remove", "db", "--glob", "o*", "x*"), r"no recording x\*"),
                (("rename", "db", "five", "six"), "no recording five"),
                (("rename", "db", "one", "two"), "name two is another"),
                (("index", "db", "music"), "audiomatch add.*--replace"),
                (("merge", "db", "db"), "audiomatch add.*--replace"),
                (("add", "db", "missing.wav"), "missing.wav: No such file"),
                (("add", "music/one.wav", "music/two.wav"), "not a database"),
                (("add", "music", "music/two.wav"), "music: isn't a regular file"),
                (("add", "none/db", "music"), "none/db: .*No such file"),
                (("list", "none"), "none: No such file"),
                (("list", "music"), "music: .*can't be read"),
                (("check", "none"), "none: No such file")):
            self.fails(*arguments, text=text)
        self.assertEqual({name: read(name) for name in before}, before)
        self.assertEqual(sorted(os.listdir()), ["db", "db.catalogue.json", "music"])
        for line in ("add db", "rename db one", "remove db", "add db music --name x",
                     "add db music/one.wav --name=", "add db music --name-from song",
                     "add db music -0"):
            self.assertEqual(run(*line.split())[0], 2, line)

    def test_names_tell_files_apart(self):
        for number, name in enumerate(("a/x/intro.wav", "b/x/intro.wav", "b/y/intro.wav",
                                       "b/y/intro.rf64", "b/y/outro.wav")):
            write_wav(name, noise(number, 5))
        self.works("index", "db", "a", "b")
        expected = ["a/x/intro", "b/x/intro", "intro.rf64", "intro.wav", "outro"]
        self.assertEqual([name[-len(end):] for name, end in zip(names("db"), expected)], expected)
        # A name that is taken by another file, by a file that has gone, and once more.
        self.works("index", "db", "b/y/outro.wav", "--replace")
        write_wav("c/outro.wav", noise("c", 5))
        self.works("add", "db", "c")
        self.assertEqual(names("db"), ["outro", "c/outro"])
        os.remove("db.catalogue.json")
        _, (summary,), _ = run_json("add", "db", "c")
        self.assertEqual([summary[key] for key in ("added", "alreadyThere", "audios")], [0, 1, 2])
        # Without folders, names may be taken.
        code, (*files, summary), messages = run_json("index", "new", "a", "b", "--name-from",
                                                     "stem")
        self.assertEqual([file["name"] for file in files], ["intro", "outro"])
        self.assertEqual((code, summary["skipped"]), (0, 3))
        self.assertIn("b/x/intro.wav: skipped: the name intro is another", messages)

    def test_names_that_are_given(self):
        write_tags("music/one.wav", IART="Ann", INAM="Song")
        write_tags("music/two.wav", IART="Bob")
        self.works("index", "db", "music", "--name-from", "tags")
        self.assertEqual(names("db"), ["four", "Ann - Song", "three", "two"])
        odd = os.fsdecode(b"music/\xff\t\n.wav")
        os.rename("music/four.wav", odd)
        self.works("index", "list", "--list", "-", stdin=b"music/one.wav\tcalled\nmusic/two.wav\n")
        self.works("add", "list", "--list", "-", "-0", stdin=os.fsencode(odd) + b"\0music/two.wav\0")
        self.assertEqual(names("list")[:2], ["called", "two"])
        self.assertIn(b"\xff\t\n\0", read("list")[:100])
        # Its file is known in spite of that, and its name isn't the list's.
        _, (summary,), _ = run_json("add", "list", odd)
        self.assertEqual((summary["alreadyThere"], run("check", "list")[0]), (1, 0))
        self.fails("add", "list", "music/three.wav", "--name", "two", text="name two is another")
        self.fails("add", "list", "--list", "-", stdin=b"music/three.wav\tx\0y\n", text="zero")
        self.works("rename", "list", os.fsdecode(b"\xff\t\n"), "line\nend")
        self.assertEqual(names("list")[2], "line\nend")

    def test_adding_again_takes_what_is_new(self):
        os.symlink("loop", "music/loop")
        os.symlink("../music", "music/again")
        self.works("index", "music/db", *self.files("one", "two"))
        os.symlink("music/db", "link")
        code, (*files, summary), messages = run_json("add", "link", "music")
        self.assertEqual([file["name"] for file in files], ["four", "three"])
        self.assertEqual([summary[key] for key in ("added", "alreadyThere", "skipped", "audios")],
                         [2, 2, 1, 4])
        self.assertIn("music/loop: skipped: Too many levels", messages)
        self.assertTrue(os.path.islink("link"))
        self.assertEqual(sorted(os.listdir()), ["link", "music"])
        self.assertEqual(names("link"), names("music/db"))
        write_wav("music/two.wav", noise("other", 3))
        before = read("music/db")
        code, (summary,), messages = run_json("add", "link", "music")
        self.assertEqual((code, summary["added"], summary["bytes"]), (0, 0, len(before)))
        self.assertIn("music/two.wav: has changed since it was added as two", messages)
        self.assertEqual(read("music/db"), before)

    def test_the_same_audio_under_another_name(self):
        self.works("index", "db", *self.files("one", "two"))
        music = array.array("h", read("music/one.wav")[44:])
        # Half as loud, from a little later on.
        write_wav("new/copy.wav", array.array("h", (s // 2 for s in music[3 * 256 + 20 :])))
        write_wav("new/other.wav", noise("other", 6))
        os.link("new/other.wav", "new/same.wav")
        code, (*files, summary), messages = run_json("add", "db", "new")
        self.assertEqual([file["name"] for file in files], ["other"])
        self.assertEqual([summary[key] for key in ("added", "duplicates", "audios")], [1, 2, 3])
        self.assertIn("new/copy.wav: the same audio as one", messages)
        self.assertIn("new/same.wav: the same audio as other", messages)
        self.works("index", "expected", *self.files("one", "two"), "new/other.wav")
        self.assertEqual(read("db"), read("expected"))
        code, (summary,), _ = run_json("add", "db", "new/copy.wav")
        self.assertEqual((summary["duplicates"], read("db")), (1, read("expected")))
        self.works("add", "db", "new", "--keep-duplicates")
        self.assertEqual(names("db"), ["one", "two", "other", "copy", "same"])

    def test_few_references_are_completed_by_background(self):
        def background(path, command="check"):
            return run_json(command, path)[1][0]["background"]

        self.works("index", "db", *self.files("one"))
        self.works("index", "bare", *self.files("one"), "--background", "none")
        self.assertEqual((background("db"), background("db", "info"), background("bare")), (4, 4, 0))
        # By chance a stranger has the only name there is; the engine is sure of it.
        for database, levels in (("bare", {1, 2}), ("db", {0, None})):
            code, (row,), _ = run_json("match", database, "music/two.wav")
            self.assertEqual((code, row["name"]), (1, "one"))
            self.assertIn(row["level"], levels)
            code, (row,), _ = run_json("match", database, "music/one.wav")
            self.assertEqual((code, row["name"], row["level"]), (0, "one", 2))
        *_, last = run_json("list", "db")[1]
        self.assertEqual((last["name"], last["parts"], last["background"]), ("", 4, True))
        # Half as dense as the reference, of 249 frames, and as long as audios can be.
        half = recordings("db")[0]["entries"] / 249 / 2
        self.assertAlmostEqual(last["entries"] / 4 / 16384, half, delta=0.2 * half)
        self.assertRegex(run("list", "db")[1], r"\n\(background\) +4 +- +\d+ +-\n")
        # It is made anew of what there is, and only where there was one.
        before = read("db")
        self.works("add", "db", *self.files("two"))
        self.assertEqual(background("db"), 4)
        self.assertNotEqual(read("db")[-4096:], before[-4096:])
        self.works("remove", "db", "two")
        self.assertEqual(read("db"), before)
        self.works("merge", "bare2", "bare")
        self.works("merge", "db2", "bare", "db")
        self.assertEqual((read("bare2"), read("db2")), (read("bare"), before))
        self.works("add", "bare", *self.files("two"))
        self.assertEqual(background("bare"), 0)
        self.works("index", "db", "music", "--background", "20", "--replace")
        self.assertEqual(background("db"), 16)
        code, _, messages = run("index", "x", "music", "--background", "21")
        self.assertEqual(code, 2)
        self.assertIn("from 1 to 20, or none", messages)

    def test_audios_without_a_name_are_background_whoever_made_them(self):
        pathlib.Path("db").write_bytes(database([b"", b"a", b"b"], {5: [1], 9: [16384 + 2, 32768 + 3]}))
        self.assertIn("a database of 2 audios already", run("index", "db", "music")[2])
        code, _, messages = run("rename", "db", "b", "c")
        self.assertEqual(code, 0)
        self.assertIn("db: has audios without a name before others", messages)
        self.assertEqual(names("db"), ["a", "c"])
        # At the end they are what they were made for.
        self.assertEqual(run("rename", "db", "c", "b")[2], "")
        self.assertIn("2 references added with 2 entries",
                      run("push", "db", "--store", "folder")[1])

    def test_the_catalogue_is_believed_where_it_agrees(self):
        self.works("index", "db", "music")
        self.works("index", "other", "music", "--entries", "20")
        whole = recordings("db")
        self.assertEqual([line["seconds"] for line in whole], [11.0, 8.0, 10.0, 9.0])
        self.assertEqual(whole[0]["file"], os.path.realpath("music/four.wav"))
        catalogue = read("db.catalogue.json").splitlines(keepends=True)
        unknown = [dict(line, seconds=None, file=None) for line in whole]
        foreign = read("other.catalogue.json")
        for text, expected, code in (
                (b"".join(catalogue), whole, 0),
                (None, unknown, 0), (b"", unknown, 3), (b"[]\n", unknown, 3),
                (catalogue[0] + b"{}\n\xff\n[1]\n" + b"".join(catalogue[2:]),
                 unknown[:1] + whole[1:], 3),
                (b"".join(catalogue)[:-30], whole[:-1] + unknown[-1:], 3),
                (catalogue[0].replace(b":1", b":2") + catalogue[1], unknown, 3),
                (b"".join(catalogue).replace(b'"parts":1', b'"parts":2', 1),
                 unknown[:1] + whole[1:], 3),
                (b"x" * 3_000_000, unknown, 3),
                (foreign, unknown, 3)):
            pathlib.Path("db.catalogue.json").unlink()
            if text is not None:
                pathlib.Path("db.catalogue.json").write_bytes(text)
            self.assertEqual(recordings("db"), expected, text)
            self.assertEqual(run("check", "db")[0], code, text)
            pathlib.Path("db.catalogue.json").touch()
        # What is kept of it is true: the other database's is gone with the next change.
        self.works("remove", "db", "four")
        self.assertEqual([line["seconds"] for line in recordings("db")], [None] * 3)
        self.assertEqual(run("check", "db")[0], 0)

    def test_damage_is_told_and_refused(self):
        whole = database([b"first", b"second name"], {0: [1, 2], 7: [5, 16384 + 9], 9: [3]})
        header = 4 + 10 + 16 + 8
        for data, offset, text, loads in (
                (whole[:17], 14, "within the name of audio 1", False),
                (whole[:header - 5], header - 8, "aren't there", False),
                (whole[: header + 19], header, "the 2 entries of bucket 0", True),
                (whole[: len(whole) - 3], len(whole) - 4, "before bucket 1048575", True),
                (whole[:header] + b"\xff" * 4 + whole[header + 4 :], header, "4294967295 entries",
                 False),
                (whole.replace(struct.pack("<Q", 16384 + 9), struct.pack("<Q", 32768 + 9)),
                 header + 20 + 6 * 4 + 4 + 8, "bucket 7 is of audio 2", True),
                (whole + b"more", len(whole), "behind the last bucket", True)):
            pathlib.Path("db").write_bytes(data)
            code, (check,), _ = run_json("check", "db")
            self.assertEqual((code, check["whole"], check["offset"]), (3, False, offset))
            self.assertIn(text, check["fault"])
            self.assertEqual("load a bad db" not in check["loading"], loads)
            for arguments in (("list", "db"), ("info", "db"), ("add", "db", "music"),
                              ("remove", "db", "first"), ("rename", "db", "first", "x"),
                              ("merge", "new", "db")):
                self.fails(*arguments, text=f"db: .*damaged, at byte {offset}: .*{text}")
            self.assertEqual(read("db"), data)
        pathlib.Path("db").write_bytes(whole)
        _, (check,), _ = run_json("check", "db")
        self.assertEqual((check["whole"], check["audios"], check["entries"], check["bytes"]),
                         (True, 2, 5, len(whole)))
        _, (info,), _ = run_json("info", "db")
        self.assertEqual((info["recordings"], info["emptyBuckets"], info["timedRecordings"]),
                         (2, BUCKETS - 3, 0))
        self.assertEqual([(b["hashKey"], b["entries"]) for b in info["fullestBuckets"]][:4],
                         [(0, 2), (7, 2), (9, 1), (1, 0)])
        self.assertEqual([size["entries"] for size in info["bucketSizes"]], [0, 0, 0, 0, 2])

    def test_nothing_but_long_recordings(self):
        write_wav("long.wav", noise(7, 60) * 18)
        advice = "--entries 24000"
        self.assertIn(advice, run("index", "all.db", "long.wav")[2])
        self.assertNotIn(advice, run("index", "mixed.db", "long.wav", "music")[2])
        self.assertNotIn(advice, run("index", "told.db", "long.wav", "--entries", "24000")[2])

    def test_one_writer_at_a_time(self):
        self.works("index", "db", "music")
        before = read("db")
        with open("db.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            lock.write("4711\n")
            lock.flush()
            for arguments in (("add", "db", "music"), ("remove", "db", "one"),
                              ("index", "db", "--replace", "music"), ("merge", "db", "db")):
                self.fails(*arguments, text="db: process 4711 is changing it")
            self.assertEqual(len(names("db")), 4)
        # Left behind by a process that was killed, and by one that lives.
        gone = subprocess.Popen(["true"])
        gone.wait()
        for name in (f"db.{gone.pid}-0.tmp", f"db.catalogue.json.{gone.pid}-3.tmp",
                     f"db.{os.getpid()}-0.tmp", f"db2.{gone.pid}-0.tmp", f"db.{gone.pid}-x.tmp"):
            pathlib.Path(name).touch()
        self.works("remove", "db", "one")
        self.assertEqual(sorted(os.listdir()),
                         sorted(["db", "db.catalogue.json", "music", f"db.{os.getpid()}-0.tmp",
                                 f"db2.{gone.pid}-0.tmp", f"db.{gone.pid}-x.tmp"]))

    def test_killed_at_any_moment_a_whole_database_stands(self):
        self.works("index", "db", *self.files("one", "two"))
        states, moments = {}, random.Random(7)
        for turn in range(30):
            change = ["add", "db", "music"] if len(names("db")) == 2 else ["remove", "db", "three",
                                                                           "four"]
            process = subprocess.Popen([TOOL, *change], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
            time.sleep(moments.uniform(0, 0.25))
            process.kill()
            process.wait()
            lines = recordings("db")
            # As it was or as it was to be, and with nothing wrong said of it.
            count = len(lines)
            self.assertIn(count, (2, 4))
            self.assertEqual(states.setdefault(count, read("db")), read("db"))
            for line in lines:
                known = {"one": 8.0, "two": 9.0, "three": 10.0, "four": 11.0}[line["name"]]
                self.assertIn(line["seconds"], (known, None))
        self.works("rename", "db", "one", "1")
        self.assertEqual(sorted(os.listdir()), ["db", "db.catalogue.json", "music"])

    def test_a_full_disk_leaves_the_old_database(self):
        self.works("index", "db", "music")
        before = read("db")
        write_wav("new.wav", noise("new", 5))
        limit = 3_000_000  # bytes of a file; a database has more
        for arguments in (("add", "db", "new.wav"), ("remove", "db", "one"), ("merge", "x", "db")):
            self.fails(*arguments, text="can't be written: File too large", preexec_fn=lambda: (
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN),
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))))
            self.assertEqual(read("db"), before)
            self.assertEqual(sorted(os.listdir()), ["db", "db.catalogue.json", "music", "new.wav"])

    def test_thousands_of_recordings(self):
        # Every third has two parts.
        audios = [f"r{i}".encode() for i in range(20_000) for _ in range(1 + (i % 3 == 0))]
        buckets = {}
        for index in range(len(audios)):
            buckets.setdefault(index % 1000 * 7, []).append(index << 14 | index % 16384)
        pathlib.Path("db").write_bytes(database(audios, buckets))
        lines = recordings("db")
        self.assertEqual([line["name"] for line in lines], [f"r{i}" for i in range(20_000)])
        self.assertEqual([line["parts"] for line in lines[:4]], [2, 1, 1, 2])
        _, (*removed, summary), _ = run_json("remove", "db", "--glob", "r*[02468]")
        self.assertEqual((len(removed), summary["recordings"]), (10_000, 10_000))
        self.works("add", "db", "music")
        kept = recordings("db")
        self.assertEqual([line["name"] for line in kept[:10_000]],
                         [f"r{i}" for i in range(1, 20_000, 2)])
        self.assertEqual(sum(line["entries"] for line in kept[:10_000]), summary["entries"])
        self.assertEqual(run("check", "db")[0], 0)


if __name__ == "__main__":
    unittest.main()
