#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""zsh_completion.py DESCRIPTION: prints the completion of a command for zsh."""

import re

from description import described, families_of, identifier, long_name, offer_of, verbs_of

HEAD = """#compdef {command}
# Made from what {command} says about itself.

# What the command lists for a kind of value, the arguments typed before it given.
{prefix}_list() {{
    local -a found
    found=(${{(f)"$(_call_program values $service --list $1 ${{(Q)line}} 2>/dev/null)"}})
    compadd -a found
}}
"""


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def message(text):
    """Text of a description in _arguments."""
    return re.sub(r"([\\\[\]:])", r"\\\1", text)


def action(value, command):
    offer = offer_of(value, command)
    actions = [f"({' '.join(offer.words)})"] if offer.words else []
    if offer.source:
        actions.append({"files": "_files", "commands": "_command_names -e"}.get(
            offer.source, f" _{identifier(command['name'])}_list {offer.source}"))
    if len(actions) == 2:
        return f'_alternative "words:word:{actions[0]}" "values:value:{actions[1]}"'.join("{}")
    return actions[0] if actions else " "


def option_specification(option, command):
    text = f"[{message(option['description'])}]"
    value = f":{message(option['value'])}:{action(option['value'], command)}" if "value" in option else ""
    repeated = "*" if option["repeats"] else ""
    if len(option["names"]) == 1 or repeated:
        return quoted(f"{repeated}{long_name(option)}{text}{value}")
    names = " ".join(option["names"])
    return f"'({names})'{{{','.join(option['names'])}}}{quoted(text + value)}"


def argument_specification(place, argument, command):
    where = "*" if argument["repeats"] else str(place)
    return quoted(f"{where}:{message(argument['name'])}:{action(argument['value'], command)}")


def function(name, specifications):
    body = " \\\n        ".join(["_arguments -s -S", *specifications])
    return f"{name}() {{\n    local -a line\n    {body}\n}}\n"


def of_verb(words, verb, command):
    specifications = [option_specification(option, command) for option in verb["options"]]
    for place, argument in enumerate(verb["arguments"], 1):
        specifications.append(argument_specification(place, argument, command))
    return function("_" + identifier(command["name"], *words), specifications)


def of_family(words, family, command):
    prefix = "_" + identifier(command["name"], *words)
    verbs = "\n        ".join(
        quoted(f"{name}:{verb['description']}") for verb in family["verbs"] for name in [verb["name"], *verb["aliases"]])
    calls = "\n        ".join(
        f"{'|'.join([verb['name'], *verb['aliases']])}) {prefix}_{identifier(verb['name'])} ;;" for verb in family["verbs"])
    options = " \\\n        ".join(option_specification(option, command) for option in family["options"])
    return f"""{prefix}_verbs() {{
    local -a verbs=(
        {verbs}
    )
    _describe verb verbs
}}
{prefix}() {{
    local state
    local -a line
    _arguments -C {options} \\
        '1:verb:{prefix}_verbs' '*:: :->rest'
    [[ $state == rest ]] || return
    case $words[1] in
        {calls}
    esac
}}
"""


def main():
    command = described()
    prefix = "_" + identifier(command["name"])
    print(HEAD.format(command=command["name"], prefix=prefix))
    for words, verb in verbs_of(command):
        print(of_verb(words, verb, command))
    for words, family in families_of(command):
        print(of_family(words, family, command))
    print(f"{prefix} \"$@\"")


main()
