# SPDX-License-Identifier: Apache-2.0
import os
import select
import signal
import subprocess
import sys

import pytest

from varnel.board import BoardError, Description, ExpectationFailed, play


def test_daemon_lights_the_fault_led_when_a_fan_stops(board):
    monitor = board.run("board_monitor", "-i", "0")
    board.expect(monitor.prints("psu0 is well"), within=30)
    assert board.exp0.led_fault == "low"
    board.psu0.fan = "stopped"
    board.expect(board.exp0.led_fault == "high", within=30)
    monitor.terminate()
    board.expect(monitor.ends(0), within=30)


def test_program_has_lines_status_and_process(board):
    program = board.run("sh", "-c", "echo one; echo two >&2; echo $$; exit 3")
    board.expect(program.ends(3), within=30)
    assert program.lines == ["one", "two", str(program.pid)] and program.status == 3
    with pytest.raises(ExpectationFailed, match="sh has ended with 3"):
        board.expect(program.ends(0), within=30)


def test_lines_are_found_one_after_the_other(board):
    program = board.run("printf", "a 1\\na 2\\n")
    board.expect(program.prints("a"), within=30)
    board.expect(program.prints("a"), within=30)
    with pytest.raises(ExpectationFailed, match="printf prints /a/; printf printed last: a 2"):
        board.expect(program.prints("a"), within=0.05)


def test_signal_that_ends_a_program_is_its_status(board):
    program = board.run("sleep", "60")
    assert program.status is None
    with pytest.raises(ExpectationFailed, match="sleep is running"):
        board.expect(program.ends(), within=0.05)
    program.send(signal.SIGUSR1)
    board.expect(program.ends(128 + signal.SIGUSR1), within=30)


def test_programs_end_with_a_test_that_is_killed(demo, tmp_path):
    text = "import sys, time; from varnel.board import Board; board = Board(sys.argv[1])\n"
    text += "print(board.run('sleep', '600').pid, flush=True); time.sleep(600)\n"
    environment = {**os.environ, "TMPDIR": str(tmp_path)}
    test = subprocess.Popen([sys.executable, "-c", text, demo], env=environment, stdout=subprocess.PIPE, text=True)
    program = os.pidfd_open(int(test.stdout.readline()))
    test.kill()
    assert select.select([program], [], [], 30)[0]
    os.close(program)
    test.communicate()


def test_what_run_says_about_a_program_is_part_of_its_output(make_board):
    board = make_board(Description().chip("pins", "pca9555", 0, 0x20))
    with open(board.file, "a") as file:
        file.write("; changed\n")
    program = board.run("echo", "1")
    board.expect(program.ends(0), within=30)
    assert len(program.lines) == 2 and "has changed since" in program.lines[0] and program.lines[1] == "1"


def test_program_that_is_not_there_ends_as_in_a_shell(board):
    program = board.run("no-such-program")
    board.expect(program.ends(127), within=30)
    assert "no-such-program" in program.output


def test_faults_strike_and_are_in_the_trace(board, python_program):
    board.exp0.fault("nack", count=2)
    text = "import smbus2\nbus = smbus2.SMBus(0)\nfor i in range(3):\n    try: print(bus.read_byte_data(0x20, 0))\n    except OSError as e: print(e)\n"
    program = board.run(*python_program(text))
    board.expect(program.ends(0), within=30)
    assert program.lines == ["[Errno 6] No such device or address"] * 2 + ["255"]
    trace = board.trace()
    assert [(each.faults, each.error) for each in trace] == [(("nack",), "ENXIO")] * 2 + [((), None)]
    assert (trace[2].chips, trace[2].register_name, trace[2].read) == (("exp0",), "Input port 0", b"\xff")
    board.exp0.fault("nack", rate=1)
    board.exp0.fault("none")
    assert "fault:" not in board.command("show", "exp0")
    with pytest.raises(BoardError, match="nakc"):
        board.exp0.fault("nakc")


def test_gpiod_programs_have_the_boards_pins(board, python_program):
    text = "import gpiod\nline = gpiod.Chip('0-0020').find_line('led-ok')\n"
    text += "line.request(consumer='test', type=gpiod.LINE_REQ_DIR_OUT)\nline.set_value(0)\nprint(line.name(), flush=True)\ninput()\n"
    program = board.run(*python_program(text))
    board.expect(program.prints("led-ok"), within=30)
    assert board.exp0.led_ok == "output low"


def test_programs_use_the_library(board, python_program):
    text = "from varnel.chips import *\nPca9548(0, 0x70).enable_channel(1)\nprint(Car2512(0, 0x58).get_output_volt())\n"
    text += "Pca9555(0, 0x20).init_port_output([0, 1])\nprint(Pca9555(0, 0x20).get_bank_dir(0), Ds3232().get_time() > 0)\n"
    text += "from varnel.smbus import Device\nprint(Device(0, 0x20).transfer(b'\\6', 2), hex(Device(0, 0x20).read_word(6)))\n"
    program = board.run(*python_program(text))
    board.expect(program.ends(0), within=30)
    assert program.lines == ["1200", "252 True", r"b'\xfc\xff' 0xfffc"]


def test_campaign_finds_what_a_program_does_not_survive(board):
    trials = board.campaign("planted", "wrong-status", only="2:nack")
    assert [(each.trial, each.struck, each.verdict) for each in trials] == [("2:nack", True, None)]
    bad = board.campaign("planted", "wrong-status", only="2:nack", status=0)
    assert [each.first.place for each in bad] == ["exp0@0x20 Output port 0"] and bad[0].verdict is not None
    with pytest.raises(BoardError, match="budget"):
        board.campaign("planted", budget="often")


def test_scenarios_are_played(tmp_path, demo):
    good, bad = tmp_path / "good.scenario", tmp_path / "bad.scenario"
    good.write_text(f"board {demo}\nset psu0.load 1W\nexpect psu0.load 1W\n")
    bad.write_text(f"board {demo}\nexpect within 10ms psu0.load 1W\n")
    play(good)
    with pytest.raises(ExpectationFailed, match="psu0.load is '180.0 W'"):
        play(good, bad)
    with pytest.raises(BoardError, match="none.scenario"):
        play(tmp_path / "none.scenario")
