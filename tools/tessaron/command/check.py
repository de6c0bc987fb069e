"""Check a deck without running it.

Tells everything in a deck that would fail, and what looks wrong, with file and line. Exit status 1 if something would fail.
"""
from __future__ import annotations

import json
from argparse import ArgumentParser, Namespace
from pathlib import Path


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("deck", nargs="?", default="tessar.in", help="deck; its folder counts as the working folder of the run")
    add("--json", action="store_true", help="findings as JSON")


def run(options: Namespace) -> int:
    from ..check.walk import check_deck

    findings = check_deck(Path(options.deck))
    errors = sum(finding.severity == "error" for finding in findings)
    if options.json:
        print(json.dumps([{"file": f.place.file, "line": f.place.line, "severity": f.severity, "text": f.text} for f in findings], indent=1))
    else:
        print(*findings, f"{errors} errors, {len(findings) - errors} warnings", sep="\n")
    return 1 if errors else 0
