#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""page_filter.py PAGE: prints a page of Markdown as Doxygen needs it. A link to a header becomes one to its page; links to files
that are not in the reference pages, and to headings, which Doxygen gives no names, lose their targets. In tables, Doxygen
takes `&x;` for an entity."""
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
LINK = re.compile(r"(?<!!)\[([^]]*)\]\(([^)\s]+)\)")
# Of `INPUT` in docs/Doxyfile.
PAGES = {*PROJECT.glob("*.md"), *(PROJECT / "docs").glob("*.md"), *(PROJECT / "docs/chips").glob("*.md")}


def linked(page, text, target):
    path, _, _ = target.partition("#")
    file = (page.parent / path).resolve()
    if re.match(r"[a-z]+:", target):
        return f"[{text}]({target})"
    if file.parent.parent == PROJECT / "include":
        return f"[{text}](@ref {file.name})"
    return f"[{text}]({path})" if path and file in PAGES else text


def main():
    page = pathlib.Path(sys.argv[1]).resolve()
    text = LINK.sub(lambda link: linked(page, link[1], link[2]), page.read_text())
    print(re.sub(r"^\|.*", lambda row: re.sub(r"&([a-z]+;)", r"&amp;\1", row[0]), text, flags=re.MULTILINE), end="")


main()
