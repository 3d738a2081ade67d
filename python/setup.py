# SPDX-License-Identifier: Apache-2.0
"""What pyproject.toml cannot say: the version is CMake's, and two modules are made from the headers."""
import pathlib
import re
import sys

import setuptools
from setuptools.command.build_py import build_py

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import from_headers  # noqa: E402


def version() -> str:
    found = re.search(r"project\(varnel VERSION (\S+)", (HERE.parent / "CMakeLists.txt").read_text())
    assert found
    return found[1]


class Build(build_py):
    def run(self) -> None:
        super().run()
        from_headers.write_modules(HERE.parent / "include", pathlib.Path(self.build_lib) / "varnel")


setuptools.setup(version=version(), cmdclass={"build_py": Build})
