"""Runs the command-line tool for tests, and makes their sounds.

A test that imports this is called with the executable as its first argument."""

import array
import json
import os
import random
import subprocess
import sys
import wave

TOOL = os.path.abspath(sys.argv.pop(1))
RATE = 8000


def run(*arguments, stdin=b"", **options):
    """Runs the tool; returns its exit code, output and messages."""
    done = subprocess.run([TOOL, *arguments], input=stdin, capture_output=True, timeout=60,
                          **options)
    return done.returncode, os.fsdecode(done.stdout), done.stderr.decode(errors="replace")


def json_lines(text):
    """The objects without their version, which all have as their last key."""
    objects = [json.loads(line) for line in text.splitlines()]
    for each in objects:
        assert each.popitem() == ("version", 1), each
    return objects


def run_json(command, *arguments, **options):
    """With --json: the exit code, objects, and messages as they are without it."""
    code, output, messages = run(command, "--json", *arguments, **options)
    texts = []
    for message in json_lines(messages):
        assert message["severity"] in ("error", "warning", "note"), message
        about = [message["file"]] if "file" in message else []
        texts.append(": ".join(["audiomatch", *about, message["message"]]) + "\n")
    return code, json_lines(output), "".join(texts)


def noise(seed, seconds):
    """White noise, a recording like no other."""
    return array.array("h", random.Random(seed).randbytes(int(seconds * RATE) * 2))


def write_wav(path, samples, channels=1, rate=RATE):
    with wave.open(path, "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        file.writeframes(samples.tobytes())
