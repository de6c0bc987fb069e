"""Completion for bash, made from the parsers themselves: `tessaron-tools --bash-completion`."""
from __future__ import annotations

import argparse
from typing import Any

TEMPLATE = """\
# Completion of tessaron and tessaron-tools for bash.
_tessaron_tools() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}} command= words= other
  for other in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
    [[ $other == -* ]] || {{ command=$other; break; }}
  done
  if [[ $word == -* || -z $command ]]; then
    case "$command" in
{options}
    esac
  else
    case "$command $before" in
{choices}
    esac
  fi
  COMPREPLY=($(compgen -W "$words" -- "$word"))  # none: names of files
}}
complete -o default -F _tessaron_tools tessaron-tools
complete -W "--help --version" tessaron
"""


class PrintCompletion(argparse.Action):
    """Prints the completion and ends."""

    def __init__(self, option_strings: list[str], dest: str, **keywords: Any) -> None:
        super().__init__(option_strings, dest, nargs=0, **keywords)

    def __call__(self, parser: argparse.ArgumentParser, *others: Any) -> None:
        print(completion(parser), end="")
        parser.exit()


def subcommands(parser: argparse.ArgumentParser) -> dict[str, argparse.ArgumentParser]:
    """The parsers of the subcommands by name."""
    return next(action for action in parser._actions if isinstance(action, argparse._SubParsersAction)).choices


def completion(parser: argparse.ArgumentParser) -> str:
    """A script that completes subcommands, options, and words to choose from behind an option or a subcommand."""
    parsers = subcommands(parser)
    options = {"": list(parsers) + _options(parser)} | {name: _options(sub) for name, sub in parsers.items()}
    choices = {f"{name} {before}": action.choices for name, sub in parsers.items() for action in sub._actions if action.choices
               for before in action.option_strings or [name]}
    return TEMPLATE.format(choices=_cases(choices), options=_cases(options))


def _options(parser: argparse.ArgumentParser) -> list[str]:
    return [option for action in parser._actions for option in action.option_strings]


def _cases(words: dict[str, Any]) -> str:
    return "\n".join(f'      "{pattern}") words="{" ".join(map(str, some))}" ;;' for pattern, some in words.items())
