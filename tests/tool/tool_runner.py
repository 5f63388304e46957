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


def run(*arguments, stdin=b"", env=None):
    """Runs the tool; returns its exit code, output and messages."""
    done = subprocess.run([TOOL, *arguments], input=stdin, env=env, capture_output=True,
                          timeout=60)
    return done.returncode, done.stdout.decode(), done.stderr.decode(errors="replace")


def run_json(command, *arguments, **options):
    code, output, messages = run(command, "--json", *arguments, **options)
    return code, [json.loads(line) for line in output.splitlines()], messages


def noise(seed, seconds):
    """White noise, a recording like no other."""
    return array.array("h", random.Random(seed).randbytes(int(seconds * RATE) * 2))


def write_wav(path, samples, channels=1, rate=RATE):
    with wave.open(path, "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        file.writeframes(samples.tobytes())
