# SPDX-License-Identifier: Apache-2.0
"""All functions of libvarnel_common.so.1 as C declares them, by cffi: `lib.NAME(...)`, and `ffi` for what they are given.
Nothing is checked; the headers and manual pages say what each function expects."""
from typing import Any

from varnel._declarations import ffi as _ffi

ffi: Any = _ffi


def load_platform(name: str) -> None:
    """Loads a library with platform functions (platform.h). The first one loaded that defines a function provides it, and
    what the program itself or LD_PRELOAD brings comes before all of them."""
    _platforms.append(ffi.dlopen(name, ffi.RTLD_LAZY | ffi.RTLD_GLOBAL))


def has_platform_function(name: str) -> bool:
    """Whether a platform function can be called. The call of one that is missing ends the process."""
    try:
        return getattr(_process, name) is not None
    except ffi.error:
        return False


def _load_usual_platform() -> None:
    try:
        load_platform("libvarnel_platform.so.1")
    except OSError:
        pass  # a program that needs none of it runs without


_platforms: list[Any] = []
_load_usual_platform()
_process: Any = ffi.dlopen(None)
lib: Any = ffi.dlopen("libvarnel_common.so.1", ffi.RTLD_LAZY)
