#!/usr/bin/env python3
"""A database builder to start from: python3 build_database.py DB FEATURES.csv...

FEATURES.csv is what `audiomatch features --single-pass --csv` prints of a reference, which
goes by the file's name in the database. docs/builder.md tells why it does what it does.
"""

import csv
import os
import pathlib
import random
import struct
import sys

BUCKETS = 1 << 20     # one for each hash key of 20 bits
TIME_SLOTS = 1 << 14  # frames of 32 ms that an entry can tell apart
MOST_ENTRIES = 20000  # of each audio


def read_features(path):
    """The (time, key) pairs of a file, each once."""
    try:
        with open(path, newline="") as file:
            features = {(int(row["startTime"]), int(row["hashKey"])) for row in csv.DictReader(file)}
    except (OSError, KeyError, ValueError) as error:
        sys.exit(f"{path}: not the CSV that audiomatch features prints: {error}")
    if not features or not all(time >= 0 and 0 <= key < BUCKETS for time, key in features):
        sys.exit(f"{path}: holds no features, or impossible ones; make it again")
    return sorted(features)


def parts_of(features):
    """Audios of up to 524 s, with times of their own, that aren't too dense to be examined."""
    parts = {}
    for time, key in features:
        parts.setdefault(time // TIME_SLOTS, []).append((time % TIME_SLOTS, key))
    for number in range(max(parts) + 1):
        part = parts.get(number, [])
        yield random.Random(1).sample(part, min(len(part), MOST_ENTRIES))


def write_database(path, audios):
    """Writes (name, features) pairs beside the destination, which changes when all is written."""
    buckets = {}
    for index, (_, features) in enumerate(audios):
        for time, key in features:
            buckets.setdefault(key, []).append(index << 14 | time)
    unfinished = pathlib.Path(f"{path}.{os.getpid()}.tmp")
    with open(unfinished, "wb") as file:
        file.write(struct.pack("<I", len(audios)))
        for name, _ in audios:
            encoded = os.fsencode(name)
            file.write(struct.pack("<I", len(encoded)) + encoded + b"\0")
        file.write(struct.pack("<II", BUCKETS, TIME_SLOTS))
        for key in range(BUCKETS):
            entries = sorted(buckets.get(key, ()))
            file.write(struct.pack(f"<I{len(entries)}Q", len(entries), *entries))
        file.flush()
        os.fsync(file.fileno())
    unfinished.rename(path)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    audios = [(pathlib.Path(path).stem, part)
              for path in sys.argv[2:] for part in parts_of(read_features(path))]
    write_database(sys.argv[1], audios)


main()
