# SPDX-License-Identifier: Apache-2.0
"""What tests wait for."""
from collections.abc import Callable


class ExpectationFailed(AssertionError):
    """What was expected did not come."""


class Condition:
    """Something that holds or does not; `bool()` and `assert` look once, Board.expect() waits for it."""

    def __init__(
        self,
        words: str,
        holds: Callable[[], bool],
        state: Callable[[], str],
        *,
        wait: Callable[[float], bool] | None = None,
        over: Callable[[], bool] = lambda: False,
    ) -> None:
        """`state` says what there is instead, `over` whether it will stay so; `wait`, if it is given, waits for a time in
        seconds of real time."""
        self._words = words
        self._holds = holds
        self.state = state
        self.wait = wait
        self.over = over

    def __bool__(self) -> bool:
        return self._holds()

    def __str__(self) -> str:
        return self._words

    def __repr__(self) -> str:
        return f"<{self._words}: {self.state()}>"
