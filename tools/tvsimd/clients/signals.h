// Signals to one client: every notification of a model object goes only to
// the client whose connection it belongs to (the destination is its unique
// name). Bus thread only.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <string>

namespace tvsimd {

// Emits interface.member from the object path to the client; append adds the
// body. A client that has gone away is not an error: the signal is dropped.
void emitTo(sd_bus* bus, const std::string& client, const std::string& objectPath, const char* interface,
            const char* member, const std::function<void(sd_bus_message*)>& append);

}  // namespace tvsimd
