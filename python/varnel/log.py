# SPDX-License-Identifier: Apache-2.0
"""System log (debug_log.h) and text logs of limited size (text_log.h)."""
import os
import re

from varnel._calls import c_text, failed
from varnel.raw import ffi, lib

# The library has a shell move the file.
_SAFE_PATH = re.compile(r"[A-Za-z0-9/._][A-Za-z0-9/._-]*")


def system_log(priority: int, text: str) -> None:
    """A line in the system log; `priority` as for syslog.syslog()."""
    lib.IDBG_LINUXAPP_DbgLog(priority, b"%s", ffi.new("char[]", c_text(text)))


def system_log_bytes(priority: int, file: str, line: int, data: bytes) -> None:
    """A hex dump in the system log, with the place in a program that it comes from."""
    lib.IDBG_LINUXAPP_DbgInit()
    lib.IDBG_LINUXAPP_DbgLogBuf(priority, c_text(file), line, data, len(data))


def text_log(path: str | os.PathLike[str], text: str, limit: int | None = None) -> None:
    """Appends an entry to a log, which is moved to `path`.old before when it has more than `limit` bytes."""
    name = os.fspath(path)
    if not _SAFE_PATH.fullmatch(name) or len(name) > lib.TEXT_LOG_PATH_MAX:
        most = lib.TEXT_LOG_PATH_MAX
        raise ValueError(f"{name!r}: only {most} letters, digits and the characters / . _ -, and - not first")
    most = lib.TEXT_LOG_DEFAULT_LIMIT if limit is None else limit
    ffi.errno = 0
    if lib.log_str_size(c_text(name), most, b"%s", ffi.new("char[]", c_text(text))) != 0:
        raise failed("log_str_size")
