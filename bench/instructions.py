#!/usr/bin/env python3
"""Compares the instructions that each work takes with a budget.

    instructions.py DUMPS BUDGET COMPILER [--renew]

DUMPS begins the names of callgrind's dumps, one for each work, made by `varnol-bench --instructions`.
Fails when a work takes more than its budget and 0.5 %, or has none, or a budget has no work.
--renew writes the budget anew, of what was counted.
"""

import glob
import re
import sys
from pathlib import Path

TOLERANCE = 0.005


def counted(dumps):
    """Instructions for doing each work once."""
    counts = {}
    for path in glob.glob(glob.escape(dumps) + ".*"):
        text = Path(path).read_text()
        trigger = re.search(r"^desc: Trigger: Client Request: varnol/(\S+) (\d+)$", text, re.M)
        if trigger:
            total = int(re.search(r"^(?:totals|summary): (\d+)", text, re.M)[1])
            counts[trigger[1]] = total / int(trigger[2])
    return counts


def main(dumps, budget_path, compiler, renew):
    counts = counted(dumps)
    if not counts:
        sys.exit(f"instructions: no dumps of works at {dumps}")
    path = Path(budget_path)
    head = f"compiler {compiler}"
    if renew:
        lines = [f"{work} {count:.3f}" for work, count in sorted(counts.items())]
        path.write_text("\n".join([head, *lines, ""]))
        print(f"instructions: wrote {path}")
        return
    first, *lines = path.read_text().splitlines()
    if first != head:
        print(f"instructions: the budget was counted with {first.removeprefix('compiler ')}, this is {compiler}")
    budget = {work: float(count) for work, count in (line.split() for line in lines)}
    failed = False
    print(f"{'work':24}{'instructions':>14}{'budget':>14}")
    for work in sorted(counts.keys() | budget.keys()):
        count, allowed = counts.get(work), budget.get(work)
        if count is None or allowed is None:
            note = "NOT COUNTED" if count is None else "WITHOUT A BUDGET"
        elif count > allowed * (1 + TOLERANCE):
            note = f"OVER by {count / allowed - 1:.1%}"
        else:
            note = f"{count / allowed - 1:+.1%}: renew the budget" if count < allowed * (1 - TOLERANCE) else ""
        failed = failed or note.isupper() or note.startswith("OVER")
        cells = [f"{value:14.1f}" if value is not None else f"{'-':>14}" for value in (count, allowed)]
        print(f"{work:24}{''.join(cells)}  {note}".rstrip())
    if failed:
        sys.exit("instructions: not within the budget")


if __name__ == "__main__":
    arguments = [argument for argument in sys.argv[1:] if argument != "--renew"]
    if len(arguments) != 3:
        sys.exit(__doc__)
    main(*arguments, "--renew" in sys.argv)
