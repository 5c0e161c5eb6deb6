#!/usr/bin/env python3
"""Runs rows of the full verification, and writes the document about it.

    verify.py BUILD DOCUMENT [ROW...]      all rows by default but those that run apart

Two rows run at a time. Each one's commands run in the tree's top folder, with {build} and {results}
replaced: the folder of the build, and one of the row's own. A command reaches its figure when it
exits with 0; what it prints as "figure: TEXT" is the figure, as "note: TEXT" what is to be known
beside it, as "seed: N" the seed. Results stay in BUILD/verify/ROW.json, so that rows may be run one
by one. Once BUILD has one of every row, the document is written: between the lines BEGIN and END it
has what the rows leave open, the last result of each, and how long the last run of all rows took.
Exit status: 1 when a row that was run did not reach its figure, or a run of all rows took more than
MOST_SECONDS.
"""

import datetime
import json
import os
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import NamedTuple

from rows import NOT_REACHED, ROWS

BEGIN = "<!-- begin: written by ./dev verify -->"
END = "<!-- end: written by ./dev verify -->"
MOST_SECONDS = 7_200


class State(NamedTuple):
    """What the sources are; the document is none of them."""

    # The commit that is checked out, and whether anything differs from it.
    name: str
    # What differs.
    changes: str


def state():
    def git(*arguments):
        return subprocess.run(["git", *arguments], capture_output=True, text=True, errors="replace", check=False).stdout

    changes = git("diff", "HEAD", "--", ".", ":!docs")
    commit = git("rev-parse", "--short", "HEAD").strip() or "not in git"
    return State(commit + (", changed" if changes else ""), changes)


def state_since(before):
    """The state that was, and whether it is another now: what was run is then of no one state."""
    return before.name if state() == before else f"{before.name}, changed meanwhile"


def run(row, build):
    """Runs a row's commands until one fails. Returns its result."""
    results = build / "verify" / row.name
    results.mkdir(parents=True, exist_ok=True)
    told = {"figure": [], "note": [], "seed": []}
    begin = time.monotonic()
    before = state()
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
        "state": state_since(before),
        **told,
    }


def verified(row, build):
    """Runs a row, keeps its result and prints it. Returns whether it reached its figure."""
    result = run(row, build)
    (build / "verify" / f"{row.name}.json").write_text(json.dumps(result, indent=2) + "\n")
    said = "; ".join(result["figure"] + result["note"])
    reached = "reached" if result["reached"] else "NOT REACHED"
    print(f"{row.name}: {reached}: {said} ({result['seconds']} s)", flush=True)
    return result["reached"]


def cell(text):
    """A text as a table has it; commands have the sign that ends a cell."""
    return text.replace("|", "\\|")


def result_of(row, build):
    """The row's last result; None when it was not run."""
    place = build / "verify" / f"{row.name}.json"
    return json.loads(place.read_text()) if place.exists() else None


def table(build):
    lines = ["| Fault | What is done | To reach | Reached | Seed | Date, time, state of the sources |", "| --- " * 6 + "|"]
    for row in ROWS:
        begin = f"| {row.fault} | {row.done} | {row.target} |"
        result = result_of(row, build)
        figures = cell("; ".join(result["figure"]))
        reached = figures if result["reached"] else f"NOT REACHED: {figures or 'no figure'}"
        seeds = ", ".join(dict.fromkeys(result["seed"]))
        when = f"{result['date']}, {result['seconds']} s, {result['state']}"
        lines.append(f"{begin} {reached} | {seeds} | {when} |")
    return "\n".join(lines)


def sentence(text):
    """What a program noted, as a sentence; checks' names have the sign that emphasises."""
    begin = text[0].upper() if text.split()[0].isalpha() else text[0]
    return (begin + text[1:]).removesuffix(".").replace("*", "\\*") + "."


def notes(build):
    """A paragraph for each row: how it is done, and what its last run noted."""
    paragraphs = []
    for row in ROWS:
        noted = " ".join(map(sentence, filter(None, result_of(row, build)["note"])))
        ran = f" The last run: {noted}" if noted else ""
        paragraphs.append(f"**{row.fault}** (`{row.name}`). {row.more}{ran}")
    return "\n\n".join(paragraphs)


def open_ends():
    return "\n\n".join(f"**{what}.** {why}" for what, why in NOT_REACHED)


def last_whole_run(build):
    place = build / "verify" / "whole.json"
    if not place.exists():
        return "They were not all run at once."
    whole = json.loads(place.read_text())
    missed = ", ".join(whole["missed"])
    came_of_it = f"Not reached then: {missed}." if missed else "All were reached."
    return (
        f"The last run of all rows but those that run apart took {whole['seconds'] / 60:.0f} minutes "
        f"on {whole['processors']} processors, of {MOST_SECONDS // 60} that it may take "
        f"({whole['date']}, {whole['state']}). {came_of_it}"
    )


def written(build):
    """What the document says between BEGIN and END."""
    return "\n\n".join(
        [
            "## What is not reached, and why",
            open_ends(),
            "## What was done, and what came of it",
            table(build),
            last_whole_run(build),
            "## Notes",
            notes(build),
        ]
    )


def main(build, document, names):
    build, document = Path(build), Path(document)
    unknown = set(names) - {row.name for row in ROWS}
    if unknown:
        sys.exit(f"verify: no such row: {', '.join(sorted(unknown))}; there are {', '.join(row.name for row in ROWS)}")
    rows = [row for row in ROWS if (row.name in names if names else not row.apart)]
    begin = time.monotonic()
    before = state()
    with ThreadPoolExecutor(2) as pool:
        reached = list(pool.map(lambda row: verified(row, build), rows))
    seconds = round(time.monotonic() - begin)
    missed = [row.name for row, good in zip(rows, reached) if not good]
    if not names:
        whole = {
            "seconds": seconds,
            "date": datetime.date.today().isoformat(),
            "state": state_since(before),
            "processors": len(os.sched_getaffinity(0)),
            "missed": missed,
        }
        (build / "verify" / "whole.json").write_text(json.dumps(whole, indent=2) + "\n")
    without = [row.name for row in ROWS if not result_of(row, build)]
    if without:
        print(f"verify: {document} stays as it is: there is no result of {', '.join(without)}")
    else:
        head, _, rest = document.read_text().partition(BEGIN)
        _, _, tail = rest.partition(END)
        document.write_text(f"{head}{BEGIN}\n\n{written(build)}\n\n{END}{tail}")
    if missed:
        sys.exit(f"verify: not reached: {', '.join(missed)}")
    if not names and seconds > MOST_SECONDS:
        sys.exit(f"verify: all rows took {seconds:,} s, more than {MOST_SECONDS:,} s")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], sys.argv[3:])
