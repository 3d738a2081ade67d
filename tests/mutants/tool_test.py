# SPDX-License-Identifier: Apache-2.0
"""Tests of the tool: what it finds in sample.cpp, and which of that sample_program notices. script/mutate runs them first."""

import pathlib
import shutil
import subprocess

import pytest

import accepted
import places
import results
import rewrite
import runs

HERE = pathlib.Path(__file__).parent
SAMPLE = HERE / "sample.cpp"


def found():
    unit = places.parsed(str(SAMPLE), ["-std=c++20"])
    result = places.find(unit, [str(SAMPLE)], (str(HERE),))[str(SAMPLE)]
    number = 0
    for place in result:
        for _ in place.changes:
            number += 1
            place.numbers.append(number)
    return result


def shown(function):
    source = SAMPLE.read_text()
    return [(places.flat(source[p.start:p.end]), change.shown) for p in found() if p.function == function for change in p.changes]


def test_conditions_operators_and_constants_are_changed():
    assert shown("is_small") == [("value < limit", "value <= limit"), ("value < limit", "value >= limit"),
                                 ("limit", "limit + 1")]


def test_statements_calls_and_returns_are_changed():
    assert shown("limited") == [
        ("note(calls)", "nothing"), ("value >= 0 && is_small(value)", "value >= 0 || is_small(value)"),
        ("value >= 0", "true"), ("value >= 0", "false"), ("value >= 0", "value > 0"), ("0", "0 + 1"),
        ("is_small(value)", "true"), ("is_small(value)", "false"),
        ("return value", "nothing"), ("value", "{}"), ("limit", "limit + 1")]


def test_loops_are_not_made_endless_on_purpose():
    assert shown("count_down") == [
        ("0", "0 + 1"), ("from > 0", "false"), ("from > 0", "from >= 0"), ("0", "0 + 1"),
        ("sum += steps[1]", "nothing"), ("sum += steps[1]", "sum -= steps[1]"), ("1", "1 + 1"),
        ("from -= 1", "nothing"), ("from -= 1", "from += 1"), ("1", "1 + 1"), ("sum", "{}")]


def test_what_the_compiler_evaluates_is_found_too():
    assert shown("steps") == [("3", "3 + 1"), ("4", "4 + 1")]
    assert shown("limit") == [("9", "9 + 1")]


def test_lines_stay_where_they_are():
    text = rewrite.rewrite(SAMPLE.read_text(), found(), set(), "guard.h").text
    assert text.split("#line 1\n")[1].count("\n") == SAMPLE.read_text().count("\n")


def test_what_the_compiler_refuses_is_found_by_line_and_column():
    rewritten = rewrite.rewrite(SAMPLE.read_text(), found(), set(), "guard.h")
    place = next(p for p in found() if p.function == "never_called")
    line = rewritten.text.split("#line 1\n")[1].splitlines()[SAMPLE.read_text().count("\n", 0, place.start)]
    assert rewrite.mutants_at(rewritten, SAMPLE.read_text().count("\n", 0, place.start) + 1,
                             line.index(f"on({place.numbers[0]})") + 1) == place.numbers[:1]


@pytest.fixture(scope="module", name="built")
def fixture_built(tmp_path_factory):
    folder = pathlib.Path(tmp_path_factory.mktemp("sample", numbered=True))
    (folder / "sample.cpp").write_text(rewrite.rewrite(SAMPLE.read_text(), found(), set(), str(HERE / "guard.h")).text)
    subprocess.run(["clang++-19", "-std=c++20", "-O1", "-w", "-Wno-invalid-constexpr", "-shared", "-fPIC", "-nostdlib++",
                    "-o", folder / "libsample.so", folder / "sample.cpp"], check=True)
    shutil.copy(HERE / "sample_program", folder)
    return folder


@pytest.fixture(scope="module", name="outcomes")
def fixture_outcomes(built):
    workers = runs.Workers(1, built)
    recorded = runs.record_all(workers, built / "sample_program", built / "reached")
    outcomes = {}
    for place in found():
        for number, change in zip(place.numbers, place.changes):
            what = f"{place.function}: {places.flat(SAMPLE.read_text()[place.start:place.end])} -> {change.shown}"
            outcomes.setdefault(what, []).append(runs.judge(workers, recorded, number))
    workers.close()
    return outcomes


def test_what_no_test_notices_survives(outcomes):
    survived = {what for what, ends in outcomes.items() if any(end.state == "survived" for end in ends)}
    assert survived == {"is_small: value < limit -> value <= limit", "is_small: limit -> limit + 1"}


def test_what_no_test_reaches_and_what_the_compiler_evaluates_is_unreached(outcomes):
    unreached = {what.partition(": ")[0] for what, ends in outcomes.items() if any(end.state == "unreached" for end in ends)}
    assert unreached == {"limit", "steps", "never_called"}


def test_the_program_that_noticed_and_its_test_are_named(outcomes):
    (end,) = outcomes["limited: note(calls) -> nothing"]
    assert (end.state, end.by) == ("killed", "sample_program sample.limits")


def test_endless_loops_are_killed_by_time(outcomes):
    (end,) = outcomes["count_down: from -= 1 -> nothing"]
    assert (end.state, end.by) == ("killed", "sample_program , out of time")


def test_nothing_outlives_a_run(outcomes):
    assert outcomes
    running = [path.read_bytes() for path in pathlib.Path("/proc").glob("[0-9]*/cmdline") if path.exists()]
    assert b"sleep\0" + b"4711\0" not in running


def test_accepted_survivors_are_known_by_line_and_change(tmp_path):
    file = tmp_path / "survivors.txt"
    file.write_text("# why\nsrc/a.cpp: f\n  line: return 1;\n  change: 1 -> 1 + 1\n  reason: nobody looks\n\n"
                    "src/b.cpp: g\n  line: h();\n  change: *\n  reason: only speed\n")
    entries = accepted.read(file)
    survivor = {"file": "src/a.cpp", "function": "f", "source_line": "return 1;", "was": "1", "became": "1 + 1"}
    assert accepted.reason_for(entries, survivor) == "nobody looks"
    assert accepted.reason_for(entries, survivor | {"source_line": "return 2;"}) is None
    assert accepted.unused(entries, {"src/a.cpp", "src/b.cpp"}) == ["survivors.txt:7: no such survivor in src/b.cpp: *"]
    assert accepted.unused(entries, {"src/a.cpp"}) == []


def test_incomplete_entries_are_refused(tmp_path):
    file = tmp_path / "survivors.txt"
    file.write_text("src/a.cpp: f\n  line: return 1;\n")
    with pytest.raises(SystemExit, match="survivors.txt:1: needs"):
        accepted.read(file)


def entry(source, **counts):
    return {"source": source, "functions": {"f": {"lines": [1, 2]} | dict.fromkeys(results.STATES, 0) | counts}}


def test_results_of_functions_have_the_lines_and_the_number_of_each_state():
    assert results.functions_of([("g", 7, "killed"), ("f", 3, "accepted"), ("g", 5, "survived"), ("g", 5, "killed")]) == {
        "f": {"lines": [3, 3], "killed": 0, "survived": 0, "accepted": 1, "not_run": 0},
        "g": {"lines": [5, 7], "killed": 2, "survived": 1, "accepted": 0, "not_run": 0}}


def test_results_of_earlier_runs_stay_until_the_source_changes():
    every = {file: entry("new", not_run=3) for file in ("a", "b", "c", "d")}
    known = {"a": entry("new", killed=3), "b": entry("old", killed=3), "c": entry("new", survived=3), "gone": entry("new")}
    fresh = {"c": entry("new", killed=3)}
    assert results.merged(known, fresh, every) == {
        "a": entry("new", killed=3), "b": entry("new", not_run=3), "c": entry("new", killed=3), "d": entry("new", not_run=3)}


def test_results_are_written_a_line_for_each_function(tmp_path):
    table = {"b": entry("1", killed=2), "a": entry("2", not_run=1)}
    text = results.text_of(table)
    assert text.splitlines()[1:3] == ['"a": {"source": "2", "functions": {',
                                      '  "f": {"lines": [1, 2], "killed": 0, "survived": 0, "accepted": 0, "not_run": 1}}},']
    (tmp_path / "results.json").write_text(text)
    assert results.read(tmp_path / "results.json") == table
    assert results.total(table, "killed") == 2
