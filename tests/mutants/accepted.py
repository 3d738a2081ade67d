# SPDX-License-Identifier: Apache-2.0
"""The survivors that are accepted, with the reason: survivors.txt."""

import dataclasses
import pathlib


@dataclasses.dataclass
class Accepted:
    """A source line, and what may become of it without a test noticing. `changes` with "*": anything."""
    file: str
    function: str
    source_line: str
    changes: list[str]
    reason: str
    line: int
    used: set[str] = dataclasses.field(default_factory=set)


def block(lines: list[str], start: int) -> Accepted:
    file, function = (part.strip() for part in lines[0].split(":", 1))
    fields: dict[str, list[str]] = {"line": [], "change": [], "reason": []}
    for number, text in enumerate(lines[1:], start + 1):
        name, separator, value = text.strip().partition(": ")
        if name not in fields or not separator:
            raise SystemExit(f"survivors.txt:{number}: not line:, change: or reason: {text}")
        fields[name].append(value)
    if not (len(fields["line"]) == len(fields["reason"]) == 1 and fields["change"]):
        raise SystemExit(f"survivors.txt:{start}: needs a line, a reason and changes")
    return Accepted(file, function, fields["line"][0], fields["change"], fields["reason"][0], start)


def read(path: pathlib.Path) -> list[Accepted]:
    """Blocks are separated by empty lines; a # begins a comment."""
    blocks, lines, start = [], [], 0
    for number, text in enumerate([*path.read_text().splitlines(), ""], 1):
        if text.startswith("#"):
            continue
        if text:
            start = start if lines else number
            lines.append(text)
        elif lines:
            blocks.append(block(lines, start))
            lines = []
    return blocks


def reason_for(accepted: list[Accepted], survivor: dict) -> str | None:
    """Notes which entry was used."""
    change = f"{survivor['was']} -> {survivor['became']}"
    for entry in accepted:
        if (entry.file, entry.function, entry.source_line) == (survivor["file"], survivor["function"], survivor["source_line"]):
            for pattern in (change, "*"):
                if pattern in entry.changes:
                    entry.used.add(pattern)
                    return entry.reason
    return None


def unused(accepted: list[Accepted], files: set[str]) -> list[str]:
    """What no survivor matched, of the files that were run."""
    return [f"survivors.txt:{entry.line}: no such survivor in {entry.file}: {change}"
            for entry in accepted if entry.file in files for change in entry.changes if change not in entry.used]
