#!/usr/bin/env python3
"""Fuzzes the agent's parser from nothing, and tells how much of it the frames took that were found.

    fuzz.py PROGRAMS FOLDER [--runs N] [--seed N]

PROGRAMS is the folder with parse_fuzz and parse_edges. The frames that took new ways stay in
FOLDER/corpus, one that something does not hold for in FOLDER. Fails unless the corpus takes every
edge of the parser's own functions, those of agent/bpdu/Parse.cpp; the library's decoding of fields,
which they call, is compiled without counting.
"""

import argparse
import re
import shutil
import subprocess
import sys
from pathlib import Path


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--runs", type=int, default=4_000_000)
    parser.add_argument("--seed", type=int, default=20_261_122)
    options = parser.parse_args()

    corpus = options.folder / "corpus"
    shutil.rmtree(corpus, ignore_errors=True)
    corpus.mkdir(parents=True)
    fuzzer = [
        options.programs / "parse_fuzz",
        corpus,
        f"-artifact_prefix={options.folder}/",
        f"-runs={options.runs}",
        f"-seed={options.seed}",
        "-use_value_profile=1",
        "-len_control=0",
        "-max_len=1200",
        "-print_final_stats=1",
    ]
    result = subprocess.run(fuzzer, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
    if result.returncode != 0:
        sys.exit(f"{result.stdout[-10_000:]}\nfuzz: with seed {options.seed}: parse_fuzz exited with {result.returncode}")
    runs = int(re.search(r"^stat::number_of_executed_units: *(\d+)$", result.stdout, re.MULTILINE)[1])

    frames = sorted(corpus.iterdir())
    program = options.programs / "parse_edges"
    result = subprocess.run([program, *frames], stdout=subprocess.PIPE, text=True)
    told = dict(line.split(": ") for line in result.stdout.splitlines() if not line.startswith("not taken"))
    for address in re.findall(r"^not taken: (.*)$", result.stdout, re.MULTILINE):
        place = subprocess.run(["addr2line", "-Cfpse", program, address], stdout=subprocess.PIPE, text=True).stdout
        print(f"not taken: {place.strip()}")
    if result.returncode != 0 or runs < options.runs:
        sys.exit(f"fuzz: with seed {options.seed}: edges {told.get('edges')} after {runs:,} runs")
    print(f"seed: {options.seed}")
    print(
        f"figure: {told['edges']} edges of the functions in agent/bpdu/Parse.cpp from nothing in {runs:,} runs of "
        "the fuzzer"
    )


if __name__ == "__main__":
    main()
