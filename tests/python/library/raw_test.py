# SPDX-License-Identifier: Apache-2.0
import pathlib

from varnel import raw
from varnel.raw import ffi, lib

PROJECT = pathlib.Path(__file__).resolve().parents[3]


def exports():
    return set((PROJECT / "src/exports.txt").read_text().split())


def reached():
    """What is declared and in the library; platform functions are only declared."""
    for name in dir(lib):
        try:
            yield name, getattr(lib, name)
        except ffi.error:
            continue


def test_what_can_be_called_is_what_the_library_exports():
    functions = {name for name, found in reached() if isinstance(found, ffi.CData)}
    assert functions | {"g_transfer_server_ok"} == exports()
    lib.g_transfer_server_ok = 1
    assert lib.g_transfer_server_ok == 1


def test_functions_are_declared_as_in_the_headers():
    declared = ffi.typeof(lib.smbus_read_word_to_device)
    assert [each.cname for each in declared.args] == ["uint32_t", "uint8_t", "uint16_t *"]
    assert ffi.typeof(lib.log_str).ellipsis
    assert ffi.typeof(lib.ds3232_get_time).args[0].cname == "long *"


def test_structures_have_the_sizes_that_the_headers_promise():
    assert ffi.sizeof("struct log_record") == 516
    assert ffi.sizeof("queue_message") == lib.QUEUE_MESSAGE_HEADER_SIZE == 44
    assert ffi.sizeof("bmc_session_info") == 20 + 16 + 20


def test_numbers_that_do_not_fit_are_refused_before_the_call():
    for number in (-1, 2**64):
        try:
            lib.get_bits_value(number, 0, 7)
        except OverflowError:
            continue
        raise AssertionError(f"{number} was taken")


def test_calls_return_what_the_library_returns():
    assert lib.get_bits_value(0xABCD, 4, 11) == 0xBC
    assert lib.numeral_value_byte_order_convert(0x1234, 0, 1, 1) == 0x3412


def test_platform_functions_are_those_of_the_libraries_loaded():
    assert raw.has_platform_function("i2c_writeread_on_bus")
    assert raw.has_platform_function("file_lock_write")
    assert not raw.has_platform_function("LIBIPMI_CloseSession")
