// The seam between the simulator's process framework and its second host: the
// TV service (tvsimd) reached over D-Bus. Built from platform/remote where
// sd-bus is available; elsewhere built() is false and the process framework
// makes no other call here.
#pragma once

#include <frame/process.h>

#include <boost/shared_ptr.hpp>
#include <string>

namespace tvsim::remote {

// Whether this build has the remote platform.
bool built();

// frame::Process::getInterfaceReference answered by the TV service on the bus:
// "session" (DBUS_SESSION_BUS_ADDRESS) or a D-Bus address. The bus of the first
// call serves the process from then on: the process framework chooses one host
// for the process's life and passes the same bus every time. Any thread.
int getInterfaceReference(const std::string& bus, boost::shared_ptr<frame::Interface>& reference,
                          const std::string& name);

// tvsim::flushServiceNotifications against the TV service on that bus.
bool flushNotifications(const std::string& bus);

}  // namespace tvsim::remote
