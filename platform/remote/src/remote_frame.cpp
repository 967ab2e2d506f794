// frame::Process answered by the TV service: the interface reference whose
// object is the remote root, on the bus the process framework chose.
#include "remote_root.h"

#include <remote/remote_platform.h>

#include "bus_plumbing.h"

namespace tvsim::remote {
namespace {

std::string addressOf(const std::string& choice) {
    const std::string address = bus::busAddressOf(choice);
    // An address no bus answers at: every call reports the service unavailable.
    return address.empty() ? "unix:path=/nonexistent" : address;
}

// Made at the first use and never destroyed: client objects may outlive
// every static destructor, and the threads it runs must not stop under them.
RemoteRoot& root(const std::string& bus) {
    static RemoteRoot* const instance = new RemoteRoot(addressOf(bus));
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

bool built() {
    return true;
}

int getInterfaceReference(const std::string& bus, boost::shared_ptr<frame::Interface>& reference,
                          const std::string& name) {
    bool filled = false;
    bool hasObject = false;
    RemoteRoot& remote = root(bus);
    const int status = remote.interfaceReference(name, filled, hasObject);
    if (status == 0 && filled) {
        reference = boost::shared_ptr<frame::Interface>(new RemoteInterface(hasObject ? &remote : nullptr));
    }
    return status;
}

bool flushNotifications(const std::string& bus) {
    return root(bus).flush();
}

}  // namespace tvsim::remote
