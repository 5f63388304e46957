#!/usr/bin/env python3
"""Checks source files by clang-tidy, as many at a time as there are cores.

  tidy.py BUILD FILE...    BUILD has compile_commands.json

Prints findings only; exit code 1 if there is one. A file that passed is not
checked again while nothing of it has changed, nor of what it includes, its
compiler's arguments, the checks and clang-tidy.
"""
import concurrent.futures, hashlib, json, os, pathlib, re, shlex, subprocess, sys

build, files = pathlib.Path(sys.argv[1]), sys.argv[2:]
root = pathlib.Path.cwd()
passed = pathlib.Path(os.environ.get("XDG_CACHE_HOME", pathlib.Path.home() / ".cache"), "audiomatch/tidy")
passed.mkdir(parents=True, exist_ok=True)
commands = {pathlib.Path(entry["file"]): entry for entry in json.loads((build / "compile_commands.json").read_text())}
checks = (root / ".clang-tidy").read_bytes() + subprocess.run(["clang-tidy", "--version"], capture_output=True,
                                                             check=True).stdout


def identity(file):
    """A name for all that the checks see: comments count, as they can switch checks off."""
    entry = commands[root / file]
    arguments = shlex.split(entry["command"])[1:]
    seen = subprocess.run(["clang++", *arguments, "-E", "-C", "-o", "-"], cwd=entry["directory"], capture_output=True,
                          check=True).stdout
    parts = (checks, " ".join(arguments).encode(), seen)
    # Wherever the project lies.
    return hashlib.sha256(b"\0".join(part.replace(bytes(root), b".") for part in parts)).hexdigest()


def findings(file):
    try:
        mark = passed / identity(file)
    except subprocess.CalledProcessError as problem:
        return problem.stderr.decode()
    if mark.exists():
        return ""
    # Every finding is an error, so what a passing file prints is only statistics.
    checked = subprocess.run(["clang-tidy", "--quiet", "-p", build, file], stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True, check=False)
    if checked.returncode == 0:
        mark.touch()
        return ""
    return re.sub(r"^\d+ warnings? generated\.\n", "", checked.stdout, flags=re.M) or f"clang-tidy failed on {file}\n"


failed = False
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    for text in pool.map(findings, files):
        failed = failed or text != ""
        print(text, end="", flush=True)
sys.exit(failed)
