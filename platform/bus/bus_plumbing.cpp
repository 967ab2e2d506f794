#include "bus_plumbing.h"

#include "bus_error.h"

#include <cstdlib>

namespace tvsim::bus {

std::string busAddressOf(const std::string& choice) {
    if (choice != "session") {
        return choice;
    }
    const char* session = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    return session != nullptr ? session : "";
}

Bus openBus(const std::string& address, int& error) {
    sd_bus* raw = nullptr;
    error = sd_bus_new(&raw);
    Bus bus(error >= 0 ? raw : nullptr);
    if (error >= 0) {
        error = sd_bus_set_address(raw, address.c_str());
    }
    if (error >= 0) {
        error = sd_bus_set_bus_client(raw, 1);
    }
    if (error >= 0) {
        error = sd_bus_start(raw);
    }
    if (error < 0) {
        bus.reset();
    }
    return bus;
}

int readStatus(sd_bus_message* reply) {
    int status = 0;
    check(sd_bus_message_read_basic(reply, 'i', &status), "read status");
    return status;
}

}  // namespace tvsim::bus
