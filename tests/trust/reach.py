# SPDX-License-Identifier: Apache-2.0
"""Which functions of the library's sources an exported function reaches, by direct calls."""

import collections
import dataclasses
import pathlib
import re
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LINE = re.compile(r'(node|edge): \{ (?:title|sourcename): "([^"]*)"(?: targetname: "([^"]*)")? label: "([^"]*)"( shape : ellipse)?')


@dataclasses.dataclass(frozen=True)
class Function:
    file: str  # below the project
    name: str  # without what qualifies it
    symbol: str  # mangled


def symbol_of(title: str) -> str:
    """A mangled name; those of functions that other sources do not see follow their source. Of the two that each constructor
    and destructor has, the one that is defined."""
    return re.sub(r"([CD])1(?=[EI])", r"\g<1>2", title.rsplit(":", 1)[-1])


def short_name(declaration: str) -> str:
    """The last part of the name in "static int varnel::xml::sink::room() const"."""
    found = re.search(r"([~\w]+|operator\W+|operator \w+)(?:<[^()]*>)?\(", declaration.replace("{anonymous}", ""))
    return found[1] if found else declaration


class CallGraph:
    def __init__(self, folder: pathlib.Path):
        """Compiles every source into the folder, with its calls."""
        self.callees: dict[str, set[str]] = collections.defaultdict(set)
        self.defined: dict[str, Function] = {}
        folder.mkdir(parents=True, exist_ok=True)
        for source in sorted((PROJECT / "src").rglob("*.cpp")):
            made = folder / "object.o"
            subprocess.run(["g++", "-std=c++20", "-O0", "-fno-exceptions", "-fno-rtti", "-fcallgraph-info", "-I", PROJECT / "include",
                            "-I", PROJECT / "src", "-c", source, "-o", made], check=True)
            self.read(made.with_suffix(".ci").read_text(), str(source))

    def read(self, graph: str, source: str) -> None:
        for kind, first, second, label, is_elsewhere in LINE.findall(graph):
            if kind == "edge":
                self.callees[self.unique(first, source)].add(self.unique(second, source))
            elif not is_elsewhere:
                self.define(self.unique(first, source), first, label)

    def unique(self, title: str, source: str) -> str:
        return f"{source}:{symbol_of(title)}" if ":" in title else symbol_of(title)

    def define(self, key: str, title: str, label: str) -> None:
        declaration, place = label.split(r"\n", 1)
        file = pathlib.Path(place.split(":")[0])
        if file.is_relative_to(PROJECT):
            self.defined[key] = Function(str(file.relative_to(PROJECT)), short_name(declaration), symbol_of(title))

    def reached_from(self, export: str) -> set[str]:
        """With itself, and with what is not the library's."""
        seen, waiting = {export}, [export]
        while waiting:
            for callee in self.callees[waiting.pop()] - seen:
                seen.add(callee)
                waiting.append(callee)
        return seen

    def functions_of(self, export: str) -> set[Function]:
        return {self.defined[key] for key in self.reached_from(export) if key in self.defined}
