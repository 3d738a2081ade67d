# SPDX-License-Identifier: Apache-2.0
import pathlib

import pytest

pytest_plugins = "pytester"


@pytest.fixture
def python_program(tmp_path):
    """Writes a program; returns its words."""

    def write(text):
        file = tmp_path / "program.py"
        file.write_text(text)
        return "/usr/bin/python3", file

    return write


@pytest.fixture
def demo():
    return pathlib.Path(__file__).resolve().parents[3] / "examples/boards/demo.ini"
