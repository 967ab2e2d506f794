// connectTvService where sactl is built without sd-bus (cross builds).
#include "bus_tv.h"

namespace sactl {

std::unique_ptr<Tv> connectTvService(const std::string&, std::chrono::milliseconds) {
    throw CommandError("this sactl is built without D-Bus support: it runs the simulated TV in its own process only");
}

}  // namespace sactl
