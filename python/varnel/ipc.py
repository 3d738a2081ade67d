# SPDX-License-Identifier: Apache-2.0
"""Locks between processes (sem_lock.h) and queues of records (message.h)."""
import errno
import mmap
import os
import select
import sys
from typing import Any, NamedTuple

from varnel._calls import c_text, call, failed, require_platform
from varnel.raw import ffi, lib

Path = str | os.PathLike[str]

MAP_NORESERVE = 0x4000  # on x86, ARM and RISC-V; Python 3.11 has no name for it


class Lock:
    """One lock of a set. It belongs to the process; `with` takes and releases it."""

    def __init__(self, semaphores: int, number: int) -> None:
        self._place = (semaphores, number)
        self._held = False

    def acquire(self, blocking: bool = True) -> bool:
        """False when somebody else holds it and `blocking` is false. A signal handler that returns does not end the wait."""
        name = "wait_sem_lock" if blocking else "try_sem_lock"
        while True:
            ffi.errno = 0
            if getattr(lib, name)(*self._place) == 0:
                self._held = True
                return True
            if ffi.errno == errno.EAGAIN and not blocking:
                return False
            if ffi.errno != errno.EINTR:
                raise failed(name)

    def release(self) -> None:
        if not self._held:
            raise RuntimeError("this lock is not held: the call would take it away from its holder")
        self._held = False
        call("release_sem_lock", *self._place)

    def __enter__(self) -> "Lock":
        self.acquire()
        return self

    def __exit__(self, *_: object) -> None:
        self.release()


class LockSet:
    """The locks of a key file, which is created if it is missing, as they are."""

    def __init__(self, path: Path, count: int = 0) -> None:
        self._count = count
        ffi.errno = 0
        self._semaphores = lib.get_sem_lock(c_text(path), count)
        if self._semaphores < 0:
            raise failed("get_sem_lock")

    def __getitem__(self, number: int) -> Lock:
        if number < 0 or (self._count and number >= self._count):
            raise IndexError(f"lock {number} of {self._count}")
        return Lock(self._semaphores, number)


class Message(NamedTuple):
    header: bytes
    payload: bytes


def _little_endian(number: int) -> int:
    """What the length field of a record holds for a number, and the reverse: the lowest byte comes first on every host."""
    return int.from_bytes(number.to_bytes(4, "little"), sys.byteorder)


def _record(header: bytes, payload: bytes) -> Any:
    size = lib.QUEUE_MESSAGE_HEADER_SIZE
    if len(payload) > lib.QUEUE_MESSAGE_PAYLOAD_MAX:
        raise ValueError(f"a payload of {len(payload)} bytes, more than {lib.QUEUE_MESSAGE_PAYLOAD_MAX}")
    record = ffi.new("uint8_t[]", size + len(payload))
    message = ffi.cast("queue_message *", record)
    if len(header) > len(message.header):
        raise ValueError(f"a header of {len(header)} bytes, more than {len(message.header)}")
    ffi.memmove(message.header, header, len(header))
    message.payload_len = _little_endian(len(payload))
    ffi.memmove(record + size, payload, len(payload))
    return record


def post(path: Path, payload: bytes, header: bytes = b"") -> None:
    """Posts a record to a queue; waits until it has a reader, and while it is full. A short header is filled up with NULs."""
    require_platform("file_lock_write", "file_unlock", "IDBG_LINUXAPP_DbgOut")
    record = _record(header, payload)
    call("post_message_to_named_queue", ffi.cast("queue_message *", record), c_text(path))


class Queue:
    """The reading end of a queue, which is created if it is missing."""

    # The library stores as many bytes as a record announces, and checks nothing. This much address space has room for
    # whatever a record can announce; memory is used only for what is stored.
    _MOST = 2**31 + mmap.PAGESIZE

    def __init__(self, path: Path) -> None:
        try:
            os.mkfifo(path)
        except FileExistsError:
            pass
        self._file = os.open(path, os.O_RDWR | os.O_CLOEXEC)
        self._room = mmap.mmap(-1, self._MOST, mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS | MAP_NORESERVE)

    def receive(self, timeout: float | None = None) -> Message:
        """The next record. Throws TimeoutError when none begins within `timeout` seconds."""
        if not select.select([self._file], [], [], timeout)[0]:
            raise TimeoutError(errno.ETIMEDOUT, os.strerror(errno.ETIMEDOUT))
        with memoryview(self._room) as room:
            message = ffi.cast("queue_message *", ffi.from_buffer(room))
            ffi.memmove(message, bytes(lib.QUEUE_MESSAGE_HEADER_SIZE), lib.QUEUE_MESSAGE_HEADER_SIZE)
            call("get_message", message, self._file, 0)
            length = max(0, int(ffi.cast("int32_t", _little_endian(message.payload_len))))
            start = lib.QUEUE_MESSAGE_HEADER_SIZE
            received = Message(bytes(message.header), self._room[start : start + length])
        self._room.madvise(mmap.MADV_DONTNEED)
        return received

    def close(self) -> None:
        os.close(self._file)
        self._room.close()

    def __enter__(self) -> "Queue":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
