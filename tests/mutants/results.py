# SPDX-License-Identifier: Apache-2.0
"""What became of the mutants of each function, over all runs: results.json, a line for each function.

    {"src/util/numeral.cpp": {
      "source": "0123456789abcdef",
      "functions": {
        "numeral_of": {"lines": [10, 24], "killed": 12, "survived": 1, "accepted": 0, "not_run": 0}}}}

Files and functions are sorted. The name is the compiler's, without namespace and class, so overloads share a line; that of a
constant or a member at file level is its own name, "" what has none. "lines" are the first and the last with a mutant.
"survived" are those that nobody accepted. Mutants that the compiler refuses are not counted. "source" is the beginning of the
SHA-256 of the file: when the file has changed since it was run, its mutants are not run.
"""

import collections
import hashlib
import json
import pathlib

STATES = ("killed", "survived", "accepted", "not_run")


def source_digest(path: pathlib.Path) -> str:
    return hashlib.sha256(path.read_bytes()).hexdigest()[:16]


def functions_of(mutants: list[tuple[str, int, str]]) -> dict[str, dict]:
    """Of the function, line and state of each mutant."""
    found: dict[str, list[tuple[int, str]]] = {}
    for function, line, state in mutants:
        found.setdefault(function, []).append((line, state))
    table = {}
    for function, each in sorted(found.items()):
        lines = [line for line, _ in each]
        states = collections.Counter(state for _, state in each)
        table[function] = {"lines": [min(lines), max(lines)]} | {state: states[state] for state in STATES}
    return table


def merged(known: dict, fresh: dict, every: dict) -> dict:
    """`fresh` are the files of this run, `every` all files with all mutants not run."""
    kept = {file: known[file] for file in every if file in known and known[file]["source"] == every[file]["source"]}
    return every | kept | fresh


def text_of(results: dict) -> str:
    files = []
    for file, entry in sorted(results.items()):
        functions = ",\n".join(f"  {json.dumps(name)}: {json.dumps(counts)}" for name, counts in entry["functions"].items())
        files.append(f"{json.dumps(file)}: {{\"source\": {json.dumps(entry['source'])}, \"functions\": {{\n{functions}}}}}")
    return "{\n" + ",\n".join(files) + "\n}\n"


def read(path: pathlib.Path) -> dict:
    return json.loads(path.read_text()) if path.exists() else {}


def total(results: dict, state: str) -> int:
    return sum(counts[state] for entry in results.values() for counts in entry["functions"].values())
