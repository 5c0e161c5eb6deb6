#!/usr/bin/env python3
"""Runs tests by their names, and fails when one fails, is left out or is not there.

    named_tests.py PROGRAM TEST...

A test is SUITE.NAME, without prefix and parameter: all its instances run.
"""

import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path


def main(program, names):
    patterns = [pattern for name in names for pattern in (name, f"*/{name}/*")]
    with tempfile.TemporaryDirectory() as folder:
        results = Path(folder) / "results.json"
        ended = subprocess.run(
            [program, "--gtest_brief=1", f"--gtest_filter={':'.join(patterns)}", f"--gtest_output=json:{results}"],
            check=False,
        )
        if ended.returncode != 0:
            sys.exit(f"named_tests: {program} exited with {ended.returncode}")
        suites = json.loads(results.read_text())["testsuites"]
    missing = set(names)
    runs = 0
    for suite in suites:
        for test in suite["testsuite"]:
            if test["status"] != "RUN" or test["result"] != "COMPLETED":
                continue
            runs += 1
            missing.discard(f"{suite['name'].split('/')[-1]}.{re.sub('/.*', '', test['name'])}")
    if missing:
        sys.exit(f"named_tests: not run: {', '.join(sorted(missing))}")
    print(f"figure: {len(names)} tests by name, {runs} runs of them")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2:])
