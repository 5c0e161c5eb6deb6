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
        "notifier",
        "disturbance during notification",
        "every script of 4 reactors x 16 actions each, two rounds, against an oracle written apart; "
        "then random commands with up to 32 reactors",
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
        "scapy; all 53 octets defined under valgrind",
        target="no difference",
        commands=[
            "{build}/verify/verify-frames",
            "valgrind -q --error-exitcode=1 {build}/verify/verify-frames --defined --part 16",
            "verify/frames.py {build}/verify/verify-random-frames {results}",
        ],
    ),
    Row(
        name="hostile",
        fault="hostile frames",
        done="fuzzed parser; all two-octet mutants of a valid frame (116 million); all version and type pairs, judged "
        "by an independent table",
        target="no finding; full edge coverage from an empty corpus",
        commands=[
            "{build}/verify/verify-hostile",
            "cmake --preset clang-fuzz && cmake --build --preset clang-fuzz --target parse_fuzz parse_edges",
            "verify/fuzz.py {build}/../clang-fuzz/tests/agent/fuzz {results}",
        ],
    ),
    Row(
        "coverage",
        "untested code",
        "lines, branches and conditions that the library's tests execute (clang 19), over all instantiations of a template",
        "100 % each; at most 0.5 % of the lines left out, each with its reason beside it",
        [
            "cmake --preset coverage",
            "cmake --build --preset coverage",
            "verify/coverage.py build/coverage {results}",
        ],
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
]
