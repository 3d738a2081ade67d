# SPDX-License-Identifier: Apache-2.0
"""What varnel-sim reports, as docs/schema/commands.json describes it: transfers, and runs of a campaign."""
import dataclasses
from collections.abc import Mapping
from typing import Any


@dataclasses.dataclass(frozen=True)
class Transfer:
    """A transfer of the trace. Lengths are those asked for, bytes those that were on the wire, at most 256."""

    time: float
    process: str
    pid: int
    bus: int
    path: tuple[str, ...]
    chips: tuple[str, ...]
    address: int
    operation: str
    register: int | None
    register_name: str | None
    written: bytes
    written_length: int
    read: bytes
    read_length: int
    result: int
    error: str | None
    error_text: str | None
    faults: tuple[str, ...]
    stop: bool

    @classmethod
    def from_json(cls, record: Mapping[str, Any]) -> "Transfer":
        held = dict(record)
        held["time"] = held.pop("time_seconds")
        for name in ("written", "read"):
            held[name] = bytes(held[name])
        for name in ("path", "chips", "faults"):
            held[name] = tuple(held[name])
        return cls(**{each.name: held[each.name] for each in dataclasses.fields(cls)})  # a later varnel-sim may have more


@dataclasses.dataclass(frozen=True)
class Strike:
    """A fault at a transfer of a program."""

    transfer: int
    place: str
    kind: str


@dataclasses.dataclass(frozen=True)
class Trial:
    """A run of a campaign. `verdict` says what was bad about it, and is None for a good run."""

    trial: str
    first: Strike
    second: Strike | None
    stays: bool
    struck: bool
    verdict: str | None

    @classmethod
    def from_json(cls, record: Mapping[str, Any]) -> "Trial":
        second = record["second"]
        return cls(
            record["trial"],
            Strike(record["transfer"], record["place"], record["kind"]),
            Strike(**second) if second else None,
            record["stays"],
            record["struck"],
            record["verdict"],
        )
