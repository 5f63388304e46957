"""What a server keeps: store_test.py AUDIOMATCH"""

import contextlib
import http.client
import json
import os
import pathlib
import random
import resource
import signal
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.parse

from redis_nodes import Nodes
from service_test import Server, many_lines, many_packed
from tool_runner import RATE, TOOL, noise, run, run_json, write_wav


def best(answer, of="references"):
    candidates = (answer[of] or {"candidates": []})["candidates"]
    return candidates[0]["name"] if answer["kind"] == "recognised" and candidates else None


class StoreTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        recordings = {name: noise(name, 20) for name in ("one", "two", "three")}
        self.sounds, self.pieces = {}, {}
        for name, samples in recordings.items():
            write_wav(f"{name}.wav", samples)
            self.sounds[name] = pathlib.Path(f"{name}.wav").read_bytes()
            write_wav("piece.wav", samples[6 * RATE : 12 * RATE])
            self.pieces[name] = pathlib.Path("piece.wav").read_bytes()
        run("index", "db", "one.wav", "two.wav")

    def add(self, server, name, body, query=""):
        return server.ask("POST", f"/v1/references?name={urllib.parse.quote(name)}{query}", body)

    def heard(self, server, name):
        return best(server.recognise(self.pieces[name])[1])

    def test_references_come_stay_and_go(self):
        odd = 'Trois/3 "<b>" 三'
        with Server("--db", "db") as server:
            self.assertIsNone(self.heard(server, "three"))
            self.assertEqual(self.add(server, odd, self.sounds["three"])[0], 201)
            self.assertEqual(self.heard(server, "three"), odd)
            # Whatever ends the server: what it said it has, it has.
            server.process.send_signal(signal.SIGKILL)
        with Server("--db", "db") as server:
            self.assertEqual((self.heard(server, "three"), self.heard(server, "two")), (odd, "two"))
            status, answer = self.add(server, odd, self.sounds["three"])
            self.assertEqual((status, answer["added"]), (200, False))
            listed = server.ask("GET", "/v1/references")[1]["references"]
            self.assertEqual([(entry["name"], entry["removable"]) for entry in listed],
                             [("one", False), ("two", False), (odd, True)])
            # Another under a name that is taken, here and in the database; nothing changes.
            for name in (odd, "two"):
                self.assertEqual(self.add(server, name, self.sounds["one"])[0], 409)
            path = "/v1/references/" + urllib.parse.quote(odd, safe="")
            status, answer = server.ask("DELETE", "/v1/references/two")
            self.assertEqual(status, 409)
            self.assertIn("audiomatch remove", answer["error"])
            self.assertEqual(server.ask("DELETE", path)[1]["removed"], True)
            self.assertEqual(server.ask("DELETE", path)[1]["removed"], False)
            self.assertIsNone(self.heard(server, "three"))
            # The same from raw samples and from a fingerprint; they are one and the same.
            self.assertEqual(self.add(server, "raw", self.sounds["three"][44:], f"&rate={RATE}")[0], 201)
            subprocess.run([TOOL, "features", "three.wav", "--single-pass", "--binary", "print"],
                           check=True, stdout=subprocess.DEVNULL)
            status, answer = self.add(server, "raw", pathlib.Path("print").read_bytes())
            self.assertEqual((status, answer["added"]), (200, False))
            metrics = server.ask("GET", "/metrics")[1]
            self.assertIn("\naudiomatch_references 3\n", metrics)

    def test_what_cannot_be_added_is_refused(self):
        with Server("--store", "shelf") as server:
            for status, name, body in ((400, "", b"x"), (400, "a\nb", b"x"), (400, "x" * 1001, b"x"),
                                       (400, "a", b""), (415, "a", b"no sound"),
                                       (415, "a", self.sounds["one"][:60])):
                self.assertEqual(self.add(server, name, body)[0], status, (name[:9], body[:9]))
            for body in (many_packed(4_000_001), b"startTime,hashKey\n225001,5\n"):
                self.assertEqual(self.add(server, "a", body)[0], 413)
            # Few bytes may ask for all that a reference has, any number of times.
            self.assertEqual(self.add(server, "hot", many_lines(250))[0], 201)
            status, answer = server.recognise(many_packed(90_000))
            self.assertEqual((status, answer["error"]),
                             (413, "it has too much in common with the references"))
            self.assertEqual(server.recognise(many_packed(200))[0], 200)
            self.assertEqual(server.ask("POST", "/v1/references?name=%ff", b"x")[0], 400)
            # Nor by a page of another site that its reader's browser has open.
            path = "/v1/references?name=a"
            for origin, status in (("http://evil.example", 403), ("null", 403),
                                   (server.url, 201)):
                self.assertEqual(server.ask("POST", path, self.sounds["one"], Origin=origin)[0],
                                 status)
            # One server at a time; the other says who it is.
            code, _, messages = run("serve", "--store", "shelf", "--listen", "127.0.0.1:0")
            self.assertEqual(code, 3)
            self.assertIn("shelf: ", messages)
            self.assertIn(f"process {server.process.pid}", messages)
        with Server("--store", "none") as server:
            self.assertEqual(self.add(server, "a", self.sounds["one"])[0], 409)
        pathlib.Path("file").write_text("")
        code, _, messages = run("match", "shelf", "one.wav")
        self.assertEqual(code, 3)
        self.assertIn("shelf: is a store's folder", messages)
        os.mkdir("music")
        pathlib.Path("music/file").write_text("")
        for place in ("file", "file/folder", "none/folder", "music"):
            for verb in (("serve", "--listen", "127.0.0.1:0"), ("push", "db")):
                code, _, messages = run(*verb, "--store", place)
                self.assertEqual(code, 3)
                self.assertIn(f"audiomatch: {place}: ", messages)
        self.assertEqual((os.listdir("music"), os.path.exists("none")), (["file"], False))
        # Left behind by a server that was killed before it had anything.
        os.mkdir("left")
        pathlib.Path("left/references.lock").write_text("4711\n")
        self.assertEqual(run("push", "db", "--store", "left")[0], 0)

    def test_questions_are_answered_while_references_come_and_go(self):
        with Server("--db", "db") as server:
            wrong = []
            done = threading.Event()

            def ask():
                while not done.is_set():
                    answers = self.heard(server, "two"), self.heard(server, "three")
                    if answers[0] != "two" or answers[1] not in (None, "three"):
                        wrong.append(answers)

            threads = [threading.Thread(target=ask) for _ in range(3)]
            for thread in threads:
                thread.start()
            for _ in range(10):
                self.assertEqual(self.add(server, "three", self.sounds["three"])[0], 201)
                self.assertEqual(server.ask("DELETE", "/v1/references/three")[1]["removed"], True)
            done.set()
            for thread in threads:
                thread.join()
            self.assertEqual(wrong, [])


class FaultTest(unittest.TestCase):
    """Whatever fails: nothing is lost that was acknowledged, and no answer is wrong."""

    NAMES = [f"recording {i}" for i in range(20)]

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        self.sounds = {}
        for name in self.NAMES:
            write_wav(f"{name}.wav", noise(name, 6))
            self.sounds[name] = pathlib.Path(f"{name}.wav").read_bytes()
        run("index", "db", *(f"{name}.wav" for name in self.NAMES))
        self.random = random.Random(7)

    def add(self, server, name):
        return server.ask("POST", "/v1/references?name=" + urllib.parse.quote(name),
                          self.sounds[name])[0]

    def heard(self, server, name, query=""):
        """What a recording is, and whether all could be asked."""
        status, answer = server.recognise(self.sounds[name], query)
        self.assertEqual(status, 200)
        return best(answer), answer["partial"]

    def places(self):
        """A folder and a cluster to keep things in."""
        yield "folder"
        with Nodes("cluster") as nodes:
            yield nodes.url

    def assert_same_as_database(self, place, everything):
        """That a store has what the database has, to the entry."""
        with Server("--store", place) as stored, Server("--db", "db", "--store", "none") as file:
            stored.ask("GET", "/v1/references")  # /metrics asks nobody
            held = [[line for line in server.ask("GET", "/metrics")[1].splitlines()
                     if line.startswith("audiomatch_reference")] for server in (stored, file)]
            self.assertEqual(*held)
            for name in self.NAMES:
                answers = [server.recognise(self.sounds[name], "?wait=1")[1]["references"]
                           for server in (stored, file)]
                # Of recordings that agree as much, the first added comes first.
                self.assertEqual(*(answer["candidates"][0] for answer in answers))
                if everything:
                    self.assertEqual(*answers)

    def test_servers_that_are_killed_lose_no_upload(self):
        for place in self.places():
            acknowledged = set()
            for _ in range(6):
                with Server("--store", place) as server:
                    listed = server.ask("GET", "/v1/references")[1]["references"]
                    self.assertLessEqual(acknowledged, {each["name"] for each in listed})
                    end = threading.Timer(self.random.uniform(0, 0.1), server.process.kill)
                    end.start()
                    with contextlib.suppress(OSError, http.client.HTTPException):
                        for name in self.NAMES:
                            if name not in acknowledged:
                                self.assertIn(self.add(server, name), (200, 201))
                                acknowledged.add(name)
                    end.join()
            with Server("--store", place) as server:
                for name in self.NAMES:
                    self.assertIn(self.add(server, name), (200,) if name in acknowledged else (200, 201))
            self.assert_same_as_database(place, everything=False)

    def test_a_push_goes_on_where_it_was_killed(self):
        for place in self.places():
            for end in (signal.SIGKILL, signal.SIGINT) * 3:
                with subprocess.Popen([TOOL, "push", "db", "--store", place],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as push:
                    time.sleep(self.random.uniform(0, 0.3))
                    push.send_signal(end)
            self.assertEqual(run("push", "db", "--store", place)[0], 0)
            self.assertIn("0 references added with 0 entries, 20 ",
                          run("push", "db", "--store", place)[1])
            self.assert_same_as_database(place, everything=True)

    def test_a_master_that_dies_costs_no_answer_for_good(self):
        with Nodes("cluster") as nodes, Server("--store", nodes.url, "--jobs", "8") as server:
            added, wrong, refused = [], [], []
            partial, done = threading.Event(), threading.Event()

            def ask(query):
                while not done.is_set():
                    for name in list(added):
                        answer, is_partial = self.heard(server, name, query)
                        if is_partial and not query:
                            partial.set()
                        if answer != name and (query or not is_partial or answer):
                            wrong.append((name, answer, query))

            def listen():
                number = 0
                while not done.is_set():
                    pairs = [[number * 10 + i, number * 100 + i] for i in range(50)]
                    message = {"name": "Radio", "session": "s", "update": 5, "monitor": 3600,
                               "analyses": [{"number": number, "attributes": pairs}]}
                    if server.send(message)[0] == 200:
                        number += 1
                    else:
                        refused.append(number)
                heard.append(number)

            heard = []
            threads = [threading.Thread(target=ask, args=(query,)) for query in ("", "?wait=1")]
            threads.append(threading.Thread(target=listen))
            for thread in threads:
                thread.start()
            for number, name in enumerate(self.NAMES):
                if number == 5:
                    killed = nodes.masters()[0]
                    nodes.do("kill", killed)
                self.assertEqual(self.add(server, name), 201)
                added.append(name)
            self.assertTrue(partial.is_set())
            nodes.do("restart", killed)
            done.set()
            for thread in threads:
                thread.join()
            self.assertEqual((wrong, refused), ([], []))
            for name in self.NAMES:
                self.assertEqual(self.heard(server, name, "?wait=1"), (name, False))
            for number in range(heard[0]):
                question = json.dumps({"features": [[i, number * 100 + i] for i in range(50)]})
                answer = server.recognise(question, "?wait=1", Content_Type="application/json")[1]
                self.assertEqual(best(answer, "channels"), "Radio", number)

    def fill(self, server):
        """Adds until that is refused; returns what was added, and what wasn't."""
        added = []
        for name in self.NAMES:
            status = self.add(server, name)
            if status != 201:
                break
            added.append(name)
        self.assertEqual(status, 503)
        self.assertTrue(added)
        for each in added:
            self.assertEqual(self.heard(server, each), (each, False))
        self.assertNotEqual(self.heard(server, name)[0], name)
        self.assertNotIn("\naudiomatch_store_errors_total 0\n", server.ask("GET", "/metrics")[1])
        # That it can be read doesn't make it work, however often it is looked at.
        time.sleep(2.5)
        self.assertEqual(server.ask("GET", "/healthz")[1]["store"], "failing")
        return added, name

    def test_a_full_store_says_so_and_goes_on(self):
        limited = ("sh", "-c", 'trap "" XFSZ; ulimit -S -f 1200; exec "$@"', "sh")
        with Server("--store", "folder", by=limited) as server:
            added, name = self.fill(server)
            resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY,) * 2)
            self.assertEqual(self.add(server, name), 201)
            self.assertEqual(server.ask("GET", "/healthz")[1]["store"], "ok")
            server.process.kill()
        with Server("--store", "folder") as server:
            for each in (*added, name):
                self.assertEqual(self.heard(server, each)[0], each)
        with Nodes("redis", "--plain") as nodes, Server("--store", nodes.url) as server:
            self.add(server, self.NAMES[-1])
            used = nodes.tell(1, "info", "memory").split("used_memory:")[1].split()[0]
            nodes.tell(1, "config", "set", "maxmemory", int(used) + 300_000)
            added, name = self.fill(server)
            gone = "/v1/references/" + urllib.parse.quote(added[0])
            self.assertEqual(server.ask("DELETE", gone)[1]["removed"], True)
            self.assertNotEqual(self.heard(server, added[0])[0], added[0])
            nodes.tell(1, "config", "set", "maxmemory", 0)
            self.assertEqual(self.add(server, name), 201)
            self.assertTrue(server.until(
                lambda: server.ask("GET", "/healthz")[1]["store"] == "ok"))

    def test_what_others_did_to_a_store_is_said(self):
        with Server("--store", "folder") as server:
            self.add(server, self.NAMES[0])
        os.truncate("folder/references", os.path.getsize("folder/references") // 2)
        code, _, messages = run("serve", "--store", "folder", "--listen", "127.0.0.1:0")
        self.assertEqual(code, 3)
        self.assertIn("folder/references: damaged", messages)
        with Nodes("redis", "--plain") as nodes, Server("--store", nodes.url) as server:
            for name in self.NAMES[:3]:
                self.add(server, name)
            nodes.tell(1, "flushall")
            self.assertEqual(self.heard(server, self.NAMES[1]), (None, False))
            self.assertEqual(self.add(server, self.NAMES[0]), 201)
            self.assertEqual(self.heard(server, self.NAMES[0]), (self.NAMES[0], False))
            for kind in (("set", "{audiomatch}:names", "x"),
                         ("hset", "{audiomatch}:names", "x", "4294967295:4294967295:1:x")):
                nodes.tell(1, "flushall")
                nodes.tell(1, *kind)
                nodes.tell(1, "set", "{audiomatch}:version", "-".join(kind))
                self.assertEqual(server.recognise(self.sounds[self.NAMES[0]])[0], 503)
                # Whose fault it is, and of which recordings; also of those in a folder.
                for recordings in (f"{self.NAMES[0]}.wav", "."):
                    code, rows, messages = run_json("match", nodes.url, recordings)
                    self.assertEqual(code, 3)
                    self.assertIn(f"audiomatch: {nodes.url}: ", messages)
                    names = {os.path.basename(row["file"]) for row in rows}
                    self.assertLessEqual({f"{self.NAMES[0]}.wav"}, names)
                    self.assertTrue(all(row["error"].startswith(nodes.url) for row in rows))

    def test_a_channel_that_falls_behind_stays_on_air(self):
        with Nodes("redis", "--plain") as nodes, Server("--store", nodes.url) as server:
            # Of what plays for a second each, one every two.
            for number in range(7):
                pairs = [[number * 31 + i % 31, number * 100 + i] for i in range(50)]
                server.send({"name": "Radio", "session": "s", "update": 1, "monitor": 4,
                             "analyses": [{"number": number, "attributes": pairs}]})
                question = json.dumps({"features": [[i % 31, pair[1]] for i, pair in enumerate(pairs)]})
                answer = server.recognise(question, Content_Type="application/json")[1]
                self.assertEqual(best(answer, "channels"), "Radio", number)
                time.sleep(2)


if __name__ == "__main__":
    unittest.main()
