#!/usr/bin/env python3
"""Makes the table of a run of varnol-bench, and writes it into the documents about it.

    report.py BENCH_JSON DOCUMENT README

Prints the table. Replaces what stands between the lines BEGIN and END: in the document by the table,
the machine and the plots, which are written beside it as SVG; in the README by what some works cost.
Times are medians of the CPU time. Fails, with all that written, when a work does not meet its target and
the document does not say why: it has an item "- **`WORK`**" under the heading REASONS.
"""

import json
import math
import os
import platform
import re
import statistics
import subprocess
import sys
from pathlib import Path

BEGIN = "<!-- begin: written by ./dev bench -->"
END = "<!-- end: written by ./dev bench -->"
REASONS = "### What is not met, and why"

# The works in the order of the table, and what each is held to. A limit is on the library's cost as a multiple of another way's, on how
# much that cost is above it, or on the cost itself; "at least" is how many times a peer's is higher.
TARGETS = {
    "mirror_scalar": [("at most", 3.0, "floor"), ("at least", 6, "sigc++"), ("at least", 10, "signals2")],
    "mirror_tx_update": [("at most", 4.0, "floor")],
    "rx_update_1": [("at most", 3.0, "floor")],
    "rx_update_16": [("at most", 3.0, "floor")],
    "copy_record_1": [("at most", 2.5, "floor")],
    "copy_record_16": [("at most", 2.5, "floor")],
    "frame": [("at most", 1.0, "floor"), ("at least", 15, "libtins")],
    "sync_*": [("at most", 1.0, "sigc++")],
    "sync growth": [("at most", 1.0, "unordered_map")],
    "mirror_in_large_tree": [("at most", 1.0, "unordered_map")],
    "memory_record": [("octets", 768, None)],
    "memory_tree_record": [],
    "trace_off": [("above", 0.5, "floor")],
    "timer_off": [("above", 0.5, "floor")],
    "timer_on": [("at most", 1.3, "floor")],
}
AIMS = {"sync_*": "aim: half of sigc++", "memory_record": "aim: 640 octets"}

# What the README shows of the works, and calls them.
SHOWN = {
    "mirror_scalar": "a field's change, mirrored",
    "rx_update_1": "a received BPDU's record, mirrored whole",
    "frame": "a frame, made and released",
    "sync_65536": "a tree of 65,536 records, mirrored and let go",
    "memory_record": "the memory of a record in both trees, with what mirrors it",
    "trace_off": "a trace statement that is off",
}

COLOURS = {"varnol": "#c0392b", "floor": "#555555", "sigc++": "#2471a3", "unordered_map": "#1e8449"}


class Work:
    """The cost of one work in each way: nanoseconds, octets, or a plain number."""

    def __init__(self, name, unit, costs, least, paired=None):
        self.name = name
        self.unit = unit
        self.costs = costs  # medians, by way
        self.least = least  # of the repetition that was disturbed least
        self.paired = paired  # the ratio to the floor's, if both were also done by turns

    @property
    def varnol(self):
        return self.costs["varnol"]

    def ratio(self, way):
        if way == "floor" and self.paired is not None:
            return self.paired
        return self.varnol / self.costs[way]

    def show(self, way):
        cost = self.costs[way]
        digits = 0 if cost >= 1000 else 1 if cost >= 10 else 2
        return f"{cost:.{digits}f} {self.unit}".rstrip()

    def peers(self):
        return sorted(way for way in self.costs if way not in ("varnol", "floor"))

    @property
    def kind(self):
        return re.sub(r"^sync_\d+$", "sync_*", self.name)

    def size(self):
        """The N of sync_N; 0 of other works."""
        return int(self.name.removeprefix("sync_")) if self.kind == "sync_*" else 0

    def targets(self):
        return TARGETS[self.kind]

    def aim(self):
        return AIMS.get(self.kind, "")

    def target_text(self):
        texts = {
            "at most": lambda limit, way: f"at most {limit:g} x {way}",
            "at least": lambda limit, way: f"{way} at least {limit:g} x",
            "above": lambda limit, way: f"at most {limit:g} ns above {way}",
            "octets": lambda limit, way: f"at most {limit:g} octets",
        }
        return "; ".join(texts[kind](limit, way) for kind, limit, way in self.targets())

    def missed(self):
        """What is short of its target, as texts."""
        missed = []
        for kind, limit, way in self.targets():
            if kind == "at most" and self.ratio(way) > limit:
                missed.append(f"{self.ratio(way):.2f} x {way}")
            elif kind == "at least" and 1 / self.ratio(way) < limit:
                missed.append(f"{way} {1 / self.ratio(way):.1f} x")
            elif kind == "above" and self.varnol - self.costs[way] > limit:
                missed.append(f"{self.varnol - self.costs[way]:.2f} ns above {way}")
            elif kind == "octets" and self.varnol > limit:
                missed.append(f"{self.varnol:.0f} octets")
        return missed

    def verdict(self):
        if not self.targets():
            return "-"
        return "NOT MET: " + "; ".join(self.missed()) if self.missed() else "met"


def works_of(run):
    samples = {}  # work: way: costs
    ratios = {}  # work: those to the floor
    for row in run["benchmarks"]:
        if row["run_type"] != "iteration":
            continue
        name = re.sub(r"/(iterations|repeats|min_time):[^/]+", "", row["run_name"])
        way, work = name.removeprefix("peer/").rsplit("/", 1)
        if way == "ratio":
            ratios.setdefault(work, []).append(row["ratio"])
            continue
        octets = row.get("octets")
        assert octets is not None or row["time_unit"] == "ns"
        samples.setdefault(work, {}).setdefault(way, []).append(
            row["cpu_time"] if octets is None else octets
        )
    works = []
    for work, ways in samples.items():
        costs = {way: statistics.median(values) for way, values in ways.items()}
        least = {way: min(values) for way, values in ways.items()}
        unit = "octets" if work.startswith("memory") else "ns"
        paired = statistics.median(ratios[work]) if work in ratios else None
        works.append(Work(work, unit, costs, least, paired))
    for work in sync_works(works):
        work.unit = "ns/record"
        work.costs = {way: cost / work.size() for way, cost in work.costs.items()}
    return works


def sync_works(works):
    return sorted((work for work in works if work.kind == "sync_*"), key=Work.size)


def sync_growth(works):
    """How much the cost per record grows from the smallest sync_N to the largest."""
    smallest, *_, largest = sync_works(works)

    def ratios(large, small):
        return {way: large[way] / small[way] for way in small}

    # The least are per tree.
    least = ratios(largest.least, smallest.least)
    trees = largest.size() / smallest.size()
    return Work(
        "sync growth",
        "x",
        ratios(largest.costs, smallest.costs),
        {way: growth / trees for way, growth in least.items()},
    )


def rows_of(works):
    rows = [["work", "varnol", "floor", "ratio", "of least", "peers (times the cost of varnol)", "target", "met"]]
    for work in works:
        ratio = f"{work.ratio('floor'):.2f}"
        of_least = f"{work.least['varnol'] / work.least['floor']:.2f}"
        peers = ", ".join(
            f"{way} {work.show(way)} ({1 / work.ratio(way):.1f} x)" for way in work.peers()
        )
        target = "; ".join(text for text in (work.target_text(), work.aim()) if text)
        rows.append(
            [
                work.name,
                work.show("varnol"),
                work.show("floor"),
                ratio,
                of_least,
                peers or "-",
                target or "-",
                work.verdict(),
            ]
        )
    return rows


def shown_table(works):
    lines = ["| what | costs | the floor | ratio |", "| --- | ---: | ---: | ---: |"]
    by_name = {work.name: work for work in works}
    for name, what in SHOWN.items():
        work = by_name[name]
        lines.append(f"| {what} | {work.show('varnol')} | {work.show('floor')} | {work.ratio('floor'):.2f} |")
    return "\n".join(lines)


def text_table(rows):
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    return "\n".join(
        "  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows
    )


def markdown_table(rows):
    lines = ["| " + " | ".join(row) + " |" for row in rows]
    lines.insert(1, "| --- " + "| ---: " * 4 + "| --- | --- | --- |")
    return "\n".join(lines)


class Svg:
    """A drawing on white, so that it reads on any page."""

    def __init__(self, width, height):
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
            f'viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="12">',
            f'<rect width="{width}" height="{height}" fill="white"/>',
        ]

    def line(self, x1, y1, x2, y2, colour="#dddddd", width=1):
        self.parts.append(
            f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" '
            f'stroke="{colour}" stroke-width="{width}"/>'
        )

    def path(self, points, colour):
        drawn = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        self.parts.append(f'<polyline points="{drawn}" fill="none" stroke="{colour}" stroke-width="2"/>')
        self.parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in points]

    def bar(self, x, y, width, height, colour):
        self.parts.append(
            f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height}" fill="{colour}"/>'
        )

    def text(self, x, y, text, anchor="start", colour="#222222"):
        escaped = text.replace("&", "&amp;").replace("<", "&lt;")
        self.parts.append(
            f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{escaped}</text>'
        )

    def write(self, path):
        path.write_text("\n".join(self.parts + ["</svg>", ""]))


def plot_sync(works, path):
    """Cost per record against the number of records, both axes logarithmic."""
    left, top, width, height = 70, 40, 540, 320
    points = {}
    for work in sync_works(works):
        for way, cost in work.costs.items():
            points.setdefault(way, []).append((work.size(), cost))
    sizes = [size for size, _ in points["varnol"]]
    costs = [cost for way in points.values() for _, cost in way]
    low, high = math.floor(math.log2(min(costs))), math.ceil(math.log2(max(costs)))

    def x(size):
        return left + width * math.log2(size / sizes[0]) / math.log2(sizes[-1] / sizes[0])

    def y(cost):
        return top + height * (high - math.log2(cost)) / (high - low)

    svg = Svg(left + width + 130, top + height + 50)
    svg.text(left, 22, "Full synchronisation and teardown: nanoseconds per record against N records")
    for exponent in range(low, high + 1):
        svg.line(left, y(2**exponent), left + width, y(2**exponent))
        svg.text(left - 8, y(2**exponent) + 4, f"{2**exponent}", "end")
    for size in sizes:
        svg.line(x(size), top, x(size), top + height)
        label = f"{size // 1024} Ki" if size < 1024 * 1024 else f"{size // (1024 * 1024)} Mi"
        svg.text(x(size), top + height + 20, label, "middle")
    ends = []
    for way, line in sorted(points.items(), key=lambda item: item[1][-1][1], reverse=True):
        svg.path([(x(size), y(cost)) for size, cost in line], COLOURS[way])
        ends.append(max(y(line[-1][1]) + 4, ends[-1] + 14 if ends else 0))
        svg.text(left + width + 10, ends[-1], way, colour=COLOURS[way])
    svg.write(path)


def plot_ratios(works, path):
    """The library's cost as a multiple of the floor's, and the most that it may be."""
    shown = [work for work in works if work.name != "sync growth"]
    left, top, width, step = 170, 50, 480, 22
    most = math.ceil(max(work.ratio("floor") for work in shown))

    def x(ratio):
        return left + width * ratio / most

    svg = Svg(left + width + 60, top + step * len(shown) + 30)
    svg.text(left, 22, "Cost as a multiple of the floor's; black mark: the most that it may be")
    for ratio in range(most + 1):
        svg.line(x(ratio), top - 10, x(ratio), top + step * len(shown))
        svg.text(x(ratio), top + step * len(shown) + 18, str(ratio), "middle")
    for number, work in enumerate(shown):
        y = top + step * number
        limits = [limit for kind, limit, way in work.targets() if kind == "at most" and way == "floor"]
        good = not limits or work.ratio("floor") <= limits[0]
        colour = "#95a5a6" if not limits else "#1e8449" if good else COLOURS["varnol"]
        svg.text(left - 8, y + 12, work.name, "end")
        svg.bar(left, y, x(work.ratio("floor")) - left, step - 8, colour)
        svg.text(x(max([work.ratio("floor"), *limits])) + 5, y + 11, f"{work.ratio('floor'):.2f}")
        for limit in limits:
            svg.line(x(limit), y - 3, x(limit), y + step - 5, "black", 3)
    svg.write(path)


def machine():
    names = [line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")]
    # Some virtual machines hide the name; family and model are then all there is.
    # Of the kernel what its interface depends on; the rest names whoever built it.
    kernel = re.match(r"\d+\.\d+", platform.release())[0]
    return f"{names[0] if names else platform.machine()}, {os.cpu_count()} CPUs, Linux {kernel}"


def sources():
    """The commit that is checked out, and whether anything but documents differs from it."""

    def git(*arguments):
        return subprocess.run(["git", *arguments], capture_output=True, text=True, check=False).stdout.strip()

    changed = git("diff", "--name-only", "HEAD", "--", ".", ":!docs", ":!README.md")
    return (git("rev-parse", "--short", "HEAD") or "not in git") + (", changed" if changed else "")


def unexplained(missed, text):
    """Those of the works for which the document has no item under the heading REASONS."""
    _, _, rest = text.partition(f"\n{REASONS}\n")
    section = re.split(r"^#", rest, maxsplit=1, flags=re.MULTILINE)[0]
    explained = re.findall(r"^- \*\*`([^`]+)`\*\*", section, flags=re.MULTILINE)
    return [work.name for work in missed if not {work.name, work.kind} & set(explained)]


def replace(document, written):
    """Writes between the lines BEGIN and END."""
    before, begin, rest = document.read_text().partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        sys.exit(f"{document}: not both of the lines\n{BEGIN}\n{END}")
    document.write_text(f"{before}{BEGIN}\n\n{written}\n\n{END}{after}")


def main(json_path, document, readme):
    run = json.loads(Path(json_path).read_text())
    works = works_of(run)
    works.append(sync_growth(works))
    works.sort(key=lambda work: (list(TARGETS).index(work.kind), work.size()))
    rows = rows_of(works)
    print(text_table(rows))

    missed = [work for work in works if work.missed()]
    judged = sum(1 for work in works if work.targets())
    summary = f"{judged - len(missed)} of {judged} works meet their targets."
    if missed:
        summary += " Not met: " + ", ".join(work.name for work in missed) + "."
    print("\n" + summary)

    document = Path(document)
    plots = {"sync": plot_sync, "ratios": plot_ratios}
    for name, plot in plots.items():
        plot(works, document.with_name(f"{document.stem}-{name}.svg"))
    context = run["context"]
    replace(
        document,
        f"""{summary}

{markdown_table(rows)}

![Cost per record against N]({document.stem}-sync.svg)

![Ratios]({document.stem}-ratios.svg)

- Sources: {sources()}
- Machine: {machine()}
- Compiler: {context["compiler"]}
- Flags: `{context["flags"]}`
- Date: {context["date"][:10]}; load average at the start: {", ".join(f"{load:.1f}" for load in context["load_avg"])}
- Medians of 15 repetitions, of 5 where the work takes long, in random order.""",
    )
    replace(
        Path(readme),
        f"""{shown_table(works)}

{summary} ({machine()}; {context["compiler"]}; {context["date"][:10]}.)""",
    )
    if left := unexplained(missed, document.read_text()):
        sys.exit(f"report: {document} does not say why these are not met: {', '.join(left)}")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
