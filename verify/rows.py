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
]
