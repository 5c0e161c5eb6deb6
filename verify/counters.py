#!/usr/bin/env python3
"""Runs all tests where counters and clocks begin just below their wrap, and compares them with those
of the build as shipped.

    counters.py BUILD COUNTERS_BUILD RESULTS

The processes of COUNTERS_BUILD see clocks of their own (CLOCK_MONOTONIC and CLOCK_BOOTTIME), which
begin half a minute below 2^32 seconds: for that the kernel wants root, see time_namespaces(7).
Fails unless both builds have the same tests, with the same results, of which none is a failure, the
clock has passed its wrap meanwhile, and parts of verify-portable and verify-syncers print the same.
"""

import subprocess
import sys
import time
import xml.etree.ElementTree as xml
from pathlib import Path

WRAP = 2**32  # seconds, of a clock whose seconds have 32 bits
BELOW = 30
# What is compared besides the tests: what these programs print, doing such a part of their work.
PRINTED = (("verify-portable", 100), ("verify-syncers", 50))

# With the clock before and after.
RUN_TESTS = """
cut -d. -f1 /proc/uptime
ctest --test-dir "$1" -j 2 --output-on-failure --output-junit "$2" >"$3" 2>&1
status=$?
cut -d. -f1 /proc/uptime
exit $status
"""


def with_late_clocks():
    """What begins a command whose clocks are to be below their wrap."""
    offset = str(WRAP - BELOW - int(time.clock_gettime(time.CLOCK_BOOTTIME)))
    return ["unshare", "--time", "--monotonic", offset, "--boottime", offset]


def results_of_tests(build, results, prefix):
    """How each test ended, by its name; and the clock at the beginning and at the end."""
    junit = (results / f"{build.name}.xml").resolve()
    junit.unlink(missing_ok=True)
    log = results / f"{build.name}.txt"
    ran = subprocess.run(
        [*prefix, "sh", "-c", RUN_TESTS, "sh", build, junit, log], stdout=subprocess.PIPE, text=True, check=False
    )
    if not junit.exists():
        sys.exit(f"counters: {build}: no tests were run, exit status {ran.returncode}; see {log}")
    ended = {}
    for test in xml.parse(junit).getroot().iter("testcase"):
        if ended.setdefault(test.get("name"), test.get("status")) != test.get("status"):
            sys.exit(f"counters: {build}: {test.get('name')} ended twice, differently")
    failed = sorted(name for name, how in ended.items() if how == "fail")
    if ran.returncode != 0 or failed:
        sys.exit(f"counters: {build}: exit status {ran.returncode}, failed: {', '.join(failed)}; see {log}")
    return ended, [int(line) for line in ran.stdout.split()]


def printed(build, prefix, program, part):
    ran = subprocess.run(
        [*prefix, build / "verify" / program, "--part", str(part)], stdout=subprocess.PIPE, check=False
    )
    if ran.returncode != 0 or not ran.stdout:
        sys.exit(f"counters: {build}: {program} printed {len(ran.stdout)} octets, exit status {ran.returncode}")
    return ran.stdout


def main(build, counters_build, results):
    results.mkdir(parents=True, exist_ok=True)
    late = with_late_clocks()
    told = printed(counters_build, late, "verify-counters", 1).decode()
    if " cross it" not in told:
        sys.exit(f"counters: {counters_build}: {told.strip()}")
    print(told, end="")
    for program, part in PRINTED:
        if printed(build, [], program, part) != printed(counters_build, late, program, part):
            sys.exit(f"counters: {program} prints something else")
    there, clock = results_of_tests(counters_build, results, with_late_clocks())
    if not clock[0] < WRAP < clock[1]:
        sys.exit(f"counters: the clock went from {clock[0]} to {clock[1]} s, and did not pass 2^32 s")
    here, _ = results_of_tests(build, results, [])
    differing = sorted(name for name in here.keys() | there.keys() if here.get(name) != there.get(name))
    if differing:
        sys.exit(f"counters: not alike: {', '.join(differing)}")
    passed = sum(how == "run" for how in here.values())
    print(f"note: meanwhile the clock went from {clock[0]} to {clock[1]} s, past 2^32 s")
    printed_alike = " and ".join(f"a {part}th of {program}" for program, part in PRINTED)
    print(
        f"figure: {len(here):,} tests, {passed:,} passed, {len(here) - passed:,} skipped, and what "
        f"{printed_alike} print: all as in the build as shipped"
    )


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*map(Path, sys.argv[1:]))
