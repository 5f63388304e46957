"""Prints what llvm-cov export counted: a table by file, the lines and branches
that were never executed, and the totals. Exits with 1 below the two limits.
    coverage_gaps.py EXPORT.json LEAST-LINES LEAST-BRANCHES     (per cent)"""

import collections
import json
import os
import sys


def missed_lines(segments):
    """Line numbers that have code of which nothing was executed."""
    starts = collections.defaultdict(list)
    for line, _, count, has_count, is_entry, is_gap in segments:
        starts[line].append((count, has_count, is_entry and not is_gap))
    missed, around = [], (0, False, False)  # the region that reaches into a line
    for line in range(segments[0][0], segments[-1][0] + 1) if segments else ():
        entries = [count for count, has_count, enters in starts[line] if has_count and enters]
        skipped = starts[line] and not starts[line][0][1] and starts[line][0][2]
        if not skipped and (around[1] or entries) and not any([around[0], *entries]):
            missed.append(line)
        around = (starts[line] or [around])[-1]
    return missed


def missed_branches(branches, source):
    """(line, condition, outcome) of each outcome that never came, one entry for
    all instances of a template."""
    counts = collections.Counter()
    for line, column, end_line, end_column, taken, not_taken, *_ in branches:
        place = line, column, end_line, end_column
        counts[place, "true"] += taken
        counts[place, "false"] += not_taken
    for ((line, column, end_line, end_column), outcome), count in sorted(counts.items()):
        if count == 0:
            last = end_column - 1 if end_line == line else None
            condition = source[line - 1][column - 1 : last].strip()
            # A comparison that the compiler writes has no condition to show.
            yield line, source[line - 1] if "= default" in source[line - 1] else condition, outcome


def runs(lines):
    """Consecutive line numbers as (first, last)."""
    found = []
    for line in lines:
        if found and found[-1][1] == line - 1:
            found[-1][1] = line
        else:
            found.append([line, line])
    return found


def print_gaps(file):
    name = os.path.relpath(file["filename"])
    with open(name, encoding="utf-8") as text:
        source = text.read().splitlines()
    lines = missed_lines(file["segments"])
    for first, last in runs(lines):
        place = f"{first}" if first == last else f"{first}-{last}"
        print(f"{name}:{place}: not executed: {source[first - 1].strip()}")
    for line, condition, outcome in missed_branches(file["branches"], source):
        if line not in lines:
            print(f"{name}:{line}: never {outcome}: {condition}")


def cells(summary):
    for what in ("lines", "branches"):
        counts = summary[what]
        share = f"{counts['percent']:.1f} %" if counts["count"] else "-"
        yield f"{counts['covered']:6} of {counts['count']:5} {share:>8}"


def main(path, least_lines, least_branches):
    with open(path, encoding="utf-8") as text:
        data = json.load(text)["data"][0]
    files = sorted(data["files"], key=lambda file: file["filename"])
    for file in files:
        print_gaps(file)
    print(f"\n{'':50} {'lines':>23} {'branches':>23}")
    for file in files:
        print(f"{os.path.relpath(file['filename']):50}", *cells(file["summary"]))
    print(f"{'all':50}", *cells(data["totals"]))
    enough = True
    for what, least in ("lines", least_lines), ("branches", least_branches):
        share = data["totals"][what]["percent"]
        if share < least:
            print(f"{what}: {share:.2f} % are executed, {least:g} % are asked for")
            enough = False
    return 0 if enough else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], float(sys.argv[2]), float(sys.argv[3])))
