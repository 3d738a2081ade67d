#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""man_page.py DESCRIPTION PROSE: prints a manual page: PROSE, with what the command says about itself in three places.

A line `.\\" @common` is replaced by the options that many verbs have, `.\\" @reference` by all verbs, `.\\" @exit` by the
exit statuses. Dates and sections are the prose's.
"""

import collections
import re
import sys

from description import described, verbs_of

MANY = 5 # an option of so many verbs is described once


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-") if text.startswith("-") else text.replace("\\", "\\e")
    return re.sub(r"^([.'])", r"\\&\1", text)


def sentence(text):
    """Text of the help, which starts in lower case and has no full stop at its end, as lines of a page."""
    text = text.strip()
    if re.match(r"[a-z]+( |,|$)", text):
        text = text[0].upper() + text[1:]
    if text and text[-1] not in ".:":
        text += "."
    return "\n".join(escaped(line) for line in re.split(r"(?<=\.)\s+(?=[A-Z])|\n", text))


def macro_word(text):
    """A word in a macro line: quoted where the formatter would take it for a macro or a delimiter."""
    return '"' + text.replace("\\", "\\e").replace('"', '\\(dq') + '"'


def value_macros(value):
    """now|TIME: words to be typed as they are, and placeholders."""
    words = r"[a-z0-9][a-z0-9-]*|[0-9]+[a-zA-Z]+"
    parts = value.split("|")
    return " | ".join(f"Cm {macro_word(part)}" if re.fullmatch(words, part) else f"Ar {macro_word(part.lower())}" for part in parts)


def option_macros(option):
    names = " , ".join(f"Fl {macro_word(name[1:])}" for name in option["names"])
    return names + (f" {value_macros(option['value'])}" if "value" in option else "")


def key(option):
    return (option["names"][-1], option.get("value"), option["description"])


def common_options(command):
    counted = collections.Counter(key(option) for _, verb in verbs_of(command) for option in verb["options"])
    found = []
    for _, verb in verbs_of(command):
        for option in verb["options"]:
            if counted[key(option)] >= MANY and key(option) not in map(key, found):
                found.append(option)
    return found


def argument_synopsis(argument):
    macros = value_macros(argument["value"]) if "|" in argument["value"] else f"Ar {macro_word(argument['name'].lower())}"
    macros += " ..." if argument["repeats"] else ""
    return macros if argument["required"] else f"Oo {macros} Oc"


def option_synopsis(option):
    macros = f"Fl {macro_word(option['names'][-1][1:])}" + (f" {value_macros(option['value'])}" if "value" in option else "")
    return macros if option["required"] else f"Oo {macros} Oc"


def verb_item(words, verb, command, common):
    own = [option for option in verb["options"] if key(option) not in common]
    synopsis = [argument_synopsis(each) for each in verb["arguments"]]
    synopsis += [option_synopsis(each) for each in verb["options"] if each["names"][-1] != "--help"]
    yield " ".join([f".It Nm Cm {' '.join(macro_word(word) for word in words)}", *synopsis])
    yield sentence(verb["description"])
    if verb["footer"]:
        yield sentence(verb["footer"])
    items = [(f"Ar {macro_word(each['name'].lower())}", each["description"]) for each in verb["arguments"]
             if each["description"] and (each["name"], each["description"]) not in common]
    items += [(option_macros(each), each["description"]) for each in own]
    if items:
        yield ".Bl -tag -width Ds -compact"
        for macros, text in items:
            yield f".It {macros}\n{sentence(text)}"
        yield ".El"


def common_arguments(command):
    counted = collections.Counter(
        (each["name"], each["description"]) for _, verb in verbs_of(command) for each in verb["arguments"])
    return [each for each, count in counted.items() if count >= MANY]


def reference(command):
    common = {*map(key, common_options(command)), *common_arguments(command)}
    below = [verb for verb in command["verbs"] if verb["verbs"]]
    alone = [((verb["name"],), verb) for verb in command["verbs"] if not verb["verbs"]]
    for family in below:
        yield f".Ss {family['name']}"
        yield sentence(family["description"])
        if family["aliases"]:
            yield "Also:\n" + " ,\n".join(f".Cm {alias}" for alias in family["aliases"]) + " ."
        if family["footer"]:
            yield sentence(family["footer"])
        yield from verb_list([((family["name"], verb["name"]), verb) for verb in family["verbs"]], command, common)
    if alone:
        if below:
            yield ".Ss " + ", ".join(words[0] for words, _ in alone)
        yield from verb_list(alone, command, common)


def verb_list(verbs, command, common):
    yield ".Bl -tag -width Ds"
    for words, verb in verbs:
        yield from verb_item(words, verb, command, common)
    yield ".El"


def common_list(command):
    yield ".Bl -tag -width Ds"
    for name, text in common_arguments(command):
        yield f".It Ar {macro_word(name.lower())}\n{sentence(text)}"
    for option in common_options(command):
        yield f".It {option_macros(option)}\n{sentence(option['description'])}"
    yield ".El"


def exit_list(command):
    yield ".Bl -tag -width Ds"
    for each in command["exit_statuses"]:
        yield f".It {each['status']}\n{sentence(each['meaning'])}"
    yield ".El\n.Pp"


def main():
    command = described()
    made = {"common": common_list, "reference": reference, "exit": exit_list}
    with open(sys.argv[2], encoding="utf-8") as prose:
        for line in prose:
            mark = re.fullmatch(r'\.\\" @(\w+)\n', line)
            print("\n".join(made[mark[1]](command)) if mark else line, end="\n" if mark else "")


main()
