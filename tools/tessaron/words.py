"""Words for people."""
from __future__ import annotations


def counted(count: int, noun: str) -> str:
    """A number of things: "1 error", "2 errors", "3 boundaries"."""
    if count == 1:
        return f"1 {noun}"
    return f"{count} {noun[:-1] + 'ies' if noun.endswith('y') else noun + 's'}"
