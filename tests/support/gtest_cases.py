# SPDX-License-Identifier: Apache-2.0
"""The test cases of a GoogleTest program."""

import pathlib
import subprocess


def cases_of(program: pathlib.Path | str) -> list[str]:
    """By their full names, without those that are disabled."""
    listed = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
    suite, cases = "", []
    for line in listed.splitlines():
        name = line.split("#")[0].rstrip()
        if not line.startswith(" "):
            suite = name
        elif not suite.startswith("Running") and not name.strip().startswith("DISABLED_"):
            cases.append(suite + name.strip())
    return cases
