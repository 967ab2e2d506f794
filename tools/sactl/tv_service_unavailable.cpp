// connectTvService where sactl is built without sd-bus (cross builds).
#include "session.h"
#include "tv_service.h"

namespace sactl {

std::unique_ptr<TvControl> connectTvService(const std::string&, int) {
    throw CommandError("this sactl is built without D-Bus support: it runs the simulated TV in its own process only");
}

}  // namespace sactl
