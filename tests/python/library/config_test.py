# SPDX-License-Identifier: Apache-2.0
import pytest

from varnel._calls import CallFailed
from varnel.config import IniFile, read_records


@pytest.fixture
def file(tmp_path):
    path = tmp_path / "settings.ini"
    path.write_text("[Network]\nHost=bmc0\nPort=0x50\nTrace=true\n")
    return IniFile(path)


def test_values_are_text_numbers_and_truth(file):
    assert file.get("network", "Host") == "bmc0"
    assert file.get_int("Network", "Port", 0) == 80
    assert file.get_bool("Network", "Trace") is True


def test_stored_value_is_read_again(file):
    file.set("Network", "Host", "bmc1")
    file.set("New", "Key", "")
    assert (file.get("Network", "Host"), file.get("New", "Key")) == ("bmc1", "")


def test_missing_key_is_a_key_error(file):
    for getter in (file.get, file.get_int, file.get_bool):
        with pytest.raises(KeyError, match=r"\[Network\] Nothing"):
            getter("Network", "Nothing")


def test_missing_file_is_named(tmp_path):
    with pytest.raises(FileNotFoundError, match="none.ini"):
        IniFile(tmp_path / "none.ini").get("a", "b")


def test_setting_creates_the_file(tmp_path):
    created = IniFile(tmp_path / "new.ini")
    created.set("a", "b", "c")
    assert created.get("a", "b") == "c"


def test_file_that_would_end_the_process_is_refused(file, tmp_path):
    (tmp_path / "settings.ini").write_bytes(b"x" * 16384)
    for call in (lambda: file.get("a", "b"), lambda: file.set("a", "b", "c")):
        with pytest.raises(ValueError, match="16384 bytes, more than 16383"):
            call()


def test_value_that_would_be_cut_is_refused(file):
    with pytest.raises(ValueError, match="256 bytes"):
        file.set("a", "b", "x" * 256)
    with pytest.raises(ValueError, match="NUL"):
        file.set("a", "b", "x\0")


def test_records_are_the_first_fields_of_each_line(tmp_path):
    path = tmp_path / "records"
    path.write_text("// comment\na, b, c\n\nd, e\n")
    assert read_records(path, ", ", 2) == [("a", "b"), ("d", "e")]
    with pytest.raises(CallFailed):
        read_records(path, ", ", 3)
    with pytest.raises(ValueError):
        read_records(path, ", ", 9)


def test_long_field_has_64_characters(tmp_path):
    path = tmp_path / "records"
    path.write_text("x" * 70 + "\n")
    assert read_records(path, ",", 1) == [("x" * 64,)]
