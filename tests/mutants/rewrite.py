# SPDX-License-Identifier: Apache-2.0
"""Writes sources in which each mutant can be selected by its number when the program runs."""

import dataclasses

from places import Place

HEAD = '#include "{guard}"\n#line 1\n'
HEAD_LINES = HEAD.count("\n")
ON = "varnel_mutants::on"


@dataclasses.dataclass
class Rewritten:
    text: str
    parts: list[tuple[int, int, list[int]]]  # where in the text, without its head, which mutants are


class Writer:
    """The places of a file are nested; what one becomes contains what is inside it unchanged, since one mutant runs at a time."""

    def __init__(self, source: str, places: list[Place], left_out: set[int]):
        self.source = source
        self.left_out = left_out
        self.places = places
        self.next = 0
        self.text = ""
        self.parts: list[tuple[int, int, list[int]]] = []

    def write(self, start: int, end: int) -> None:
        """This part of the source with the places in it, which are in order."""
        while self.next < len(self.places) and self.places[self.next].start < end:
            place = self.places[self.next]
            self.next += 1
            if place.start < start or place.end > end:
                raise ValueError(f"places overlap at offset {place.start}: {self.source[place.start:place.end]}")
            self.text += self.source[start:place.start]
            self.write_place(place)
            start = place.end
        self.text += self.source[start:end]

    def write_place(self, place: Place) -> None:
        choices = [(n, c) for n, c in zip(place.numbers, place.changes) if n not in self.left_out]
        if place.is_statement:
            for number, _ in choices:
                self.alternative(number, f"if ({ON}({number})) {{}} else ")
            self.write(place.start, place.end)
            return
        start = len(self.text)
        self.text += "(" * bool(choices)
        for number, change in choices:
            self.alternative(number, f"{ON}({number}) ? ({change.text}) : ")
        self.text += "(" * bool(choices)
        self.write(place.start, place.end)
        self.text += "))" * bool(choices)
        self.parts.append((start, len(self.text), [number for number, _ in choices]))

    def alternative(self, number: int, text: str) -> None:
        self.parts.append((len(self.text), len(self.text) + len(text), [number]))
        self.text += text


def rewrite(source: str, places: list[Place], left_out: set[int], guard: str) -> Rewritten:
    writer = Writer(source, places, left_out)
    writer.write(0, len(source))
    return Rewritten(HEAD.format(guard=guard) + writer.text, writer.parts)


def mutants_at(rewritten: Rewritten, line: int, column: int) -> list[int]:
    """Which mutants the compiler complains about, given the line of the source and the column of the rewritten text: the one
    there, or all of an expression that may not be in parentheses, or all that follow in the line."""
    text = rewritten.text.split("\n", HEAD_LINES)[HEAD_LINES]
    offset = column - 1
    for _ in range(line - 1):
        offset += text.index("\n") + 1
        text = text[text.index("\n") + 1:]
    fitting = [(end - start, numbers) for start, end, numbers in rewritten.parts if start <= offset < end and numbers]
    if fitting:
        return min(fitting)[1]
    end_of_line = offset - column + (text + "\n").index("\n", column)
    return [number for start, _, numbers in rewritten.parts if offset <= start < end_of_line for number in numbers]

