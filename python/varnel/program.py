# SPDX-License-Identifier: Apache-2.0
"""Programs that run on a board."""
import os
import pathlib
import re
import select
import signal
import subprocess
import time
from collections.abc import Mapping, Sequence

from varnel.conditions import Condition

# Ends the program when the thread that started it ends, even by SIGKILL: it would keep the board on.
WITH_US = ["setpriv", "--pdeathsig", "TERM"]
# Prints the number of the process that becomes the program.
SHELL = ["sh", "-c", 'echo $$; exec "$@"', "sh"]
NUMBER = re.compile(r"^[0-9]+\n", re.MULTILINE)
BEGIN_TIME = 30


class Program:
    """A program on a board, and what it prints to both streams. Board.run() starts it."""

    def __init__(
        self,
        run: Sequence[str],
        words: Sequence[str],
        env: Mapping[str, str],
        cwd: str | os.PathLike[str] | None,
        output: pathlib.Path,
    ) -> None:
        self.name = os.path.basename(words[0])
        self._output = output
        self._matched = 0
        with output.open("wb") as written:
            self._runner = subprocess.Popen(
                [*WITH_US, *run, *SHELL, *words],
                env=env,
                cwd=cwd,
                stdin=subprocess.DEVNULL,
                stdout=written,
                stderr=subprocess.STDOUT,
                start_new_session=True,
            )
        self._ending: int | None = None
        self.pid = self._wait_for_begin()

    def _wait_for_begin(self) -> int:
        """Before it has begun, a board in virtual time would not wait for it."""
        end = time.monotonic() + BEGIN_TIME
        while (begun := NUMBER.search(self._written())) is None:
            if self._runner.poll() is not None or time.monotonic() > end:
                self.kill()
                raise RuntimeError(f"{self.name} did not start: {self._written().strip()}")
            time.sleep(0.001)
        number = int(begun[0])
        try:
            self._ending = os.pidfd_open(number)
        except ProcessLookupError:
            pass  # it has ended already
        return number

    def _written(self) -> str:
        return self._output.read_bytes().decode(errors="replace")

    @property
    def output(self) -> str:
        """All that it has printed until now, and what `varnel-sim run` says about it."""
        return NUMBER.sub("", self._written(), count=1)

    @property
    def lines(self) -> list[str]:
        """Its complete lines."""
        return self.output.split("\n")[:-1]

    @property
    def status(self) -> int | None:
        """Its exit status, or 128 and the signal that ended it; None while it runs."""
        if self._ending is None or select.select([self._ending], [], [], 0)[0]:
            self._runner.wait()
        status = self._runner.poll()
        return None if status is None else status if status >= 0 else 128 - status

    def _has_ended(self) -> bool:
        return self.status is not None

    def prints(self, pattern: str) -> Condition:
        """A line that matches a regular expression, after the line that matched last."""

        def holds() -> bool:
            lines = self.lines
            for number in range(self._matched, len(lines)):
                if re.search(pattern, lines[number]):
                    self._matched = number + 1
                    return True
            return False

        def state() -> str:
            return f"{self.name} printed last: {self.lines[-1]}" if self.lines else f"{self.name} has printed nothing"

        return Condition(f"{self.name} prints /{pattern}/", holds, state, over=self._has_ended)

    def ends(self, status: int | None = None) -> Condition:
        """Its end, with an exit status if one is given."""

        def state() -> str:
            return f"{self.name} is running" if self.status is None else f"{self.name} has ended with {self.status}"

        words = f"{self.name} ends" if status is None else f"{self.name} ends with {status}"
        return Condition(words, lambda: self._has_ended() and status in (None, self.status), state, over=self._has_ended)

    def send(self, number: int) -> None:
        """Sends a signal to the program. Nothing happens when it has ended."""
        if self._ending is not None:
            try:
                signal.pidfd_send_signal(self._ending, number)
            except ProcessLookupError:
                pass

    def terminate(self) -> None:
        self.send(signal.SIGTERM)

    def kill(self) -> None:
        """Ends it and what it has started, as a loss of power does."""
        if self._runner.poll() is None:
            os.killpg(self._runner.pid, signal.SIGKILL)
            self._runner.wait()

    def close(self) -> None:
        self.kill()
        if self._ending is not None:
            os.close(self._ending)
            self._ending = None
