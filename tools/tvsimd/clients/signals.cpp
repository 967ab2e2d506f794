#include "signals.h"

#include "bus_error.h"

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec

void emitTo(sd_bus* bus, const std::string& client, const std::string& objectPath, const char* interface,
            const char* member, const std::function<void(sd_bus_message*)>& append) {
    sd_bus_message* signal = nullptr;
    check(sd_bus_message_new_signal(bus, &signal, objectPath.c_str(), interface, member), "new signal");
    try {
        check(sd_bus_message_set_destination(signal, client.c_str()), "set destination");
        append(signal);
        sd_bus_send(bus, signal, nullptr);
    } catch (...) {
        sd_bus_message_unref(signal);
        throw;
    }
    sd_bus_message_unref(signal);
}

}  // namespace tvsimd
