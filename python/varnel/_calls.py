# SPDX-License-Identifier: Apache-2.0
"""How functions of the library are called: results that say "failed" become exceptions."""
import errno
import os
from collections.abc import Iterable
from typing import Any

from varnel.raw import ffi, has_platform_function, lib


class CallFailed(OSError):
    """A function of the library failed. `errno` is the one that it left, 0 where it left none; `filename` is its name."""


def failed(function: str) -> CallFailed:
    number = ffi.errno
    return CallFailed(number, os.strerror(number) if number else "failed", function)


def call(function: str, *arguments: Any) -> None:
    """Calls a function that returns 0, or -1 after a failure. Throws CallFailed."""
    ffi.errno = 0
    if getattr(lib, function)(*arguments) != 0:
        raise failed(function)


def read(function: str, type_of_result: str, *arguments: Any) -> int:
    """Calls such a function, whose last parameter receives a number, and returns the number."""
    result = ffi.new(type_of_result)
    call(function, *arguments, result)
    return int(result[0])


def counted(numbers: Iterable[int]) -> tuple[Any, int]:
    """Bytes and their number, as two arguments."""
    held = bytes(numbers)
    return ffi.new("uint8_t[]", held), len(held)


def require_platform(*functions: str) -> None:
    for each in functions:
        if not has_platform_function(each):
            raise OSError(errno.ENOSYS, "no platform library defines this function (varnel.raw.load_platform)", each)


def c_text(text: str | bytes | os.PathLike[str]) -> bytes:
    """Text for a function that reads up to a NUL."""
    held = os.fsencode(text)
    if b"\0" in held:
        raise ValueError(f"a NUL in {text!r}")
    return held


def text_of(pointer: Any, length: int = 0) -> str:
    """Text that a function has stored, up to its NUL or of a length."""
    held: bytes = ffi.buffer(pointer, length)[:] if length else ffi.string(pointer)
    return os.fsdecode(held)
