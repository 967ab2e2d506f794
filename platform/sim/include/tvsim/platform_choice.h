// Which host answers this process's platform calls: the simulator in this
// process, or the TV service (tvsimd) on a D-Bus bus. A tool makes one of these
// calls before its first platform use; without one, the environment variable
// TVSIM_BUS decides (docs/simulator.md). The choice is taken at the first
// platform use (the process framework's first interface reference, or
// flushServiceNotifications) and holds for the life of the process.
//
// Any thread; before the choice is taken the last call counts. Once it is
// taken, both calls throw std::logic_error and change nothing.
#pragma once

#include <string>

namespace tvsim {

// The simulator in this process, whatever TVSIM_BUS says.
void usePlatformInProcess();

// The TV service on the bus: "session" for DBUS_SESSION_BUS_ADDRESS, or a D-Bus
// address; "" is the simulator in this process, as an empty TVSIM_BUS is. A
// build without the remote platform (no sd-bus) notes a bus once on standard
// error when the choice is taken and keeps to the simulator in this process.
void usePlatformOnBus(const std::string& address);

}  // namespace tvsim
