"""The TV service's errors as Python exceptions, one class per name of its error table."""

from __future__ import annotations

_SERVICE_PREFIX = "io.sysaccess.TvSim.Error."


class TvSimError(Exception):
    """An error the TV service (or its bus) answered: `name` is the D-Bus error name, the text its sentence."""

    def __init__(self, name: str, sentence: str) -> None:
        super().__init__(sentence)
        self.name = name
        self.sentence = sentence


class UnknownPath(TvSimError):
    """The model holds no object at the path."""


class WrongType(TvSimError):
    """A value of another type, or an object of another kind than the call needs."""


class OutOfRange(TvSimError):
    """A number beyond what its type or the TV takes."""


class InvalidArgument(TvSimError):
    """Any other argument the TV cannot take."""


class BadModelFile(TvSimError):
    """A model file that does not load."""


class UnknownConnection(TvSimError):
    """A connection or iterator the caller does not hold."""


class LimitsExceeded(TvSimError):
    """A reply or a wait beyond the service's bounds."""


class ServiceError(TvSimError):
    """Any other error: the service's own name not in the table above, or one of the bus."""


_BY_NAME: dict[str, type[TvSimError]] = {
    _SERVICE_PREFIX + cls.__name__: cls
    for cls in (UnknownPath, WrongType, OutOfRange, InvalidArgument, BadModelFile, UnknownConnection)
}
_BY_NAME["org.freedesktop.DBus.Error.LimitsExceeded"] = LimitsExceeded


def error_for(name: str, sentence: str) -> TvSimError:
    """The exception for an error reply."""
    return _BY_NAME.get(name, ServiceError)(name, sentence)
