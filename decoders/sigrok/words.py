# SPDX-License-Identifier: Apache-2.0
"""What transfers on an I2C bus say in the terms of SMBus and of the chips; without sigrok, so that it can be tested alone."""

import configparser
import re

from .chips import CHIPS

BLOCK = 0xFF  # bytes of a register that is a block, its length first


def crc8(data):
    """The packet error code of SMBus: x^8 + x^2 + x + 1."""
    crc = 0
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc << 1 ^ 0x07 if crc & 0x80 else crc << 1) & 0xFF
    return crc


class Chip:
    def __init__(self, name, kind, bus, address):
        self.name, self.type, self.bus, self.address = name, CHIPS[kind], bus, address


class Map:
    """Which chips are where, and which of them a bus reaches now."""

    def __init__(self, board="", chips="", bus=0):
        self.bus = str(bus)
        self.chips = []
        self.parents = {}  # bus behind a selector, to the buses in front of it
        self.open = {}  # channels of a multiplexer, once they are known
        if board:
            self.read_board(board)
        for word in chips.split():
            self.add_word(word)

    def add_word(self, word):
        found = re.fullmatch(r"(?:0x)?([0-9a-fA-F]+)[=/]([\w-]+)", word)
        if not found or found[2] not in CHIPS:
            raise ValueError(f"'{word}' is not ADDRESS/TYPE with a type of {', '.join(CHIPS)}")
        self.chips.append(Chip(found[2], found[2], self.bus, int(found[1], 16)))

    def read_board(self, file):
        parser = configparser.RawConfigParser(comment_prefixes=(";", "#"), inline_comment_prefixes=(" ;",), strict=False)
        with open(file, encoding="utf-8") as text:
            parser.read_file(text)
        for name in parser.sections():
            self.add_section(name, parser[name])

    def add_section(self, name, section):
        if section.get("type") not in CHIPS:  # [board], and chips of plug-ins
            return
        places = [(section["bus"], section["address"])]
        if "other_bus" in section:
            places.append((section["other_bus"], section["other_address"]))
            self.parents[name] = [bus for bus, _ in places]
        for bus, address in places:
            self.chips.append(Chip(name, section["type"], bus, int(address, 0)))
        if CHIPS[section["type"]]["channels"]:
            self.open[name] = None
            self.parents[name] = [section["bus"]]

    def reaches(self, bus):
        """Whether the adapter's bus is connected to this one, as far as is known."""
        if bus == self.bus:
            return True
        mux, _, channel = bus.partition(".")
        mask = self.open.get(mux)
        if mask is not None and channel and not mask >> int(channel) & 1:
            return False
        return any(self.reaches(parent) for parent in self.parents.get(mux, []))

    def at(self, address):
        return [chip for chip in self.chips if chip.address == address and self.reaches(chip.bus)]

    def follow(self, transfer):
        """What a transfer changes when its STOP comes."""
        for chip in self.at(transfer.address):
            if chip.type["channels"] and transfer.written and not transfer.refused:
                self.open[chip.name] = transfer.written[-1]


class Transfer:
    """From START to STOP, with at most one change of direction."""

    def __init__(self, address):
        self.address = address
        self.written, self.read = None, None  # bytes, once there was an address with that direction
        self.refused = False


def find_register(kind, command):
    code = command & ~kind["flags"]
    for register in kind["registers"]:
        if 0 <= code - register["code"] < register["count"]:
            return register, code
    return None, code


def register_name(kind, command):
    register, code = find_register(kind, command)
    if register is None:
        return ""
    ending = {"from zero": f" {code - register['code']}", "by code": f" 0x{code:02x}"}
    return register["name"] + ending.get(register["ending"], "")


def signed(value, bits):
    return value - (1 << bits) if value >> (bits - 1) else value


def scaled(value, exponent, unit):
    """With as many decimals as the exponent is worth, at most three."""
    return f"{value * 2.0 ** exponent:.{min(3, max(0, -exponent))}f} {unit}"


def number(kind, register, raw):
    """A raw value in its unit; nothing if it is no quantity."""
    if register["format"] == "LINEAR11":
        return scaled(signed(raw & 0x7FF, 11), signed(raw >> 11, 5), register["unit"])
    if register["format"] == "LINEAR16":
        return scaled(raw, kind["exponent"], register["unit"])
    if register["unit"]:
        value = signed(raw, 8 * register["bytes"]) if register["signed"] else raw
        return f"{value / 10 ** register['decimals']:.{register['decimals']}f} {register['unit']}"
    return None


def in_hex(data):
    return " ".join(f"{byte:02x}" for byte in data)


def value_of(kind, register, data):
    """The data of a register in words: a quantity, bits by name, a text, or bytes."""
    if register is None or not data:
        return in_hex(data)
    if register["bytes"] == BLOCK:
        text = data[1:]
        return f'"{text.decode("ascii")}"' if text and all(32 <= byte < 127 for byte in text) else in_hex(data)
    if len(data) != register["bytes"] or len(data) > 2:
        return in_hex(data)
    raw = int.from_bytes(data, "big" if register["format"] == "high byte first" else "little")
    quantity = number(kind, register, raw)
    if quantity:
        return quantity
    names = [name for bit, name in enumerate(register["bits"]) if name and raw >> bit & 1]
    return f"0x{raw:0{2 * len(data)}x}" + (f" ({', '.join(names)})" if names else "")


def without_pec(register, transfer, data):
    """The data without a packet error code, and whether there was one: a right byte after those of the register."""
    if register is None or not data:
        return data, False
    expected = data[0] + 1 if register["bytes"] == BLOCK else register["bytes"]
    whole = bytes([transfer.address << 1]) + transfer.written
    if transfer.read is not None:
        whole += bytes([transfer.address << 1 | 1]) + transfer.read
    if len(data) == expected + 1 and crc8(whole) == 0:
        return data[:-1], True
    return data, False


def is_block(data):
    return len(data) > 1 and data[0] == len(data) - 1


def transaction(written, read):
    """The name that SMBus gives a transfer, without a packet error code."""
    if written is None:
        return {0: "quick read", 1: "receive byte"}.get(len(read), f"read of {len(read)} bytes")
    if read is None:
        if len(written) > 3 and is_block(written[1:]):
            return "block write"
        names = ("quick write", "send byte", "write byte", "write word")
        return names[len(written)] if len(written) < len(names) else f"write of {len(written)} bytes"
    shape = (len(written), len(read))
    names = {(1, 1): "read byte", (1, 2): "read word", (3, 2): "process call"}
    if shape in names:
        return names[shape]
    if is_block(read):
        return "block read" if len(written) == 1 else "block process call"
    return "write-read"


class Words:
    """A transfer in words."""

    def __init__(self, transfer, chips):
        self.chip = ",".join(chip.name for chip in chips) or "?"
        self.register, self.name, self.value = None, "", ""
        kind = chips[0].type if chips else None
        written, read = transfer.written, transfer.read
        data = read if read is not None else written or b""
        register = None
        if kind and kind["registers"] and written:
            register, _ = find_register(kind, written[0])
            self.register, self.name = written[0], register_name(kind, written[0])
            data = read if read is not None else written[1:]
        data, self.pec = without_pec(register, transfer, data) if written else (data, False)
        if self.pec:
            written, read = (written, read[:-1]) if read is not None else (written[:-1], None)
        self.transaction = transaction(written, read)
        self.value = value_of(kind, register, data)
        self.arrow = "->" if read is not None else "<-"
        self.refused = transfer.refused

    def __str__(self):
        text = self.chip
        if self.register is not None:
            text += f" {self.name}(0x{self.register:02X})" if self.name else f" 0x{self.register:02X}"
        if self.value:
            text += f" {self.arrow} {self.value}"
        return text + (" not acknowledged" if self.refused else "")
