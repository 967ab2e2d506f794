// The seam's second host: the TV service (tvsimd) reached over D-Bus, built
// from platform/remote where sd-bus is available, and chosen at run time by
// the environment variable TVSIM_BUS (docs/simulator.md):
//   unset or empty  the in-process simulator;
//   "session"       the TV service on DBUS_SESSION_BUS_ADDRESS;
//   anything else   the TV service on that bus address.
#pragma once

#include <frame/process.h>

#include <boost/shared_ptr.hpp>
#include <string>

namespace tvsim::remote {

// Whether TVSIM_BUS selects the TV service. Read once, at the first call; any thread.
bool selected();

// frame::Process::getInterfaceReference answered by the TV service.
int getInterfaceReference(boost::shared_ptr<frame::Interface>& reference, const std::string& name);

}  // namespace tvsim::remote
