#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""page.py [--check]: writes docs/trust.md and docs/trust.svg from tests/trust/measured.json; with --check it only compares them."""

import dataclasses
import difflib
import html
import json
import pathlib
import re
import sys
from typing import Callable, Iterator

PROJECT = pathlib.Path(__file__).resolve().parents[2]
MEASURED = json.loads((PROJECT / "tests/trust/measured.json").read_text())
TEXT = pathlib.Path(__file__).with_name("page.in")
EXPORTS = (PROJECT / "src/exports.txt").read_text().split()
LEAST_KILLED = 0.98

# --- What is measured ---


@dataclasses.dataclass
class Measure:
    """A column. `share` is how much of it is shown for a function: 0 to 1, or None where there is nothing to show."""
    title: str
    cell: Callable[[dict], str]
    share: Callable[[dict], float | None]


def part(amount: int, whole: int) -> float | None:
    return amount / whole if whole else None


def of(amount: int, whole: int) -> str:
    return f"{amount:,}" + (f" of {whole:,}" if amount != whole else "") if whole else "-"


def killed(row: dict) -> float | None:
    share = part(*row["mutants"])
    return 1.0 if share is not None and share >= LEAST_KILLED else share


def faults(row: dict) -> int | None:
    """None for a function that makes no system call."""
    return row["faults"]["faults"] + row["faults"]["kills"] if "faults" in row else None


MEASURES = [
    Measure("tests", lambda row: of(row["tests"], row["tests"]), lambda row: float(row["tests"] > 0)),
    Measure("conditions", lambda row: of(*row["conditions"]), lambda row: part(*row["conditions"])),
    Measure("mutants", lambda row: of(*row["mutants"]), killed),
    Measure("faults", lambda row: "-" if faults(row) is None else str(faults(row) or ""),
            lambda row: None if faults(row) is None else float(faults(row) > 0)),
    Measure("all values", lambda row: "yes" if row["domain"] else "", lambda row: float(row["domain"])),
    Measure("fuzzed", lambda row: f"{row['fuzzed']:,} s" if row["fuzzed"] else "", lambda row: float(row["fuzzed"] > 0)),
    Measure("threads", lambda row: "yes" if row["threads"] else "", lambda row: float(row["threads"])),
    Measure("model", lambda row: ", ".join(row["models"]), lambda row: float(bool(row["models"]))),
]

# --- The page ---


def declared_in(header: str) -> list[str]:
    """The functions that a header declares, in its order."""
    text = re.sub(r"/\*.*?\*/", "", (PROJECT / "include" / header).read_text(), flags=re.DOTALL)
    return list(dict.fromkeys(name for name in re.findall(r"\b(\w+)\(", text) if name in EXPORTS))


def families() -> dict[str, dict[str, list[str]]]:
    """The functions of each family by header, as the reference pages have them."""
    text = (PROJECT / "docs/families.dox").read_text()
    titles = dict(re.findall(r"@defgroup (\w+) (.*)", text))
    found: dict[str, dict[str, list[str]]] = {}
    for header, family in re.findall(r"@file (\S+)\n \* @ingroup (\w+)", text):
        functions = declared_in(header) if family != "platform" else []
        if functions:
            found.setdefault(titles[family], {})[header] = functions
    return found


FAMILIES = families()
FUNCTIONS = [name for headers in FAMILIES.values() for names in headers.values() for name in names]

def table(heads: list[str], rows: list[list[str]]) -> str:
    lines = [heads, ["---"] + ["--:"] * (len(heads) - 1), *rows]
    return "\n".join(f"| {' | '.join(line)} |" for line in lines)


def summary(rows: list[dict]) -> str:
    """For each measure: of how many functions all of it, a part, or nothing is shown."""
    def counts(measure: Measure) -> list[str]:
        shares = [measure.share(row) for row in rows]
        return [str(len([s for s in shares if s == 1])), str(len([s for s in shares if s not in (None, 0, 1)])),
                str(shares.count(0)), str(shares.count(None))]
    return table(["", "whole", "in part", "not", "nothing to show"], [[m.title, *counts(m)] for m in MEASURES])


def header_table(header: str, functions: list[str]) -> str:
    rows = [[f"`{name}`", *(m.cell(MEASURED["exports"][name]) for m in MEASURES)] for name in functions]
    return f"[{header}](../include/{header})\n\n" + table(["", *(m.title for m in MEASURES)], rows)


def tables() -> str:
    return "\n\n".join(f"### {title}\n\n" + "\n\n".join(header_table(*each) for each in headers.items())
                       for title, headers in FAMILIES.items())


def page() -> str:
    """tests/trust/page.in with the tables, and with the amounts that its text names."""
    rows = list(MEASURED["exports"].values())
    amounts = {"functions": str(len(FUNCTIONS)), **MEASURED["measured"], "summary": summary(rows), "tables": tables()}
    return re.sub(r"\{(\w+)\}", lambda found: amounts[found[1]], TEXT.read_text())


# --- The picture ---

STYLE = """.trust { font: 12px Helvetica, Arial, sans-serif; }
.trust .page { fill: #fff; } .trust text { fill: #1b1b1b; } .trust .quiet { fill: #666; font-size: 10px; }
.trust .whole { fill: #0072b2; } .trust .part { fill: #e69f00; } .trust .not { fill: #e4e4e4; }
.trust .nothing { fill: none; stroke: #d8d8d8; stroke-width: 0.6; }
@media (prefers-color-scheme: dark) {
.trust .page { fill: #161616; } .trust text { fill: #e6e6e6; } .trust .quiet { fill: #a0a0a0; }
.trust .whole { fill: #4aa8e0; } .trust .part { fill: #ffb84d; } .trust .not { fill: #333; } .trust .nothing { stroke: #3c3c3c; } }
"""
LABEL_WIDTH, CELL, TITLE_WIDTH, GAP, ROW_HEIGHT, HEAD = 84, 4, 64, 8, 18, 30


def side_of(share: float | None) -> str:
    return {None: "nothing", 0: "not", 1: "whole"}.get(share, "part")


def places() -> Iterator[tuple[int, str, list[str]]]:
    """From where in the picture a family's cells stand, its title, its functions."""
    x = LABEL_WIDTH
    for title, headers in FAMILIES.items():
        functions = [name for names in headers.values() for name in names]
        yield x, title.split(" and ")[0], functions
        x += max(CELL * len(functions), TITLE_WIDTH) + GAP


def cell_of(measure: Measure, name: str, x: int, y: int) -> str:
    row = MEASURED["exports"][name]
    title = html.escape(f"{name}: {measure.title} {measure.cell(row) or 'none'}")
    return (f'<rect class="{side_of(measure.share(row))}" x="{x}" y="{y}" width="{CELL - 0.6}" height="14">'
            f"<title>{title}</title></rect>")


def cells(measure: Measure, y: int) -> Iterator[str]:
    yield f'<text x="{LABEL_WIDTH - 8}" y="{y + 12}" text-anchor="end">{html.escape(measure.title)}</text>'
    for x, _, functions in places():
        for i, name in enumerate(functions):
            yield cell_of(measure, name, x + CELL * i, y)


def picture() -> str:
    last_x, _, last = list(places())[-1]
    width, height = last_x + max(CELL * len(last), TITLE_WIDTH) + 8, HEAD + ROW_HEIGHT * len(MEASURES) + 8
    heads = (f'<text class="quiet" x="{x}" y="20">{html.escape(title)}</text>' for x, title, _ in places())
    rows = (cell for i, measure in enumerate(MEASURES) for cell in cells(measure, HEAD + ROW_HEIGHT * i))
    return "\n".join([
        f'<svg class="trust" xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}"'
        ' role="img" aria-label="What is shown of each exported function">',
        # REUSE-IgnoreStart
        "<!-- Made by script/trust. SPDX-License-Identifier: Apache-2.0 -->",
        # REUSE-IgnoreEnd
        f"<style>\n{STYLE}</style>", f'<rect class="page" width="{width}" height="{height}" rx="6"/>', *heads, *rows, "</svg>\n"])


def main(check: bool) -> int:
    if sorted(FUNCTIONS) != sorted(MEASURED["exports"]):
        sys.exit("page.py: tests/trust/measured.json has other functions than the headers; script/trust --measure renews it")
    made = {PROJECT / "docs/trust.md": page(), PROJECT / "docs/trust.svg": picture()}
    different = [file for file, text in made.items() if not file.exists() or file.read_text() != text]
    if check:
        for file in different:
            there = file.read_text().splitlines() if file.exists() else []
            print(*difflib.unified_diff(there, made[file].splitlines(), str(file), "measured", lineterm="", n=0), sep="\n")
        print(f"{len(FUNCTIONS)} functions")
        return len(different) > 0
    for file in different:
        file.write_text(made[file])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:] == ["--check"]))
