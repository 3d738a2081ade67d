# SPDX-License-Identifier: Apache-2.0
import errno

import pytest

from varnel._calls import CallFailed
from varnel.chips import Pca9505, Pca9555
from varnel.smbus import Device

# A bus that no machine has.
BUS = 250


def test_failure_has_the_errno_and_the_function():
    with pytest.raises(CallFailed) as caught:
        Device(BUS, 0x20).read_byte(0)
    assert caught.value.errno in (errno.ENODEV, errno.ENOENT)
    assert caught.value.filename == "smbus_read_byte_to_device"


def test_chip_is_addressed_by_bus_and_slave():
    assert Pca9555(1, 0x20).handle == 0x2001
    assert repr(Pca9555(1, 0x20)) == "Pca9555(1, 0x20)"


@pytest.mark.parametrize("bus, address", [(-1, 0), (256, 0), (0, 0x80), (0, -1)])
def test_place_outside_the_handle_is_refused(bus, address):
    with pytest.raises(ValueError, match="is outside"):
        Device(bus, address)


def test_lengths_that_the_library_would_change_are_refused():
    device = Device(BUS, 0x20)
    for call in (
        lambda: device.write_block(0, bytes(33)),
        lambda: device.read_block(0, 33),
        lambda: device.block_process_call(0, b"", 1),
        lambda: device.block_process_call(0, bytes(16), 17),
        lambda: device.transfer(bytes(256)),
        lambda: device.transfer(),
    ):
        with pytest.raises(ValueError):
            call()


def test_numbers_wider_than_a_register_are_refused():
    with pytest.raises(OverflowError):
        Pca9505(BUS, 0x20).get_reg_data(256)


def test_failed_pins_raise():
    with pytest.raises(CallFailed):
        Pca9555(BUS, 0x20).init_port_output([1, 2])
