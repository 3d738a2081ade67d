# SPDX-License-Identifier: Apache-2.0
import re

import pytest

from varnel.log import text_log


@pytest.fixture(autouse=True)
def folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    return tmp_path


def test_entry_is_a_date_and_a_message(folder):
    text_log("board.log", "100 % of fan 2")
    assert re.fullmatch(r"\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}\n\t100 % of fan 2\n", (folder / "board.log").read_text())


def test_log_past_its_limit_is_moved(folder):
    text_log("board.log", "first")
    text_log("board.log", "second", limit=0)
    assert "first" in (folder / "board.log.old").read_text() and "second" in (folder / "board.log").read_text()


@pytest.mark.parametrize("path", ["a b", "$(date)", "-a", "x" * 46, ""])
def test_path_that_the_shell_would_read_otherwise_is_refused(path):
    with pytest.raises(ValueError, match="only 45 letters"):
        text_log(path, "text")
