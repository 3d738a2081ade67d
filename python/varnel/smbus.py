# SPDX-License-Identifier: Apache-2.0
"""SMBus transactions (smbus.h)."""
from varnel._calls import call, read, require_platform
from varnel.raw import ffi

BLOCK_MAX = 32
TRANSFER_MAX = 255


def _checked(name: str, number: int, least: int, most: int) -> int:
    if not least <= number <= most:
        raise ValueError(f"{name} {number:#x} is outside {least:#x} to {most:#x}")
    return number


class FixedDevice:
    """A chip whose place the library knows. Methods throw CallFailed with the platform's errno; nothing is retried."""

    def __init__(self) -> None:
        require_platform("i2c_master_write_on_bus", "i2c_master_read_on_bus", "i2c_writeread_on_bus")


class Device(FixedDevice):
    """A chip on a bus."""

    def __init__(self, bus: int, address: int) -> None:
        super().__init__()
        self.bus = _checked("bus", bus, 0, 0xFF)
        self.address = _checked("address", address, 0, 0x7F)

    @property
    def handle(self) -> int:
        """What the library's functions take as `device`."""
        return self.address << 8 | self.bus

    def __repr__(self) -> str:
        return f"{type(self).__name__}({self.bus}, {self.address:#04x})"

    def quick(self, read_bit: bool = False) -> None:
        call("smbus_quick_to_device", self.handle, int(read_bit))

    def send_byte(self, byte: int) -> None:
        call("smbus_send_byte_to_device", self.handle, byte)

    def receive_byte(self) -> int:
        return read("smbus_recv_byte_to_device", "uint8_t *", self.handle)

    def write_byte(self, command: int, byte: int) -> None:
        call("smbus_write_byte_to_device", self.handle, command, byte)

    def read_byte(self, command: int) -> int:
        return read("smbus_read_byte_to_device", "uint8_t *", self.handle, command)

    def write_word(self, command: int, word: int) -> None:
        call("smbus_write_word_to_device", self.handle, command, word)

    def read_word(self, command: int) -> int:
        return read("smbus_read_word_to_device", "uint16_t *", self.handle, command)

    def write_block(self, command: int, block: bytes) -> None:
        """Up to 32 bytes, which the chip is told the number of."""
        _checked("length", len(block), 0, BLOCK_MAX)
        call("smbus_write_block_to_device", self.handle, command, len(block), bytes(block))

    def read_block(self, command: int, length: int) -> bytes:
        """As many bytes as asked for, up to 32, whatever number the chip announces."""
        block = ffi.new("uint8_t[]", _checked("length", length, 0, BLOCK_MAX) or 1)
        call("smbus_read_block_to_device", self.handle, command, length, block)
        return bytes(ffi.buffer(block, length))

    def process_call(self, command: int, word: int) -> int:
        return read("smbus_process_call_to_device", "uint16_t *", self.handle, command, word)

    def block_process_call(self, command: int, block: bytes, length: int) -> bytes:
        """Both blocks together have up to 32 bytes, and each has one at least."""
        _checked("length", len(block), 1, BLOCK_MAX - 1)
        _checked("length", length, 1, BLOCK_MAX - len(block))
        result = ffi.new("uint8_t[]", length)
        function = "smbus_block_write_block_read_process_call_to_device"
        call(function, self.handle, command, len(block), bytes(block), length, result)
        return bytes(ffi.buffer(result))

    def transfer(self, write: bytes = b"", length: int = 0) -> bytes:
        """Writes bytes, reads `length` bytes, or both with a repeated START between them; up to 255 of each."""
        _checked("length", len(write), 0, TRANSFER_MAX)
        _checked("length", length, 0, TRANSFER_MAX)
        if not write and not length:
            raise ValueError("nothing to transfer")
        result = ffi.new("uint8_t[]", length) if length else ffi.NULL
        function = "smbus_flexible_write_read_to_device"
        call(function, self.handle, 0, len(write), bytes(write) if write else ffi.NULL, length, result)
        return bytes(ffi.buffer(result)) if length else b""
