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
]
