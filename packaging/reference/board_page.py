#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""board_page.py DOCS: prints the manual page of board files, varnel-board(5), from the guides in the folder DOCS: the chapter
"Board file" of simulated-board.md, and of each page in chips/ its title and its table of settings.
"""

import pathlib
import re
import sys

HEAD = r""".\" SPDX-License-Identifier: Apache-2.0
.Dd November 22, 2026
.Dt VARNEL-BOARD 5
.Os
.Sh NAME
.Nm varnel-board
.Nd description of a simulated board
.Sh DESCRIPTION"""
TAIL = r""".Sh FILES
.Bl -tag -width Ds
.It Pa /usr/share/varnel/boards/demo.ini
A board with most types of chips.
.El
.Sh SEE ALSO
.Xr varnel-sim 1"""


def escaped(text):
    return text.replace("\\", "\\e").replace("-", "\\-")


def inline(text):
    """Markdown within a line. Links lose their target."""
    text = text.replace("[chip-models.md](chip-models.md)", "CHIPS, below") # the same list
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text)
    parts = re.split(r"(`[^`]*`|\*\*[^*]*\*\*)", text)
    return "".join(f"\\fB{escaped(part.strip('`*'))}\\fR" if part.startswith(("`", "**")) else escaped(part) for part in parts)


def lines_of(text):
    return [re.sub(r"^([.'])", r"\\&\1", line) for line in re.split(r"(?<=[a-z)R][.:]) (?=[A-Z\\])", inline(text)) if line]


def rows_of(block):
    """The cells of a table's rows, without its heading."""
    return [[cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", row.strip().strip("|"))] for row in block[2:]]


def table(block):
    yield ".Bl -tag -width Ds"
    for first, *others in rows_of(block):
        yield f".It {inline(first)}"
        yield from lines_of(": ".join(cell for cell in others if cell))
    yield ".El"


def blocks(text):
    """Paragraphs, tables and samples: lists of lines."""
    block, in_sample = [], False
    for line in text.split("\n") + [""]:
        if line.startswith("```"):
            in_sample = not in_sample
        if (line or in_sample) and not line.startswith("<!--"):
            block.append(line)
        elif block:
            yield block
            block = []


def mdoc(text):
    for block in blocks(text):
        if block[0].startswith("|"):
            yield from table(block)
        elif block[0].startswith("```"):
            yield from [".Bd -literal -offset indent", *map(escaped, block[1:-1]), ".Ed"]
        else:
            yield from [".Pp", *lines_of(" ".join(block))]


def chapter(page, title):
    return re.search(rf"^## {title}\n(.*?)(?=^## |\Z)", page, re.M | re.S)[1]


def chips(folder):
    for file in sorted(folder.glob("*.md")):
        page = file.read_text(encoding="utf-8")
        settings = re.search(r"^\| setting \|.*?(?=^[^|]|\Z)", page, re.M | re.S)
        yield ".Ss " + inline(re.search(r"^# (.*)$", page, re.M)[1])
        yield from table(settings[0].strip().split("\n")) if settings else ["It has no settings."]


def main():
    docs = pathlib.Path(sys.argv[1])
    lines = [HEAD, *mdoc(chapter((docs / "simulated-board.md").read_text(encoding="utf-8"), "Board file")),
             ".Sh CHIPS", "Settings, in sections of chips and for", ".Cm varnel\\-sim set .", *chips(docs / "chips"), TAIL]
    text = "\n".join(lines)
    print(re.sub(r"(\.S[hs] .*)\n\.Pp\n", r"\1\n", text))


main()
