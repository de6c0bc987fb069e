"""Check a deck without running it.

Tells everything in a deck that would fail, and what looks wrong, with file and line, and how long the run will take. Exit status 1
if something would fail.
"""
from __future__ import annotations

import json
from argparse import ArgumentParser, Namespace
from pathlib import Path


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("deck", nargs="?", default="tessar.in", help="deck; its folder counts as the working folder of the run")
    add("--cost", action="store_true", help="estimated time of every tracker with all six force models; some ten seconds")
    add("--program", metavar="FILE", help="the program to measure with; otherwise $TESSARON, tessaron on the PATH, or the build beside these tools")
    add("--json", action="store_true", help="findings as JSON; with --cost an object of findings and cost")


def run(options: Namespace) -> int:
    from ..check.state import Finding
    from ..check.walk import walk_deck
    from ..deck.keys import FORCE_TYPES
    from ..study.cost import LONG, cost_of, time_in_words
    from ..words import counted

    deck = Path(options.deck)
    state = walk_deck(deck)
    findings, cost = state.findings, None
    errors = sum(finding.severity == "error" for finding in findings)
    if not errors and state.ways:
        cost = cost_of(state, deck, options.program, FORCE_TYPES if options.cost else ())
    if cost is not None and cost.seconds > LONG:
        longest = max(cost.trackers, key=lambda tracker: tracker.seconds[tracker.kind])
        findings.append(Finding(longest.place, "warning", f"the run takes about {time_in_words(cost.seconds)} of one core, {longest.kind} most of it "
                                "here; --cost shows the other models"))
    if options.json:
        table = [{"file": f.place.file, "line": f.place.line, "severity": f.severity, "text": f.text} for f in findings]
        print(json.dumps({"findings": table, "cost": cost and cost.numbers()} if options.cost else table, indent=1))
    else:
        print(*findings, f"{counted(errors, 'error')}, {counted(len(findings) - errors, 'warning')}", *([] if cost is None else [cost]), sep="\n")
    return 1 if errors else 0
