"""Puts the figures of the last run, build/benchmark/results.json, into docs/performance.md."""

import json
import statistics
import sys
from pathlib import Path

PAGE = Path("docs/performance.md")
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


results = json.loads(Path(sys.argv[1]).read_text())
before, rest = PAGE.read_text().split(BEGIN)
PAGE.write_text(before + BEGIN + table(results) + END + rest.split(END)[1])
