#include "bus_tv.h"

#include <tv_control_proxy.h>

#include <tvsim/platform_choice.h>
#include <tvsim/service_flush.h>

namespace sactl {
namespace {

class BusTv final : public Tv {
public:
    BusTv(const std::string& address, std::chrono::milliseconds timeout) : m_control(open(address, timeout)) {}

    tvsim::TvControl& control() override { return m_control; }

    // Through the library's own connection: a flush on the proxy's would not
    // order the signals that reach the library.
    void flushNotifications() override {
        if (!tvsim::flushServiceNotifications()) {
            throw CommandError("Flush on the TV service: no reply");
        }
    }

private:
    static tvsim::bus::TvControlProxy open(const std::string& address, std::chrono::milliseconds timeout) {
        try {
            return tvsim::bus::TvControlProxy(address, timeout);
        } catch (const std::runtime_error& error) {
            throw CommandError(error.what());
        }
    }

    tvsim::bus::TvControlProxy m_control;
};

}  // namespace

std::unique_ptr<Tv> connectTvService(const std::string& address, std::chrono::milliseconds timeout) {
    auto tv = std::make_unique<BusTv>(address, timeout);
    // Before the library's first platform call, which takes the choice.
    tvsim::usePlatformOnBus(address);
    return tv;
}

}  // namespace sactl
