// startServiceRun where sactl is built without sd-bus (cross builds).
#include "service_run.h"

namespace sactl {

std::unique_ptr<ServiceRun> startServiceRun(const GlobalOptions&) {
    throw CommandError("this sactl is built without D-Bus support: play and record need the TV service");
}

}  // namespace sactl
