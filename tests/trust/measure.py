# SPDX-License-Identifier: Apache-2.0
"""measure.py: writes tests/trust/measured.json: what is known of each exported function, from builds and logs of the project's
own scripts. See script/trust, which runs them first."""

import collections
import datetime
import json
import os
import pathlib
import re
import subprocess
from typing import Iterable

from cases import run_by
from gtest_cases import cases_of
from reach import PROJECT, CallGraph, Function, symbol_of

BUILD = PROJECT / "build"
MADE = pathlib.Path(__file__).with_name("measured.json")
EXPORTS = (PROJECT / "src/exports.txt").read_text().split()
WHOLE_DOMAINS = ("every_value_test", "numeral_test")
MUTANTS = PROJECT / "tests/mutants/results.json"


# --- Tests ---

def programs(preset: str) -> list[dict]:
    """The test programs that the preset runs."""
    listed = subprocess.run(["ctest", "--preset", preset, "--show-only=json-v1"], cwd=PROJECT, check=True, capture_output=True,
                            text=True).stdout
    return [test for test in json.loads(listed)["tests"] if test["name"].endswith("_test")]


def named_by(program: pathlib.Path) -> set[str]:
    """The exports that a program imports."""
    imported = subprocess.run(["nm", "-D", "--undefined-only", "--format=just-symbols", program], check=True, capture_output=True,
                              text=True).stdout.split()
    return set(imported) & set(EXPORTS)


def test_cases() -> collections.Counter:
    """By function, how many test cases run it."""
    counted: collections.Counter = collections.Counter()
    for test in programs("coverage-conditions"):
        program = test["command"][0]
        for case in cases_of(program):
            counted.update(run_by(program, case, BUILD / "trust/profiles"))
    return counted


def named_by_all(paths: Iterable[pathlib.Path]) -> set[str]:
    return set().union(*map(named_by, paths))


# --- Conditions ---

class Conditions:
    """Those of each decision, by the place in the source. A function of a header has several instances; a condition decides if it
    does in one of them."""

    def __init__(self) -> None:
        self.decide: dict[tuple, list[bool]] = {}
        self.places: dict[str, set[tuple]] = collections.defaultdict(set)  # by symbol
        library = BUILD / "coverage-conditions/libvarnel_common.so"
        counters = BUILD / "coverage-conditions/counted.profdata"
        exported = subprocess.run(["llvm-cov-19", "export", library, f"--instr-profile={counters}"], check=True, capture_output=True,
                                  text=True).stdout
        for function in json.loads(exported)["data"][0]["functions"]:
            for line, column, *_, decided in function["mcdc_records"]:
                place = (function["filenames"][0], line, column)
                earlier = self.decide.get(place, [False] * len(decided))
                self.decide[place] = [one or other for one, other in zip(earlier, decided)]
                self.places[symbol_of(function["name"])].add(place)

    def of(self, functions: set[Function]) -> list[int]:
        """How many decide, of how many."""
        decided = [self.decide[place] for place in set().union(*(self.places[function.symbol] for function in functions))]
        return [sum(map(sum, decided)), sum(map(len, decided))]


# --- Mutants ---

def mutants_of(functions: set[Function], results: dict) -> list[int]:
    """How many are killed, of how many that nobody accepted."""
    killed = wanted = 0
    for file, name in {(function.file, function.name) for function in functions}:
        counts = results.get(file, {}).get("functions", {}).get(name)
        if counts:
            killed += counts["killed"]
            wanted += counts["killed"] + counts["survived"] + counts["not_run"]
    return [killed, wanted]


# --- Faults ---

# What leads to system calls; what is only printed does not count.
SYSTEM_CALLS = set(
    "accept bind close connect fclose fcntl fgets file_lock_write file_unlock fopen fputc fread fseek fstat ftell ftok ftruncate"
    " fwrite getc_unlocked listen open poll pwrite read recv select semget semop send setsockopt socket stat syslog system write"
    .split())


def makes_system_calls(reached: set[str]) -> bool:
    return not SYSTEM_CALLS.isdisjoint(name.removesuffix("64") for name in reached)


def failed_calls() -> dict[str, dict[str, int]]:
    """By export, its system calls, the faults of them that were tried, and before how many its process was killed. A test has
    the name of the export that it calls."""
    report = BUILD / "trust/faults.json"
    subprocess.run([BUILD / "dev/faults_test", f"--gtest_output=json:{report}", "--gtest_brief=1"], check=True,
                   env={**os.environ, "VARNEL_FAULTS": "full"})
    suites = json.loads(report.read_text())["testsuites"]
    return {test["name"]: {what: int(test[what]) for what in ("calls", "faults", "kills")}
            for suite in suites for test in suite["testsuite"] if test["name"] in EXPORTS}


# --- Fuzzing ---

def fuzzed() -> collections.Counter:
    """Seconds by export: those of the targets that name it, in the last run of script/fuzz all."""
    seconds: collections.Counter = collections.Counter()
    for target in sorted((PROJECT / "tests/fuzz").glob("*_fuzz.cpp")):
        log = (BUILD / f"fuzz/{target.stem.removesuffix('_fuzz')}.log").read_text(errors="replace")
        took = int(re.search(r"Done \d+ runs in (\d+) second", log)[1])
        seconds.update({export: took for export in named_by(BUILD / "fuzz" / target.stem)})
    return seconds


# --- Models ---

def modelled() -> dict[str, list[str]]:
    """The models that cover an export, from the line in each that says so."""
    models = collections.defaultdict(list)
    for model in sorted((PROJECT / "tests/models").glob("*.pml")):
        for calls in re.findall(r"Calls: (.*)", model.read_text()):
            for export in re.findall(r"\w+", calls):
                models[export].append(model.stem)
    return models


def main() -> None:
    graph, conditions = CallGraph(BUILD / "trust/calls"), Conditions()
    results, models, seconds = json.loads(MUTANTS.read_text()), modelled(), fuzzed()
    whole = named_by_all(BUILD / "dev" / program for program in WHOLE_DOMAINS)
    with_threads = named_by_all(BUILD / "tsan" / test["name"] for test in programs("tsan"))
    faults, cases = failed_calls(), test_cases()
    rows = {}
    for export in EXPORTS:
        functions = graph.functions_of(export)
        if not functions:  # a variable
            continue
        rows[export] = {
            "tests": cases[export], "domain": export in whole, "threads": export in with_threads,
            "conditions": conditions.of(functions), "mutants": mutants_of(functions, results), "fuzzed": seconds[export],
            "models": models[export]}
        if makes_system_calls(graph.reached_from(export)):
            rows[export]["faults"] = faults.get(export, {"calls": 0, "faults": 0, "kills": 0})
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=PROJECT, check=True, capture_output=True, text=True).stdout
    head = {"commit": commit.strip(), "date": datetime.date.today().isoformat()}
    lines = ",\n".join(f'  "{export}": {json.dumps(row)}' for export, row in rows.items())
    MADE.write_text(f'{{ "measured": {json.dumps(head)},\n"exports": {{\n{lines}\n}} }}\n')


main()
