// The host the process framework hands the platform calls to, as chosen
// through tvsim/platform_choice.h or TVSIM_BUS.
#pragma once

#include <string>

namespace tvsim {

// The TV service's bus ("session" or an address), or "" for the simulator in
// this process. The first call takes the choice; every later one answers the
// same. Any thread.
std::string chosenBus();

}  // namespace tvsim
