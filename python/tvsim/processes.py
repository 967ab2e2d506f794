"""The processes the kit starts: a private dbus-daemon and tvsimd. Each is killed when the Python process that
started it dies (the kernel's parent-death signal), and every one ever started is kept in a list, so that a test
run can tell whether one is still alive at its end."""

from __future__ import annotations

import ctypes
import os
import shutil
import signal
import subprocess
import threading
from typing import IO

STOP_TIMEOUT = 5.0  # seconds a process has to end after SIGTERM before it is killed
START_TIMEOUT = 10.0  # seconds for a process's first lines

_started: list[subprocess.Popen] = []
_started_lock = threading.Lock()


def _die_with_parent() -> None:
    pr_set_pdeathsig = 1
    ctypes.CDLL(None, use_errno=True).prctl(pr_set_pdeathsig, signal.SIGTERM)


def start(argv: list[str], quiet: bool = False) -> subprocess.Popen:
    """Starts a process with its standard output on a pipe; its standard error passed through, or dropped when
    quiet."""
    process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL if quiet else None, text=True,
                               preexec_fn=_die_with_parent)
    with _started_lock:
        _started.append(process)
    return process


def read_line(process: subprocess.Popen, what: str, timeout: float = START_TIMEOUT) -> str:
    """The next line the process prints, without its newline; RuntimeError when it ends or is silent too long."""
    line: list[str] = []
    reader = threading.Thread(target=lambda: line.append(_readline(process.stdout)), daemon=True)
    reader.start()
    reader.join(timeout)
    if not line or not line[0]:
        stop(process)
        raise RuntimeError(f"{what} did not start (exit status {process.returncode})")
    return line[0].rstrip("\n")


def _readline(stream: IO[str] | None) -> str:
    return stream.readline() if stream else ""


def stop(process: subprocess.Popen) -> int:
    """SIGTERM, then SIGKILL after STOP_TIMEOUT; waits for the end and answers the exit status."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(STOP_TIMEOUT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
    if process.stdout:
        process.stdout.close()
    return process.returncode


def still_running() -> list[subprocess.Popen]:
    """The processes the kit started that have not ended."""
    with _started_lock:
        return [process for process in _started if process.poll() is None]


def find_program(name: str, variable: str, beside: str | None = None) -> str:
    """The program named by the environment variable, else the one in the folder `beside` (or a sibling folder
    of a build tree, tools/<name>/<name>), else the one on PATH."""
    if os.environ.get(variable):
        return os.environ[variable]
    if beside:
        for candidate in (os.path.join(beside, name), os.path.join(beside, "..", name, name)):
            if os.access(candidate, os.X_OK):
                return os.path.normpath(candidate)
    found = shutil.which(name)
    if not found:
        raise RuntimeError(f"no {name}: set {variable} or put it on PATH")
    return found
