# SPDX-License-Identifier: Apache-2.0
"""All mutants of the library and the platform, numbered, and the build in which each can be selected."""

import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import pickle
import re
import shlex
import shutil
import subprocess

import places
import rewrite

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/mutants"
TREE = BUILD / "tree"
OBJECTS = BUILD / "objects"
MUTATED = ("src", "platform")
NUMBERS_OF_A_FILE = 8192
ERROR = re.compile(r"^(\S+?):(\d+):(\d+): (?:fatal )?error: (.*)", re.MULTILINE)
OPTIONS = ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -w -Wno-c++11-narrowing -Wno-invalid-constexpr",
           "-DCMAKE_C_COMPILER=clang-19", "-DCMAKE_CXX_COMPILER=clang++-19", "-DVARNEL_BUILD_SIM=OFF", "-DVARNEL_BUILD_EXAMPLES=OFF",
           "-DVARNEL_LEFT_OUT_TESTS=^(host_|varnel_)"]  # the platform's own tests need a part of the tools


@dataclasses.dataclass
class Mutant:
    number: int
    file: str
    line: int
    function: str
    source_line: str
    was: str
    became: str


def make_tree() -> None:
    """Links to everything but the sources that are rewritten; those are copied."""
    TREE.mkdir(parents=True, exist_ok=True)
    for entry in ROOT.iterdir():
        link = TREE / entry.name
        if entry.name not in (*MUTATED, "build", ".git") and not link.exists():
            link.symlink_to(entry)
    for folder in MUTATED:
        for source in (ROOT / folder).rglob("*"):
            copy = TREE / source.relative_to(ROOT)
            if source.is_dir():
                copy.mkdir(parents=True, exist_ok=True)
            elif source.suffix not in (".cpp", ".h") or not copy.exists():
                if not copy.exists() or copy.read_bytes() != source.read_bytes():
                    shutil.copy(source, copy)


def configure() -> None:
    subprocess.run(["cmake", "-S", TREE, "-B", OBJECTS, "-G", "Ninja", *OPTIONS], check=True, stdout=subprocess.DEVNULL)


def commands() -> dict[str, list[str]]:
    """How each source is compiled, by its name in the project."""
    found = {}
    for entry in json.loads((OBJECTS / "compile_commands.json").read_text()):
        name = os.path.relpath(entry["file"], TREE)
        if name.startswith(tuple(folder + "/" for folder in MUTATED)):
            found.setdefault(name, shlex.split(entry["command"]))
    return dict(sorted(found.items()))


def object_of(command: list[str]) -> str:
    return command[command.index("-o") + 1]


def without_output(command: list[str]) -> list[str]:
    """Without the source and the object; compiling starts with the compiler, whatever launches it."""
    start = next(i for i, word in enumerate(command) if "clang" in os.path.basename(word))
    kept = command[start:command.index("-o")]
    return [word for word in kept if word != "-c"]


def sources_digest(how: dict[str, list[str]]) -> str:
    """Of all that decides what the mutants are and which the compiler takes."""
    summed = hashlib.sha256(json.dumps(how).encode())
    files = [path for folder in (*MUTATED, "include") for path in (ROOT / folder).rglob("*.*") if path.is_file()]
    own = [pathlib.Path(__file__).with_name(name) for name in ("catalogue.py", "places.py", "rewrite.py", "guard.h")]
    for path in [*sorted(files), *own]:
        summed.update(path.read_bytes())
    return summed.hexdigest()


def checked(jobs: int) -> "Catalogue":
    """The mutants that the compiler takes, in sources that are written. Found again only after a change of sources."""
    file = BUILD / "catalogue"
    digest = sources_digest(commands())
    known, catalogue = pickle.loads(file.read_bytes()) if file.exists() else ("", None)
    if known != digest:
        catalogue = Catalogue(jobs)
        catalogue.refuse()
        file.write_bytes(pickle.dumps((digest, catalogue)))
    catalogue.write()
    return catalogue


class Catalogue:
    def __init__(self, jobs: int):
        self.jobs = jobs
        self.commands = commands()
        self.places: dict[str, list[places.Place]] = {}
        self.units: dict[str, list[str]] = {}  # the sources in which a file is compiled
        self.sources: dict[str, str] = {}
        self.refused: dict[int, str] = {}  # by the compiler
        self.find_places()
        self.mutants = {m.number: m for file in sorted(self.places) for m in self.numbered(file)}

    def find_places(self) -> None:
        roots = tuple(f"{ROOT}/{folder}/" for folder in MUTATED)
        for source, command in self.commands.items():
            arguments = [word.replace(str(TREE), str(ROOT)) for word in without_output(command)[1:]]
            unit = places.parsed(str(ROOT / source), arguments)
            errors = [d for d in unit.diagnostics if d.severity >= d.Error]
            if errors:
                raise RuntimeError(f"{source} is not compiled: {errors[0]}")
            files = {os.path.relpath(path, ROOT): path for path in places.files_of(unit, roots)}
            new = {path: file for file, path in files.items() if file not in self.places}
            for path, found in places.find(unit, list(new), roots).items():
                self.places[new[path]] = found
                self.sources[new[path]] = pathlib.Path(path).read_text("latin-1")
            for file in files:
                self.units.setdefault(file, []).append(source)

    def numbered(self, file: str) -> list[Mutant]:
        number = sorted(self.places).index(file) * NUMBERS_OF_A_FILE
        source = self.sources[file]
        lines = source.splitlines()
        mutants = []
        for place in self.places[file]:
            line = source.count("\n", 0, place.start) + 1
            for change in place.changes:
                number += 1
                place.numbers.append(number)
                mutants.append(Mutant(number, file, line, place.function, places.flat(lines[line - 1]),
                                      places.flat(source[place.start:place.end]), change.shown))
        return mutants

    # --- The rewritten sources ---

    def rewritten(self, file: str) -> rewrite.Rewritten:
        guard = str(pathlib.Path(__file__).with_name("guard.h"))
        return rewrite.rewrite(self.sources[file], self.places[file], set(self.refused), guard)

    def write(self) -> dict[str, rewrite.Rewritten]:
        written = {}
        for file in self.places:
            written[file] = self.rewritten(file)
            copy = TREE / file
            if copy.read_text("latin-1") != written[file].text:
                copy.write_text(written[file].text, "latin-1")
        return written

    def errors_of(self, source: str) -> list[tuple[str, int, int, str]]:
        command = [*without_output(self.commands[source]), "-fsyntax-only", "-ferror-limit=0", "-fno-color-diagnostics",
                   "-fno-caret-diagnostics", str(TREE / source)]
        said = subprocess.run(command, cwd=OBJECTS, capture_output=True, text=True, errors="replace")
        found = [(os.path.relpath(os.path.join(OBJECTS, m[1]), TREE), int(m[2]), int(m[3]), m[4])
                 for m in ERROR.finditer(said.stderr)]
        if said.returncode != 0 and not found:
            raise RuntimeError(f"{source}: {said.stderr}")
        return found

    def refuse(self) -> None:
        """Leaves out what the compiler refuses, until it takes all the rest."""
        waiting = set(self.commands)
        while waiting:
            written = self.write()
            with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
                found = dict(zip(sorted(waiting), pool.map(self.errors_of, sorted(waiting))))
            waiting = {source for source, errors in found.items() if errors}
            for source in sorted(waiting):
                self.refuse_for(written, source, found[source])

    def refuse_for(self, written: dict[str, rewrite.Rewritten], source: str, errors: list) -> None:
        blamed = {number: message for file, line, column, message in errors if file in written
                  for number in rewrite.mutants_at(written[file], line, column)}
        if not blamed:
            raise RuntimeError(f"{source}: the rewritten source is not compiled: {errors[0]}")
        self.refused.update(blamed)


def test_programs() -> list[str]:
    listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=OBJECTS, check=True, capture_output=True, text=True).stdout
    return sorted(test["name"] for test in json.loads(listed)["tests"]
                  if re.fullmatch(r"\w+_test", test["name"]) and not test["name"].startswith("docs_"))


def build(jobs: int) -> list[pathlib.Path]:
    programs = test_programs()
    subprocess.run(["cmake", "--build", OBJECTS, "-j", str(jobs), "--target", *programs], check=True)
    return [OBJECTS / program for program in programs]
