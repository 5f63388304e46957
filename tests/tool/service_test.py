"""What is playing, asked over HTTP, and the listeners behind it: service_test.py AUDIOMATCH"""

import array
import base64
import contextlib
import http.client
import json
import math
import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import tempfile
import time
import unittest
import zlib

from tool_runner import RATE, TOOL, noise, run, run_json, write_wav

TOKEN = "0123456789abcdef"


class Server:
    """A server on a port of its own; gone at the end of its with. `by` starts it."""

    def __init__(self, *arguments, port=0, by=()):
        self.process = subprocess.Popen(
            [*by, TOOL, "serve", "--listen", f"127.0.0.1:{port}", *arguments],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.is_ending = False
        self.url = self.process.stdout.readline().split()[-1]
        self.port = int(self.url.rpartition(":")[2])

    def __enter__(self):
        return self

    def terminate(self):
        """Once: a second signal ends it at once."""
        if not self.is_ending:
            self.process.terminate()
        self.is_ending = True

    def __exit__(self, *_):
        self.terminate()
        self.process.wait(timeout=30)
        self.process.stdout.close()

    def ask(self, method, path, body=None, **headers):
        """The status and what the answer holds."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        with contextlib.closing(connection):
            connection.request(method, path, body,
                               {name.replace("_", "-"): value for name, value in headers.items()})
            answer = connection.getresponse()
            text = answer.read()
            return answer.status, json.loads(text) if text.startswith(b"{") else text.decode()

    def recognise(self, body, query="", **headers):
        return self.ask("POST", "/v1/recognise" + query, body, **headers)

    def send(self, message, channel=7):
        """A listener's message."""
        return self.ask("POST", f"/v1/channels/{channel}", json.dumps(message),
                        Content_Type="application/json")

    def raw(self, request):
        """What comes of bytes until the connection is closed."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=30) as client:
            client.sendall(request)
            with contextlib.suppress(ConnectionResetError):
                return b"".join(iter(lambda: client.recv(65536), b""))

    def until(self, condition):
        """Waits for what comes by itself."""
        deadline = time.monotonic() + 30
        while not (result := condition()) and time.monotonic() < deadline:
            time.sleep(0.05)
        return result


MOST_FEATURES = 100_000


def many(count):
    """Features as JSON."""
    return json.dumps({"features": [[i, 5] for i in range(count)]}, separators=",:").encode()


def many_lines(count):
    return b"startTime,hashKey\n" + b"".join(b"%d,5\n" % i for i in range(count))


def many_packed(count):
    """The same as the few bytes of a fingerprint, as docs/fingerprint-format.md has it."""
    number = lambda n: bytes([n]) if n < 128 else bytes([n & 127 | 128]) + number(n >> 7)
    head = b"AMFP\x01" + number(0) + number(count) + zlib.compress(b"\x01\x05" * count)
    return head + struct.pack("<I", zlib.crc32(head))


def attributes(pairs, later):
    return [[(time + later) % 16384, key] for time, key in pairs]


class ServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        self.recordings = {name: noise(name, 20) for name in ("one", "two", "three")}
        for name in ("one", "two"):
            write_wav(f"{name}.wav", self.recordings[name])
        run("index", "db", "one.wav", "two.wav")
        write_wav("heard.wav", self.recordings["two"][6 * RATE : 12 * RATE])

    def test_a_recording_is_recognised_in_every_form(self):
        heard = pathlib.Path("heard.wav").read_bytes()
        fingerprint = run("features", "heard.wav", "--base64")[1]
        features = run_json("features", "heard.wav")[1]
        pairs = [[feature["startTime"], feature["hashKey"]] for feature in features]
        with Server("--db", "db") as server:
            answers = [
                server.recognise(heard),
                server.recognise(heard[44:], f"?rate={RATE}&channels=1&format=s16le"),
                server.recognise(fingerprint),
                server.recognise(json.dumps({"features": pairs}), Content_Type="application/json"),
            ]
            for status, answer in answers:
                self.assertEqual((status, answer["kind"]), (200, "recognised"))
                self.assertEqual(answer["features"], len(pairs))
                best = answer["references"]["candidates"][0]
                self.assertEqual(best["name"], "two")
                self.assertAlmostEqual(best["position"], 6.0, delta=0.1)
            # A drawing shows the same, of a fingerprint too.
            drawings = [server.recognise(body, "?drawing=1")[1]["drawing"]
                        for body in (heard, fingerprint)]
            self.assertEqual(drawings[0]["hits"], drawings[1]["hits"])
            self.assertEqual((drawings[1]["spectrogram"], drawings[1]["peaks"]), (None, []))
            hits = drawings[0]["hits"]
            self.assertEqual((hits["of"], hits["name"]), ("references", "two"))
            self.assertEqual(len(hits["agreeing"]), best["agreeing"])
            self.assertEqual(len(hits["agreeing"]) + len(hits["others"]), best["hits"])
            for frame, _, target, _, seconds in hits["agreeing"]:
                self.assertAlmostEqual(seconds - frame * 0.032, 6.0, delta=0.2)
                self.assertTrue(frame <= target < frame + 64)
            # What the tool says of it.
            row, = run_json("match", "db", "heard.wav")[1]
            self.assertEqual((best["agreeing"], answers[0][1]["references"]["level"]),
                             (row["agreeing"], row["level"]))
            # Unknown, silent, and too short to have a feature.
            for samples, kind in ((self.recordings["three"][: 6 * RATE], "unknown"),
                                  (array.array("h", bytes(8 * RATE)), "silence"),
                                  (self.recordings["one"][:400], "no features")):
                self.assertEqual(server.recognise(samples.tobytes(), f"?rate={RATE}")[1]["kind"], kind)

    def test_the_spectrogram_of_a_drawing(self):
        for seconds, columns, per_column in ((10, 311, 1), (60, 937, 2)):
            # A tone of 1 kHz lies in bin 64; noise a hundred times weaker has peaks.
            tone = array.array("h", (int(10_000 * math.sin(math.pi * i / 4)) + sample // 300
                                     for i, sample in enumerate(noise("hiss", seconds))))
            with Server() as server:
                drawing = server.recognise(tone.tobytes(), f"?rate={RATE}&drawing=1")[1]["drawing"]
            found = drawing["spectrogram"]
            levels = base64.b64decode(found["levels"])
            # Frames of 512 samples every 256.
            self.assertEqual(found["frames"], (seconds * RATE - 512) // 256 + 1)
            self.assertEqual((found["columns"], found["frames_per_column"], found["bins"]),
                             (columns, per_column, 257))
            self.assertEqual(len(levels), 257 * columns)
            for column in range(columns):
                rows = levels[257 * column : 257 * (column + 1)]
                self.assertEqual(rows.index(max(rows)), 64)
            self.assertEqual(max(levels), 255)
            self.assertTrue(any(abs(bin - 64) < 3 for _, bin in drawing["peaks"]))
            self.assertTrue(all(frame < found["frames"] for frame, _ in drawing["peaks"]))
            self.assertIsNone(drawing["hits"])

    def test_what_cannot_be_done_is_said(self):
        as_json = {"Content_Type": "application/json"}
        with Server("--db", "db") as server:
            write_wav("long.wav", array.array("h", bytes(2 * 61 * RATE)))
            cases = (
                (415, ("POST", "/v1/recognise", b"no sound at all")),
                (400, ("POST", "/v1/recognise", b"")),
                (400, ("POST", "/v1/recognise?rate=7", b"xx")),
                (400, ("POST", "/v1/recognise?format=../../etc/passwd", b"xx")),
                (413, ("POST", "/v1/recognise", pathlib.Path("long.wav").read_bytes())),
                (413, ("POST", "/v1/recognise", bytes((32 << 20) + 1))),
                (404, ("GET", "/etc/passwd")), (405, ("GET", "/v1/recognise")),
                (400, ("DELETE", "/v1/channels/seven")), (400, ("DELETE", "/v1/channels/4294967295")),
                (400, ("POST", "/v1/recognise?drawing=yes", b"startTime,hashKey\n1,5\n")),
                (400, ("POST", "/v1/recognise?wiat=1", b"xx")),
                (415, ("POST", "/v1/channels/7", b"{}")), (400, ("GET", "/%zz")),
                (400, ("POST", "/v1/channels/7", b"[1]", as_json)),
                (413, ("POST", "/v1/recognise", b"[" * 1000, as_json)),
                (413, ("POST", "/v1/recognise", many(MOST_FEATURES + 1), as_json)),
                (413, ("POST", "/v1/recognise", many_lines(MOST_FEATURES + 1))),
                (413, ("POST", "/v1/recognise", many_packed(MOST_FEATURES + 1))),
                (415, ("POST", "/v1/recognise", b'{"startTime":[' + b"{}," * 400)),
                (400, ("POST", "/v1/recognise", b'{"features":[[1,5]],"seconds":-1}', as_json)),
                (411, ("POST", "/v1/recognise", iter([b"chunked"]))),
            )
            for expected, request in cases:
                headers = request[3] if len(request) > 3 else {}
                status, answer = server.ask(*request[:3], **headers)
                self.assertEqual((status, list(answer)), (expected, ["error", "version"]), request[:2])
            # Its sender learns what to do.
            for hint, headers in (("Content-Type: application/json", {}),
                                  ("--data-binary", {"Content_Type": "multipart/form-data; boundary=x"})):
                answer = server.recognise(b'{"features":[[1,5]]}', **headers)
                self.assertEqual(answer[0], 415)
                self.assertIn(hint, answer[1]["error"])
            json_body = json.dumps({"features": [[1, 1 << 20]]})
            self.assertEqual(server.recognise(json_body, **as_json)[0], 400)
            # As much as a question may hold is taken.
            for body in (many(MOST_FEATURES), many_lines(MOST_FEATURES), many_packed(MOST_FEATURES)):
                headers = as_json if body.startswith(b'{"f') else {}
                self.assertEqual(server.recognise(body, **headers)[1]["features"], MOST_FEATURES)
            # A few bytes that stand for hours.
            for rate, seconds, problem in ((48000, 600, "samples"), (96000, 50, "samples"), (8000, 61, "seconds")):
                subprocess.run(["sox", "-n", "-r", str(rate), "-c", "8", "bomb.flac", "trim", "0", str(seconds)],
                               check=True)
                status, answer = server.recognise(pathlib.Path("bomb.flac").read_bytes())
                self.assertEqual(status, 413)
                self.assertIn(problem, answer["error"])
            # Whoever goes away in the middle, or never begins, harms nobody.
            for request in (b"", b"POST /v1/reco", b"\x16\x03\x01garbage\r\n\r\n",
                            b"POST /v1/recognise HTTP/1.1\r\nContent-Length: 9000\r\n\r\nabc"):
                with socket.create_connection(("127.0.0.1", server.port)) as client:
                    client.sendall(request)
            with contextlib.ExitStack() as silent:
                for _ in range(1100):
                    silent.enter_context(socket.create_connection(("127.0.0.1", server.port)))
                status, _ = server.ask("GET", "/healthz")
                self.assertIn(status, (200, 503))
            self.assertTrue(server.until(lambda: server.ask("GET", "/healthz")[0] == 200))
            metrics = server.ask("GET", "/metrics")[1]
            self.assertIn('audiomatch_requests_total{route="/v1/recognise",status="415"} 4', metrics)
        self.assertEqual(server.process.returncode, 0)

    def test_odd_heads(self):
        whole = b"GET /healthz HTTP/1.1\r\n\r\n"
        with Server() as server:
            cases = (
                # A length that is told otherwise would let the body pass for requests.
                (b"POST /v1/recognise HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n" + whole,
                 [b"411"], b"must be given"),
                (b"HEAD /healthz HTTP/1.1\r\n\r\n\1garbage\r\n\r\n", [b"200", b"400"], b"not an HTTP"),
                (b"GET HTTP://x/healthz?a HTTP/1.1\r\nConnection: close\r\n\r\n", [b"200"], b"ok"),
                (b"PUT /v1/channels/7 HTTP/1.1\r\nConnection: close\r\n\r\n", [b"405"],
                 b"Allow: POST, DELETE\r\n"),
                (b"POST /v1/recognise HTTP/1.0\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\nabc",
                 [b"415"], b"abc"[:0]),
            )
            for request, statuses, holds in cases:
                answer = server.raw(request)
                self.assertEqual(re.findall(rb"HTTP/1.1 (\d+)", answer), statuses, request)
                self.assertIn(holds, answer)

    def test_a_name_that_leads_here_is_no_name_of_its_own(self):
        with Server() as server:
            for host, status in (("localhost:8080", 200), ("LOCALHOST", 200), ("[::1]:80", 200),
                                 ("127.0.0.1", 200), ("rebound.example:8080", 403),
                                 ("127.0.0.1.example", 403)):
                self.assertEqual(server.ask("GET", "/v1/channels", Host=host)[0], status, host)
                self.assertEqual(server.ask("GET", "/healthz", Host=host)[0], 200)
        pathlib.Path("token").write_text(TOKEN)
        with Server("--token-file", "token") as server:
            self.assertEqual(server.ask("GET", "/v1/channels", Host="behind.example")[0], 200)

    def test_one_client_takes_no_other_ones_room(self):
        message = {"name": "a", "session": "s", "update": 1, "monitor": 10,
                   "analyses": [{"number": 0, "attributes": [[1, 2]]}]}
        with Server("--db", "db") as server, contextlib.ExitStack() as idle:
            for path in ("recognise", "channels/8"):
                for _ in range(40):
                    client = idle.enter_context(socket.create_connection(("127.0.0.1", server.port)))
                    length = (32 if path == "recognise" else 4) << 20
                    client.sendall(f"POST /v1/{path} HTTP/1.1\r\nContent-Length: {length}\r\n\r\n12"
                                   .encode())
            self.assertEqual(server.recognise(pathlib.Path("heard.wav").read_bytes())[0], 200)
            self.assertEqual(server.send(message)[0], 200)
            # Nor do they keep it from ending.
            server.terminate()
            self.assertEqual(server.process.wait(timeout=30), 0)

    def test_what_cannot_be_served(self):
        with open("/dev/full", "w") as full:
            self.assertEqual(subprocess.run([TOOL, "serve", "--listen", "127.0.0.1:0"], stdout=full,
                                            stderr=subprocess.DEVNULL, timeout=60).returncode, 3)
        files = subprocess.run(["prlimit", "--nofile=64", TOOL, "serve", "--listen", "127.0.0.1:0"],
                               capture_output=True, timeout=60)
        self.assertEqual((files.returncode, files.stdout), (3, b""))
        self.assertIn(b"ulimit -n", files.stderr)
        # What is under way goes on after a signal, but not after two.
        with Server() as server:
            taken = run("serve", "--store", "none", "--listen", f"127.0.0.1:{server.port}")
            self.assertEqual(taken[0], 3)
            self.assertIn(f"127.0.0.1:{server.port}: can't listen there", taken[2])
            with socket.create_connection(("127.0.0.1", server.port)) as client:
                client.sendall(b"POST /v1/recognise HTTP/1.1\r\nContent-Length: 9\r\n\r\n")
                self.assertEqual(server.ask("GET", "/healthz")[0], 200)
                server.terminate()
                server.process.send_signal(signal.SIGINT)
                self.assertIn(server.process.wait(timeout=30), (-signal.SIGINT, -signal.SIGTERM))

    def test_wrong_usage_is_told_with_its_option(self):
        serve = ("serve", "--store", "none")
        listen = ("listen", "one.wav", "--id", "1", "--name", "x", "--to", "http://127.0.0.1:1")
        cases = {
            "--listen": [(*serve, "--listen", address)
                         for address in ("nonsense", "localhost", "localhost:", "127.0.0.1:65536",
                                         "example.org:80", ":80", "[::1:80")],
            "--store": [(*verb, "--store", place) for verb in (("serve",), ("push", "db"))
                        for place in ("http://localhost", "rediss://localhost", "redis://",
                                      "redis://localhost:x", "")] + [("push", "db", "--store", "none")],
            "--to": [(*listen[:-1], url)
                     for url in ("127.0.0.1:1", "ftp://127.0.0.1", "http://", "http://:1",
                                 "http://127.0.0.1:x", "http://127.0.0.1:65536",
                                 "http://127.0.0.1/v1", "http://127.0.0.1/?", "http://a:b@127.0.0.1",
                                 "redis://", "redis://127.0.0.1:x", "")],
            "--name": [(*listen, "--name", name) for name in ("", "x" * 1001)],
            "--monitor": [(*listen, "--monitor", seconds) for seconds in ("0", "3601")],
            "--update": [(*listen, "--update", seconds) for seconds in ("0", "6")],
            "--db": [("serve", "--db", "redis://127.0.0.1:1")],
            "DB": [(*verb.split(), "redis://:secret@127.0.0.1:1", *more) for verb, *more in (
                ("list",), ("info",), ("check",), ("add", "one.wav"), ("index", "one.wav"),
                ("remove", "one"), ("rename", "one", "two"), ("merge", "db"),
                ("push", "--store", "folder"))],
        }
        for option, commands in cases.items():
            for command in commands:
                code, output, messages = run(*command)
                self.assertEqual((code, output), (2, ""), command)
                self.assertTrue(messages.startswith(f"audiomatch: {option}: "), (command, messages))
                self.assertNotIn("secret", messages)
        self.assertEqual(sorted(os.listdir()), ["db", "db.catalogue.json", "heard.wav", "one.wav",
                                                "two.wav"])

    def test_localhost_is_an_address(self):
        with subprocess.Popen([TOOL, "serve", "--db", "db", "--listen", "localhost:0"], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as server:
            self.assertRegex(server.stdout.readline(), r"^listening on http://127\.0\.0\.1:\d+$")
            self.assertIn("2 references of db, 0 references of the store db.store",
                          server.stderr.readline())
            server.terminate()
        self.assertEqual(server.returncode, 0)

    def test_what_is_under_way_is_finished(self):
        minute = noise("minute", 60).tobytes()
        with Server("--db", "db", "--jobs", "1") as server:
            connections = [http.client.HTTPConnection("127.0.0.1", server.port) for _ in range(8)]
            for connection in connections:
                connection.request("POST", f"/v1/recognise?rate={RATE}", minute)
            # Each has arrived when the first is answered, as they are answered in turn.
            self.assertEqual(server.recognise(b"no sound")[0], 415)
            server.terminate()
            answers = [connection.getresponse() for connection in connections]
            self.assertEqual([json.loads(answer.read()).get("kind") for answer in answers],
                             ["unknown"] * 8)
            for connection in connections:
                connection.close()
        self.assertEqual(server.process.returncode, 0)

    def test_tokens(self):
        pathlib.Path("token").write_text(TOKEN + "\n")
        pathlib.Path("reading").write_text(TOKEN[::-1])
        pathlib.Path("short").write_text("secret")
        self.assertEqual(run("serve", "--token-file", "short")[0], 3)
        pathlib.Path("long").write_text(TOKEN + " " * 5000 + TOKEN)
        refused = run("serve", "--token-file", "long")
        self.assertEqual(refused[0], 3)
        self.assertIn("long: holds more than 4096 bytes", refused[2])
        with Server("--token-file", "token", "--read-token-file", "reading") as server:
            for token, reads, changes in (("", 401, 401), (TOKEN, 200, 200), (TOKEN[::-1], 200, 401)):
                headers = {"Authorization": f"Bearer {token}"} if token else {}
                self.assertEqual(server.ask("GET", "/v1/channels", **headers)[0], reads)
                self.assertEqual(server.ask("DELETE", "/v1/channels/7", **headers)[0], changes)
                self.assertEqual(server.ask("DELETE", "/v1/channels/7", Authorization=f"bearer {token}")[0],
                                 changes)
            self.assertEqual(server.ask("GET", "/healthz")[0], 200)
            refused = run("listen", "--to", server.url, "--id", "1", "--name", "x", "one.wav")
            self.assertEqual(refused[0], 3)
            self.assertIn("the server refuses: needs a token", refused[2])
        for token, warned in (((), True), (("--read-token-file", "reading"), False)):
            process = subprocess.Popen([TOOL, "serve", "--listen", "0.0.0.0:0", *token], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, text=True)
            process.stdout.readline()
            process.terminate()
            self.assertEqual("whoever reaches it may change" in process.communicate(timeout=30)[1], warned)
        with Server("--read-token-file", "reading") as server:
            self.assertEqual(server.ask("DELETE", "/v1/channels/7")[0], 401)
            self.assertEqual(server.ask("DELETE", "/v1/channels/7", Authorization=f"Bearer {TOKEN[::-1]}")[0], 200)

    def listen(self, url, *arguments, stderr=subprocess.DEVNULL):
        process = subprocess.Popen([TOOL, "listen", "--to", url, "--id", "7", "--name", "Seven",
                                    *arguments], stdin=subprocess.PIPE, stderr=stderr)
        self.addCleanup(process.stdin.close)
        self.addCleanup(process.kill)
        return process

    def test_a_channel_is_followed_through_a_restart(self):
        raw = ("--rate", str(RATE), "--monitor", "30")
        heard = pathlib.Path("heard.wav").read_bytes()
        found = lambda: (server.recognise(heard)[1]["channels"]["candidates"] or [{}])[0]
        with Server() as server:
            listener = self.listen(server.url, *raw, stderr=subprocess.PIPE)
            self.addCleanup(listener.stderr.close)
            listener.stdin.write(self.recordings["two"].tobytes())
            listener.stdin.flush()
            self.assertTrue(server.until(lambda: found().get("name") == "Seven"))
            port = server.port
        said = lambda text: next(line for line in listener.stderr if text in line)
        # While nobody is there, it plays on; no analysis is lost.
        listener.stdin.write(self.recordings["one"].tobytes())
        listener.stdin.flush()
        self.assertIn(b"http://127.0.0.1:%d: can't be reached: " % port, said(b"; trying again"))
        with Server(port=port) as server:
            heard = pathlib.Path("one.wav").read_bytes()[44 + 10 * RATE : 44 + 22 * RATE]
            heard = array.array("h", heard)
            heard = pathlib.Path("heard.wav").read_bytes()[:44] + heard.tobytes()
            self.assertTrue(server.until(lambda: found().get("name") == "Seven"))
            self.assertIn(b"http://127.0.0.1:%d: " % port, said(b"is back"))
            # An end is told at once.
            listener.stdin.close()
            self.assertEqual(listener.wait(timeout=30), 0)
            self.assertEqual(server.ask("GET", "/v1/channels")[1]["channels"], [])

    def test_raw_samples_want_to_be_told_of(self):
        with Server() as server:
            for verb in (("listen", "--to", server.url, "--id", "7", "--name", "Seven"),
                         ("match", "db")):
                code, _, messages = run(*verb, "-", stdin=self.recordings["one"].tobytes())
                self.assertEqual(code, 3)
                self.assertIn("standard input: not audio", messages)
                self.assertIn("for raw samples give --rate", messages)

    def test_a_dead_listener_leaves_by_itself(self):
        with Server() as server:
            listener = self.listen(server.url, "--rate", str(RATE), "--monitor", "2")
            listener.stdin.write(self.recordings["two"].tobytes())
            listener.stdin.flush()
            on_air = lambda: server.ask("GET", "/v1/channels")[1]["channels"]
            self.assertTrue(server.until(on_air))
            listener.send_signal(signal.SIGKILL)
            self.assertTrue(server.until(lambda: not on_air()))

    def test_a_channel_belongs_to_one_session(self):
        def message(session, number):
            return {"name": session, "session": session, "update": 1, "monitor": 10,
                    "analyses": [{"number": number, "attributes": [[1, 2]]}]}

        with Server() as server:
            names = lambda: [channel["name"]
                             for channel in server.ask("GET", "/v1/channels")[1]["channels"]]
            listener = self.listen(server.url, "--rate", str(RATE), stderr=subprocess.PIPE)
            listener.stdin.write(self.recordings["two"][: 6 * RATE].tobytes())
            listener.stdin.flush()
            self.assertTrue(server.until(lambda: names() == ["Seven"]))
            for session in ("a", "b"):
                self.assertEqual(server.send(message(session, 0))[0], 200)
            # Whoever was replaced is told so for good, and takes nothing off air.
            listener.stdin.write(self.recordings["one"][: 2 * RATE].tobytes())
            listener.stdin.flush()
            self.assertEqual(listener.wait(timeout=30), 3)
            self.assertIn(b"another listener has taken the channel over", listener.stderr.read())
            listener.stderr.close()
            self.assertEqual(server.send(message("a", 1))[0], 409)
            self.assertEqual(server.ask("DELETE", "/v1/channels/7?session=a")[1]["ended"], False)
            self.assertEqual(names(), ["b"])
            self.assertEqual(server.send(message("b", 1))[0], 200)
            self.assertEqual(server.ask("DELETE", "/v1/channels/7?session=b")[1]["ended"], True)
            # A message is bounded as a whole, a session by itself.
            for change in ({"session": "s" * 65}, {"analyses": [{"number": 0, "attributes": [[1]]}]},
                           {"monitor": 3601}):
                self.assertEqual(server.send(message("a", 2) | change)[0], 400)
            for analyses in ([{"number": i, "attributes": []} for i in range(257)],
                             [{"number": 0, "attributes": [[1, 2]] * 100_001}]):
                self.assertEqual(server.send(message("a", 2) | {"analyses": analyses})[0], 413)

    def test_a_message_counts_once(self):
        pairs = [[feature["startTime"], feature["hashKey"]]
                 for feature in run_json("features", "heard.wav", "--single-pass")[1]]
        message = {"name": "Seven", "session": "a", "update": 1, "monitor": 10,
                   "analyses": [{"number": 3, "attributes": attributes(pairs, 96)}]}
        with Server() as server:
            for _ in range(2):
                self.assertEqual(server.send(message)[0], 200)
            channel, = server.ask("GET", "/v1/channels")[1]["channels"]
            self.assertEqual((channel["id"], channel["attributes"]), (7, len(pairs)))
            answer = server.recognise(pathlib.Path("heard.wav").read_bytes())[1]
            self.assertEqual((answer["kind"], answer["references"]), ("recognised", None))
            best = answer["channels"]["candidates"][0]
            self.assertEqual(best["id"], 7)
            # Time code 96 and the latest analysis are the same time; it lasts 5 s.
            self.assertAlmostEqual(best["seconds_ago"], 5.0, delta=0.1)
            hits = server.recognise(pathlib.Path("heard.wav").read_bytes(), "?drawing=1")[1][
                "drawing"]["hits"]
            self.assertEqual((hits["of"], hits["name"]), ("channels", "Seven"))
            self.assertEqual(len(hits["agreeing"]), best["agreeing"])
            for frame, _, _, _, seconds in hits["agreeing"]:
                # A channel's second has 32 frames.
                self.assertAlmostEqual(seconds, max(5.0 - frame / 32, 0.0), delta=0.2)
            # A new session begins anew.
            message.update(session="b", analyses=[])
            message["analyses"] = [{"number": 0, "attributes": []}]
            server.send(message)
            self.assertEqual(server.ask("GET", "/v1/channels")[1]["channels"][0]["attributes"], 0)
            self.assertEqual(server.ask("DELETE", "/v1/channels/7")[1]["ended"], True)


if __name__ == "__main__":
    unittest.main()
