# SPDX-License-Identifier: Apache-2.0
"""Changes the library one place at a time and tells which changes no test notices. See script/mutate."""

import argparse
import collections
import dataclasses
import hashlib
import json
import pathlib
import sys

import accepted
import catalogue
import compiled
import results
import runs

RESULTS = catalogue.BUILD / "results"
BY_FUNCTION = pathlib.Path(__file__).with_name("results.json")
LEAST_SCORE = 98.0  # per cent
KILLED = "killed"
REFUSED = "refused"


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="script/mutate", allow_abbrev=False)
    parser.add_argument("files", nargs="*")
    parser.add_argument("--only", type=int)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--survivors", action="store_true")
    parser.add_argument("--jobs", type=int, default=2)
    return parser.parse_args()


def digest(paths: list[pathlib.Path]) -> str:
    """Of the programs and libraries: results hold as long as it is the same."""
    summed = hashlib.sha256()
    for path in sorted(paths):
        summed.update(path.read_bytes())
    return summed.hexdigest()


def recorded_runs(workers: runs.Workers, programs: list[pathlib.Path]) -> dict[runs.Test, runs.Recorded]:
    """Runs each test alone, or reads what an earlier run of the same program and libraries reached."""
    file = catalogue.BUILD / "reached.json"
    known = json.loads(file.read_text()) if file.exists() else {}
    libraries = list(catalogue.OBJECTS.glob("lib*.so"))
    recorded = {}
    for program in programs:
        built = digest([program, *libraries])
        if known.get(program.name, {}).get("built") != built:
            fresh = runs.record_all(workers, program, catalogue.BUILD / "reached")
            known[program.name] = {"built": built, "tests": {
                test.name: [run.seconds, sorted(run.reached)] for test, run in fresh.items()}}
            file.write_text(json.dumps(known))
        for name, (seconds, reached) in known[program.name]["tests"].items():
            recorded[runs.Test(program.name, name)] = runs.Recorded(seconds, set(reached))
    return recorded


class Session:
    """A build and its workers."""

    def __init__(self, options: argparse.Namespace):
        self.options = options
        catalogue.make_tree()
        catalogue.configure()
        self.all = catalogue.checked(options.jobs)

    def start(self) -> None:
        programs = catalogue.build(self.options.jobs)
        self.built = digest([*programs, *catalogue.OBJECTS.glob("lib*.so")])
        self.workers = runs.Workers(self.options.jobs, catalogue.OBJECTS)
        self.recorded = recorded_runs(self.workers, programs)
        print(f"{len(self.recorded)} tests, {len(self.all.mutants)} mutants, of which the compiler refuses {len(self.all.refused)}",
              flush=True)

    def judge(self, mutant: catalogue.Mutant) -> runs.Outcome:
        if mutant.number in self.all.refused:
            return runs.Outcome(REFUSED, "the compiler")
        outcome = runs.judge(self.workers, self.recorded, mutant.number)
        if outcome.state == "unreached":
            outcome = compiled.judge_compiled(self.all, self.workers, self.recorded, mutant)
        return outcome

    def results_of(self, file: str, entries: list[accepted.Accepted]) -> list[dict]:
        """From an earlier run of the same programs, or from running what is not known."""
        mutants = [m for m in self.all.mutants.values() if m.file == file]
        stored = RESULTS / (file.replace("/", "-") + ".json")
        known = json.loads(stored.read_text()) if stored.exists() else {"built": "", "mutants": []}
        if known["built"] == self.built:
            return known["mutants"]
        kept = {}
        if self.options.survivors:
            kept = {identity(r): r for r in known["mutants"]
                    if r["state"] in (KILLED, REFUSED) or accepted.reason_for(entries, r) is not None}
        asked = [m for m in mutants if identity(dataclasses.asdict(m)) not in kept]
        fresh = dict(zip((m.number for m in asked), self.workers.for_each(self.judge, asked)))
        results = [dataclasses.asdict(m) | (dataclasses.asdict(fresh[m.number]) if m.number in fresh else state_of(
            kept[identity(dataclasses.asdict(m))])) for m in mutants]
        stored.write_text(json.dumps({"built": self.built, "mutants": results}, indent=1))
        return results


def identity(result: dict) -> tuple:
    return tuple(result[key] for key in ("number", "function", "source_line", "was", "became"))


def state_of(result: dict) -> dict:
    return {key: result[key] for key in ("state", "by")}


# --- What is printed ---

@dataclasses.dataclass
class Score:
    killed: int
    accepted: int
    survived: int
    refused: int

    @property
    def percent(self) -> float:
        counted = self.killed + self.survived
        return 100 * self.killed / counted if counted else 100.0


def place_of(mutant: dict) -> str:
    return f"{mutant['file']}:{mutant['line']}: {mutant['was']} -> {mutant['became']}"


def judged(outcomes: list[dict], entries: list[accepted.Accepted]) -> list[tuple[dict, str]]:
    """Each with killed, refused, accepted or survived."""
    def state(outcome: dict) -> str:
        if outcome["state"] in (KILLED, REFUSED):
            return outcome["state"]
        return "survived" if accepted.reason_for(entries, outcome) is None else "accepted"

    return [(outcome, state(outcome)) for outcome in outcomes]


def score_of(judgements: list[tuple[dict, str]]) -> Score:
    """Prints the survivors that nobody accepted."""
    for outcome, state in judgements:
        if state == "survived":
            print(f"{place_of(outcome)} ({outcome['function']}: {outcome['state']}, {outcome['number']})")
    states = collections.Counter(state for _, state in judgements)
    return Score(states[KILLED], states["accepted"], states["survived"], states[REFUSED])


def report(scores: dict[str, Score]) -> float:
    total = Score(*(sum(getattr(score, field.name) for score in scores.values()) for field in dataclasses.fields(Score)))
    print(f"{'':40} killed survived accepted refused  score")
    for file, score in [*scores.items(), ("all", total)]:
        print(f"{file:40} {score.killed:6} {score.survived:8} {score.accepted:8} {score.refused:7} {score.percent:6.2f}")
    return total.percent


def by_function(file: str, states: list[tuple[str, int, str]]) -> dict:
    return {"source": results.source_digest(catalogue.ROOT / file), "functions": results.functions_of(states)}


def kept_by_function(session: Session, fresh: dict) -> dict:
    """Writes results.json: what is known of all files."""
    mutants = [m for m in session.all.mutants.values() if m.number not in session.all.refused]
    every = {file: by_function(file, [(m.function, m.line, "not_run") for m in mutants if m.file == file])
             for file in session.all.places}
    known = results.merged(results.read(BY_FUNCTION), fresh, every)
    BY_FUNCTION.write_text(results.text_of(known))
    return known


def print_all(known: dict) -> None:
    counts = ", ".join(f"{results.total(known, state)} {state.replace('_', ' ')}" for state in results.STATES)
    print(f"with earlier runs, in {BY_FUNCTION.relative_to(catalogue.ROOT)}: {counts}")


def chosen_files(known: list[str], wanted: list[str]) -> list[str]:
    """A file, or all below a folder, in the order of `wanted`."""
    chosen = []
    for w in wanted or catalogue.MUTATED:
        found = [file for file in known if file == w or file.startswith(w.rstrip("/") + "/")]
        if not found:
            print(f"script/mutate: unknown: {w}; sources are {known[0]} to {known[-1]}", file=sys.stderr)
            sys.exit(2)
        chosen += [file for file in found if file not in chosen]
    return chosen


def run_one(session: Session, number: int) -> None:
    if number not in session.all.mutants:
        sys.exit(f"script/mutate: no mutant {number}")
    session.start()
    mutant = session.all.mutants[number]
    outcome = session.judge(mutant)
    session.workers.close()
    print(f"{place_of(dataclasses.asdict(mutant))}: {outcome.state} {outcome.by}")


def run_files(session: Session, files: list[str]) -> bool:
    entries = accepted.read(pathlib.Path(__file__).with_name("survivors.txt"))
    session.start()
    RESULTS.mkdir(exist_ok=True)
    scores, fresh = {}, {}
    for file in files:
        judgements = judged(session.results_of(file, entries), entries)
        scores[file] = score_of(judgements)
        fresh[file] = by_function(file, [(o["function"], o["line"], state) for o, state in judgements if state != REFUSED])
        print(f"{file}: {scores[file].killed} killed, {scores[file].survived} survived", flush=True)
        kept_by_function(session, fresh)
    session.workers.close()
    print_all(kept_by_function(session, fresh))
    unused = accepted.unused(entries, set(files))
    print(*unused, sep="\n")
    return report(scores) >= LEAST_SCORE and not unused


def main() -> None:
    options = arguments()
    session = Session(options)
    files = chosen_files(sorted(session.all.places), options.files)
    if options.list:
        for mutant in session.all.mutants.values():
            if mutant.file in files:
                print(mutant.number, place_of(dataclasses.asdict(mutant)))
    elif options.only is not None:
        run_one(session, options.only)
    elif not run_files(session, files):
        sys.exit(1)


main()
