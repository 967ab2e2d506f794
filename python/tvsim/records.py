"""What clients asked of the TV, as the service's Records interface tells it."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Union

from ._bus import CALL_TIMEOUT, Bus

RECORDS = "io.sysaccess.TvSim.Control.Records"


@dataclass(frozen=True)
class Argument:
    """One argument of an invoke (or one result of an outcome)."""

    tag: int
    position: int
    subtag: int
    value: str


@dataclass(frozen=True)
class ConnectRecord:
    path: str
    client: str  # "<unique name>#<connection>"
    status: int
    object: bool  # whether an object was handed out


@dataclass(frozen=True)
class InvokeRecord:
    path: str
    action_id: int  # 0 when refused
    status: int
    arguments: tuple[Argument, ...]

    @property
    def by_position(self) -> dict[int, list[str]]:
        """The argument values at each position, in list order (a position may come more than once)."""
        values: dict[int, list[str]] = {}
        for argument in self.arguments:
            values.setdefault(argument.position, []).append(argument.value)
        return values

    def at(self, position: int) -> str | None:
        """The first value at the position; None when there is none."""
        return next((a.value for a in self.arguments if a.position == position), None)

    def __str__(self) -> str:
        values = ", ".join(f"{a.position}={a.value!r}" for a in self.arguments)
        return f"invoke {self.path} [{values}] (action id {self.action_id}, status {self.status})"


class Any_:
    """Matches any value at its position (tvsim.ANY)."""

    def __repr__(self) -> str:
        return "ANY"


ANY = Any_()


@dataclass(frozen=True)
class Regex:
    """A POSIX extended expression the whole value must match (no back-references). A compiled re.Pattern is
    taken too, as its text."""

    expression: str


Matcher = Union[str, int, Any_, Regex, "re.Pattern[str]"]


def matcher_triple(position: int, matcher: Matcher) -> tuple[int, str, str]:
    """The service's (position, kind, text) for a matcher given by value, ANY or an expression."""
    if isinstance(matcher, Any_):
        return (position, "any", "")
    if isinstance(matcher, Regex):
        return (position, "regex", matcher.expression)
    if isinstance(matcher, re.Pattern):
        return (position, "regex", matcher.pattern)
    return (position, "exact", str(matcher))


@dataclass(frozen=True)
class WriteRecord:
    """A value a client wrote through a model object (a write by index: the whole vector after it)."""

    path: str
    client: str
    value: object

    def __str__(self) -> str:
        return f"write {self.path} = {self.value!r} ({self.client})"


@dataclass(frozen=True)
class Dropped:
    """How many records of each kind the service let go, oldest first, to keep within its limit."""

    connects: int
    disconnects: int
    invokes: int
    create_iterators: int
    destroy_iterators: int
    writes: int


def arguments_of(body: list) -> tuple[Argument, ...]:
    return tuple(Argument(*argument) for argument in body)


def invoke_of(body: tuple) -> InvokeRecord:
    path, action_id, status, arguments = body
    return InvokeRecord(path, action_id, status, arguments_of(arguments))


def write_of(body: tuple) -> WriteRecord:
    path, client, (_signature, value) = body
    return WriteRecord(path, client, value)


@dataclass(frozen=True)
class WaitAnswer:
    """What Records.Wait answered: found, the record alone; else the closest records, each with its reason."""

    found: bool
    records: list
    reasons: list[str]


def wait(bus: Bus, kind: str, path: str, matchers: list[tuple[int, str, str]], timeout: float) -> WaitAnswer:
    found, connects, invokes, reasons, writes = bus.call(
        RECORDS, "Wait", "ssa(iss)u", kind, path, matchers, round(timeout * 1000), timeout=timeout + CALL_TIMEOUT)
    records = {"connect": [ConnectRecord(*c) for c in connects], "invoke": [invoke_of(i) for i in invokes],
               "write": [write_of(w) for w in writes]}[kind]
    return WaitAnswer(found, records, reasons)


class Records:
    """tv.records: the records the service keeps of what clients asked (the newest 10,000 of each kind)."""

    def __init__(self, bus: Bus) -> None:
        self._bus = bus

    def connects(self) -> list[ConnectRecord]:
        return [ConnectRecord(*record) for record in self._bus.call(RECORDS, "Connects")[0]]

    def invokes(self) -> list[InvokeRecord]:
        return [invoke_of(record) for record in self._bus.call(RECORDS, "Invokes")[0]]

    def writes(self) -> list[WriteRecord]:
        return [write_of(record) for record in self._bus.call(RECORDS, "Writes")[0]]

    def dropped(self) -> Dropped:
        return Dropped(*self._bus.call(RECORDS, "Dropped"))

    def clear(self) -> None:
        self._bus.call(RECORDS, "Clear")
