"""TvService: a private bus with a tvsimd on it, for one test or one session of tests."""

from __future__ import annotations

import json
import os
import subprocess
import time
from dataclasses import dataclass
from typing import Mapping, Sequence

from . import processes
from ._bus import Bus
from .errors import WrongType
from .faults import Faults
from .records import ConnectRecord, InvokeRecord, Matcher, Records, WriteRecord, matcher_triple
from .records import wait as records_wait
from .responders import Responders

CONTROL = "io.sysaccess.TvSim.Control"
VALUE_POLL = 0.01  # seconds between two looks of wait_for_value
PLAY_TIMEOUT = 660.0  # seconds: a scenario's longest time limit and the client's end

Value = int | str | list[int] | list[str]


@dataclass(frozen=True)
class PlayReport:
    """What `sactl play` said: its exit status (0 every expectation held, 1 one did not, 2 a scenario that is not
    valid) and its report."""

    exit_code: int
    text: str

    @property
    def passed(self) -> bool:
        return self.exit_code == 0


def _value_text(value: object) -> object:
    """A value as the service writes it for matching: a list as its JSON text; a matcher as it is."""
    return json.dumps(value, separators=(",", ":"), ensure_ascii=False) if isinstance(value, list) else value


class TvService:
    """A private dbus-daemon and a tvsimd serving the simulated TV on it. Start with TvService.start(); use as
    a context manager, whose exit stops both and waits for them."""

    def __init__(self, daemon: subprocess.Popen, tvsimd: subprocess.Popen, tvsimd_path: str, address: str,
                 dashboard_url: str | None) -> None:
        self._daemon = daemon
        self._tvsimd = tvsimd
        self._tvsimd_path = tvsimd_path
        self.bus_address = address
        self.dashboard_url = dashboard_url
        self._bus = Bus(address)
        self.faults = Faults(self._bus)
        self.responders = Responders(self._bus)
        self.records = Records(self._bus)

    @classmethod
    def start(cls, model: str | os.PathLike[str] | None = None, http: bool = False) -> TvService:
        """Starts the bus and tvsimd (the TVSIMD environment variable, else the one on PATH) with the model file
        (default: the built-in TV) and, with http, its dashboard on a free loopback port; waits until it serves."""
        tvsimd_path = processes.find_program("tvsimd", "TVSIMD")
        daemon = processes.start(["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"],
                                 quiet=True)  # its notes on fd limits are not the test's concern
        try:
            address = processes.read_line(daemon, "dbus-daemon")
            argv = [tvsimd_path, "--address", address]
            if model is not None:
                argv += ["--model", os.fspath(model)]
            if http:
                argv += ["--http", "127.0.0.1:0"]
            tvsimd = processes.start(argv)
        except BaseException:
            processes.stop(daemon)
            raise
        try:
            dashboard_url = None
            line = processes.read_line(tvsimd, "tvsimd")
            if http and line.startswith("dashboard "):
                dashboard_url = line.split(" ", 1)[1]
                line = processes.read_line(tvsimd, "tvsimd")
            if line != "ready":
                raise RuntimeError(f"tvsimd said {line!r} instead of ready")
            return cls(daemon, tvsimd, tvsimd_path, address, dashboard_url)
        except BaseException:
            processes.stop(tvsimd)
            processes.stop(daemon)
            raise

    def stop(self) -> None:
        """Stops tvsimd, then the bus, and waits for both."""
        self._bus.close()
        processes.stop(self._tvsimd)
        processes.stop(self._daemon)

    def __enter__(self) -> TvService:
        return self

    def __exit__(self, *exc: object) -> None:
        self.stop()

    def env(self) -> dict[str, str]:
        """A copy of os.environ with TVSIM_BUS set: a client process started with it uses this TV."""
        return {**os.environ, "TVSIM_BUS": self.bus_address}

    # ---- The model ----

    def get(self, path: str) -> Value:
        return self._bus.call(CONTROL, "Get", "s", path)[0][1]

    def set(self, path: str, value: Value) -> None:
        """A change the platform makes, notified to every connected client."""
        self._bus.call(CONTROL, "Set", "sv", path, self._variant(path, value))

    def types(self, prefix: str = "") -> dict[str, str]:
        """The paths starting with the prefix and their type names (integer, string, action, table, ...)."""
        return dict(self._bus.call(CONTROL, "List", "s", prefix)[0])

    def paths(self, prefix: str = "") -> list[str]:
        """The paths starting with the prefix, sorted."""
        return list(self.types(prefix))

    def columns(self, path: str) -> list[str]:
        return self._bus.call(CONTROL, "Rows", "s", path)[0]

    def rows(self, path: str) -> list[list[str]]:
        return self._bus.call(CONTROL, "Rows", "s", path)[1]

    def set_rows(self, path: str, rows: Sequence[Sequence[str]]) -> None:
        self._bus.call(CONTROL, "SetRows", "saas", path, [list(row) for row in rows])

    def load_model(self, file: str | os.PathLike[str]) -> None:
        self._bus.call(CONTROL, "LoadModel", "s", os.fspath(file))

    def flush(self) -> None:
        """Until every notification queued so far has been handed to its client."""
        self._bus.call(CONTROL, "Flush")

    def _variant(self, path: str, value: Value) -> tuple[str, Value]:
        if isinstance(value, bool):
            raise WrongType("", f"{value!r} is not a value of the model: use an int")
        if isinstance(value, int):
            return ("x", value)  # the service fits any integer to the path's integer type when in range
        if isinstance(value, str):
            return ("s", value)
        if value and all(isinstance(item, str) for item in value):
            return ("as", list(value))
        if value and all(isinstance(item, int) and not isinstance(item, bool) for item in value):
            return ("ai", list(value))
        if isinstance(value, list) and not value:
            return ("as", []) if self.types(path).get(path) == "string-vector" else ("ai", [])
        raise WrongType("", f"{value!r} is not a value of the model: int, str, list[int] or list[str]")

    # ---- Waiting instead of sleeping ----

    def wait_for_invoke(self, path: str, args: Mapping[int, Matcher] | None = None,
                        timeout: float = 2.0) -> InvokeRecord:
        """The first invoke of the action (kept already, or arriving within the timeout) whose arguments match:
        each position's value exactly, tvsim.ANY, or a tvsim.Regex / re.Pattern the whole value matches.
        AssertionError otherwise, naming the closest invokes and why each did not match."""
        given = sorted((args or {}).items())
        wanted = ", ".join(f"{position}: {matcher!r}" for position, matcher in given) or "any arguments"
        return self._wait("invoke", path, [matcher_triple(p, m) for p, m in given], timeout, f"with {wanted}")

    def wait_for_connect(self, path: str, timeout: float = 2.0) -> ConnectRecord:
        """The first connect to the path (kept already, or arriving within the timeout); AssertionError
        otherwise."""
        return self._wait("connect", path, [], timeout, "")

    def wait_for_write(self, path: str, value: Matcher | Value | None = None, timeout: float = 2.0) -> WriteRecord:
        """The first value a client wrote to the path (kept already, or arriving within the timeout), matching
        `value` when given: exactly (by its text: 30, "eng", [1,2]), tvsim.ANY or an expression. AssertionError
        otherwise, naming the closest writes and why each did not match."""
        matchers = [] if value is None else [matcher_triple(0, _value_text(value))]
        return self._wait("write", path, matchers, timeout, "" if value is None else f"of {value!r}")

    def _wait(self, kind: str, path: str, matchers: list[tuple[int, str, str]], timeout: float, wanted: str):
        answer = records_wait(self._bus, kind, path, matchers, timeout)
        if answer.found:
            return answer.records[0]
        closest = "".join(f"\n  {record}: {reason}" for record, reason in zip(answer.records, answer.reasons))
        raise AssertionError(f"no {kind} {'of' if kind == 'invoke' else 'to'} {path}{' ' + wanted if wanted else ''}"
                             f" within {timeout} s; " + (f"the closest:{closest}" if closest else "none at all"))

    def wait_for_value(self, path: str, value: Value, timeout: float = 2.0) -> None:
        """Until the model holds the value at the path (a client's write or a change); AssertionError naming the
        value it holds at the timeout."""
        deadline = time.monotonic() + timeout
        while (now := self.get(path)) != value:
            if time.monotonic() >= deadline:
                raise AssertionError(f"{path} is {now!r}, not {value!r}, after {timeout} s")
            time.sleep(VALUE_POLL)

    # ---- Scenarios ----

    def play(self, scenario: str | os.PathLike[str], command: Sequence[str] | None = None,
             junit: str | os.PathLike[str] | None = None) -> PlayReport:
        """Plays the scenario file on this TV with `sactl play` (SACTL, else beside tvsimd, else PATH), with the
        command as its client (started with env()), and answers its exit status and report."""
        sactl = processes.find_program("sactl", "SACTL", os.path.dirname(self._tvsimd_path))
        argv = [sactl, "play", os.fspath(scenario), f"--bus={self.bus_address}"]
        if junit is not None:
            argv += ["--junit", os.fspath(junit)]
        if command:
            argv += ["--", *command]
        done = subprocess.run(argv, stdin=subprocess.DEVNULL, capture_output=True, text=True, env=self.env(),
                              timeout=PLAY_TIMEOUT)
        return PlayReport(done.returncode, done.stdout + done.stderr)
