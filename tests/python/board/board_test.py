# SPDX-License-Identifier: Apache-2.0
import pytest

from varnel.board import Board, BoardError, Description, ExpectationFailed

BENCH = Description("bench", clock="100kHz").chip("pins", "pca9555", 0, 0x20, {"name.0": "led-ok"}, gpiochip=True)


def test_chips_and_readings_are_those_of_the_board(board):
    assert "psu0" in board.chips and "psu0" in dir(board)
    assert "fan_speed" in dir(board.psu0)
    assert board.psu0.settings == ["load", "input", "ambient", "fan", "firmware"]


def test_quantities_are_numbers_and_the_rest_is_text(board):
    assert board.psu0.load.value == 180
    assert 100 < board.psu0.input_power < 300
    assert board.psu0.status == 0 and board.psu0.write_protect != 0
    assert board.exp0.led_fault.value == "input high (pulled up)"
    assert float(board.psu0.output) == 12.0
    assert str(board.rtc.oscillator_stopped) == "no"


def test_text_is_compared_as_wait_compares_it(board):
    assert board.exp0.led_fault == "high"
    assert board.exp0.led_fault == "input high (pulled up)"
    assert board.exp0.led_fault != "low"
    assert board.psu0.load == "180W"
    assert not board.psu0.load == "181W"


def test_readings_without_a_name_in_python_are_items(board):
    assert board.backplane["0.0"] == "high"
    assert board["exp0"]["led-fault"] == "high"
    board.exp0["10"] = "low"
    assert board.exp0["10"] == "low"


def test_settings_are_assigned(board):
    board.psu0.load = 700
    board.psu0.ambient = "30C"
    assert (board.psu0.load.value, board.psu0.ambient.value) == (700, 30)


def test_several_settings_are_changed_together_or_not_at_all(board):
    board.set({"psu0.load": "200W", "psu1.load": "300W"})
    with pytest.raises(BoardError, match="psu1: unknown setting 'laod'"):
        board.set({"psu0.load": "250W", "psu1.laod": "350W"})
    assert (board.psu0.load.value, board.psu1.load.value) == (200, 300)


def test_name_that_is_not_there_gets_a_suggestion(board):
    with pytest.raises(AttributeError, match="the board has no 'psu2'; did you mean 'psu"):
        board.psu2
    with pytest.raises(AttributeError, match="psu0 has no 'laod'; did you mean 'load'?"):
        board.psu0.laod
    with pytest.raises(BoardError, match="psu0: unknown setting 'laod'"):
        board.psu0.laod = 1
    with pytest.raises(BoardError, match="psu0: unknown setting 'fan-speed'"):
        board.psu0.fan_speed = 1


def test_value_that_is_refused_is_an_error_with_the_boards_words(board):
    with pytest.raises(BoardError, match="fan: cannot be 'slow' "):
        board.psu0.fan = "slow"


def test_unplugged_chip_does_not_answer(board):
    output = board.psu1.output
    board.psu1.unplug()
    assert not board.psu1.plugged and board.exp0.psu1_absent == "high"
    with pytest.raises(BoardError, match="psu1.output is not there now"):
        output.value
    board.psu1.plug()
    assert board.psu1.plugged and output > 11


def test_expectation_that_does_not_come_says_what_came(board):
    with pytest.raises(ExpectationFailed, match=r"within 0.05 s: psu0.load == '1W'; psu0.load is 180"):
        board.expect(board.psu0.load == "1W", within=0.05)
    with pytest.raises(ExpectationFailed, match=r"within 0.05 s: psu0.load > 200; psu0.load is 180"):
        board.expect(board.psu0.load > 200, within=0.05)
    with pytest.raises(ExpectationFailed, match="for 1 s not: psu0.load == '180W'"):
        board.expect_not(board.psu0.load == "180W", during=1)


def test_boards_are_built_in_code(make_board):
    board = make_board(BENCH)
    assert board.chips == ["pins"] and board.pins.led_ok == "high"


def test_description_with_a_mistake_is_refused_with_its_line(make_board):
    with pytest.raises(BoardError, match=r"board.ini:7: address 0x99 is outside"):
        make_board(Description().chip("a", "pca9555", 0, 0x99))
    with pytest.raises(ValueError, match="section 'a' already"):
        Description().chip("a", "pca9555", 0, 0x20).chip("a", "pca9555", 0, 0x21)
    with pytest.raises(ValueError, match="does not fit on a line"):
        Description("a\nb")


def test_boards_of_one_file_are_each_their_own(make_board, demo):
    first, second = make_board(demo), make_board(demo)
    first.psu0.load = 1
    assert second.psu0.load == 180


def test_board_that_is_closed_leaves_nothing(demo):
    with Board(demo) as board:
        daemon = board.run("sleep", "60")
        folder = board.folder
    assert daemon.status == 128 + 9
    assert not folder.exists()


def test_missing_command_is_named(demo, monkeypatch):
    monkeypatch.setenv("VARNEL_SIM", "/nowhere/varnel-sim")
    with pytest.raises(BoardError, match="varnel-sim is not in PATH"):
        Board(demo)
