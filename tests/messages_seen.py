"""Fails when some message of the engine is seen by no test.

messages_seen.py SRC SEEN UNREACHABLE: every text that SRC logs has to match a
message that a test compared (LogCapture notes them in the folder SEEN, which
is emptied), or stand in the list UNREACHABLE with the reason why it can't be.
"""

import pathlib
import re
import shutil
import sys

LITERAL = r'"(?:[^"\\]|\\.)*"'


def texts_of(source):
    """The format strings of all messages, adjacent literals joined."""
    for call in re.finditer(r"logMessage\(", source):
        depth, end = 1, call.end()
        while depth:
            literal = re.match(LITERAL, source[end:])
            if literal:
                end += literal.end()
                continue
            depth += {"(": 1, ")": -1}.get(source[end], 0)
            end += 1
        for run in re.finditer(rf"{LITERAL}(?:\s+{LITERAL})*", source[call.end() : end]):
            text = "".join(part[1:-1] for part in re.findall(LITERAL, run.group()))
            if text != "%s":
                yield text.encode().decode("unicode_escape")


def pattern_of(text):
    """What a message of that text looks like."""
    parts = re.split(r"(%%|%[dfs])", text)
    values = {"%%": "%", "%d": r"-?\d+", "%f": r"(?:-?\d+\.\d+|-?nan|T)", "%s": r".*"}
    return re.compile("".join(values.get(part) or re.escape(part) for part in parts), re.S)


def main():
    src, seen_folder, unreachable_file = map(pathlib.Path, sys.argv[1:])
    files = [*src.rglob("*.cpp"), *src.rglob("*.h")]
    texts = sorted({text for file in files if file.name != "logger.h"
                    for text in texts_of(file.read_text())})
    seen = {message for file in seen_folder.glob("*")
            for message in file.read_text(errors="replace").split("\0")}
    listed = dict(line.split("\t", 1) for line in unreachable_file.read_text().splitlines()
                  if line and not line.startswith("#"))
    problems = []
    for text in texts:
        pattern = pattern_of(text)
        met = any(pattern.fullmatch(message) for message in seen)
        if met and text in listed:
            problems.append(f"listed as unreachable, and seen: {text!r}")
        if not met and text not in listed:
            problems.append(f"seen by no test: {text!r}")
    problems += [f"listed as unreachable, and no message: {text!r}"
                 for text in listed if text not in texts]
    print(f"{len(texts)} messages, {len(listed)} that can't be reached", *problems, sep="\n")
    shutil.rmtree(seen_folder, ignore_errors=True)
    sys.exit(1 if problems or not texts else 0)


main()
