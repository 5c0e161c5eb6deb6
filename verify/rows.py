"""What is verified, a row for each kind of fault."""

from typing import NamedTuple


class Row(NamedTuple):
    name: str
    fault: str
    # What is done against it, in a few words.
    done: str
    # The figure to reach; then what deviates from it, with the reason.
    target: str
    # What is to be known of how it is done, in sentences.
    more: str
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
        name="notifier",
        fault="disturbance during notification",
        done="every script of 4 reactors with 16 actions each, two rounds; then random commands with up to 32 "
        "reactors",
        target="all 65,536 scripts and 10 million random commands as an oracle says",
        more="Compared are the calls, and each reactor's state and place in the order afterwards. The oracle "
        "was written apart from the library.",
        commands=["{build}/verify/verify-notifier"],
    ),
    Row(
        name="pointers",
        fault="pointers",
        done="tests by name; random steps against a count oracle",
        target="each test by name; 10 million random steps",
        more="The tests are about self and cross assignment, null before destruction, adoption, resurrection, "
        "overflow, conversions that must not compile, and cycles seen by the census.",
        commands=[
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
        name="ordered_map",
        fault="ordered map",
        done="all insert and erase orders up to 6 keys; random operations against std::map",
        target="533,417 pairs of orders; 10 million random operations",
        more="After each step check() looks at the whole map, and after each random operation a whole walk is "
        "compared, too.",
        commands=["{build}/verify/verify-ordered_map"],
    ),
    Row(
        name="hash_maps",
        fault="hash maps",
        done="random operations on each kind of hash map against std::unordered_map, while walks are under way",
        target="10 million random operations on each of six maps",
        more="Each kind of map has a good hash, one of 8 bits, and a constant one. Walks meet with growth, and "
        "with erasures, also of the element that they stand on. After each operation check() looks at the "
        "whole map, and a whole walk is compared.",
        commands=["{build}/verify/verify-hash_maps"],
    ),
    Row(
        name="frames",
        fault="frames",
        done="every value of every 16-bit field, all flags, every length and VLAN tag; a million random frames "
        "read by tshark, tcpdump and scapy",
        target="each octet has the layout's value; no reader differs; all 53 octets defined under valgrind. "
        "Deviation: there one round of the 16 is done, because it takes so much longer",
        more="In each round a field takes all its values, with random ones in the other fields; the rounds "
        "differ only in these.",
        commands=[
            "{build}/verify/verify-frames",
            "valgrind -q --error-exitcode=1 {build}/verify/verify-frames --defined --part 16",
            "verify/frames.py {build}/verify/verify-random-frames {results}",
        ],
    ),
    Row(
        name="hostile",
        fault="hostile frames",
        done="the agent's parser, given all two-octet mutants of a valid frame, all pairs of version and type, "
        "and what a fuzzer finds",
        target="no finding; every edge of the parser taken, from an empty corpus. Deviation: of its own functions, as "
        "the library's are covered by their tests",
        more="The verdicts on versions and types are judged by an independent table. Counted are the edges of "
        "the functions in agent/bpdu/Parse.cpp; the library's decoding of fields, which these call, is "
        "executed, but its edges are not counted.",
        commands=[
            "{build}/verify/verify-hostile",
            built("clang-fuzz", "parse_fuzz", "parse_edges"),
            "verify/fuzz.py {build}/../clang-fuzz/tests/agent/fuzz {results}",
        ],
    ),
    Row(
        name="syncers",
        fault="syncers: a mirrored tree that differs from its source",
        done="random operations on sources and destinations, while syncers of all four kinds at once are "
        "paused, rebound, dropped and made anew",
        target="10 million operations that had something to change, 10,000 seeds, replayed byte by byte, and by both "
        "compilers. Deviations: digests of 64 bits are compared, not the traces; a hundred seeds are replayed, by "
        "the other compiler all; of notifications, those of every second seed",
        more="After every 25 operations all trees and syncers are compared with models. The digest is of what is "
        "done, of the destinations' contents at each comparison and, of every second seed, of all notifications of the "
        "destinations: in the other worlds nobody follows these, as they are written in other ways then. "
        "A hundred seeds from all over are replayed and must give the same digest again.",
        commands=[
            built("clang-verify", "verify-syncers"),
            "{build}/verify/verify-syncers >{results}/gcc.txt; status=$?; cat {results}/gcc.txt; exit $status",
            "build/clang-verify/verify/verify-syncers >{results}/clang.txt || exit; "
            "grep '^note: digest' {results}/gcc.txt >{results}/gcc.digest && "
            "grep '^note: digest' {results}/clang.txt | cmp - {results}/gcc.digest && "
            "echo 'note: g++ and clang give the same digest of all seeds'",
        ],
    ),
    Row(
        name="soak",
        fault="leaks, and memory that grows",
        done="a mirrored tree changes; interfaces, records and entries come and go",
        target="10 million changes, a million interfaces added and removed; census exact, memory flat within 64 "
        "KiB",
        more="At 100 checkpoints the census is a model's and the trees are equal; the resident memory is read "
        "at each after warm-up.",
        commands=["{build}/verify/verify-soak"],
    ),
    Row(
        name="threads",
        fault="races between threads",
        done="two threads with trees of their own; two threads that hand over, copy and drop shared pointers "
        "and strings",
        target="ThreadSanitizer silent, a million operations of each on each thread",
        more="The pointers and strings are shared with thread-safe pointers switched on. Trees are not shared: "
        "the library takes no locks for them.",
        commands=[
            built("gcc-tsan", "verify-threads"),
            "TSAN_OPTIONS=halt_on_error=1 build/gcc-tsan/verify/verify-threads && echo 'note: ThreadSanitizer silent'",
        ],
    ),
    Row(
        name="coverage",
        fault="untested code",
        done="lines, branches and conditions (MC/DC) that the library's tests execute",
        target="100 % each. Deviation: at most 0.5 % of the lines, each with its reason beside it",
        more="By clang 19. All instantiations of a template are judged together; a template that no test "
        "instantiates has no line here, and is not judged. A source of the library of which the compiler "
        "knows no code fails the row, unless it is named in coverage.py as one that only declares.",
        commands=[
            built("coverage"),
            "verify/coverage.py build/coverage {results}",
        ],
    ),
    Row(
        name="static",
        fault="what can be seen without running",
        done="clang-tidy over library, agent, tools and examples; cppcheck over the library",
        target="nothing found. Deviation: by the checks that are on; why some are off stands in .clang-tidy",
        more="cppcheck looks for errors, warnings, performance and portability. A false alarm is answered at "
        "its place, by the check's name and with a reason; the row fails when either is missing. What "
        "compilers warn of is an error in every build of the tree, and so is not looked for here. g++'s -fanalyzer is "
        "left out: g++ 12's is made for C, and takes the arguments of constructors, and what `operator "
        "new` returns, for not initialised, in every file.",
        commands=["verify/static.sh {results}"],
    ),
    Row(
        name="portability",
        fault="portability",
        done="frames, trees, texts, hashes and traces from random numbers, printed and compared octet for "
        "octet between builds",
        target="same output in at least 12 builds",
        more="By g++ and clang, with -O0, -O2 and -O3, signed and unsigned char, for 32 bits, and for ARM64 "
        "and big-endian s390x under emulation. Printed are frames, trees, values' texts, hashes, the "
        "order of walks, the syncers' text traces and comparisons.",
        commands=["verify/portability.sh {results}"],
    ),
    Row(
        name="counters",
        fault="counters and identifiers",
        done="the whole suite with every counter that goes round begun 3 below its wrap, and with clocks that "
        "pass 2^32 seconds",
        target="the same results as in the build as shipped. Deviation: not two counts of references, nor the wall "
        "clock, for the reasons above",
        more="The output of parts of two programs is compared, too. What becomes of each counter: "
        "[counters.md](counters.md).",
        commands=[
            built("gcc-release"),
            built("gcc-counters"),
            "verify/counters.py {build} build/gcc-counters {results}",
        ],
    ),
    Row(
        name="memory",
        fault="exhausted memory",
        done="random operations, and every test of the library, again and again, with another allocation "
        "refused each time",
        target="state old or new, never between; nothing leaked; every allocation site refused. Deviations: a "
        "destination may stay between two writes, as it is written attribute by attribute; sites that no test "
        "can have refused, each with its reason; tests and allocations that the notes leave out",
        more="Random operations are on trees, syncers and packets of random worlds. In each of them each "
        "allocation fails once, and once more while the failure is being repaired, and for ever; what "
        "comes of it is compared with the operation without failures: trees, what syncers watch, octets of "
        "packets, and bounds of a change counter's count. Traces are not compared. In the tests the "
        "library's allocations are refused, once and for ever: of a test's first 10,000 the first three by each chain of callers, or, "
        "where it makes more than 1,000, only by chains that no other test had refused. What other threads than "
        "the test's own allocate is granted. Old or new is judged in the random worlds alone: of a test only that "
        "it comes to its end and leaves no object and no memory behind. Sites that were not refused are counted "
        "with their reasons; memory/sites.txt beside the results lists all.",
        commands=["{build}/verify/verify-memory", "verify/memory.py {build} {results}"],
    ),
    Row(
        name="compilers",
        fault="what one compiler hides",
        done="a part of the work of each program of this verification, built by clang",
        target="all pass",
        more="It is the part that is done as a test. The rows themselves run what g++ builds.",
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
        done="branches, comparisons, constants and calls of the compiled library changed, one at a time",
        target="every change noticed by a test. Deviation: at most 2 %, each named with the reason why no test can "
        "notice it",
        more="Each conditional branch is taken always and never, each comparison's value is made true and "
        "false, each constant is changed, and each call made for its effect is left out. A template's "
        "instances are changed together. It is run apart from the other rows, and goes on "
        "where it was interrupted: the time is that of the last run, which tried what the ones before had not. "
        "That a change was noticed holds as long as there is a test of that name, whose text may have changed.",
        commands=[
            built("gcc-debug", "library_tests"),
            "verify/mutate.py build/gcc-debug",
        ],
        apart=True,
    ),
]

# What the rows leave open, and why.
NOT_REACHED = [
    (
        "The wall clock",
        "`CLOCK_REALTIME` cannot be set for one process alone, so the row of the counters runs with another "
        "`CLOCK_MONOTONIC` and `CLOCK_BOOTTIME` only. Tests write lines of text at 2^31 and 2^32 seconds and at the "
        "last time that the clock can tell.",
    ),
    (
        "Two counts of references",
        "That of the strings that share a text, and that of the walks on an entry of a map of values, are neither "
        "guarded nor taken to their highest. A guard would cost an instruction in each copy; to get there takes 32 GiB "
        "of strings, or 96 GiB of walks ([counters.md](counters.md)).",
    ),
    (
        "g++'s static analyzer",
        "`-fanalyzer` is not run: g++ 12's is made for C, and finds in every file what is no fault.",
    ),
    (
        "What is not changed to try the tests",
        "Four kinds of thing are changed; others are not tried. Operators stay: no + becomes -, no "
        "< becomes <=. So do calls whose result is used, or may be; what constructs and destroys; calls of the C and C++ "
        "libraries but for some mutators; constants of floating point, in addresses, and that an instruction does "
        "without; orders of memory; and what the compiler adds of its own. [mutate.py](../verify/mutate.py) has the "
        "whole list.",
    ),
    (
        "Templates that nothing instantiates",
        "Coverage knows only what tests instantiate, and changes are made only to what the library's own units do. A "
        "member of a template that neither uses is compiled by nobody, and judged by nobody.",
    ),
    (
        "What no program compares",
        "The agent but for its parser, the tools and the examples have their tests, clang-tidy and the sanitizers; "
        "coverage, changes, exhausted memory and portability are of the library alone. On other machines than x86-64 "
        "only the program of the row `portability` is run, not the tests. Binary traces are not compared between "
        "builds: they have times in them, and the machine's order of octets.",
    ),
]
