# SPDX-License-Identifier: Apache-2.0
"""The time in which a test waits: real time, or that of its board, which stands still while the test does not wait."""
import json
import os
import pathlib
import socket
import time
from typing import Any

from varnel._command import BoardError

CONTROL = b"\x04"
LONGEST_STAND = 60


class RealClock:
    def now(self) -> float:
        return time.monotonic()

    def wait(self, until: float) -> None:
        time.sleep(max(0.0, until - self.now()))

    def close(self) -> None:
        pass


class VirtualClock:
    """Asks the board's server for turns, as docs/virtual-time.md describes it for tools."""

    def __init__(self, board: str) -> None:
        path = pathlib.Path(board)
        self._link = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._link.settimeout(LONGEST_STAND)
        folder = os.open(path.parent, os.O_PATH | os.O_DIRECTORY)
        try:
            self._link.connect(f"/proc/self/fd/{folder}/{path.name}")  # paths of sockets are short
        finally:
            os.close(folder)
        self._requests = 0
        self._now = int(self._ask({"command": "keep-time"})["now"])

    def _ask(self, request: dict[str, Any]) -> dict[str, Any]:
        self._link.send(CONTROL + json.dumps(request).encode())
        try:
            reply: dict[str, Any] = json.loads(self._link.recv(65536).removeprefix(CONTROL))
        except TimeoutError:
            raise BoardError("time stands still: a program works without waiting") from None
        if "error" in reply:
            raise BoardError(str(reply["error"]))
        return reply

    def now(self) -> float:
        return self._now / 1e9

    def wait(self, until: float) -> None:
        self._requests += 1
        request = {"command": "wait-until", "number": self._requests, "time": round(until * 1e9), "drives": True}
        self._now = int(self._ask(request)["now"])

    def close(self) -> None:
        self._link.close()


Clock = RealClock | VirtualClock
