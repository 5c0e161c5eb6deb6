"""A test program that can be changed between two runs, and told which tests execute an instruction."""

import ctypes
import os
import re
import resource
import signal
import statistics
import struct
import subprocess
import tempfile
import time
from pathlib import Path
from typing import NamedTuple

# What a changed program may take: memory, size of a file, seconds of processor time beyond ten times
# what its tests need, and of any time.
MEMORY = 4 << 30
FILE_SIZE = 64 << 20
SECONDS = 2
PATIENCE = 10

LIBC = ctypes.CDLL(None)
PR_SET_PDEATHSIG = 1

BEGUN = re.compile(rb"\[ RUN      \] (\S+)")
FAILED = re.compile(rb"\[  FAILED  \] ([^\s,]+)")
RAN = re.compile(rb"\[==========\] (\d+) tests? from \d+ test suites? ran")


class Outcome(NamedTuple):
    passed: bool
    # Of the test that did not pass, "" if none is to be seen.
    test: str
    # "failed", "signal 11", ...
    how: str


class Program:
    """A program of GoogleTest's, not relocated when it is loaded."""

    def __init__(self, name, path):
        self.name = name
        self.path = Path(path).absolute()
        self.octets = self.path.read_bytes()
        self.symbols = _symbols(self.path)
        self.segments = _segments(self.octets)
        self.seconds = {}  # test -> of the processor's time, what it takes
        self.reach = {}  # label -> numbers of tests, a bit each

    def offset(self, address):
        for begin, size, offset in self.segments:
            if begin <= address < begin + size:
                return address - begin + offset
        raise ValueError(f"{self.name} has nothing at {address:x}")

    def code(self, label):
        """An instruction's octets; none if the linker took another unit's function."""
        begin, end = self.symbols.get(label), self.symbols.get(f"{label}.end")
        if begin is None or end is None:
            return b""
        at = self.offset(begin)
        return self.octets[at : at + end - begin]

    def tests(self):
        told = subprocess.run(
            [self.path, "--gtest_list_tests"], check=True, stdout=subprocess.PIPE, text=True
        ).stdout
        suite, tests = "", []
        for line in told.splitlines():
            if line.startswith("  "):
                tests.append(suite + line.split()[0])
            elif line[:1].strip() and line.split()[0].endswith("."):
                suite = line.split()[0]
        return [test for test in tests if "DISABLED_" not in test]

    def learn(self, labels, tracer):
        """Runs each test by itself, and notes what it takes and which labelled instructions it
        executes. Throws for one that fails."""
        places = sorted((self.symbols[label], label) for label in labels if label in self.symbols)
        tests = self.tests()
        self.names = tests
        with tempfile.TemporaryDirectory() as folder:
            folder = Path(folder)
            (folder / "places").write_bytes(b"".join(struct.pack("<Q", address) for address, _ in places))
            reach = [0] * len(places)
            environment = {
                "LD_PRELOAD": str(tracer),
                "REACH_PROGRAM": str(self.path),
                "REACH_PLACES": str(folder / "places"),
                "REACH_HITS": str(folder / "hits"),
            }
            for number, test in enumerate(tests):
                (folder / "hits").write_bytes(bytes(len(places)))
                begin = _children_seconds()
                outcome = self.run(self.path, [test], 600, environment if places else {})
                self.seconds[test] = _children_seconds() - begin
                if not outcome.passed:
                    raise RuntimeError(f"{self.name}: {test}: {outcome.how}, without any change")
                hits = (folder / "hits").read_bytes()
                at = hits.find(1)
                while at >= 0:
                    reach[at] |= 1 << number
                    at = hits.find(1, at + 1)
        self.reach = {label: tests for (_, label), tests in zip(places, reach) if tests}

    def reaching(self, labels):
        """The tests that execute one of the instructions."""
        numbers = 0
        for label in labels:
            numbers |= self.reach.get(label, 0)
        return [test for number, test in enumerate(self.names) if numbers >> number & 1]

    def limit(self, tests):
        # Of what each takes by itself, most is the program's start.
        start = statistics.median(self.seconds.values())
        return SECONDS + 10 * (start + sum(max(0, self.seconds[test] - start) for test in tests))

    def run(self, path, tests, seconds, environment=None):
        """Runs some tests, in a folder of their own, until one fails. Leaves no process behind, also
        when it is killed itself."""

        def limit():
            LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
            resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds) + 1, int(seconds) + 2))

        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, "output"), "w+b") as output:
                (Path(folder) / "flags").write_text(f"--gtest_filter={':'.join(tests)}\n")
                process = subprocess.Popen(
                    [path, f"--gtest_flagfile={folder}/flags", "--gtest_fail_fast", "--gtest_color=no"],
                    stdin=subprocess.DEVNULL,
                    stdout=output,
                    stderr=subprocess.STDOUT,
                    cwd=folder,
                    env={**os.environ, "TMPDIR": folder, **(environment or {})},
                    preexec_fn=limit,
                    start_new_session=True,
                )
                try:
                    status = process.wait(seconds + PATIENCE)
                except subprocess.TimeoutExpired:
                    status = None
                finally:
                    # The tests' own processes are in its group.
                    try:
                        os.killpg(process.pid, signal.SIGKILL)
                    except ProcessLookupError:
                        pass
                    process.wait()
                output.seek(0)
                told = output.read()
        return judged(status, told, len(tests))


def judged(status, told, tests):
    """What became of a run of that many tests."""
    ran = RAN.findall(told)
    if status == 0 and ran and int(ran[-1]) == tests:
        return Outcome(True, "", "")
    failed = FAILED.findall(told) or BEGUN.findall(told)[-1:]
    test = failed[0].decode() if failed else ""
    if status is None or status in (-signal.SIGXCPU, -signal.SIGKILL):
        return Outcome(False, test, "does not end")
    if status == 0:
        return Outcome(False, test, "ends early")
    return Outcome(False, test, "fails" if status > 0 else f"signal {-status}")


class Copy:
    """A program's copy, which is changed."""

    def __init__(self, program, folder):
        self.program = program
        self.path = Path(folder) / program.path.name
        self.path.write_bytes(program.octets)
        self.path.chmod(0o755)

    def changed(self, patches):
        """A context in which the program has other octets at some addresses."""
        return _Changed(self, patches)


class _Changed:
    def __init__(self, copy, patches):
        self.copy = copy
        self.patches = [(copy.program.offset(address), octets) for address, octets in patches]

    def __enter__(self):
        self._write(self.patches)

    def __exit__(self, *_):
        self._write([(at, self.copy.program.octets[at : at + len(octets)]) for at, octets in self.patches])

    def _write(self, pieces):
        for attempt in range(100):
            try:
                with self.copy.path.open("r+b") as file:
                    for at, octets in pieces:
                        file.seek(at)
                        file.write(octets)
                return
            except OSError:  # a killed process may still be there for a moment
                if attempt == 99:
                    raise
                time.sleep(0.05)


def _children_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def _symbols(path):
    """Address by name, of the labels and of what replaces a call."""
    told = subprocess.run(["nm", path], check=True, stdout=subprocess.PIPE, text=True).stdout
    return {
        name: int(address, 16)
        for address, _, name in (line.split() for line in told.splitlines() if not line.startswith(" "))
        if name.startswith("mutant")
    }


def _segments(octets):
    """(address, size in the file, offset in the file) of what an ELF file has loaded."""
    header, = struct.unpack_from("<Q", octets, 32)
    size, count = struct.unpack_from("<HH", octets, 54)
    segments = []
    for number in range(count):
        kind, _, offset, address, _, in_file = struct.unpack_from("<IIQQQQ", octets, header + number * size)
        if kind == 1:
            segments.append((address, in_file, offset))
    return segments
