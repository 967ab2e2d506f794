// The TV service (tvsimd) on D-Bus as sactl's TV.
#pragma once

#include "session.h"

#include <chrono>
#include <memory>
#include <string>

namespace sactl {

// Controls the TV that io.sysaccess.TvSim serves on the bus at the address
// ("session": DBUS_SESSION_BUS_ADDRESS), each call waiting up to `timeout`,
// and has the library in this process reach the same TV. A bus that cannot be
// reached, and a sactl built without D-Bus support, are CommandErrors.
std::unique_ptr<Tv> connectTvService(const std::string& address, std::chrono::milliseconds timeout);

}  // namespace sactl
