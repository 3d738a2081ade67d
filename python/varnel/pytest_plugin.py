# SPDX-License-Identifier: Apache-2.0
"""Fixtures for pytest: `board`, and `make_board` for tests with boards of several kinds. A failing test also shows the latest
transfers and what programs printed."""
import os
import pathlib
from collections.abc import Callable, Generator, Iterator
from typing import Any

import pytest

from varnel.board import Board, BoardError, Description

MakeBoard = Callable[..., Board]
BoardSource = str | os.PathLike[str] | Description

_BOARDS = pytest.StashKey[list[Board]]()
SHOWN_TRANSFERS = 20
SHOWN_LINES = 20


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addini("varnel_board", "the board file of tests without a mark `board`")


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "board(board, time='real', seed=None): the board of this test, a file or a Description")


def _relative_to(folder: pathlib.Path, board: BoardSource) -> BoardSource:
    return board if isinstance(board, Description) else folder / board


@pytest.fixture
def make_board(request: pytest.FixtureRequest) -> Iterator[MakeBoard]:
    """Makes boards, which are on until the test ends: make_board(FILE or Description, time="real", seed=None)."""
    boards = request.node.stash.setdefault(_BOARDS, [])

    def make(board: BoardSource, **how: Any) -> Board:
        made = Board(_relative_to(request.path.parent, board), **how)
        boards.append(made)
        return made

    yield make
    for each in boards:
        each.close()


@pytest.fixture
def board(request: pytest.FixtureRequest, make_board: MakeBoard) -> Board:
    """The board of the mark `board`, or of `varnel_board` in pytest's configuration."""
    mark = request.node.get_closest_marker("board")
    if mark is not None:
        return make_board(*mark.args, **mark.kwargs)
    configured = request.config.getini("varnel_board")
    if not configured:
        raise pytest.UsageError("no board: mark the test @pytest.mark.board(FILE), or configure varnel_board")
    return make_board(request.config.rootpath / configured)


def _story(board: Board) -> Iterator[tuple[str, str]]:
    try:
        yield f"latest transfers on {board.file}", board.trace_text(SHOWN_TRANSFERS)
    except BoardError as problem:
        yield f"latest transfers on {board.file}", str(problem)
    for each in board.programs:
        yield f"latest lines of {each.name}[{each.pid}]", "\n".join(each.output.splitlines()[-SHOWN_LINES:])


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(item: pytest.Item) -> Generator[None, Any, None]:
    outcome = yield
    report = outcome.get_result()
    if report.when == "call" and report.failed:
        for each in item.stash.get(_BOARDS, []):
            report.sections.extend(_story(each))
