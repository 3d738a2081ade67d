#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""oddities.py [--check]: writes docs/oddities.md from the marks @oddity{NAME} in the headers; with --check it only compares
the page with them, and fails where they differ."""
import difflib
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
PAGE = PROJECT / "docs/oddities.md"
INTRODUCTION = """<!-- Made by script/docs from the headers. SPDX-License-Identifier: Apache-2.0 -->
# Oddities

Deliberate behaviour that a newcomer would not expect; deployed daemons rely on it. The page lists what the headers mark with
`@oddity`. [security.md](security.md) has more about the dangerous ones.
"""
COMMENT = re.compile(r"^ */\*\*(.*?)\*/(?=\s*(.*?)$)", re.MULTILINE | re.DOTALL)
# A paragraph that ends with a colon goes on with the code that follows.
ODDITY = re.compile(r"@oddity\{(.*?)\} (.*?(?::\n\n@code\n.*?@endcode)?)(?=\n\n|\n@|\n?\Z)", re.DOTALL)


def lines_of(comment):
    return "\n".join(re.sub(r"^ *\*? ?", "", line, count=1) for line in comment.strip().splitlines())


def described(declaration):
    """The function or member that a comment is above, if it is above one."""
    name = re.search(r"(\w+)(\(|\[|;)", declaration)
    return f" (`{name[1]}{'()' if name[2] == '(' else ''}`)" if name else ""


def markdown(text):
    text = re.sub(r"@p (\w+)", r"`\1`", text)
    text = re.sub(r"@b\s+(\w+)", r"**\1**", text)
    text = re.sub(r"@code\n(.*?)@endcode", r"```c\n\1```", text, flags=re.DOTALL)
    return text.replace("\n", "\n  ").replace("\n  \n", "\n\n")


def oddities(header):
    for comment, declaration in COMMENT.findall(header):
        for name, text in ODDITY.findall(lines_of(comment)):
            yield f"- **{name}**{described(declaration)}. {markdown(text)}"


def section(file):
    header = file.read_text()
    found = list(oddities(header))
    if len(found) != header.count("@oddity{"):
        sys.exit(f"oddities.py: {file.name}: a mark is not where a paragraph of a comment begins")
    return [f"## [{file.name}](../include/varnel/{file.name})\n", *found, ""] if found else []


def page():
    files = sorted((PROJECT / "include/varnel").glob("*.h"))
    return "\n".join([INTRODUCTION, *(line for file in files for line in section(file))])


def main(check):
    if not check:
        PAGE.write_text(page())
        return 0
    there, made = (text.splitlines() for text in (PAGE.read_text(), page()))
    difference = list(difflib.unified_diff(there, made, "docs/oddities.md", "headers", lineterm=""))
    print(*difference or ["docs/oddities.md is what the headers say"], sep="\n")
    return bool(difference)


sys.exit(main(sys.argv[1:] == ["--check"]))
