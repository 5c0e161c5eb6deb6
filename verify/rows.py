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
    # Takes so long that it is run only where it is asked for by name.
    apart: bool = False


def built(preset, *targets):
    """The command for a build; one at a time, as each has all processors and rows may share it."""
    named = f" --target {' '.join(targets)}" if targets else ""
    return f"cmake --preset {preset} >/dev/null && flock build cmake --build --preset {preset}{named} -- --quiet"


ROWS = [
    Row(
        "notifier",
        "disturbance during notification",
        "every script of 4 reactors x 16 actions each, two rounds; then random commands with up to 32 reactors: calls, "
        "and each reactor's state and place in the order afterwards, against an oracle written apart",
        "all 65,536 equal; 10 million random commands with up to 32 reactors",
        ["{build}/verify/verify-notifier"],
    ),
    Row(
        "pointers",
        "pointers",
        "self and cross assignment, null before destruction, adoption, resurrection, overflow, conversions that must "
        "not compile, cycles seen by the census: tests by name; random steps against a count oracle",
        "each by name; 10 million random steps",
        [
            "verify/named_tests.py {build}/tests/framework_tests"
            " PtrTest.AssigningItselfChangesNothing"
            " PtrTest.MovingItselfIntoItselfChangesNothing"
            " PtrTest.AssigningItsOwnObjectChangesNothing"
            " PtrTest.CrossAssignmentSwapsTheObjects"
            " PtrTest.ObjectsThatPointAtEachOtherCanBeCrossAssigned"
            " PtrTest.IsNullBeforeTheOldObjectDies"
            " PtrTest.HasItsNewValueBeforeTheOldObjectDies"
            " PtrTest.AnOldObjectMayAssignThePointerThatLeavesIt"
            " PtrTest.APointerThatOwnsItselfCanBeCleared"
            " PtrTest.APointerThatOwnsItselfCanBeMovedOut"
            " PtrTest.AdoptsAnObjectWithoutTheReferencesThatOthersHold"
            " PtrTest.ReleaseHandsTheReferenceOver"
            " PtrInterfaceTest.TemporaryReferencesInDestructorsDoNoHarm"
            " PtrInterfaceDeathTest.ADestructorCannotKeepAReferenceToItsObject"
            " PtrInterfaceDeathTest.AnObjectToldOfItsLastReferenceCannotBeResurrected"
            " PtrInterfaceDeathTest.AsManyReferencesAsThereAreCanBeHeldAndNotOneMore"
            " PtrInterfaceDeathTest.AReferenceThatIsNotHeldCannotBeGivenBack"
            " PtrTest.ConversionsThatMustNotCompileDoNot"
            " PtrTest.ComparisonsThatMustNotCompileDoNot"
            " Census.CountsObjectsThatOnlyACycleHoldsUntilItIsBroken",
            "{build}/verify/verify-pointers",
        ],
    ),
    Row(
        "ordered_map",
        "ordered map",
        "all insert and erase orders up to 6 keys, check() after each; random operations against std::map, check() "
        "and a whole walk after each",
        "533,417 pairs of orders; 10 million random operations",
        ["{build}/verify/verify-ordered_map"],
    ),
    Row(
        "hash_maps",
        "hash maps",
        "every kind of hash map; good, 8-bit and constant hash; walks across growth and deletion; random operations "
        "against std::unordered_map, check() and a whole walk after each",
        "10 million random operations of each",
        ["{build}/verify/verify-hash_maps"],
    ),
    Row(
        name="frames",
        fault="frames",
        done="every value of every 16-bit field, all flags; a million random frames agreed by tshark, tcpdump and "
        "scapy; all 53 octets defined under valgrind, in a 16th of the frames",
        target="each octet has the layout's value; no reader differs",
        commands=[
            "{build}/verify/verify-frames",
            "valgrind -q --error-exitcode=1 {build}/verify/verify-frames --defined --part 16",
            "verify/frames.py {build}/verify/verify-random-frames {results}",
        ],
    ),
    Row(
        name="hostile",
        fault="hostile frames",
        done="the agent's parser: fuzzed; all two-octet mutants of a valid frame (116 million); all version and type "
        "pairs, judged by an independent table",
        target="no finding; full edge coverage of the parser from an empty corpus",
        commands=[
            "{build}/verify/verify-hostile",
            built("clang-fuzz", "parse_fuzz", "parse_edges"),
            "verify/fuzz.py {build}/../clang-fuzz/tests/agent/fuzz {results}",
        ],
    ),
    Row(
        "syncers",
        "syncers: a mirrored tree that is not its source's",
        "random source and destination operations, pause, rebind, drop, re-create, over all four kinds of syncer at"
        " once, compared with models after every 25; a digest of all notifications and trees, the same for the first"
        " seeds again",
        "10 million operations that had something to change, 10,000 seeds, both compilers give the same digest",
        [
            built("clang-verify", "verify-syncers"),
            "{build}/verify/verify-syncers >{results}/gcc.txt; status=$?; cat {results}/gcc.txt; exit $status",
            "build/clang-verify/verify/verify-syncers >{results}/clang.txt || exit; "
            "grep '^note: digest' {results}/gcc.txt >{results}/gcc.digest && "
            "grep '^note: digest' {results}/clang.txt | cmp - {results}/gcc.digest && "
            "echo 'note: g++ and clang give the same digest of all seeds'",
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
            built("gcc-tsan", "verify-threads"),
            "TSAN_OPTIONS=halt_on_error=1 build/gcc-tsan/verify/verify-threads && echo 'note: ThreadSanitizer silent'",
        ],
    ),
    Row(
        "coverage",
        "untested code",
        "lines, branches and conditions that the library's tests execute (clang 19), over all instantiations of a template",
        "100 % each; at most 0.5 % of the lines left out, each with its reason beside it",
        [
            built("coverage"),
            "verify/coverage.py build/coverage {results}",
        ],
    ),
    Row(
        "static",
        "what can be seen without running",
        "clang-tidy over all but tests, benchmarks and this verification; cppcheck, for warnings, performance and"
        " portability, over the library; each false alarm answered at its place",
        "none by a check that is on, without blanket suppressions",
        ["verify/static.sh {results}"],
    ),
    Row(
        name="portability",
        fault="portability",
        done="frames, trees, values' texts, hashes, order of walks, text traces of the syncers and comparisons, from "
        "random numbers, printed and compared octet for octet: g++ 12 and clang 14, -O0, -O2, -O3, signed and unsigned "
        "char, 32-bit, big-endian under emulation",
        target="same output in at least 12 builds",
        commands=["verify/portability.sh {results}"],
    ),
    Row(
        name="counters",
        fault="counters and identifiers",
        done="the whole suite again with every counter that goes round begun 3 below its wrap, and with clocks "
        "that pass 2^32 seconds meanwhile; what becomes of each: [counters.md](counters.md)",
        target="identical results",
        commands=[
            built("gcc-release"),
            built("gcc-counters"),
            "verify/counters.py {build} build/gcc-counters {results}",
        ],
    ),
    Row(
        name="memory",
        fault="exhausted memory",
        done="random operations on trees, syncers and packets of random worlds, in which each allocation fails "
        "once, once more in what makes that good, and for ever, against what they are without failures: trees, what "
        "syncers watch, octets of packets, and bounds of a change counter's count. Traces are not compared. A destination "
        "is written attribute by attribute, and may stay between two of these writes. "
        "Then every test of the library again and again, each time with another allocation of the library refused, once "
        "and for ever: the first three by each chain of callers, or, in a test with more than 1,000 allocations, what no "
        "other had refused. Of a test, only the first 10,000 allocations are looked at. What other threads than the "
        "test's own allocate is granted. Old or new is judged in the random worlds alone: of a test only that it "
        "comes to its end and leaves no object and no memory behind",
        target="old or new, destinations between two writes; nothing leaked; every allocation site hit, or its reason "
        "named, for as many sites as are counted with it: memory/sites.txt lists them all",
        commands=["{build}/verify/verify-memory", "verify/memory.py {build} {results}"],
    ),
    Row(
        name="compilers",
        fault="what one compiler hides",
        done="a part of the work of each program of this verification, that of its test, built by clang; the rows "
        "themselves run what g++ builds",
        target="all pass",
        commands=[
            built("clang-verify", "verify_programs"),
            "ctest --test-dir build/clang-verify -R '^verify[.]' --no-tests=error --output-on-failure "
            ">{results}/tests.txt || {{ cat {results}/tests.txt; exit 1; }}; "
            "echo \"figure: $(grep -c ' Passed ' {results}/tests.txt) tests pass, "
            "built by clang $(clang++ -dumpversion)\"",
        ],
    ),
    Row(
        name="mutate",
        fault="tests that check nothing",
        done="each conditional branch of the compiled library taken always and never, each comparison's value true and "
        "false, each constant changed and each call made for its effect left out, one at a time; a template's instances "
        "together; left as they are: operators, calls whose results are used, what constructs and destroys, and "
        "templates that only tests compile",
        target="every change noticed by a test, or named with a reason why none can notice it; at most 2 % of these",
        commands=[
            built("gcc-debug", "library_tests"),
            "verify/mutate.py build/gcc-debug",
        ],
        apart=True,
    ),
]
