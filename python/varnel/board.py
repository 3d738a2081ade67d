# SPDX-License-Identifier: Apache-2.0
"""A simulated board for a test: its chips, their surroundings, programs on it, faults, trace and time. What a board has comes
from varnel-sim; nothing here knows a chip."""
import difflib
import functools
import json
import operator
import os
import pathlib
import subprocess
import tempfile
from collections.abc import Callable, Mapping
from typing import Any

from varnel._clock import Clock, RealClock, VirtualClock
from varnel._command import FAILURE, BoardError, finished, message, options, output, sim
from varnel.conditions import Condition, ExpectationFailed
from varnel.description import Description
from varnel.program import Program
from varnel.records import Transfer, Trial

__all__ = ["Board", "BoardError", "Chip", "Condition", "Description", "ExpectationFailed", "Reading", "play"]

Word = str | os.PathLike[str]

PROGRAM_THAT_WAITS = ["sh", "-c", 'printf "%s\\n" "$VARNEL_SIM_SOCKET" "$VARNEL_SIM_BOARD"; cat >/dev/null']
MOST_TRANSFERS = 4096
# How soon a condition is looked at again: this time, or this part of what the wait has taken.
LOOK_INTERVAL = 0.01
LOOK_PART = 0.1


def _meant(name: str, names: list[str]) -> str | None:
    """Of names, the one that a name in Python stands for."""
    return next((each for each in names if name in (each, each.replace("-", "_"))), None)


def _named(name: str, names: list[str], owner: str) -> str:
    """The same; throws AttributeError when there is none."""
    if (found := _meant(name, names)) is not None:
        return found
    near = difflib.get_close_matches(name, names, 1)
    hint = f"; did you mean '{near[0]}'?" if near else f" (has: {', '.join(names)})"
    raise AttributeError(f"{owner} has no '{name}'{hint}")


class Reading:
    """A reading of a chip. Comparisons are conditions, for `assert` and Board.expect()."""

    __hash__ = None  # type: ignore[assignment]

    def __init__(self, board: "Board", chip: str, name: str) -> None:
        self._board = board
        self._chip = chip
        self.name = f"{chip}.{name}"

    @property
    def value(self) -> Any:
        """A quantity is a number, without its unit; so is a register. All else is text, as `varnel-sim show` prints it."""
        readings = self._board._show(self._chip)["readings"]
        name = self.name.partition(".")[2]
        if name in readings:
            return readings[name]
        stem = name.replace("-", "_") + "_"
        for key, value in readings.items():
            if key.startswith(stem) and "_" not in key[len(stem) :]:
                return value
        raise BoardError(f"{self.name} is not there now: is the chip unplugged?")

    def __str__(self) -> str:
        return str(self.value)

    def __repr__(self) -> str:
        return f"<{self.name}: {self.value!r}>"

    def __float__(self) -> float:
        return float(self.value)

    def __int__(self) -> int:
        return int(self.value)

    def _state(self) -> str:
        return f"{self.name} is {self.value!r}"

    def _becomes(self, value: str, seconds: float) -> bool:
        """Whether it is a value, as `varnel-sim wait` compares it, within a time."""
        timeout = max(1, round(seconds * 1000))
        done = finished("wait", self.name, value, "--timeout", f"{timeout}ms", env=self._board.environment)
        if done.returncode not in (0, FAILURE):
            raise BoardError(message(done))
        return done.returncode == 0

    def _compared(self, symbol: str, compare: Callable[[Any, Any], bool], value: object) -> Condition:
        return Condition(f"{self.name} {symbol} {value!r}", lambda: compare(self.value, value), self._state)

    def __eq__(self, value: object) -> Condition:  # type: ignore[override]
        if not isinstance(value, str):
            return self._compared("==", operator.eq, value)
        becomes = functools.partial(self._becomes, value)
        return Condition(f"{self.name} == {value!r}", lambda: becomes(0), self._state, wait=becomes)

    def __ne__(self, value: object) -> Condition:  # type: ignore[override]
        if not isinstance(value, str):
            return self._compared("!=", operator.ne, value)
        becomes = functools.partial(self._becomes, value)
        return Condition(f"{self.name} != {value!r}", lambda: not becomes(0), self._state)

    def __lt__(self, value: float) -> Condition:
        return self._compared("<", operator.lt, value)

    def __le__(self, value: float) -> Condition:
        return self._compared("<=", operator.le, value)

    def __gt__(self, value: float) -> Condition:
        return self._compared(">", operator.gt, value)

    def __ge__(self, value: float) -> Condition:
        return self._compared(">=", operator.ge, value)


class Chip:
    """A chip: its readings are attributes, and so are its settings, which can be assigned. A reading that has the name of a
    method, or no name in Python, is an item: chip["0.0"]."""

    _board: "Board"
    _name: str

    def __init__(self, board: "Board", name: str) -> None:
        self.__dict__.update(_board=board, _name=name)

    def __repr__(self) -> str:
        return f"<chip {self._name}>"

    def __dir__(self) -> list[str]:
        return [*super().__dir__(), *(name.replace("-", "_") for name in self._board._readings_of(self._name))]

    def __getitem__(self, name: str) -> Reading:
        return Reading(self._board, self._name, self._board._reading_named(self._name, name))

    def __setitem__(self, name: str, value: str | float) -> None:
        self._board.set({f"{self._name}.{name}": value})

    def __getattr__(self, name: str) -> Reading:
        if name.startswith("_"):
            raise AttributeError(name)
        return self[name]

    def __setattr__(self, name: str, value: str | float) -> None:
        self[_meant(name, self._board._known_readings_of(self._name)) or name] = value

    @property
    def settings(self) -> list[str]:
        """The names of what can be assigned."""
        return list(self._board._show(self._name)["settable"])

    @property
    def plugged(self) -> bool:
        return bool(self._board._show(self._name)["plugged"])

    def plug(self) -> None:
        self._board.command("plug", self._name)

    def unplug(self) -> None:
        self._board.command("unplug", self._name)

    def fault(self, kind: str, **when: object) -> None:
        """Makes the chip misbehave; `when` are the options of `varnel-sim fault`: count=2, from_="3s". "none" clears all."""
        self._board.command("fault", self._name, kind, *options(when))


class Board:
    """A board of the test's own, from a file or built in code. It is on until it is closed."""

    def __init__(self, board: Word | Description, *, time: str = "real", seed: int | None = None) -> None:
        self._folder = tempfile.TemporaryDirectory(prefix="varnel-")
        self._programs: list[Program] = []
        self.folder = pathlib.Path(self._folder.name)
        self.file = self._file_of(board)
        self._time = ["--time", time]
        try:
            self._keeper = self._power_on(seed)
            self.chips: list[str] = list(self._status()["chips"])
            self._known: dict[str, list[str]] = {name: [] for name in self.chips}
            self._clock: Clock = VirtualClock(self.environment["VARNEL_SIM_SOCKET"]) if time == "virtual" else RealClock()
        except BaseException:
            self._power_off()
            raise

    def _file_of(self, board: Word | Description) -> str:
        if not isinstance(board, Description):
            return os.fspath(board)
        file = self.folder / "board.ini"
        file.write_text(str(board))
        return os.fspath(file)

    def _power_on(self, seed: int | None) -> subprocess.Popen[str]:
        """Starts a program that only waits, which keeps the board on."""
        words = ["run", "--private", "--host-devices", "--board", self.file, *self._time, *options({"seed": seed}), "--"]
        keeper = subprocess.Popen(
            [sim(), *words, *PROGRAM_THAT_WAITS],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            start_new_session=True,
        )
        assert keeper.stdout and keeper.stderr
        place, file = keeper.stdout.readline().strip(), keeper.stdout.readline().strip()
        if not file:
            raise BoardError(keeper.communicate()[1].strip().removeprefix("varnel-sim: "))
        self.file = file
        self.environment = {**os.environ, "VARNEL_SIM_SOCKET": place, "VARNEL_SIM_BOARD": file}
        return keeper

    def _power_off(self) -> None:
        for each in self._programs:
            each.close()
        if hasattr(self, "_clock"):
            self._clock.close()
        if hasattr(self, "_keeper"):
            self._keeper.communicate()
        self._folder.cleanup()

    def close(self) -> None:
        """Ends the programs, and the board."""
        self._power_off()

    def __enter__(self) -> "Board":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    # --- Chips ---

    def command(self, *words: str) -> str:
        """What a command of varnel-sim prints on this board. Throws BoardError."""
        return output(*words, env=self.environment)

    def _status(self, *chips: str) -> dict[str, Any]:
        status: dict[str, Any] = json.loads(self.command("show", *chips, "--json"))
        return status

    def _show(self, chip: str) -> dict[str, Any]:
        shown: dict[str, Any] = self._status(chip)["chips"][chip]
        return shown

    def _readings_of(self, chip: str) -> list[str]:
        """What the chip shows now, and what it has shown: it shows less while it is unplugged."""
        for each in self.command("--list", "CHIP.READING").split():
            owner, _, name = each.partition(".")
            if name not in self._known[owner]:
                self._known[owner].append(name)
        return self._known[chip]

    def _known_readings_of(self, chip: str) -> list[str]:
        """The same, as far as it has been asked for before, which is quicker."""
        return self._known[chip] or self._readings_of(chip)

    def _reading_named(self, chip: str, name: str) -> str:
        return _meant(name, self._known[chip]) or _named(name, self._readings_of(chip), chip)

    def __getitem__(self, name: str) -> Chip:
        return Chip(self, _named(name, self.chips, "the board"))

    def __getattr__(self, name: str) -> Chip:
        if name.startswith("_") or "chips" not in self.__dict__:
            raise AttributeError(name)
        return self[name]

    def __dir__(self) -> list[str]:
        return [*super().__dir__(), *(name.replace("-", "_") for name in self.chips)]

    def set(self, settings: Mapping[str, str | float]) -> None:
        """Changes several settings, "CHIP.NAME", or none if one of them is refused."""
        self.command("set", *(word for name, value in settings.items() for word in (name, str(value))))

    # --- Programs ---

    def run(self, program: Word, *arguments: Word, env: Mapping[str, str] | None = None, cwd: Word | None = None) -> Program:
        """Starts a program on the board. It ends with the board, or the thread that started it, at the latest."""
        run = [sim(), "run", "--board", self.file, *self._time, "--"]
        words = [os.fspath(each) for each in (program, *arguments)]
        file = self.folder / f"output-{len(self._programs)}"
        started = Program(run, words, {**self.environment, **(env or {})}, cwd, file)
        self._programs.append(started)
        return started

    @property
    def programs(self) -> list[Program]:
        """All that were started."""
        return list(self._programs)

    # --- Time ---

    @property
    def now(self) -> float:
        """Seconds of the time in which the test waits, since some moment before it."""
        return self._clock.now()

    def sleep(self, seconds: float) -> None:
        """In virtual time this takes no time, and the programs live on meanwhile."""
        self._clock.wait(self.now + seconds)

    def _wait_for(self, condition: Condition, seconds: float) -> bool:
        since = self.now
        until = since + seconds
        while True:
            last = self.now >= until or condition.over()
            if condition:
                return True
            if last:
                return False
            part = max(LOOK_INTERVAL, (self.now - since) * LOOK_PART)
            self._clock.wait(min(until, self.now + part))

    def expect(self, condition: Condition, within: float = 5) -> None:
        """Waits until a condition holds. Throws ExpectationFailed."""
        if condition.wait is not None and isinstance(self._clock, RealClock):
            came = condition.wait(within)
        else:
            came = self._wait_for(condition, within)
        if not came:
            raise ExpectationFailed(f"within {within:g} s: {condition}; {condition.state()}")

    def expect_not(self, condition: Condition, during: float) -> None:
        """The condition must not hold at any moment at which it is looked at."""
        if self._wait_for(condition, during):
            raise ExpectationFailed(f"for {during:g} s not: {condition}; {condition.state()}")

    # --- Trace, campaigns ---

    def trace(self, last: int = MOST_TRANSFERS) -> list[Transfer]:
        """The latest transfers; the board keeps 4096."""
        lines = self.command("trace", "--last", str(last), "--json").splitlines()
        return [Transfer.from_json(json.loads(line)) for line in lines]

    def trace_text(self, last: int) -> str:
        return self.command("trace", "--last", str(last))

    def campaign(self, program: Word, *arguments: Word, **how: object) -> list[Trial]:
        """Tries each fault at each transfer of a program, on boards of their own from the same file; `how` are the options of
        `varnel-sim campaign`: check="COMMAND", pairs=True."""
        words = [os.fspath(each) for each in (program, *arguments)]
        all_options = ["--board", self.file, *self._time, "--json", *options(how)]
        done = finished("campaign", *all_options, "--", *words, env=self.environment)
        if done.returncode not in (0, FAILURE) or (done.returncode == FAILURE and not done.stdout):
            raise BoardError(message(done))
        return [Trial.from_json(json.loads(line)) for line in done.stdout.splitlines()]


def play(*scenarios: Word, time: str = "real") -> None:
    """Plays scenarios, each on a board of its own. Throws ExpectationFailed with what varnel-sim prints about a failure."""
    done = finished("test", "--time", time, *(os.fspath(each) for each in scenarios))
    if done.returncode == FAILURE and done.stdout:
        raise ExpectationFailed(done.stdout.strip())
    if done.returncode != 0:
        raise BoardError(message(done))
