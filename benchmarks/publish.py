"""Puts the figures of the last run into docs/performance.md and draws docs/performance/*.svg."""

import json
import statistics
import sys
from pathlib import Path

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.fonttype"] = "none"
matplotlib.rcParams["svg.hashsalt"] = "the same figures give the same file"
from matplotlib import pyplot  # noqa: E402

PAGE = Path("docs/performance.md")
PLOTS = Path("docs/performance")
BEGIN, END = "<!-- figures: scripts/benchmark --publish -->\n", "<!-- end of figures -->\n"


def table(results):
    lines = [f"- {name}: {fact}\n" for name, fact in results["machine"].items()]
    for workload in results["workloads"]:
        lines.append(f"\n**{workload['about']}** (`{workload['name']}`)\n\n")
        if workload["in_seconds"]:
            lines.append("| CPU time | median | least to most |\n|---|---:|---|\n")
            for name, samples in workload["samples"].items():
                low, mid, high = (f"{f(samples) * 1000:,.1f}" for f in
                                  (min, statistics.median, max))
                lines.append(f"| {name} | {mid} ms | {low} to {high} |\n")
            lines.append("\n")
        lines.append("| Figure | value | least to most | target | |\n|---|---:|---|---|---|\n")
        for x in workload["figures"]:
            aim = "" if x["aim"] is None else f", aim {x['aim']}"
            lines.append(f"| {x['what']} | {x['value']:.2f} {x['unit']} | {x['low']:.2f} to "
                         f"{x['high']:.2f} | {'≥' if x['more'] else '≤'} {x['target']}{aim} | "
                         f"{x['verdict']} |\n")
    return "".join(lines)


def draw(name, title, axis, plot):
    figure, axes = pyplot.subplots(figsize=(7, 3.2), layout="constrained")
    plot(axes)
    axes.set_title(title)
    axes.set_ylabel(axis)
    axes.spines[["top", "right"]].set_visible(False)
    figure.savefig(PLOTS / f"{name}.svg", metadata={"Date": None})


def bars(axes, values, low, high):
    names = list(values)
    heights = [values[x] for x in names]
    spread = [[values[x] - low[x] for x in names], [high[x] - values[x] for x in names]]
    axes.bar_label(axes.bar(names, heights, yerr=spread, capsize=3,
                            color=["#31688e" if "daemon" in x else "#b0b0b0" for x in names]),
                   fmt="%.2f")


def draw_bars(name, title, axis, samples, per):
    """Bars of `per` of the samples' medians, with their spread."""
    middle = {x: per(statistics.median(v)) for x, v in samples.items()}
    ends = {x: sorted((per(min(v)), per(max(v)))) for x, v in samples.items()}
    draw(name, title, axis, lambda axes: bars(axes, middle, {x: v[0] for x, v in ends.items()},
                                              {x: v[1] for x, v in ends.items()}))


def draw_sizes(pieces):
    kinds = {"insertInAnyOrder": "insert, and release", "lookUp": "look up",
             "hostFiles": "write both host files", "sweepOfAll": "sweep that lets go of it"}

    def plot(axes):
        for kind, label in kinds.items():
            points = [(int(x["name"].split("/")[1]), 1e6 / x["items_per_second"])
                      for x in pieces if x["name"].startswith(kind + "/")]
            axes.plot(*zip(*points), marker="o", label=label)
        axes.set_xscale("log")
        axes.set_ylim(bottom=0)
        axes.set_xlabel("addresses in the table")
        axes.legend(frameon=False)

    draw("addresses", "Cost of an address, by how many there are", "µs", plot)


def main(results, pieces):
    results, pieces = (json.loads(Path(x).read_text()) for x in (results, pieces))
    samples = {x["name"]: x["samples"] for x in results["workloads"]}
    PLOTS.mkdir(exist_ok=True)
    draw_bars("scan", "Scan of a million old lines", "million lines a second of CPU",
              samples["scan"], lambda seconds: results["lines"] / 1e6 / seconds)
    draw_bars("records", "A record, beside open, write and close alone", "µs", samples["records"],
              lambda seconds: seconds * 1e6 / 20000)
    draw_sizes(pieces["benchmarks"])
    before, rest = PAGE.read_text().split(BEGIN)
    PAGE.write_text(before + BEGIN + table(results) + END + rest.split(END)[1])


main(*sys.argv[1:])
