// Reaching the TV service (tvsimd) on D-Bus.
#pragma once

#include "tv_control.h"

#include <memory>
#include <string>

namespace sactl {

// Connects to the bus at the address ("session": DBUS_SESSION_BUS_ADDRESS)
// and controls the TV that io.sysaccess.TvSim serves there through its
// Control, Faults, Responders and Records interfaces. Each call waits for
// its reply up to timeoutMs. A bus that cannot be reached, and a sactl built
// without D-Bus support, are CommandErrors.
std::unique_ptr<TvControl> connectTvService(const std::string& address, int timeoutMs);

}  // namespace sactl
