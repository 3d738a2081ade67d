# SPDX-License-Identifier: Apache-2.0
def test_failing_test_shows_trace_and_programs(pytester, demo):
    pytester.makepyfile(
        f"""
        import pytest

        @pytest.mark.board({str(demo)!r})
        def test_something(board):
            program = board.run("board_monitor", "-n", "1")
            board.expect(program.ends(0), within=30)
            assert board.psu0.load == 1
        """
    )
    result = pytester.runpytest_inprocess()
    result.assert_outcomes(failed=1)
    result.stdout.fnmatch_lines(
        [
            "*assert <psu0.load: 180*> == 1",
            f"*latest transfers on {demo}*",
            "* board_monitor* exp0@0x20 Input port 1(0x01) -> fc  ok",
            "*latest lines of board_monitor*",
            "event    psu1 is well",
        ]
    )


def test_test_without_a_board_is_told_how_to_get_one(pytester):
    pytester.makepyfile("def test_something(board): pass")
    result = pytester.runpytest_inprocess()
    result.stdout.fnmatch_lines(["*no board: mark the test @pytest.mark.board(FILE), or configure varnel_board*"])


def test_board_of_the_configuration_is_relative_to_it(pytester, demo):
    pytester.makeini(f"[pytest]\nvarnel_board = boards/{demo.name}\n")
    pytester.mkdir("boards").joinpath(demo.name).write_text(demo.read_text())
    pytester.mkdir("tests").joinpath("test_it.py").write_text("def test_it(board): assert board.psu0.load == 180\n")
    pytester.runpytest_inprocess("tests").assert_outcomes(passed=1)
