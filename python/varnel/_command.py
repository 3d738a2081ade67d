# SPDX-License-Identifier: Apache-2.0
"""The command varnel-sim, which does what happens to boards."""
import os
import shutil
import subprocess
from collections.abc import Mapping

FAILURE = 1


class BoardError(Exception):
    """varnel-sim refused; the text is its line."""


def sim() -> str:
    """The path of varnel-sim: $VARNEL_SIM, or the first in PATH."""
    found = shutil.which(os.environ.get("VARNEL_SIM", "varnel-sim"))
    if found is None:
        raise BoardError("varnel-sim is not in PATH, and VARNEL_SIM does not name it")
    return found


def finished(*words: str, env: Mapping[str, str] | None = None) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sim(), *words], env=env, stdin=subprocess.DEVNULL, capture_output=True, text=True)


def message(done: subprocess.CompletedProcess[str]) -> str:
    return done.stderr.strip().removeprefix("varnel-sim: ") or f"varnel-sim ended with status {done.returncode}"


def output(*words: str, env: Mapping[str, str] | None = None) -> str:
    """What varnel-sim prints. Throws BoardError when it fails."""
    done = finished(*words, env=env)
    if done.returncode != 0:
        raise BoardError(message(done))
    return done.stdout


def options(given: Mapping[str, object]) -> list[str]:
    """Keywords as options: count=2 is --count 2, from_="3s" is --from 3s, pairs=True is --pairs; None is left out."""
    words: list[str] = []
    for name, value in given.items():
        if value is not None and value is not False:
            words.append("--" + name.rstrip("_").replace("_", "-"))
            words.extend([] if value is True else [str(value)])
    return words
