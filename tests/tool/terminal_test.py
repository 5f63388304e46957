"""The tool on a terminal, and its messages: terminal_test.py AUDIOMATCH"""

import fcntl
import os
import pathlib
import pty
import re
import struct
import subprocess
import tempfile
import termios
import unicodedata
import unittest

from tool_runner import TOOL, json_lines, noise, run, run_json, write_wav

ODD = os.fsdecode(b"\x1b[31mred\nline \xff.wav")  # a name that would colour and break the line


def width(text):
    return sum(0 if unicodedata.combining(c) else 2 if unicodedata.east_asian_width(c) in "WF" else 1
               for c in text)


class Screen:
    """What a terminal of so many columns shows of what is written to it."""

    def __init__(self, columns):
        self.columns, self.lines, self.place = columns, [""], 0
        self.statuses = []  # what stood in the last line when it was taken back

    def write(self, text):
        for piece in re.findall(r"\x1b\[K|\r|\n|[^\x1b\r\n]+|\x1b", text):
            line = self.lines[-1]
            if piece == "\x1b":
                raise AssertionError("an escape that isn't the tool's own")
            if piece == "\x1b[K":
                self.statuses += [line] if line else []
                self.lines[-1] = line[: self.place]
            elif piece == "\r":
                self.place = 0
            elif piece == "\n":
                self.lines.append("")
                self.place = 0
            else:
                self.lines[-1] = line[: self.place] + piece
                self.place += len(piece)

    def too_wide(self):
        """Lines that don't fit, but for sentences, which may go on in the next line."""
        return [line for line in self.lines + self.statuses if width(line) > self.columns
                and not re.match("audiomatch: |much.db: |db: ", line)]


def on_terminal(columns, *arguments, environment=()):
    """Runs the tool on a terminal; returns its exit code and the screen."""
    screen = Screen(columns)
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    with subprocess.Popen([TOOL, *arguments], stdin=theirs, stdout=theirs, stderr=theirs,
                          env={**os.environ, "TERM": "xterm", **dict(environment)}) as process:
        os.close(theirs)
        written = b""
        try:
            while piece := os.read(ours, 4096):
                written += piece
        except OSError:  # how the end of the other side shows
            pass
        os.close(ours)
        code = process.wait(timeout=60)
    screen.write(written.decode().replace("\r\n", "\n"))
    return code, screen


class TerminalTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        os.mkdir("music")
        self.names = ["日本語の長い題名と長い副題.wav", "a rather long name of a recording.wav", "b.wav"]
        for name in [*self.names, ODD]:
            write_wav(f"music/{name}", noise(ascii(name), 8))
        pathlib.Path("music/notes.txt").write_text("no music")

    def test_narrow_and_wide_terminals_and_pipes(self):
        code, index = on_terminal(40, "index", "db", "music")
        self.assertEqual((code, index.too_wide()), (0, []))
        shown = "\n".join(index.lines)
        self.assertIn("notes.txt", shown)
        files = [f"music/{name}" for name in [*self.names, ODD]]
        for columns in (40, 60, 200):
            code, match = on_terminal(columns, "match", "db", *files)
            self.assertEqual((code, match.too_wide()), (0, []), columns)
        # Names are whole where there is room, and the line is in one piece.
        for name in self.names:
            self.assertEqual(sum(f"music/{name}" in line for line in match.lines), 1)
        self.assertIn(r"\x1b[31mred\nline \xff", "\n".join(match.lines))
        piped = run("match", "db", *files)[1]
        self.assertEqual(len(piped.splitlines()), 1 + len(files))
        for name in self.names:
            self.assertIn(f"music/{name}  ", piped)
        self.assertNotRegex(piped, "[\x1b\t…]")

    def test_progress_is_drawn_and_leaves_nothing(self):
        os.mkdir("much")
        for number in range(12):
            write_wav(f"much/{number}.wav", noise(number, 60))
        for columns in (40, 200):
            code, screen = on_terminal(columns, "index", "much.db", "much", "--jobs", "1",
                                        "--replace")
            self.assertEqual((code, screen.too_wide()), (0, []))
            bars = [status for status in screen.statuses if re.search(r"\d+/12", status)]
            self.assertGreater(len(bars), 1)
            shares = [int(re.search(r"(\d+)%", bar)[1]) for bar in bars]
            self.assertEqual(shares, sorted(shares))
            for bar in bars:
                self.assertLess(len(bar), columns)
            self.assertNotRegex("\n".join(screen.lines), r"/12|%")
        self.assertEqual(run("index", "much.db", "much", "--replace")[2], "")
        dumb = on_terminal(40, "index", "much.db", "much/1.wav", "--replace", environment={"TERM": "dumb"})[1]
        self.assertEqual(dumb.statuses, [])

    def test_messages_are_printable_and_json_lines(self):
        code, output, messages = run("index", "db", "missing" + ODD)
        self.assertEqual((code, output), (3, ""))
        self.assertIn(r"missing\x1b[31mred\nline \xff.wav: No such file", messages)
        for code, arguments in ((2, ["index", "--json"]), (2, ["frob", "--json"]),
                                (3, ["match", "missing", "music/b.wav", "--json"]),
                                (3, ["index", "db", "missing" + ODD, "--json"])):
            done = run(*arguments)
            self.assertEqual(done[:2], (code, ""))
            for message in json_lines(done[2]):
                self.assertEqual(message["severity"], "error")
                self.assertNotEqual(message["message"], "")
        message, = json_lines(run("match", "missing", "music/b.wav", "--json")[2])
        self.assertEqual(message["file"], "missing")
        self.assertRegex(message["message"], "^No such file or directory")


if __name__ == "__main__":
    unittest.main()
