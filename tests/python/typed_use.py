# SPDX-License-Identifier: Apache-2.0
"""What users write has the types that they expect; mypy reads this, nothing runs it."""
from varnel.board import Board, Chip
from varnel.chips import Pca9555
from varnel.xml import Document


def watch(board: Board) -> int:
    monitor = board.run("board_monitor", "-i", "1")
    board.psu0.fan = "stopped"
    board["psu0"]["load"] = 7
    board.expect(board.exp0.led_fault == "low", within=5)
    chip: Chip = board.psu0
    chip.fault("nack", count=2)
    assert board.psu0.input_power > 100 and monitor.status is None
    return sum(len(transfer.read) for transfer in board.trace())


def pins(levels: bytes) -> int:
    expander = Pca9555(0, 0x20)
    expander.init_port_high(levels)
    return expander.get_bank_data(0)


def names(text: bytes) -> list[str | None]:
    return [node.name for node in Document.parse(text).root.walk()]
