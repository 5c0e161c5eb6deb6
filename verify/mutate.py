#!/usr/bin/env python3
"""Changes the compiled library at one place at a time, and tells which changes no test notices.

    mutate.py BUILD [--unit FILE]... [--part N] [-j N] [--quick | --report]

BUILD is a build by g++, not optimised, for x86-64, whose target library_tests is up to date. Each
conditional branch of the library is made to be taken always and never, each comparison's value true
and false, each constant gets another bit, and each call that is made for its effect is left out. A
template's instances, and an inline function's copies, are changed together. Of the tests, those are
run that execute a changed instruction, of the source's room first; a change is killed when one fails,
crashes, or twice takes ten times the processor's time that it takes without the change, and 2 s.

Nothing else is changed. Operators stay: no + becomes -, no < becomes <=. So do calls whose result is
used, or may be; what constructs and destroys; calls of the C and C++ libraries but for some mutators;
constants of floating point, in addresses, as LEA adds them, and that an instruction does without, as a
shift by 1; orders of memory; what looks like the compiler's own, by the rules of
mutation/assembler.py; and templates, or instances of them, that the library's units do not compile.

Results are kept in BUILD/mutate/results.jsonl; a run does what is not there yet. A result holds until
the library changes; that a change survived, until the tests do; that it was killed, while there is a
test of that name.

  --unit FILE   changes in files whose names begin so, as "syncers/" or "framework/zel/RbTree.cpp"
  --part N      every N-th change
  -j N          that many at a time, as many as there are processors by default
  --quick       runs no slow tests: what these alone could notice is left open
  --report      runs nothing, and tells what the results come to

verify/equivalent.toml names the survivors that no test can notice, and why. Exit status: 1 when other
changes survive or, of those that were asked for, some are not tried or left open; where all were asked
for, also when more than 2 % are named there, or when one that is named there is killed.
"""

import argparse
import collections
import hashlib
import json
import os
import queue
import shlex
import subprocess
import sys
import tempfile
import threading
import time
import tomllib
from pathlib import Path
from typing import NamedTuple

sys.path.insert(0, str(Path(__file__).parent / "mutation"))
from assembler import Unit, demangled, kept  # noqa: E402
from patch import CHANGES, can_patch, patch  # noqa: E402
from program import Copy, Program  # noqa: E402

TOP = Path(__file__).resolve().parent.parent
# Lowest first.
ROOMS = ["framework", "platform", "model", "bpdu", "syncers"]
MOST_EQUIVALENT = 0.02
LEFT_OUT = "operators, calls whose results are used, what constructs and destroys, and templates that only tests compile"
# Tests that take longer are run only where the others notice nothing.
QUICK = 0.3
# What the changed calls call: an object of a class that is a pointer becomes null.
NULL = """mutant_null:
\tmovq $0, (%rdi)
\tmovq %rdi, %rax
\tret
\t.section .note.GNU-stack,"",@progbits
"""


class Mutant(NamedTuple):
    name: str
    kind: str
    change: str
    file: str
    line: int
    function: str
    sites: list


def run(command, **options):
    subprocess.run(command, check=True, **options)


class Sources:
    """The library's sources."""

    def __init__(self, top):
        self.top = Path(top)
        self.lines = {}

    def line(self, file, number):
        if file not in self.lines:
            self.lines[file] = (self.top / file).read_text().splitlines()
        lines = self.lines[file]
        return lines[number - 1].strip() if number <= len(lines) else ""


def compiled(commands, folder, is_ours, sources):
    """Compiles units by their commands, labelled, into the folder. Returns Units, and objects."""
    units, objects = [], []
    for number, (directory, command) in enumerate(commands):
        text = folder / f"{number}.s"
        words = shlex.split(command)
        source = Path(words[-1])
        # The compiler's text is kept while nothing is newer that it was made of.
        made_of = folder / f"{number}.d"
        if not text.exists() or _newer(made_of, text, directory):
            at = words.index("-o")
            words = words[:at] + words[at + 2 :]
            words.remove("-c")
            run([*words, "-fno-jump-tables", "-MMD", "-MF", made_of, "-S", "-o", text], cwd=directory)
        unit = Unit(text.read_text(), number, is_ours, sources.line)
        labelled, made = folder / f"{number}.labelled.s", folder / f"{number}.o"
        labelled.write_text(unit.labelled())
        run(["as", labelled, "-o", made])
        units.append(unit)
        objects.append(made)
    return units, objects


def _newer(made_of, text, directory):
    if not made_of.exists():
        return True
    files = made_of.read_text().replace("\\\n", " ").split(":", 1)[1].split()
    return any(not (directory / file).exists() or (directory / file).stat().st_mtime > text.stat().st_mtime for file in files)


def link(objects, tests, libraries, program):
    """The library's objects come first: of functions that tests have, too, theirs are taken."""
    null = program.with_name("null.o")
    run(["as", "-", "-o", null], input=NULL, text=True)
    run(["g++", "-no-pie", "-Wl,--strip-debug", null, *objects, *tests, *libraries, "-o", program])


def mutants(sites, sources):
    """One for each place of the source and each change of it."""
    names = demangled([site.function for site in sites] + [site.callee for site in sites])
    together = collections.defaultdict(list)
    seen = collections.Counter()
    for site in sites:
        what = f"constant {site.value}" if site.kind == "constant" else site.kind
        place = (site.file, site.line, site.column, what)
        # A line's branches may have one place; a constant or call that is there again is the same one,
        # unfolded.
        if site.kind in ("branch", "value"):
            seen[(site.function, place)] += 1
        together[(*place, seen[(site.function, place)])].append(site)
    found = []
    for (file, line, column, what, number), alike in sorted(together.items()):
        if what == "call":
            what = f"call of {short(names[alike[0].callee])}" if alike[0].callee[0] != "*" else "virtual call"
        for change in CHANGES[alike[0].kind]:
            if all(change in site.without_effect for site in alike):
                continue
            name = f"{file}:{line}:{column} {what} {change}" + (f" {number}" if number > 1 else "")
            function = short(names[alike[0].function])
            found.append(Mutant(name, what, change, file, line, function, alike))
    # The product before what it stands on.
    return sorted(found, key=lambda mutant: -ROOMS.index(mutant.file.split("/")[0]) if "/" in mutant.file else 0)


def short(name):
    """A function's name without arguments, of templates neither."""
    out, depth = [], 0
    name = name.removeprefix("void ").replace("(anonymous namespace)", "{anonymous}").replace("operator()", "operator{}")
    for character in name:
        if character == "<":
            depth += 1
        elif character == ">":
            depth -= 1
        elif character == "(" and depth == 0:
            break
        elif depth == 0:
            out.append(character)
    return "".join(out).split(" ")[-1]


class Laboratory:
    """Programs, and what is changed in them."""

    def __init__(self, programs, folder):
        self.programs = programs
        self.copies = [Copy(program, folder) for program in programs]
        self.killers = collections.defaultdict(list)  # (file, function) -> tests, the last one first

    def patches(self, program, mutant):
        found = []
        for site in mutant.sites:
            code = program.code(site.label)
            if code:
                begin = program.symbols[site.label]
                to_null = program.symbols["mutant_null"] - (begin + len(code))
                found.append((begin, patch(site, mutant.change, code, to_null)))
        return found

    def test(self, mutant, slow):
        """Returns what becomes of the mutant by its quick tests or, where these notice nothing, by its
        slow ones: "killed", and by which test and how; "open", if there are slow ones; "survived"."""
        room = mutant.file.split("/")[0]
        count, left = 0, False
        for copy in sorted(self.copies, key=lambda each: each.program.name != room):
            program = copy.program
            reaching = program.reaching([site.label for site in mutant.sites])
            count += len(reaching)
            quick, tedious = self.batches(mutant, program, reaching)
            left = left or bool(tedious)
            if not (tedious if slow else quick):
                continue
            with copy.changed(self.patches(program, mutant)):
                for tests in tedious if slow else quick:
                    outcome = program.run(copy.path, tests, program.limit(tests))
                    if outcome.how == "does not end":  # once may be the machine's doing
                        outcome = program.run(copy.path, tests, program.limit(tests))
                    if not outcome.passed:
                        self.remember(mutant, program, outcome.test)
                        return {"outcome": "killed", "program": program.name, "test": outcome.test, "how": outcome.how}
        return {"outcome": "open" if left and not slow else "survived", "tests": count}

    def batches(self, mutant, program, reaching):
        """What is to be run at once: quick tests, first those that killed what is near, and slow ones."""
        near = [test for test in self.killers[(program.name, mutant.file, mutant.function)] if test in reaching]
        rest = [test for test in reaching if test not in near]
        quick = [test for test in rest if program.seconds[test] <= QUICK]
        slow = sorted((test for test in rest if program.seconds[test] > QUICK), key=program.seconds.get)
        return [tests for tests in [near, quick] if tests], [[test] for test in slow]

    def remember(self, mutant, program, test):
        if test in program.seconds and program.seconds[test] <= QUICK:
            near = self.killers[(program.name, mutant.file, mutant.function)]
            if test in near:
                near.remove(test)
            near.insert(0, test)
            del near[3:]


def digest(paths):
    told = hashlib.sha256()
    for path in paths:
        told.update(Path(path).read_bytes())
    return told.hexdigest()[:16]


def library(build, folder, sources):
    """The library's units and tests, built. Returns mutants, programs, digest of the library."""
    commands = json.loads((build / "compile_commands.json").read_text())
    units = []
    for room in ROOMS:
        units += [each for each in commands if f"/varnol_{room}.dir/" in each["command"]]
    told = [(Path(each["directory"]), each["command"]) for each in units]
    print(f"mutate: {len(units)} units", flush=True)
    units, objects = compiled(told, folder, lambda file: file.split("/")[0] in ROOMS, sources)
    helpers = sorted((build / "tests/CMakeFiles/test_helpers.dir").rglob("*.o"))
    programs = []
    for room in ROOMS:
        tests = sorted((build / f"tests/CMakeFiles/{room}_test_objects.dir").rglob("*.o"))
        path = folder / f"{room}_tests"
        link(objects, [*tests, *helpers], ["-lgtest_main", "-lgtest"], path)
        program = Program(room, path)
        programs.append(program)
    sites = kept(units)
    linked = [site for site in sites if any(site.label in program.symbols for program in programs)]
    usable = [site for site in linked if can_patch(site, next(filter(None, (each.code(site.label) for each in programs))))]
    made_by = [Path(__file__).parent / "mutation" / name for name in ("assembler.py", "patch.py")]
    of = digest([*(folder / f"{number}.s" for number in range(len(units))), *made_by])
    return mutants(usable, sources), programs, of


def learn(programs, labels, folder):
    """Runs all tests, if they are not those of the last time."""
    tracer = folder / "reach.so"
    run(["gcc", "-O2", "-shared", "-fPIC", "-o", tracer, Path(__file__).parent / "mutation/reach.c"])
    for program in programs:
        place = folder / f"{program.name}.json"
        of = hashlib.sha256(program.octets).hexdigest()[:16]
        known = json.loads(place.read_text()) if place.exists() else {}
        if known.get("of") != of:
            print(f"mutate: which test of {program.name} executes what", flush=True)
            program.learn(labels, tracer.absolute())
            known = {
                "of": of,
                "names": program.names,
                "seconds": program.seconds,
                "reach": {label: f"{tests:x}" for label, tests in program.reach.items()},
            }
            place.write_text(json.dumps(known))
        program.of = of
        program.names, program.seconds = known["names"], known["seconds"]
        program.reach = {label: int(tests, 16) for label, tests in known["reach"].items()}


def check_together(programs):
    """Runs the quick tests of each program at once, without any change, as a changed one runs them.
    Throws when one fails, which then could be no change's doing."""
    for program in programs:
        tests = [test for test in program.names if program.seconds[test] <= QUICK]
        outcome = program.run(program.path, tests, program.limit(tests))
        if not outcome.passed:
            raise RuntimeError(f"{program.name}: {outcome.test}: {outcome.how}, after others, without any change")


class Results:
    """What became of mutants, in a file that is only added to."""

    def __init__(self, path, library_of, programs):
        self.path = path
        self.of = {"library": library_of, "tests": digest(program.path for program in programs)}
        tests = {program.name: set(program.names) for program in programs}
        self.known = {}
        lines = path.read_text().splitlines() if path.exists() else []
        for line in lines:
            each = json.loads(line)
            same_tests = each["tests_of"] == self.of["tests"]
            killer_left = each["outcome"] == "killed" and each["test"] in tests.get(each["program"], ())
            if each["library_of"] == self.of["library"] and (same_tests or killer_left):
                self.known[each["mutant"]] = each
            else:
                self.known.pop(each["mutant"], None)
        self.lock = threading.Lock()

    def add(self, mutant, result, seconds):
        with self.lock, self.path.open("a") as file:
            result = {
                "mutant": mutant.name,
                **result,
                "seconds": round(seconds, 2),
                "library_of": self.of["library"],
                "tests_of": self.of["tests"],
            }
            self.known[mutant.name] = result
            file.write(json.dumps(result) + "\n")


def test_all(wanted, programs, results, stages, jobs, folder):
    for slow in stages:
        open_outcomes = (None, "open") if slow else (None,)
        waiting = queue.Queue()
        for mutant in wanted:
            if results.known.get(mutant.name, {"outcome": None})["outcome"] in open_outcomes:
                waiting.put(mutant)
        print(f"mutate: {waiting.qsize()} of {len(wanted)} changes, by {'slow' if slow else 'quick'} tests", flush=True)
        work_off(waiting, programs, lambda laboratory, mutant: laboratory.test(mutant, slow), results, jobs, folder)


def work_off(waiting, programs, test, results, jobs, folder):
    whole, begin = waiting.qsize(), time.monotonic()

    def work():
        with tempfile.TemporaryDirectory(dir=folder) as own:
            laboratory = Laboratory(programs, own)
            while True:
                try:
                    mutant = waiting.get_nowait()
                except queue.Empty:
                    return
                at = time.monotonic()
                result = test(laboratory, mutant)
                results.add(mutant, result, time.monotonic() - at)
                done = whole - waiting.qsize()
                if done % 100 == 0:
                    print(f"mutate: {done} of {whole}, {time.monotonic() - begin:.0f} s", flush=True)

    workers = [threading.Thread(target=work) for _ in range(jobs)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()


class Equivalent:
    """Survivors that no test can notice, by file, function, text of the line, and change. A change is
    named once for each survivor that is so called."""

    def __init__(self, entries):
        self.left = collections.Counter(
            (entry["file"], entry["function"], entry["text"], change) for entry in entries for change in entry["changes"]
        )

    def names(self, mutant, text):
        name = (mutant.file, mutant.function, text, mutant.name.partition(" ")[2])
        named = self.left[name] > 0
        self.left[name] -= named
        return named

    def unused(self):
        return [": ".join(name) for name in self.left.elements()]


def report(found, wanted, results, sources, folder):
    """Tells what the results come to. Returns whether that is the figure to reach, and the figure."""
    named = (Path(__file__).parent / "equivalent.toml").read_text()
    equivalent = Equivalent(tomllib.loads(named)["equivalent"])
    by_kind, by_unit = collections.defaultdict(collections.Counter), collections.defaultdict(collections.Counter)
    hows, survivors = collections.Counter(), []
    for mutant in wanted:
        result = results.known.get(mutant.name)
        outcome = result["outcome"] if result else "not run"
        if outcome in ("survived", "open"):
            text = sources.line(mutant.file, mutant.line)
            if equivalent.names(mutant, text):
                outcome = "equivalent"
            else:
                survivors.append(f"{mutant.name}: {outcome}\n    {mutant.function}, {result['tests']} tests: {text}")
        elif result:
            hows[result["how"]] += 1
        by_kind[mutant.sites[0].kind][outcome] += 1
        by_unit[mutant.file][outcome] += 1
    columns = ["killed", "equivalent", "survived", "open", "not run"]
    lines = [f"{'':60}" + "".join(f"{column:>12}" for column in columns)]
    for name, counts in [*sorted(by_unit.items()), *sorted(by_kind.items())]:
        lines.append(f"{name:60}" + "".join(f"{counts[column]:12}" for column in columns))
    whole = sum(by_kind.values(), collections.Counter())
    lines.append(f"{'all':60}" + "".join(f"{whole[column]:12}" for column in columns))
    lines += ["", "killed by:", *(f"  {how}: {count}" for how, count in hows.most_common())]
    lines += ["", f"survivors: {len(survivors)}", *survivors]
    tried = not whole["not run"] and not whole["open"]
    complete = tried and len(wanted) == len(found)
    unused = equivalent.unused() if complete else []
    lines += [f"named in equivalent.toml, and no survivor: {each}" for each in unused]
    (folder / "report.txt").write_text("\n".join(lines) + "\n")
    print("\n".join(lines))
    share = whole["equivalent"] / max(1, whole.total())
    plural = {"branch": "branches", "call": "calls", "constant": "constants", "value": "values"}
    kinds = ", ".join(f"{counts.total():,} of {plural[name]}" for name, counts in sorted(by_kind.items()))
    figure = f"{whole.total():,} changes ({kinds}): {whole['killed']:,} killed, {whole['equivalent']} equivalent ({100 * share:.1f} %)"
    if whole["survived"]:
        figure += f", {whole['survived']:,} noticed by none"
    if whole["open"]:
        figure += f", {whole['open']:,} noticed by no quick test, and not tried by slow ones"
    if not complete:
        figure += f", {len(found) - whole.total() + whole['not run']:,} of {len(found):,} not tried"
    figure += f"; not changed: {LEFT_OUT}"
    reached = tried and not survivors and not unused and (share <= MOST_EQUIVALENT or not complete)
    return reached, figure


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("--unit", action="append", default=[])
    parser.add_argument("--part", type=int, default=1)
    parser.add_argument("-j", type=int, default=len(os.sched_getaffinity(0)), dest="jobs")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--report", action="store_true")
    given = parser.parse_args()
    build = given.build.absolute()
    folder = build / "mutate"
    folder.mkdir(exist_ok=True)
    begin = time.monotonic()
    sources = Sources(TOP)
    found, programs, library_of = library(build, folder, sources)
    learn(programs, {site.label for mutant in found for site in mutant.sites}, folder)
    results = Results(folder / "results.jsonl", library_of, programs)
    wanted = [each for each in found if not given.unit or each.file.startswith(tuple(given.unit))][:: given.part]
    if not given.report:
        check_together(programs)
        # All quick tests first: what they leave open is known early.
        stages = [False] if given.quick else [False, True]
        test_all(wanted, programs, results, stages, given.jobs, folder)
    reached, figure = report(found, wanted, results, sources, folder)
    print(f"figure: {figure}")
    print(f"mutate: {time.monotonic() - begin:.0f} s")
    return 0 if reached else 1


if __name__ == "__main__":
    sys.exit(main())
