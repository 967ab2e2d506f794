"""One blocking D-Bus connection to the TV service: method calls and their errors."""

from __future__ import annotations

from typing import Any

from jeepney import DBusAddress, MessageType, new_method_call
from jeepney.io.blocking import open_dbus_connection
from jeepney.low_level import HeaderFields

from .errors import error_for

SERVICE = "io.sysaccess.TvSim"
OBJECT = "/io/sysaccess/TvSim"
CALL_TIMEOUT = 10.0  # seconds; the service answers every call at once but waits, whose timeout is added


class Bus:
    """A connection to the bus at `address`; each call is one round trip to the service's control object."""

    def __init__(self, address: str) -> None:
        self._connection = open_dbus_connection(bus=address)

    def close(self) -> None:
        self._connection.close()

    def call(self, interface: str, method: str, signature: str = "", *args: Any,
             timeout: float = CALL_TIMEOUT) -> tuple:
        message = new_method_call(DBusAddress(OBJECT, SERVICE, interface), method, signature or None,
                                  args if signature else None)
        reply = self._connection.send_and_get_reply(message, timeout=timeout)
        if reply.header.message_type == MessageType.error:
            sentence = reply.body[0] if reply.body else ""
            raise error_for(reply.header.fields.get(HeaderFields.error_name, ""), sentence)
        return reply.body
