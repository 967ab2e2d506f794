"""A Python kit for testing clients of the simulated TV: a private TV service per test, its controls, and waits
instead of sleeps. See docs/python.md."""

from .errors import (BadModelFile, InvalidArgument, LimitsExceeded, OutOfRange, ServiceError, TvSimError,
                     UnknownConnection, UnknownPath, WrongType)
from .records import ANY, Argument, ConnectRecord, Dropped, InvokeRecord, Regex, WriteRecord
from .responders import Channel, SourceSwitchState
from .service import PlayReport, TvService

__all__ = [
    "ANY", "Argument", "Dropped", "BadModelFile", "Channel", "ConnectRecord", "InvalidArgument", "InvokeRecord",
    "LimitsExceeded", "OutOfRange", "PlayReport", "Regex", "ServiceError", "SourceSwitchState", "TvService",
    "TvSimError", "UnknownConnection", "UnknownPath", "WriteRecord", "WrongType",
]
