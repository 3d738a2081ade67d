# SPDX-License-Identifier: Apache-2.0
"""Boards that are built in code."""
from collections.abc import Mapping

Value = str | int | float | bool


def _text(value: Value) -> str:
    if isinstance(value, bool):
        return "yes" if value else "no"
    return str(value)


def _line(key: str, value: Value) -> str:
    text = _text(value)
    if "\n" in key + text or "\0" in key + text:
        raise ValueError(f"{key}: {text!r} does not fit on a line")
    return f"{key} = {text}"


class Description:
    """A board file in the making. docs/simulated-board.md has its keys."""

    def __init__(self, name: str = "board", **keys: Value) -> None:
        self._sections = {"board": [_line("name", name), *(_line(*each) for each in keys.items())]}

    def chip(
        self, name: str, type: str, bus: int | str, address: int, settings: Mapping[str, Value] | None = None, **keys: Value
    ) -> "Description":
        """Adds a chip. Keys that are no names in Python, such as "name.0", come in `settings`."""
        if name in self._sections:
            raise ValueError(f"there is a section '{name}' already")
        place: dict[str, Value] = {"type": type, "bus": bus, "address": f"{address:#04x}"}
        self._sections[name] = [_line(*each) for each in {**place, **keys, **(settings or {})}.items()]
        return self

    def __str__(self) -> str:
        """The text of the board file."""
        return "\n".join("\n".join([f"[{name}]", *lines, ""]) for name, lines in self._sections.items())
