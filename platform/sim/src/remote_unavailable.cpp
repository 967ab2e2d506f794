// Builds without sd-bus (cross builds) have no remote platform: TVSIM_BUS is
// noted once on standard error and the in-process simulator serves.
#include "remote_platform.h"

#include <tvsim/service_flush.h>

#include <cstdio>
#include <cstdlib>

namespace tvsim::remote {

bool selected() {
    static const bool warned = [] {
        const char* bus = std::getenv("TVSIM_BUS");
        if (bus != nullptr && *bus != '\0') {
            std::fprintf(stderr,
                         "TVSIM_BUS is set, but this build has no remote platform: using the in-process simulator\n");
        }
        return true;
    }();
    (void)warned;
    return false;
}

int getInterfaceReference(boost::shared_ptr<frame::Interface>&, const std::string&) {
    return -1;
}

}  // namespace tvsim::remote

// No TV service can be selected here.
bool tvsim::flushServiceNotifications() {
    return false;
}
