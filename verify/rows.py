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
]
