// frame::Process answered by the TV service: the choice of host (TVSIM_BUS)
// and the interface reference whose object is the remote root.
#include "remote_platform.h"
#include "remote_root.h"

#include <tvsim/service_flush.h>

#include <cstdlib>

namespace tvsim::remote {
namespace {

// The bus address TVSIM_BUS names; "" for the in-process simulator.
std::string selectedAddress() {
    const char* bus = std::getenv("TVSIM_BUS");
    if (bus == nullptr || *bus == '\0') {
        return "";
    }
    if (std::string(bus) == "session") {
        const char* session = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        // An address no bus answers at: every call reports the service unavailable.
        return session != nullptr && *session != '\0' ? session : "unix:path=/nonexistent";
    }
    return bus;
}

const std::string& address() {
    static const std::string chosen = selectedAddress();
    return chosen;
}

// Made at the first use and never destroyed: client objects may outlive
// every static destructor, and the threads it runs must not stop under them.
RemoteRoot& root() {
    static RemoteRoot* const instance = new RemoteRoot(address());
    return *instance;
}

class RemoteInterface final : public frame::Interface {
public:
    explicit RemoteInterface(RootInterface* root) : m_root(root) {}
    void* getObject() override { return m_root; }

private:
    RootInterface* const m_root;
};

}  // namespace

bool selected() {
    return !address().empty();
}

int getInterfaceReference(boost::shared_ptr<frame::Interface>& reference, const std::string& name) {
    bool filled = false;
    bool hasObject = false;
    RemoteRoot& remote = root();
    const int status = remote.interfaceReference(name, filled, hasObject);
    if (status == 0 && filled) {
        reference = boost::shared_ptr<frame::Interface>(new RemoteInterface(hasObject ? &remote : nullptr));
    }
    return status;
}

}  // namespace tvsim::remote

bool tvsim::flushServiceNotifications() {
    return remote::selected() && remote::root().flush();
}
