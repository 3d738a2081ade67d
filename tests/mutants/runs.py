# SPDX-License-Identifier: Apache-2.0
"""Runs test programs in workers, and finds out which mutants each of their tests reaches."""

import concurrent.futures
import dataclasses
import json
import os
import pathlib
import queue
import re
import subprocess
import sys

from gtest_cases import cases_of

RECORD_SIZE = 1 << 20  # see guard.h
SLOW = 0.3  # seconds; such tests run after the others
LONGEST = 1.4  # processor seconds; longer tests are left out, because each survivor would run them
LONGEST_WAIT = 3.0  # seconds, for tests that wait


def start() -> subprocess.Popen:
    """A worker in new namespaces. As another user than root, it is root in a namespace of users."""
    as_root = [] if os.geteuid() == 0 else ["--map-root-user"]
    return subprocess.Popen(
        ["unshare", *as_root, "--mount", "--ipc", "--net", "--pid", "--fork", "--kill-child", "--mount-proc", sys.executable,
         str(pathlib.Path(__file__).with_name("worker.py"))], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
        env={**os.environ, "VARNEL_MUTANTS_WORKER": "isolated"})


@dataclasses.dataclass(frozen=True)
class Test:
    program: str
    name: str


@dataclasses.dataclass
class Recorded:
    """A run of a test without a mutant."""
    seconds: float
    reached: set[int]


class Workers:
    def __init__(self, count: int, folder: pathlib.Path):
        self.folder = folder
        self.free: queue.Queue[subprocess.Popen] = queue.Queue()
        self.all = [start() for _ in range(count)]
        for worker in self.all:
            self.free.put(worker)

    def close(self) -> None:
        for worker in self.all:
            worker.stdin.close()
            worker.wait()

    def run(self, program: str, tests: str, normal: float, **environment: str) -> dict:
        """`normal`: seconds that it takes without a mutant."""
        worker = self.free.get()
        try:
            job = {"command": [str(self.folder / program), f"--gtest_filter={tests}", "--gtest_fail_fast"],
                   "environment": environment, "processor_limit": int(3 * normal) + 3, "time_limit": 4 * normal + 6}
            worker.stdin.write(json.dumps(job) + "\n")
            worker.stdin.flush()
            answer = worker.stdout.readline()
            if not answer:
                raise RuntimeError(f"the worker that ran {program} ended")
            return json.loads(answer)
        finally:
            self.free.put(worker)

    def for_each(self, function, items: list) -> list:
        """In order of the items, whichever ends first."""
        with concurrent.futures.ThreadPoolExecutor(len(self.all)) as pool:
            return list(pool.map(function, items))


def record(workers: Workers, scratch: pathlib.Path, test: Test) -> Recorded | None:
    """None when the test fails or is skipped here, or takes long."""
    file = scratch / re.sub(r"\W", "_", f"{test.program} {test.name}")
    with open(file, "wb") as made:
        made.truncate(RECORD_SIZE)
    done = workers.run(test.program, test.name, 60, VARNEL_MUTANTS_REACHED=str(file))
    reached = {found.start() for found in re.finditer(b"\1", file.read_bytes())}
    file.unlink()
    why = ("fails without a mutant" if done["status"] != 0 else "is skipped" if "[  SKIPPED ]" in done["output"] else
           f"takes {done['seconds']:.0f} s" if done["processor"] > LONGEST or done["seconds"] > LONGEST_WAIT else "")
    if why:
        print(f"left out: {test.program} {test.name} {why}")
        return None
    return Recorded(done["seconds"], reached)


def record_all(workers: Workers, program: pathlib.Path, scratch: pathlib.Path) -> dict[Test, Recorded]:
    scratch.mkdir(parents=True, exist_ok=True)
    tests = [Test(program.name, case) for case in cases_of(program)]
    recorded = workers.for_each(lambda test: record(workers, scratch, test), tests)
    return {test: run for test, run in zip(tests, recorded) if run}


def stages(recorded: dict[Test, Recorded], number: int) -> list[tuple[str, list[Test], float]]:
    """The programs and their tests that reach a mutant, quick ones first, and how long they take."""
    groups: dict[tuple[bool, str], list[Test]] = {}
    for test, run in recorded.items():
        if number in run.reached:
            groups.setdefault((run.seconds > SLOW, test.program), []).append(test)
    timed = [(slow, sum(recorded[t].seconds for t in tests), program, tests) for (slow, program), tests in groups.items()]
    return [(program, tests, seconds) for _, seconds, program, tests in sorted(timed, key=lambda g: g[:3])]


@dataclasses.dataclass
class Outcome:
    state: str  # killed, survived, unreached
    by: str = ""  # the program, and how it ended


def failed_test(output: str) -> str:
    found = re.findall(r"\[  FAILED  \] (\S+?)[,\s]", output) or re.findall(r"\[ RUN      \] (\S+)", output)[-1:]
    return found[0] if found else ""


def judge(workers: Workers, recorded: dict[Test, Recorded], number: int, groups: list | None = None,
          **environment: str) -> Outcome:
    """Runs the tests that reach a mutant until one fails."""
    groups = stages(recorded, number) if groups is None else groups
    if not groups:
        return Outcome("unreached")
    for program, tests, seconds in groups:
        environment = {"VARNEL_MUTANT": str(number), **environment}
        done = workers.run(program, ":".join(test.name for test in tests), seconds, **environment)
        if done["status"] != 0:
            reason = "" if done["in_time"] else ", out of time"
            return Outcome("killed", f"{pathlib.Path(program).name} {failed_test(done['output'])}{reason}")
    return Outcome("survived")
