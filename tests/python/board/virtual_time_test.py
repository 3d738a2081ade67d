# SPDX-License-Identifier: Apache-2.0
import pytest

from varnel.board import BoardError

DEMO = "../../../examples/boards/demo.ini"
pytestmark = pytest.mark.board(DEMO, time="virtual")


def test_an_hour_takes_no_time(board):
    monitor = board.run("board_monitor", "-i", "600")
    begin = board.now
    board.sleep(3600)
    assert board.now - begin == pytest.approx(3600)
    assert [line for line in monitor.lines if line.startswith("clock  ") and line.endswith("0 s from system time)")]
    assert len([each for each in board.trace() if each.register_name == "Year"]) >= 7


def test_time_stands_still_while_the_test_works(board):
    monitor = board.run("board_monitor", "-i", "60")
    board.expect(monitor.prints("psu0 is well"), within=1)
    board.psu0.fan = "stopped"
    before = len(board.trace())
    assert board.exp0.led_fault == "low"
    assert len(board.trace()) == before
    board.sleep(60)
    assert board.exp0.led_fault == "high"


def test_nothing_is_waited_for_longer_than_said(board):
    begin = board.now
    with pytest.raises(AssertionError, match="within 0.1 s"):
        board.expect(board.psu0.load == "1W", within=0.1)
    assert board.now - begin == pytest.approx(0.1)


def test_runs_are_the_same(make_board):
    def trace():
        board = make_board(DEMO, time="virtual", seed=7)
        for seconds in ("1", "2"):
            board.run("board_monitor", "-i", seconds)
        board.sleep(4)
        return board.trace_text(4096)

    assert trace() == trace()


def test_seed_needs_virtual_time(make_board):
    with pytest.raises(BoardError, match="--seed: only with --time virtual"):
        make_board(DEMO, seed=7)
