#!/usr/bin/env python3
"""Runs the commands that the documents show, as their reader would type them.

    commands.py TREE BUILD                 those that take seconds, with what is built in BUILD
    commands.py TREE BUILD minutes|hours   those that take longer, in a clone of TREE

Every command of a document stands in runs.py, which says how long it takes and what it has to print;
one that does not, or that no document shows any more, is an error. With `hours` goes `minutes`.
Exit status: 0 when all have done what they are to do, 77 when nothing failed and some could not be
run here.
"""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from runs import LAB, RUNS

DOCUMENTS = ["README.md", "CONTRIBUTING.md", "CHANGELOG.md", "docs/**/*.md", "agent/captures/README.md"]
MANUALS = ["agent/stp-agent.1", "tools/trace/varnol-trace.1"]
PROGRAM = re.compile(
    r"(\./dev|cmake|ctest|c\+\+|ldconfig|stp-agent|varnol-trace|babeltrace2|ip|record-bridge"
    r"|(build|tests|verify|examples|bench)/\S+|\$agent)\s"
)
# Elsewhere a program's name alone is no command.
WITHOUT_ARGUMENTS = ["ldconfig"]
# Of what is described beside it two spaces away.
BESIDE = re.compile(r"\s{2,}.*")


def of_document(text):
    """The commands of a document: indented lines of a block that begins with one, and spans of code."""
    found = []  # with their places
    text = re.sub(r"^```.*?^```$", lambda fenced: " " * len(fenced[0]), text, flags=re.MULTILINE | re.DOTALL)
    for block in re.finditer(r"(?:^ {4,}\S.*\n)+", text, flags=re.MULTILINE):
        lines = [BESIDE.sub("", line.strip()) for line in block[0].splitlines()]
        if PROGRAM.match(lines[0] + " "):
            found += [(block.start(), line) for line in lines]
    # A span may go on in the next line.
    for span in re.finditer(r"`([^`\n]+(?:\n[^`\n]+)?)`", text):
        code = " ".join(span[1].split())
        if PROGRAM.match(code) or code in WITHOUT_ARGUMENTS:
            found.append((span.start(), code))
    return [command for _, command in sorted(found, key=lambda each: each[0])]


def of_manual(text):
    """The commands of a manual page's examples."""
    examples = re.search(r"^\.SH EXAMPLES\n\.EX\n(.*?)^\.EE", text, flags=re.MULTILINE | re.DOTALL)
    return examples.group(1).replace("\\-", "-").splitlines()


def shown(tree):
    """Each command, with the documents that show it, in the order in which a reader meets them."""
    commands = {}
    for pattern in DOCUMENTS:
        for document in sorted(tree.glob(pattern)):
            for command in of_document(document.read_text()):
                commands.setdefault(command, set()).add(str(document.relative_to(tree)))
    for manual in MANUALS:
        for command in of_manual((tree / manual).read_text()):
            commands.setdefault(command, set()).add(manual)
    return commands


class Runner:
    def __init__(self):
        self.failed = []
        self.skipped = []

    def run(self, command, text, says, folder, environment):
        print(f"$ {command}", flush=True)
        begin = time.monotonic()
        output = folder / "output.txt"
        with output.open("w") as file:
            status = subprocess.run(
                # What a command has made is taken away also when this program is ended.
                ["setpriv", "--pdeathsig", "TERM", "bash", "-c", text],
                cwd=folder,
                env=environment,
                stdout=file,
                stderr=subprocess.STDOUT,
                check=False,
            ).returncode
        printed = output.read_text(errors="replace")
        seconds = time.monotonic() - begin
        if status == 77:
            self.skipped.append(command)
            print(f"  skipped: {printed.strip()}", flush=True)
        elif status == 0 and re.search(says, printed, flags=re.MULTILINE):
            print(f"  {seconds:.0f} s", flush=True)
        else:
            self.failed.append(command)
            print(printed[-5000:])
            print(f"  FAILED: exit status {status}, to print: {says}", flush=True)


def prepared(work, tree, build):
    """A folder in which what is built stands where a reader has it."""
    (work / "build").mkdir()
    (work / "build/gcc-release").symlink_to(build)
    for folder in ["agent", "examples", "tests"]:
        (work / folder).symlink_to(tree / folder)
    shutil.copy(tree / "examples/service/Smallest.cpp", work / "service.cpp")
    shutil.copy(tree / "agent/captures/rstp-bridge.pcap", work / "bridge.pcap")
    (work / "tmp").mkdir()


def main(tree, build, length="seconds"):
    tree, build = Path(tree).resolve(), Path(build).resolve()
    commands = shown(tree)
    for command in commands:
        if command not in RUNS and command not in LAB:
            sys.exit(f"commands: nobody runs what {', '.join(commands[command])} shows: {command}")
    for command in [*RUNS, *LAB]:
        if command not in commands:
            sys.exit(f"commands: no document shows: {command}")

    lengths = {"seconds": ["seconds"], "minutes": ["minutes"], "hours": ["minutes", "hours"]}[length]
    runner = Runner()
    with tempfile.TemporaryDirectory(prefix="varnol-documents.") as name:
        work = Path(name)
        if length == "seconds":
            prepared(work, tree, build)
        else:
            subprocess.run(["git", "clone", "-q", tree, work / "varnol"], check=True)
            work = work / "varnol"
            (work / "tmp").mkdir()
        environment = os.environ | {
            "LC_ALL": "C",
            "PATH": f"{build}/agent:{build}/tools:{os.environ['PATH']}:/usr/sbin:/sbin",
        }

        def placed(text):
            """Nothing is written outside the work's folder."""
            return re.sub("/usr/local|/tmp(?=/)", lambda found: f"{work}{found[0]}", text)

        for command in commands:
            run = RUNS.get(command)
            if run and run.length in lengths:
                runner.run(command, placed(run.instead or command), run.says, work, environment)
        if length == "seconds":
            lab = "\n".join(LAB.values())
            runner.run("the commands of the namespace", placed(lab), "", work, environment)
    if runner.failed:
        sys.exit(f"commands: failed: {'; '.join(runner.failed)}")
    return 77 if runner.skipped else 0


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
