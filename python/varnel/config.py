# SPDX-License-Identifier: Apache-2.0
"""INI files (iniparser.h) and files of records (logparser.h)."""
import os
import pathlib

from varnel._calls import c_text, call, failed, text_of
from varnel.raw import ffi, lib

Path = str | os.PathLike[str]


class IniFile:
    """Values of an INI file, which each call reads anew. What the header says of names, values and white space holds."""

    def __init__(self, path: Path) -> None:
        self.path = path

    def _check_size(self) -> None:
        """The library ends the process when a file is too large."""
        content = pathlib.Path(self.path).read_bytes().partition(b"\xff")[0]
        if len(content) > lib.INIPARSER_CONTENT_MAX:
            raise ValueError(f"{self.path} has {len(content)} bytes, more than {lib.INIPARSER_CONTENT_MAX}")

    def _names(self, section: str, key: str) -> tuple[bytes, bytes, bytes]:
        return c_text(self.path), c_text(section), c_text(key)

    def get(self, section: str, key: str) -> str:
        """Throws KeyError when there is no such key, OSError when the file cannot be read."""
        self._check_size()
        value = ffi.new("char[]", lib.INIPARSER_VALUE_SIZE)
        if lib.get_config_string(*self._names(section, key), value) != 0:
            raise KeyError(f"[{section}] {key}")
        return text_of(value)

    def get_int(self, section: str, key: str, base: int = 10) -> int:
        """0 for text that is no number."""
        self._check_size()
        value = ffi.new("int32_t *")
        if lib.get_config_integer(*self._names(section, key), base, value) != 0:
            raise KeyError(f"[{section}] {key}")
        return int(value[0])

    def get_bool(self, section: str, key: str) -> bool:
        """True for any beginning of "true", also an empty one."""
        self._check_size()
        value = ffi.new("int32_t *")
        if lib.get_config_boolean(*self._names(section, key), value) != 0:
            raise KeyError(f"[{section}] {key}")
        return bool(value[0])

    def set(self, section: str, key: str, value: str) -> None:
        """Creates the file, the section or the key if need be."""
        held = c_text(value)
        if len(held) > lib.INIPARSER_VALUE_MAX:
            raise ValueError(f"a value of {len(held)} bytes, more than {lib.INIPARSER_VALUE_MAX}")
        if os.path.exists(self.path):
            self._check_size()
        call("set_config_string", *self._names(section, key), held)


def read_records(path: Path, delimiters: str, fields: int) -> list[tuple[str, ...]]:
    """The first fields of each line. Throws CallFailed when a line has fewer."""
    if not 1 <= fields <= lib.VARNEL_LOG_TOKENS:
        raise ValueError(f"fields {fields} is outside 1 to {lib.VARNEL_LOG_TOKENS}")
    table = ffi.new("TABLE *")
    ffi.errno = 0
    if lib.log_styled_file_parse(c_text(path), c_text(delimiters), fields, table) != 0:
        raise failed("log_styled_file_parse")
    return [tuple(text_of(each.tokens[i]) for i in range(fields)) for each in table.records[0 : table.count]]
