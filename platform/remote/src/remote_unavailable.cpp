// Builds without sd-bus (cross builds) have no remote platform: the process
// framework asks built() and keeps to the in-process simulator.
#include <remote/remote_platform.h>

namespace tvsim::remote {

bool built() {
    return false;
}

int getInterfaceReference(const std::string&, boost::shared_ptr<frame::Interface>&, const std::string&) {
    return -1;
}

bool flushNotifications(const std::string&) {
    return false;
}

}  // namespace tvsim::remote
