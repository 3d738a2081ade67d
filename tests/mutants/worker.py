# SPDX-License-Identifier: Apache-2.0
"""Runs test programs, one at a time, in namespaces of its own: processes, semaphores, FIFOs, sockets and files that a mutant
leaves end with the run. Reads a job a line, and answers each with a line."""

import ctypes
import fcntl
import json
import os
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

CLONE_NEWIPC = 0x08000000
ADDRESS_SPACE = 4 << 30
FILES = "size=512m"  # on the disk; sparse files may be larger
SCRATCH = "/tmp/mutant"
libc = ctypes.CDLL(None, use_errno=True)


def isolate() -> None:
    """Only the first process of namespaces of its own may go on, because clean_up() ends all processes that it can reach."""
    if os.getpid() != 1 or os.getppid() != 0 or os.environ.get("VARNEL_MUTANTS_WORKER") != "isolated":
        sys.exit("worker.py: not started by runs.py")
    for folder in ("/tmp", "/dev/shm"):
        subprocess.run(["mount", "-t", "tmpfs", "-o", FILES, "none", folder], check=True)
    with socket.socket() as any_socket:  # loopback is down in a new network namespace
        name_and_flags = struct.pack("16sH22x", b"lo", 0x1 | 0x40)  # IFF_UP, IFF_RUNNING
        fcntl.ioctl(any_socket, 0x8914, name_and_flags)  # SIOCSIFFLAGS


def limit(seconds: int) -> None:
    """In the new process: processor time and memory that no test needs."""
    resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
    resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    libc.unshare(CLONE_NEWIPC)


def clean_up() -> None:
    """Ends what is left of a run; signals from the first process of a namespace reach all others in it, and none outside."""
    assert os.getpid() == 1
    try:
        os.kill(-1, signal.SIGKILL)
    except ProcessLookupError:
        pass
    while True:
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            break
    for entry in os.scandir("/tmp"):
        shutil.rmtree(entry.path) if entry.is_dir(follow_symlinks=False) else os.unlink(entry.path)


def run(job: dict) -> dict:
    os.mkdir(SCRATCH)
    start = time.monotonic()
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    with open("/tmp/output", "wb+") as output:
        process = subprocess.Popen(
            job["command"], cwd=SCRATCH, env={**os.environ, **job["environment"]}, stdin=subprocess.DEVNULL, stdout=output,
            stderr=output, start_new_session=True, preexec_fn=lambda: limit(job["processor_limit"]))
        try:
            status, ended = process.wait(job["time_limit"]), True
        except subprocess.TimeoutExpired:
            process.kill()
            status, ended = process.wait(), False
        output.seek(0)
        said = output.read(1 << 20).decode("latin-1")
    seconds = time.monotonic() - start
    clean_up()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    processor = after.ru_utime + after.ru_stime - used.ru_utime - used.ru_stime
    in_time = ended and status not in (-signal.SIGXCPU, -signal.SIGKILL)
    return {"status": status, "in_time": in_time, "seconds": seconds, "processor": processor, "output": said}


def main() -> None:
    isolate()
    answers = os.fdopen(os.dup(1), "w")
    os.dup2(2, 1)
    for line in sys.stdin:
        answers.write(json.dumps(run(json.loads(line))) + "\n")
        answers.flush()


main()
