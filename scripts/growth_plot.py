"""Draws how the engine's time grows with its input.

growth_plot.py BENCHMARKS.json PICTURE: one panel for each benchmark named growth.... The first
size takes 1; each doubling takes as many times the one before as was measured, in pairs. The
dotted line grows as the size does.
"""

import json
import re
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "growth"  # the same file for the same figures
matplotlib.rcParams["svg.fonttype"] = "none"
from matplotlib import pyplot  # noqa: E402

NAME = re.compile(r"growth(\w+)/(\w+):(\d+)/")


def points_of(benchmarks):
    """Of each kind: its unit, sizes, ascending, and the time of each as a multiple of the first's."""
    kinds = {}
    for run in benchmarks:
        name = NAME.match(run["name"])
        if name and "ratio" in run:
            kinds.setdefault((name[1], name[2]), {})[int(name[3])] = run["ratio"]
    for (kind, unit), ratios in kinds.items():
        sizes, times = [min(ratios)], [1.0]
        while sizes[-1] in ratios:
            times.append(times[-1] * ratios[sizes[-1]])
            sizes.append(2 * sizes[-1])
        yield kind, unit, sizes, times


def draw(axes, kind, unit, sizes, times):
    axes.loglog(sizes, times, "o-", base=2)
    axes.loglog(sizes, [size / sizes[0] for size in sizes], ":", color="grey", base=2)
    axes.set_title(kind)
    axes.set_xlabel(unit)
    axes.set_ylabel("time")
    axes.set_xticks(sizes, [f"{size:,}" for size in sizes], rotation=30)
    doublings = [2**i for i in range(len(sizes))]
    axes.set_yticks(doublings, [str(number) for number in doublings])
    axes.minorticks_off()


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        kinds = list(points_of(json.load(file)["benchmarks"]))
    if not kinds:
        sys.exit(f"{sys.argv[1]} has no growth benchmark")
    figure, panels = pyplot.subplots(1, len(kinds), figsize=(3.2 * len(kinds), 3.2), squeeze=False)
    for axes, kind in zip(panels[0], kinds):
        draw(axes, *kind)
    figure.tight_layout()
    figure.savefig(sys.argv[2], metadata={"Date": None})


main()
