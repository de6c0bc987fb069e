"""Makes the man pages, the completion of bash and Debian's changelog: pages.py PROGRAM FOLDER CONTACT.

The texts are those that `tessaron --help` prints and that the parsers of `tessaron-tools` hold. Needs nothing but Python.
"""
from __future__ import annotations

import argparse
import email.utils
import gzip
import os
import re
import subprocess
import sys
from datetime import datetime, timezone
from pathlib import Path

sys.dont_write_bytecode = True
SOURCES = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(SOURCES / "tools"))

import tessaron  # noqa: E402
from tessaron.command.cli import build_parser  # noqa: E402
from tessaron.command.completion import completion, subcommands  # noqa: E402

DOCS = "The user guide, examples and all other pages stand in share/doc/tessaron of the place of installation."


def plain(text: str) -> str:
    """Text that roff takes as it is."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"(?m)^(?=[.'])", r"\\&", text)


def item(term: str, text: str) -> str:
    """One entry of a list: a bold term and its meaning."""
    return f".TP\n\\fB{plain(term)}\\fR\n{plain(text) or chr(92) + '&'}\n"


def dated() -> datetime:
    """The time that all pages bear: SOURCE_DATE_EPOCH, where it is set, else the day of the last release in CHANGELOG.md."""
    if "SOURCE_DATE_EPOCH" in os.environ:
        return datetime.fromtimestamp(float(os.environ["SOURCE_DATE_EPOCH"]), timezone.utc)
    day = re.search(r"^## \S+ \((\d{4}-\d\d-\d\d)\)$", (SOURCES / "CHANGELOG.md").read_text(), re.M)[1]
    return datetime.fromisoformat(day + "T12:00+00:00")


def head(name: str, what: str) -> str:
    return f'.TH {name.upper()} 1 "{dated().date()}" "tessaron {tessaron.__version__}" "User Commands"\n.SH NAME\n{name} \\- {plain(what)}\n'


def program_page(text: str) -> str:
    """The page of the program, from its help: a paragraph, the usages with what each does, and a paragraph."""
    opening, usages, closing = text.strip().split("\n\n")
    pairs = [re.split(r"\s{2,}", line.removeprefix("usage:").strip(), maxsplit=1) for line in usages.splitlines()]
    what = re.split(r" and |\.", re.sub(r"\s+", " ", opening).removeprefix("Tessaron "))[0]
    synopsis = "\n.br\n".join(f".B {plain(call)}" for call, _ in pairs)
    return (head("tessaron", what) + f".SH SYNOPSIS\n{synopsis}\n.SH DESCRIPTION\n{plain(opening)}\n.PP\n{plain(closing)}\n"
            + "".join(item(call, does) for call, does in pairs)
            + f".SH FILES\n{item('tessar.in', 'the deck, in the working directory')}"
            + f".SH SEE ALSO\n.BR tessaron\\-tools (1)\n.PP\n{DOCS}\n")


def arguments(parser: argparse.ArgumentParser) -> str:
    """Every argument of a parser but its help and its subcommands."""
    formatter = parser._get_formatter()

    def meaning(action: argparse.Action) -> str:
        return formatter._expand_help(action).removesuffix(" (default: None)") if action.help else ""

    return "".join(item(formatter._format_action_invocation(action), meaning(action))
                   for action in parser._actions if not isinstance(action, (argparse._HelpAction, argparse._SubParsersAction)))


def usage(parser: argparse.ArgumentParser) -> str:
    return plain(re.sub(r"\s+", " ", parser.format_usage().removeprefix("usage:")).strip())


def tools_page(parser: argparse.ArgumentParser) -> str:
    page = head(parser.prog, parser.description.rstrip(".")) + f".SH SYNOPSIS\n{usage(parser)}\n"
    page += f".SH DESCRIPTION\n{plain(parser.description)}\n{plain(parser.epilog)}\n.SH OPTIONS\n{arguments(parser)}.SH COMMANDS\n"
    for name, sub in subcommands(parser).items():
        page += f".SS {plain(name)}\n{plain(sub.description)}\n.PP\n{usage(sub)}\n{arguments(sub)}"
    return page + f".SH SEE ALSO\n.BR tessaron (1)\n.PP\n{DOCS}\n"


def changelog(contact: str) -> str:
    """Debian's changelog, which points to the one for people."""
    date = email.utils.format_datetime(dated())
    return (f"tessaron ({tessaron.__version__}) unstable; urgency=medium\n\n  * What changed for users stands in CHANGELOG.md.\n\n"
            f" -- {contact}  {date}\n")


def main(program: str, folder: Path, contact: str) -> None:
    folder.mkdir(exist_ok=True)
    parser = build_parser()
    told = subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout
    for name, page in (("tessaron.1.gz", program_page(told)), ("tessaron-tools.1.gz", tools_page(parser)),
                       ("changelog.gz", changelog(contact))):
        (folder / name).write_bytes(gzip.compress(page.encode(), mtime=0))
    (folder / "completion").write_text(completion(parser))


if __name__ == "__main__":
    main(sys.argv[1], Path(sys.argv[2]), sys.argv[3])
