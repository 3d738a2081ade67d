#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""bash_completion.py DESCRIPTION TEMPLATE: prints the completion of a command for bash.

The table has for each verb its arguments, then its options: words with | between them, @SOURCE where the candidates come
from, - for nothing, ... after what may be repeated.
"""

import pathlib
import sys

from description import described, long_name, offer_of, verbs_of


def token(value, command):
    offer = offer_of(value, command)
    return "|".join([*offer.words, *([f"@{offer.source}"] if offer.source else [])]) or "-"


def row(verb, command):
    for argument in verb["arguments"]:
        yield token(argument["value"], command) + ("..." if argument["repeats"] else "")
    for option in verb["options"]:
        yield long_name(option) + (f"={token(option['value'], command)}" if "value" in option else "")


def table(command):
    for words, verb in verbs_of(command):
        yield f'    ["{" ".join(words)}"]="{" ".join(row(verb, command))}"'


def aliases(command):
    for verb in command["verbs"]:
        for alias in verb["aliases"]:
            yield f'    [{alias}]={verb["name"]}'


def main():
    command = described()
    template = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8")
    options = " ".join(long_name(option) for option in command["options"])
    for mark, text in {
        "@command@": command["name"],
        "@prefix@": "_" + command["name"].replace("-", "_"),
        "@options@": options,
        "@verbs@": "\n".join(table(command)),
        "@aliases@": "\n".join(aliases(command)),
    }.items():
        template = template.replace(mark, text)
    print(template, end="")


main()
