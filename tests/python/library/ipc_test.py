# SPDX-License-Identifier: Apache-2.0
import subprocess
import sys

import pytest

from varnel._calls import CallFailed
from varnel.ipc import LockSet, Message, Queue, post


@pytest.fixture
def key(tmp_path):
    """A key file that no set belongs to: sets outlive their files, and a key has only 16 bits of a file's number."""
    for number in range(1000):
        file = tmp_path / f"key{number}"
        file.touch()
        try:
            LockSet(file, 0)
        except CallFailed:
            return file
    raise AssertionError("all keys are taken")


@pytest.fixture
def locks(key):
    made = LockSet(key, 2)
    yield made
    subprocess.run(["ipcrm", "--semaphore-id", str(made._semaphores)], check=True)


def test_lock_is_free_again_after_with(locks):
    with locks[0]:
        assert locks[0].acquire(blocking=False) is False
        assert locks[1].acquire(blocking=False) is True
        locks_of_process = locks
    assert locks_of_process[0].acquire(blocking=False) is True


def test_lock_that_is_not_held_is_not_released(locks):
    with pytest.raises(RuntimeError, match="not held"):
        locks[0].release()


def test_set_has_as_many_locks_as_asked_for(locks):
    with pytest.raises(IndexError):
        locks[2]


def test_key_file_that_cannot_be_made_is_an_error(tmp_path):
    with pytest.raises(CallFailed) as caught:
        LockSet(tmp_path / "missing" / "key", 1)
    assert caught.value.filename == "get_sem_lock"


def test_lock_of_another_process_ends_with_it(locks, key):
    program = "import sys; from varnel.ipc import LockSet; LockSet(sys.argv[1])[0].acquire(); print('held', flush=True); input()"
    other = subprocess.Popen([sys.executable, "-c", program, key], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    assert other.stdout.readline() == "held\n"
    assert locks[0].acquire(blocking=False) is False
    other.communicate("\n")
    assert locks[0].acquire(blocking=False) is True


def test_records_arrive_in_order(tmp_path):
    with Queue(tmp_path / "queue") as queue:
        post(tmp_path / "queue", b"first", header=b"\x01\x02")
        post(tmp_path / "queue", b"")
        assert queue.receive(0) == Message(b"\x01\x02" + bytes(38), b"first")
        assert queue.receive(0) == Message(bytes(40), b"")


def test_largest_record_arrives(tmp_path):
    with Queue(tmp_path / "queue") as queue:
        post(tmp_path / "queue", bytes(range(256)) * 240)
        assert queue.receive(0).payload == bytes(range(256)) * 240


def test_record_that_announces_more_than_the_largest_is_stored_whole(tmp_path):
    with Queue(tmp_path / "queue") as queue:
        program = "import sys; open(sys.argv[1], 'wb').write(bytes(40) + (200_000).to_bytes(4, 'little') + b'x' * 200_000)"
        writer = subprocess.Popen([sys.executable, "-c", program, tmp_path / "queue"])
        assert queue.receive(30).payload == b"x" * 200_000
        assert writer.wait() == 0


def test_empty_queue_times_out(tmp_path):
    with Queue(tmp_path / "queue") as queue, pytest.raises(TimeoutError):
        queue.receive(0.01)


def test_records_that_do_not_fit_are_refused(tmp_path):
    with pytest.raises(ValueError, match="61441 bytes"):
        post(tmp_path / "queue", bytes(61441))
    with pytest.raises(ValueError, match="header of 41"):
        post(tmp_path / "queue", b"", header=bytes(41))
