# SPDX-License-Identifier: Apache-2.0
"""Which functions of the library each test case runs, from the counters of a build for script/coverage --mcdc."""

import os
import pathlib
import re
import subprocess
import sys

LONGEST = 300  # seconds
RUN = re.compile(r"^(\S+)\n# Func Hash:\n\d+\n# Num Counters:\n\d+\n# Counter Values:\n[1-9]", re.MULTILINE)


def run_by(program: str, case: str, folder: pathlib.Path) -> set[str]:
    """The functions that the case and its children run; none, and a line is printed, when it fails."""
    folder.mkdir(parents=True, exist_ok=True)
    done = subprocess.run([program, f"--gtest_filter={case}"], stdin=subprocess.DEVNULL, capture_output=True, timeout=LONGEST,
                          env={**os.environ, "LLVM_PROFILE_FILE": f"{folder.resolve()}/%p-%m.profraw"})
    profiles = list(folder.iterdir())
    if done.returncode != 0:
        print(f"left out: {program} {case}: status {done.returncode}", file=sys.stderr)
        found = set()
    else:
        merged = subprocess.run(["llvm-profdata-19", "merge", "--text", "-o", "-", *profiles], check=True, capture_output=True, text=True)
        found = set(RUN.findall(merged.stdout))
    for profile in profiles:
        profile.unlink()
    return found
