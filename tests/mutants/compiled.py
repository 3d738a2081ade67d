# SPDX-License-Identifier: Apache-2.0
"""Mutants in what the compiler evaluates: constants, tables, sizes. Each needs its own library."""

import functools
import pathlib
import re
import shlex
import subprocess
import tempfile

from catalogue import OBJECTS, Catalogue, Mutant, object_of, without_output
from runs import Outcome, Recorded, Test, Workers, judge

LIBRARIES = ["libvarnel_common.so", "libvarnel_platform.so", "libvarnel_platform_ipmi.so"]
OWN_OBJECTS = ["platform_i2c_test"]  # programs that the library's objects are linked into
LEFT_OUT = {"torture_test", "xml_allocation_test", "assertion_test"}  # such programs whose tests others repeat


@functools.cache
def link_command(file: str) -> list[str]:
    """The command that links it, which is the last that makes it. Empty when it is not built."""
    if not (OBJECTS / file).exists():
        return []
    made = (OBJECTS / file).resolve().name
    listed = subprocess.run(["ninja", "-t", "commands", "-s", made], cwd=OBJECTS, check=True, capture_output=True, text=True)
    return shlex.split(next(part for part in listed.stdout.split("&&") if " -o " in part))


def compile_with(catalogue: Catalogue, number: int, source: str, made: pathlib.Path) -> bool:
    command = [*without_output(catalogue.commands[source]), f"-DVARNEL_MUTANT_COMPILED={number}", "-c",
               catalogue.commands[source][-1], "-o", str(made)]
    return subprocess.run(command, cwd=OBJECTS, stderr=subprocess.DEVNULL).returncode == 0


def changed_objects(catalogue: Catalogue, mutant: Mutant, folder: pathlib.Path) -> dict[str, pathlib.Path] | None:
    """Those that differ, by the name of the usual object. None when the compiler refuses the mutant."""
    changed = {}
    for index, source in enumerate(catalogue.units[mutant.file]):
        usual = object_of(catalogue.commands[source])
        made = folder / f"{index}.o"
        if not compile_with(catalogue, mutant.number, source, made):
            return None
        if made.read_bytes() != (OBJECTS / usual).read_bytes():
            changed[usual] = made
    return changed


def groups_of(catalogue: Catalogue, recorded: dict[Test, Recorded], mutant: Mutant) -> list:
    """The tests that reach anything of the file, or of the sources in which it is compiled; quick ones first."""
    def reached_in(files: set[str]) -> dict[str, list[Test]]:
        numbers = {number for number, other in catalogue.mutants.items() if other.file in files}
        groups: dict[str, list[Test]] = {}
        for test, run in recorded.items():
            if run.reached & numbers and test.program not in LEFT_OUT:
                groups.setdefault(test.program, []).append(test)
        return groups

    groups = reached_in({mutant.file}) or reached_in(set(catalogue.units[mutant.file]))
    timed = [(sum(recorded[test].seconds for test in tests), program, tests) for program, tests in groups.items()]
    return [(program, tests, seconds) for seconds, program, tests in sorted(timed, key=lambda group: group[:2])]


def relink(file: str, changed: dict[str, pathlib.Path], folder: pathlib.Path) -> bool:
    """Into the folder, if it has any of the changed objects. False when the linker refuses."""
    command = link_command(file)
    if not changed.keys() & set(command):
        return True
    output = command.index("-o") + 1
    made = folder / re.sub(r"(\.so\.\d+).*", r"\1", pathlib.Path(command[output]).name)
    linking = [str(made) if index == output else str(changed.get(word, word)) for index, word in enumerate(command)]
    return subprocess.run(linking, cwd=OBJECTS, stderr=subprocess.DEVNULL).returncode == 0


def judge_compiled(catalogue: Catalogue, workers: Workers, recorded: dict[Test, Recorded], mutant: Mutant) -> Outcome:
    with tempfile.TemporaryDirectory(dir=OBJECTS) as name:
        folder = pathlib.Path(name)
        changed = changed_objects(catalogue, mutant, folder)
        if changed is None:
            return Outcome("refused", "the compiler")
        if not changed:
            return Outcome("unreached")
        if not all(relink(file, changed, folder) for file in [*LIBRARIES, *OWN_OBJECTS]):
            return Outcome("refused", "the linker")
        groups = [(str(folder / program) if (folder / program).exists() else program, tests, seconds)
                  for program, tests, seconds in groups_of(catalogue, recorded, mutant)]
        return judge(workers, recorded, mutant.number, groups, LD_LIBRARY_PATH=f"{folder}:{OBJECTS}")
