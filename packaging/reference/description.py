# SPDX-License-Identifier: Apache-2.0
"""What a command prints with --describe, and what can be completed in it."""

import json
import re
import sys
from typing import NamedTuple

FROM_SHELL = {"FILE": "files", "KEYFILE": "files", "FIFO": "files", "COMMAND": "commands", "PROGRAM": "commands"}


def described():
    """The description in the file that the first argument names."""
    with open(sys.argv[1], encoding="utf-8") as file:
        return json.load(file)


def verbs_of(command, words=()):
    """Each verb that does something, with the words that lead to it."""
    for verb in command["verbs"]:
        yield from verbs_of(verb, (*words, verb["name"]))
    if not command["verbs"]:
        yield words, command


def families_of(command, words=()):
    """Each command that has verbs, with the words that lead to it."""
    if command["verbs"]:
        yield words, command
    for verb in command["verbs"]:
        yield from families_of(verb, (*words, verb["name"]))


class Offer(NamedTuple):
    """What may be a value: some words, and what `source` has: "files", "commands", a kind that the command lists, ""."""

    words: list
    source: str


def offer_of(value, command):
    """Of a placeholder: words to be typed are in lower case, or numbers with a unit; upper case is something else: "now|TIME"."""
    parts = value.split("|")
    words = [part for part in parts if re.fullmatch(r"[a-z][a-z0-9-]*|[0-9]+[a-zA-Z]+", part)]
    for part in parts:
        source = part if part in command["lists"] else FROM_SHELL.get(part, "")
        if source:
            return Offer(words, source)
    return Offer(words, "")


def long_name(option):
    return option["names"][-1]


def identifier(*words):
    """A name for a shell function."""
    return re.sub(r"[^a-zA-Z0-9]", "_", "_".join(words))
