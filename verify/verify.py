#!/usr/bin/env python3
"""Runs rows of the full verification, and writes the document about it.

    verify.py BUILD DOCUMENT [ROW...]      all rows by default but those that run apart

Two rows run at a time. Each one's commands run in the tree's top folder, with {build} and {results}
replaced: the folder of the build, and one of the row's own. A command reaches its figure when it
exits with 0; what it prints as "figure: TEXT" is the figure, as "note: TEXT" what is to be known
beside it, as "seed: N" the seed. Results stay in BUILD/verify/ROW.json, so that rows may be run one
by one; the document has the last of each, and how long the last run of all rows took, between the
lines BEGIN and END. Exit status: 1 when a row that was run did not reach its figure.
"""

import datetime
import json
import os
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from rows import ROWS

BEGIN = "<!-- begin: written by ./dev verify -->"
END = "<!-- end: written by ./dev verify -->"


def state():
    """The commit that is checked out, and whether anything but the document differs from it."""

    def git(*arguments):
        return subprocess.run(["git", *arguments], capture_output=True, text=True, check=False).stdout.strip()

    changed = git("status", "--porcelain", "--untracked-files=no", "--", ".", ":!docs")
    return (git("rev-parse", "--short", "HEAD") or "not in git") + (", changed" if changed else "")


def run(row, build):
    """Runs a row's commands until one fails. Returns its result."""
    results = build / "verify" / row.name
    results.mkdir(parents=True, exist_ok=True)
    told = {"figure": [], "note": [], "seed": []}
    begin = time.monotonic()
    reached = True
    with (results / "output.txt").open("w") as output:
        for command in row.commands:
            command = command.format(build=build, results=results)
            output.write(f"$ {command}\n")
            process = subprocess.Popen(
                ["sh", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace"
            )
            for line in process.stdout:
                output.write(line)
                kind, colon, text = line.strip().partition(": ")
                if colon and kind in told:
                    told[kind].append(text)
            if process.wait() != 0:
                told["note"].append(f"`{command}` exited with {process.returncode}")
                reached = False
                break
    return {
        "row": row.name,
        "reached": reached and bool(told["figure"]),
        "seconds": round(time.monotonic() - begin),
        "date": datetime.date.today().isoformat(),
        "state": state(),
        **told,
    }


def verified(row, build):
    """Runs a row, keeps its result and prints it. Returns whether it reached its figure."""
    result = run(row, build)
    (build / "verify" / f"{row.name}.json").write_text(json.dumps(result, indent=2) + "\n")
    said = "; ".join(result["figure"] + result["note"])
    print(f"{row.name}: {'reached' if result['reached'] else 'NOT REACHED'}: {said} ({result['seconds']} s)", flush=True)
    return result["reached"]


def cell(text):
    """A text as a table has it; commands have the sign that ends a cell."""
    return text.replace("|", "\\|")


def table(build):
    lines = ["| Fault | What is done | To reach | Reached | Seed | Date, time, state of the sources |", "| --- " * 6 + "|"]
    for row in ROWS:
        place = build / "verify" / f"{row.name}.json"
        if not place.exists():
            lines.append(f"| {row.fault} | {row.done} | {row.target} | not run | | |")
            continue
        result = json.loads(place.read_text())
        said = "; ".join(result["figure"] + result["note"])
        lines.append(
            f"| {row.fault} | {row.done} | {row.target} | "
            f"{'' if result['reached'] else 'NOT REACHED: '}{cell(said)} | {', '.join(dict.fromkeys(result['seed']))} | "
            f"{result['date']}, {result['seconds']} s, {result.get('state', 'not noted')} |"
        )
    return "\n".join(lines)


def last_whole_run(build):
    place = build / "verify" / "whole.json"
    if not place.exists():
        return "They were not all run at once."
    whole = json.loads(place.read_text())
    return (
        f"The last run of all rows but those that run apart took {whole['seconds'] / 60:.0f} minutes "
        f"on {whole['processors']} processors ({whole['date']}, {whole['state']})."
    )


def main(build, document, names):
    build, document = Path(build), Path(document)
    unknown = set(names) - {row.name for row in ROWS}
    if unknown:
        sys.exit(f"verify: no such row: {', '.join(sorted(unknown))}; there are {', '.join(row.name for row in ROWS)}")
    rows = [row for row in ROWS if (row.name in names if names else not row.apart)]
    begin = time.monotonic()
    with ThreadPoolExecutor(2) as pool:
        reached = list(pool.map(lambda row: verified(row, build), rows))
    if not names:
        whole = {
            "seconds": round(time.monotonic() - begin),
            "date": datetime.date.today().isoformat(),
            "state": state(),
            "processors": len(os.sched_getaffinity(0)),
        }
        (build / "verify" / "whole.json").write_text(json.dumps(whole, indent=2) + "\n")
    before, _, rest = document.read_text().partition(BEGIN)
    _, _, after = rest.partition(END)
    document.write_text(f"{before}{BEGIN}\n\n{table(build)}\n\n{last_whole_run(build)}\n\n{END}{after}")
    if missed := [row.name for row, good in zip(rows, reached) if not good]:
        sys.exit(f"verify: not reached: {', '.join(missed)}")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], sys.argv[3:])
