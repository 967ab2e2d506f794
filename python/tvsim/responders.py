"""tv.responders: how actions answer, as the service's Responders interface takes it."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Mapping, Sequence, Union

from ._bus import Bus

RESPONDERS = "io.sysaccess.TvSim.Control.Responders"
SOURCE_SWITCH = "orvik.sl2.action.source.switch"

# Results by position: a list (positions 0, 1, ... in order) or a mapping of position to value.
Results = Union[Sequence[object], Mapping[int, object]]


@dataclass(frozen=True)
class Channel:
    uuid: str
    uri: str
    name: str
    folder_uuid: str


@dataclass(frozen=True)
class SourceSwitchState:
    """Who holds each resource (0 the system, 1 the web engine), the playback status, the channel, and the
    failure code of the last request (0 for success or none)."""

    video: int
    audio: int
    psi: int
    playback_status: int
    channel_index: int
    channel: Channel
    last_failure: int


def result_arguments(results: Results | None) -> list[tuple[int, int, int, str]]:
    """The service's (tag, position, subtag, value) list."""
    if results is None:
        return []
    items = results.items() if isinstance(results, Mapping) else enumerate(results)
    return [(0, int(position), 0, str(value)) for position, value in items]


class Responders:
    def __init__(self, bus: Bus) -> None:
        self._bus = bus

    def set(self, path: str, results: Results | None = None, failure: int | None = None, no_reply: bool = False,
            delay_ms: int = 0, copies: int = 1, before_invoke_returns: bool = False) -> None:
        """Every invoke of the action is answered this way from now on: the results, or the failure code, or
        (no_reply) no outcome ever; after delay_ms, `copies` times."""
        kind = "none" if no_reply else "failure" if failure is not None else "results"
        self._bus.call(RESPONDERS, "SetReply", "ssiuiba(nnns)", path, kind, failure or 0, delay_ms, copies,
                       before_invoke_returns, result_arguments(results))

    def reset(self, path: str) -> None:
        """Back to the action's own answer, with everything it does."""
        self._bus.call(RESPONDERS, "ResetReply", "s", path)

    def emit_result(self, path: str, action_id: int, results: Results | None = None) -> None:
        """An outcome the platform reports by itself, to every client connected to the action."""
        self._bus.call(RESPONDERS, "EmitResult", "sua(nnns)", path, action_id, result_arguments(results))

    def emit_failure(self, path: str, action_id: int, error: int) -> None:
        self._bus.call(RESPONDERS, "EmitExecutionError", "sui", path, action_id, error)

    def source_switch(self, path: str = SOURCE_SWITCH) -> SourceSwitchState | None:
        """The state of the action's source-switch responder; None when the action has none."""
        responds, video, audio, psi, playback, index, uuid, uri, name, folder, failure = self._bus.call(
            RESPONDERS, "SourceSwitch", "s", path)
        if not responds:
            return None
        return SourceSwitchState(video, audio, psi, playback, index, Channel(uuid, uri, name, folder), failure)
