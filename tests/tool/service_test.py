"""What is playing, asked over HTTP, and the listeners behind it: service_test.py AUDIOMATCH"""

import array
import contextlib
import http.client
import json
import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from tool_runner import RATE, TOOL, noise, run, run_json, write_wav

TOKEN = "0123456789abcdef"


class Server:
    """A server on a port of its own; gone at the end of its with."""

    def __init__(self, *arguments, port=0):
        self.process = subprocess.Popen([TOOL, "serve", "--listen", f"127.0.0.1:{port}", *arguments],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = self.process.stdout.readline().split()[-1]
        self.port = int(self.url.rpartition(":")[2])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
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

    def until(self, condition):
        """Waits for what comes by itself."""
        deadline = time.monotonic() + 30
        while not (result := condition()) and time.monotonic() < deadline:
            time.sleep(0.05)
        return result


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
            # What the tool says of it.
            row, = run_json("match", "db", "heard.wav")[1]
            self.assertEqual((best["agreeing"], answers[0][1]["references"]["level"]),
                             (row["agreeing"], row["level"]))
            # Unknown, silent, and too short to have a feature.
            for samples, kind in ((self.recordings["three"][: 6 * RATE], "unknown"),
                                  (array.array("h", bytes(8 * RATE)), "silence"),
                                  (self.recordings["one"][:400], "no features")):
                self.assertEqual(server.recognise(samples.tobytes(), f"?rate={RATE}")[1]["kind"], kind)

    def test_what_cannot_be_done_is_said(self):
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
                (404, ("DELETE", "/v1/channels/seven")), (404, ("DELETE", "/v1/channels/4294967295")),
                (400, ("POST", "/v1/channels/7", b"[1]")), (400, ("GET", "/%zz")),
                (411, ("POST", "/v1/recognise", iter([b"chunked"]))),
            )
            for expected, request in cases:
                status, answer = server.ask(*request)
                self.assertEqual((status, list(answer)), (expected, ["error", "version"]), request[:2])
            json_body = json.dumps({"features": [[1, 1 << 20]]})
            self.assertEqual(server.recognise(json_body, Content_Type="application/json")[0], 400)
            # A few bytes that stand for hours.
            subprocess.run(["sox", "-n", "-r", "48000", "-c", "8", "bomb.flac", "trim", "0", "600"],
                           check=True)
            self.assertEqual(server.recognise(pathlib.Path("bomb.flac").read_bytes())[0], 413)
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
            self.assertIn('audiomatch_requests_total{route="/v1/recognise",status="415"} 1', metrics)
        self.assertEqual(server.process.returncode, 0)

    def test_what_is_under_way_is_finished(self):
        minute = noise("minute", 60).tobytes()
        with Server("--db", "db", "--jobs", "1") as server:
            connections = [http.client.HTTPConnection("127.0.0.1", server.port) for _ in range(8)]
            for connection in connections:
                connection.request("POST", f"/v1/recognise?rate={RATE}", minute)
            # Each has arrived when the first is answered, as they are answered in turn.
            self.assertEqual(server.ask("GET", "/healthz")[0], 200)
            server.process.terminate()
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
        with Server("--token-file", "token", "--read-token-file", "reading") as server:
            for token, reads, changes in (("", 401, 401), (TOKEN, 200, 200), (TOKEN[::-1], 200, 401)):
                headers = {"Authorization": f"Bearer {token}"} if token else {}
                self.assertEqual(server.ask("GET", "/v1/channels", **headers)[0], reads)
                self.assertEqual(server.ask("DELETE", "/v1/channels/7", **headers)[0], changes)
            self.assertEqual(server.ask("GET", "/healthz")[0], 200)
            refused = run("listen", "--to", server.url, "--id", "1", "--name", "x", "one.wav")
            self.assertEqual(refused[0], 3)
            self.assertIn("the server refuses: needs a token", refused[2])

    def listen(self, url, *arguments):
        process = subprocess.Popen([TOOL, "listen", "--to", url, "--id", "7", "--name", "Seven",
                                    *arguments], stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(process.stdin.close)
        self.addCleanup(process.kill)
        return process

    def test_a_channel_is_followed_through_a_restart(self):
        raw = ("--rate", str(RATE), "--monitor", "30")
        heard = pathlib.Path("heard.wav").read_bytes()
        found = lambda: (server.recognise(heard)[1]["channels"]["candidates"] or [{}])[0]
        with Server() as server:
            listener = self.listen(server.url, *raw)
            listener.stdin.write(self.recordings["two"].tobytes())
            listener.stdin.flush()
            self.assertTrue(server.until(lambda: found().get("name") == "Seven"))
            port = server.port
        # While nobody is there, it plays on; no analysis is lost.
        listener.stdin.write(self.recordings["one"].tobytes())
        listener.stdin.flush()
        time.sleep(0.5)
        with Server(port=port) as server:
            heard = pathlib.Path("one.wav").read_bytes()[44 + 10 * RATE : 44 + 22 * RATE]
            heard = array.array("h", heard)
            heard = pathlib.Path("heard.wav").read_bytes()[:44] + heard.tobytes()
            self.assertTrue(server.until(lambda: found().get("name") == "Seven"))
            # An end is told at once.
            listener.stdin.close()
            self.assertEqual(listener.wait(timeout=30), 0)
            self.assertEqual(server.ask("GET", "/v1/channels")[1]["channels"], [])

    def test_a_dead_listener_leaves_by_itself(self):
        with Server() as server:
            listener = self.listen(server.url, "--rate", str(RATE), "--monitor", "2")
            listener.stdin.write(self.recordings["two"].tobytes())
            listener.stdin.flush()
            on_air = lambda: server.ask("GET", "/v1/channels")[1]["channels"]
            self.assertTrue(server.until(on_air))
            listener.send_signal(signal.SIGKILL)
            self.assertTrue(server.until(lambda: not on_air()))

    def test_a_message_counts_once(self):
        pairs = [[feature["startTime"], feature["hashKey"]]
                 for feature in run_json("features", "heard.wav", "--single-pass")[1]]
        message = {"name": "Seven", "session": "a", "update": 1, "monitor": 10,
                   "analyses": [{"number": 3, "attributes": attributes(pairs, 96)}]}
        with Server() as server:
            for _ in range(2):
                self.assertEqual(server.ask("POST", "/v1/channels/7", json.dumps(message))[0], 200)
            channel, = server.ask("GET", "/v1/channels")[1]["channels"]
            self.assertEqual((channel["id"], channel["attributes"]), (7, len(pairs)))
            answer = server.recognise(pathlib.Path("heard.wav").read_bytes())[1]
            self.assertEqual((answer["kind"], answer["references"]), ("recognised", None))
            best = answer["channels"]["candidates"][0]
            self.assertEqual(best["id"], 7)
            # Time code 96 and the latest analysis are the same time; it lasts 5 s.
            self.assertAlmostEqual(best["seconds_ago"], 5.0, delta=0.1)
            # A new session begins anew.
            message.update(session="b", analyses=[])
            message["analyses"] = [{"number": 0, "attributes": []}]
            server.ask("POST", "/v1/channels/7", json.dumps(message))
            self.assertEqual(server.ask("GET", "/v1/channels")[1]["channels"][0]["attributes"], 0)
            self.assertEqual(server.ask("DELETE", "/v1/channels/7")[1]["ended"], True)


if __name__ == "__main__":
    unittest.main()
