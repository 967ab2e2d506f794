// The D-Bus plumbing every part of the TV service shares: what a bus choice
// means, opening a connection, owning connections and messages, and reading
// the status most replies start with.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace tvsim::bus {

struct MessageRelease {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageRelease>;

struct BusRelease {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusRelease>;

// The address a bus choice stands for: "session" is DBUS_SESSION_BUS_ADDRESS
// (empty when it is not set); anything else is an address itself.
std::string busAddressOf(const std::string& choice);

// A bus client connection to the address. Null, with the sd-bus errno in
// error, when the bus cannot be reached.
Bus openBus(const std::string& address, int& error);

// The (i status) a reply starts with. Throws SdBusFailure when it has none.
int readStatus(sd_bus_message* reply);

}  // namespace tvsim::bus
