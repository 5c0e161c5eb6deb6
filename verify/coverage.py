#!/usr/bin/env python3
"""Tells what of the library its tests do not execute.

    coverage.py BUILD RESULTS

BUILD is a build of the preset `coverage`, whose tests this runs; RESULTS gets the profiles and
uncovered.txt, a line for each place. Judged are lines; branches, each of which has to be taken and
not taken; and conditions (MC/DC: each has to decide by itself once), all over every instantiation of
a template, and every expansion of a macro, together. A line that ends with "// not covered: REASON"
is left out, and counted. A template that no test instantiates has no line here, and is not judged.
Exit status: 1 when anything else is not covered, more than 0.5 % of the lines are left out, or the
compiler knows of no code in a source that is not named below.
"""

import json
import os
import re
import subprocess
import sys
from pathlib import Path

ROOMS = ["framework", "platform", "model", "bpdu", "syncers"]
# The compiler writes these itself, and clang 19 counts each of their branches as always taken,
# whatever is compared. There is no source behind them to take a branch.
DEFAULTED = re.compile(r"operator(==|<=>)\(.*= default;")
LEFT_OUT = re.compile(r"// not covered: \S")
MOST_LEFT_OUT = 0.005
# Sources that only declare, or define constants: attributes have their code where the macros stand that
# declare them, and type nodes theirs where they are made.
WITHOUT_CODE = {
    "bpdu/VarnolCommon.h",
    "bpdu/VarnolUtils.h",
    "framework/fennic/ActivityTrace.h",
    "framework/fennic/ThreadBarrier.h",
    "framework/fennic/TraceFormat.h",
    "framework/zel/Api.h",
    "framework/zel/Exception.h",
    "framework/zel/Fatal.h",
    "framework/zel/GenericIf.h",
    "framework/zel/Int.h",
    "framework/zel/PrintTree.h",
    "framework/zel/Strep.h",
    "framework/zel/TraceFileSink.h",
    "framework/zel/TraceLine.h",
    "framework/zel/TraceRegistry.h",
    "model/IntxInfo.h",
    "model/IntxMstiInfo.h",
    "model/RxStatus.h",
    "model/TxStatus.h",
    "platform/bridging/VlanIdOrNone.h",
    "platform/interface/IntfLoggingMode.h",
    "platform/stp/BridgeSystemId.h",
    "platform/stp/CompressedBridgePriority.h",
    "platform/stp/CompressedPortPriority.h",
    "platform/stp/Config.cpp",
    "platform/stp/Config.h",
    "platform/stp/PathCost.h",
    "platform/stp/Port.cpp",
    "platform/stp/Port.h",
    "platform/stp/PortConfig.h",
    "platform/stp/StpBpduType.h",
    "platform/stp/StpBpduVersion.h",
    "platform/stp/StpiPortStatus.cpp",
    "platform/stp/StpiPortStatus.h",
    "syncers/MirrorDiff.h",
    "syncers/TypeNodes.cpp",
}


def run(command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def from_top(name, build):
    """The compiler names a file as if it stood in the folder where the compiler ran."""
    return name.removeprefix(f"{os.path.relpath(build)}/")


def profile(build, results, room):
    """Runs a room's tests. Returns the file that says what they executed."""
    for old in results.glob(f"{room}-*.profraw"):
        old.unlink()
    # A file for each process: some tests end one.
    environment = dict(os.environ, LLVM_PROFILE_FILE=f"{results}/{room}-%p.profraw")
    subprocess.run([build / "tests" / f"{room}_tests", "--gtest_brief=1"], check=True, env=environment)
    merged = results / f"{room}.profdata"
    files = [str(each) for each in results.glob(f"{room}-*.profraw")]
    run(["llvm-profdata-19", "merge", "-sparse", "-o", str(merged), *files])
    return merged


def export(build, room, profiled, form):
    return run(
        ["llvm-cov-19", "export", f"-format={form}", f"-instr-profile={profiled}", str(build / "tests" / f"{room}_tests")]
    )


def is_ours(name):
    """Whether a file, by its name from the top of the tree, is the library's."""
    return name.split("/")[0] in ROOMS


def add_lines(lines, lcov, build):
    """Adds to (file, line) -> whether it was executed."""
    name = ""
    for line in lcov.splitlines():
        if line.startswith("SF:"):
            name = from_top(line[3:], build)
        elif line.startswith("DA:") and is_ours(name):
            number, count = line[3:].split(",")[:2]
            place = (name, int(number))
            lines[place] = lines.get(place, False) or int(count) != 0


def add_branches(branches, functions, build):
    """Adds to place -> [taken, not taken]. Those of a function may stand in other files: in macros."""
    for function in functions:
        names = [from_top(name, build) for name in function["filenames"]]
        for line, column, end_line, end_column, taken, not_taken, file, *_ in function["branches"]:
            if is_ours(names[file]):
                outcome = branches.setdefault((names[file], line, column, end_line, end_column), [0, 0])
                outcome[0] += taken
                outcome[1] += not_taken


def add_conditions(conditions, files, build):
    """Adds to place -> whether each condition decided by itself.

    A function's records do not say in which of its files they stand, but the files have them again,
    also those of macros. The same place in a macro may have more conditions here than there.
    """
    for file in files:
        name = from_top(file["filename"], build)
        if is_ours(name):
            for line, column, end_line, end_column, *_, covered in file["mcdc_records"]:
                place = (name, line, column, end_line, end_column, len(covered))
                known = conditions.setdefault(place, [False] * len(covered))
                conditions[place] = [was or now for was, now in zip(known, covered)]


def decisions(parts):
    """How many decisions the parts of an export have."""
    return sum(len(part["mcdc_records"]) for part in parts)


def sources_of_rooms():
    """The sources of the library, by their names from the top of the tree."""
    return set(run(["git", "ls-files", "--", *(f"{room}/*.{kind}" for room in ROOMS for kind in ("h", "cpp"))]).split())


def wrongly_absent(seen):
    """What is wrong with the sources that the compiler knows code of: a text for each."""
    tracked = sources_of_rooms()
    return (
        [f"{name}: the compiler knows of no code in it" for name in sorted(tracked - seen - WITHOUT_CODE)]
        + [f"{name}: has code, and is named as without" for name in sorted(seen & WITHOUT_CODE)]
        + [f"{name}: is named as without code, and is not there" for name in sorted(WITHOUT_CODE - tracked)]
    )


def percent(covered, whole):
    return f"{100 * covered / whole:.2f} % of {whole:,}"


def main(build, results):
    build, results = Path(build).absolute(), Path(results).absolute()
    results.mkdir(parents=True, exist_ok=True)
    lines, branches, conditions = {}, {}, {}
    for room in ROOMS:
        profiled = profile(build, results, room)
        add_lines(lines, export(build, room, profiled, "lcov"), build)
        exported = json.loads(export(build, room, profiled, "text"))["data"][0]
        if decisions(exported["files"]) != decisions(exported["functions"]):
            sys.exit(f"coverage: {room}_tests: the files have other decisions than the functions")
        add_branches(branches, exported["functions"], build)
        add_conditions(conditions, exported["files"], build)

    absent = wrongly_absent({name for name, _ in lines})
    for each in absent:
        print(f"note: {each}")

    sources = {name: Path(name).read_text().splitlines() for name, _ in lines}
    left_out = {(name, line) for name, line in lines if LEFT_OUT.search(sources[name][line - 1])}
    uncovered = []
    judged = {"line": [0, 0], "branch": [0, 0], "condition": [0, 0]}

    def judge(kind, place, covered, what):
        if place[:2] in left_out:
            return
        judged[kind][0] += covered
        judged[kind][1] += 1
        if not covered:
            name, line = place[:2]
            uncovered.append(f"{name}:{line}: {what}: {sources[name][line - 1].strip()}")

    for place, executed in sorted(lines.items()):
        judge("line", place, executed, "not executed")
    defaulted = {place for place in branches if DEFAULTED.search(sources[place[0]][place[1] - 1])}
    for place, (taken, not_taken) in sorted(branches.items()):
        if place in defaulted:
            continue
        judge("branch", place, taken != 0, f"column {place[2]} never true")
        judge("branch", place, not_taken != 0, f"column {place[2]} never false")
    for place, covered in sorted(conditions.items()):
        for number, decides in enumerate(covered, 1):
            judge("condition", place, decides, f"condition {number} of column {place[2]} never decides")
    (results / "uncovered.txt").write_text("".join(f"{each}\n" for each in sorted(uncovered)))

    share = len(left_out) / len(lines)
    print(
        f"figure: lines {percent(*judged['line'])}, branches {percent(*judged['branch'])}, "
        f"MC/DC {percent(*judged['condition'])}; {len(left_out)} lines left out ({100 * share:.2f} %)"
    )
    print(
        f"note: of {len(sources) + len(WITHOUT_CODE)} sources {len(WITHOUT_CODE)} have no code; not judged: "
        f"{len(defaulted)} branches of comparisons that the compiler writes"
    )
    if uncovered:
        print(f"note: {len(uncovered)} places are not covered")
    return 1 if absent or uncovered or share > MOST_LEFT_OUT else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2]))
