"""What is verified, a row for each kind of fault."""

from typing import NamedTuple


class Row(NamedTuple):
    name: str
    fault: str
    # What is done against it.
    done: str
    # The figure to reach.
    target: str
    # In the order in which they run; see verify.py.
    commands: list


ROWS = [
    Row(
        "syncers",
        "syncers: a mirrored tree that is not its source's",
        "random source and destination operations, pause, rebind, drop, re-create, over all four kinds of syncer at"
        " once, against models; byte-identical replay from a seed",
        "10 million operations, 10,000 seeds, both compilers give the same trace",
        [
            "cmake --preset clang-release >/dev/null && "
            "cmake --build --preset clang-release --target verify-syncers -- --quiet",
            "{build}/verify/verify-syncers >{results}/gcc.txt; status=$?; cat {results}/gcc.txt; exit $status",
            "build/clang-release/verify/verify-syncers >{results}/clang.txt || exit; "
            "grep '^note: trace digest' {results}/gcc.txt >{results}/gcc.digest && "
            "grep '^note: trace digest' {results}/clang.txt | cmp - {results}/gcc.digest && "
            "echo 'note: g++ and clang give the same trace'",
        ],
    ),
    Row(
        "soak",
        "leaks, and memory that grows",
        "a mirrored tree changes, interfaces, records and entries come and go; at 100 checkpoints the census is a"
        " model's, the trees are equal, and the resident memory is read after warm-up",
        "10 million changes, a million interfaces added and removed; census exact, memory flat within 64 KiB",
        ["{build}/verify/verify-soak"],
    ),
    Row(
        "threads",
        "races between threads",
        "two threads with independent sets of mirrored trees; two threads that hand over, copy and drop shared"
        " pointers and strings, with thread-safe pointers",
        "ThreadSanitizer silent, a million operations of each on each thread",
        [
            "cmake --preset gcc-tsan >/dev/null && cmake --build --preset gcc-tsan --target verify-threads -- --quiet",
            "TSAN_OPTIONS=halt_on_error=1 build/gcc-tsan/verify/verify-threads && echo 'note: ThreadSanitizer silent'",
        ],
    ),
]
