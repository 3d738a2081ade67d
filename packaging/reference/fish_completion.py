#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""fish_completion.py DESCRIPTION: prints the completion of a command for fish."""

from description import described, families_of, identifier, long_name, offer_of, verbs_of

HEAD = """# Made from what {command} says about itself.

# The words before the cursor without options and their values; of verbs that have options with values, they are here.
function __{prefix}_words
    set -l words (commandline -opc)[2..]
    set -l plain
    set -l with_value
    while set -q words[1]
        if contains -- $words[1] $with_value
            set -e words[1]
        else if not string match -q -- '-*' $words[1]
            set -a plain $words[1]
            set with_value (__{prefix}_options_with_value $plain)
        end
        set -e words[1]
    end
    string join -- \\n $plain
end

function __{prefix}_options_with_value
    switch "$argv[1] $argv[2]"
{options}
    end
end

# Whether these are the words so far, and COUNT arguments follow, or at least so many with COUNT+.
function __{prefix}_at -a count
    set -l words (__{prefix}_words)
    set -l verb $argv[2..]
    set -l arguments (math (count $words) - (count $verb))
    test $arguments -ge 0; or return
    if set -q verb[1]; and not string match -q -- "$verb" "$words[1..$(count $verb)]"
        return 1
    end
    string match -q -- '*+' $count; and test $arguments -ge (string trim -c + $count); or test $arguments = $count
end

# What the command lists for a kind of value, the arguments typed before it given; the first words are the verb's.
function __{prefix}_list -a kind verb_words
    set -l words (__{prefix}_words)
    set -l command (commandline -opc)
    $command[1] --list $kind $words[(math $verb_words + 1)..] 2>/dev/null
end

complete -c {command} -f
"""


def quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def names_of(words, command):
    """The ways to type the words of a verb."""
    for verb in command["verbs"]:
        if words[:1] == (verb["name"],):
            for alias in verb["aliases"]:
                yield (alias, *words[1:])
    yield words


def candidates(value, words, command):
    """Options of `complete` for a value."""
    offer = offer_of(value, command)
    if offer.source == "files":
        return f"-F -a {quoted(' '.join(offer.words))}" if offer.words else "-F"
    source = {"": "", "commands": "(__fish_complete_command)"}.get(
        offer.source, f"(__{identifier(command['name'])}_list {offer.source} {len(words)})")
    return f"-a {quoted(' '.join([*offer.words, source]).strip())}" if offer.words or source else ""


def condition(count, words, command):
    return quoted(f"__{identifier(command['name'])}_at {count} {' '.join(words)}".strip())


def option_lines(words, options, command):
    for option in options:
        parts = [f"complete -c {command['name']} -n {condition('0+', words, command)}"]
        parts += [f"-{'l' if name.startswith('--') else 's'} {name.lstrip('-')}" for name in option["names"]]
        if "value" in option:
            offered = candidates(option["value"], words, command)
            parts += ["-r" if "-F" in offered else "-x", offered]
        yield " ".join([*filter(None, parts), f"-d {quoted(option['description'])}"])


def argument_lines(words, arguments, command):
    for place, argument in enumerate(arguments):
        offered = candidates(argument["value"], words, command)
        if offered:
            count = f"{place}+" if argument["repeats"] else str(place)
            yield f"complete -c {command['name']} -n {condition(count, words, command)} {offered} -d {argument['name']}"


def family_lines(words, family, command):
    for verb in family["verbs"]:
        yield (f"complete -c {command['name']} -n {condition(0, words, command)} -a "
               f"{quoted(' '.join([verb['name'], *verb['aliases']]))} -d {quoted(verb['description'])}")
    options = [option for option in family["options"] if not words or long_name(option) != "--version"]
    for line in option_lines(words, options, command):
        yield line.replace("_at 0+", "_at 0", 1)


def option_table(command):
    for words, verb in verbs_of(command):
        names = " ".join(name for option in verb["options"] if "value" in option for name in option["names"])
        if names:
            patterns = " ".join(quoted(" ".join(way) + ("*" if len(way) == 1 else "")) for way in names_of(words, command))
            yield f"        case {patterns}\n            string split ' ' -- {quoted(names)}"


def main():
    command = described()
    print(HEAD.format(command=command["name"], prefix=identifier(command["name"]), options="\n".join(option_table(command))))
    for words, family in families_of(command):
        for way in names_of(words, command):
            print("\n".join(family_lines(way, family, command)))
    for words, verb in verbs_of(command):
        for way in names_of(words, command):
            print("\n".join([*option_lines(way, verb["options"], command), *argument_lines(way, verb["arguments"], command)]))


main()
