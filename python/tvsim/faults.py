"""tv.faults: faults on what clients do next, as the service's Faults interface takes them."""

from __future__ import annotations

from ._bus import Bus

FAULTS = "io.sysaccess.TvSim.Control.Faults"


class Faults:
    def __init__(self, bus: Bus) -> None:
        self._bus = bus

    def fail_connects(self, path: str, status: int, count: int = 1) -> None:
        """The next `count` connects to the path answer `status` (not 0) and no object."""
        self._bus.call(FAULTS, "FailNextConnects", "sii", path, count, status)

    def null_connects(self, path: str, count: int = 1) -> None:
        """The next `count` connects answer 0 and no object."""
        self._bus.call(FAULTS, "NullObjectOnNextConnects", "si", path, count)

    def fail_getter(self, path: str, status: int) -> None:
        """String and vector reads of the path answer `status`; 0 heals."""
        self._bus.call(FAULTS, "FailGetter", "si", path, status)

    def refuse_invokes(self, path: str, status: int, count: int = 1) -> None:
        """The next `count` invokes of the action answer `status`, with no id and no outcome."""
        self._bus.call(FAULTS, "RefuseNextInvokes", "sii", path, count, status)

    def fail_iterators(self, path: str, count: int = 1) -> None:
        """The next `count` iterators over the table are not made."""
        self._bus.call(FAULTS, "FailNextCreateIterators", "si", path, count)

    def report_type(self, path: str, type_code: int) -> None:
        """The object's getType answers this type code from now on."""
        self._bus.call(FAULTS, "ReportType", "si", path, type_code)

    def clear(self, path: str) -> None:
        """Every fault on the path taken back."""
        self._bus.call(FAULTS, "ClearFaults", "s", path)
