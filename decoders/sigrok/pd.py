# SPDX-License-Identifier: Apache-2.0
import sigrokdecode as srd

from .words import Map, Transfer, Words

TRANSACTION, WORDS, FAILURE = range(3)


class Decoder(srd.Decoder):
    api_version = 3
    id = "varnel"
    name = "Varnel"
    longname = "SMBus, PMBus and chips of management boards"
    desc = "Transactions of SMBus, registers and values of chips."
    license = "Apache-2.0"
    inputs = ["i2c"]
    outputs = []
    tags = ["Embedded/industrial"]
    options = (
        {"id": "board", "desc": "Board file of varnel-sim", "default": ""},
        {"id": "bus", "desc": "Number of this bus in the board file", "default": 0},
        {"id": "chips", "desc": "Chips: ADDRESS/TYPE, separated by spaces", "default": ""},
    )
    annotations = (
        ("transaction", "SMBus transaction"),
        ("words", "Chip, register and value"),
        ("failure", "Not acknowledged"),
    )
    annotation_rows = (
        ("transactions", "Transactions", (TRANSACTION,)),
        ("chips", "Chips", (WORDS, FAILURE)),
    )

    def __init__(self):
        self.reset()

    def reset(self):
        self.transfer = None
        self.started = 0
        self.unstopped = []  # transfers whose STOP is still to come

    def start(self):
        self.out_ann = self.register(srd.OUTPUT_ANN)
        self.map = Map(self.options["board"], self.options["chips"], self.options["bus"])

    def decode(self, started, ended, data):
        kind, value = data
        if kind == "START":
            self.transfer, self.started = None, started
        elif kind in ("ADDRESS WRITE", "ADDRESS READ"):
            self.begin(value, kind == "ADDRESS READ", started)
        elif kind == "DATA WRITE" and self.transfer:
            self.transfer.written += bytes([value])
        elif kind == "DATA READ" and self.transfer:
            self.transfer.read += bytes([value])
        elif kind == "NACK" and self.transfer:
            # The master does not acknowledge the last byte that it reads.
            self.transfer.refused = not self.transfer.read
        elif kind == "STOP":
            self.finish(ended)
            for transfer in self.unstopped:
                self.map.follow(transfer)
            self.unstopped = []

    def begin(self, address, reads, started):
        """A read goes on after a write to the same address; anything else is a transfer of its own."""
        if not (self.transfer and reads and self.transfer.address == address and self.transfer.read is None):
            self.finish(started)
            self.transfer, self.started = Transfer(address), started
        if reads:
            self.transfer.read = b""
        else:
            self.transfer.written = b""

    def finish(self, ended):
        transfer, self.transfer = self.transfer, None
        if transfer is None:
            return
        words = Words(transfer, self.map.at(transfer.address))
        name = words.transaction + (", PEC" if words.pec else "")
        self.put(self.started, ended, self.out_ann, [TRANSACTION, [name]])
        self.put(self.started, ended, self.out_ann, [FAILURE if words.refused else WORDS, [str(words), words.value]])
        self.unstopped.append(transfer)
