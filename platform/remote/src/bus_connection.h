// One client connection to a D-Bus bus, as the remote platform uses it: method
// calls to the TV service with a bounded time-out, and the matches through
// which its signals arrive. Not thread-safe: RemoteRoot holds its mutex
// around every use.
#pragma once

#include "bus_plumbing.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tvsim::remote {

using bus::Message;

// A method call's timeout: long enough for a loaded daemon, short enough that
// a stopped one never hangs a client for good.
constexpr std::chrono::seconds kCallTimeout(5);
// How often the bus thread tries to open a lost bus again while the process holds connections.
constexpr std::chrono::milliseconds kBusRetryInterval(250);

class BusConnection {
public:
    using Append = std::function<void(sd_bus_message*)>;
    using Handler = sd_bus_message_handler_t;

    BusConnection() = default;
    ~BusConnection();

    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    // Connects to the bus at the address and adds the matches; false (and
    // nothing open) when the bus cannot be reached.
    bool open(const std::string& address, Handler onSignal, Handler onOwnerChanged, void* userdata);
    bool isOpen() const { return m_bus != nullptr; }
    void close();

    // Calls the member on the TV service's object. The reply, or null with the
    // error's D-Bus name in errorName (a transport failure included, and an
    // argument that append could not write, such as a text that is not UTF-8).
    Message call(const std::string& path, const char* interface, const char* member, const Append& append,
                 std::string& errorName);

    // Whether the message comes from the TV service's current owner: the unique
    // name its last reply came from, or that the bus driver last named. Any
    // other peer may send a client signals; only the service's are believed.
    bool fromService(sd_bus_message* message) const;
    // Whether the message comes from the bus driver, the only sender of NameOwnerChanged.
    static bool fromBusDriver(sd_bus_message* message);
    // The bus driver says the service's name now belongs to this unique name ("" for nobody).
    void serviceOwnerIs(const std::string& owner) { m_serviceOwner = owner; }

    // Dispatches one queued message to the matches; > 0 while there was work, < 0 when the connection broke.
    int process();
    int fd() const;
    short pollEvents() const;
    // Milliseconds until sd-bus has timed work to do, -1 for none.
    int pollTimeoutMs() const;

private:
    sd_bus* m_bus = nullptr;
    std::string m_serviceOwner;
};

}  // namespace tvsim::remote
