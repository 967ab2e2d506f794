// What the method handlers of every interface share: reading a request,
// sending a reply, and looking a model path up with one clear error.
// Bus thread only.
#pragma once

#include <tvsim/simulator.h>
#include <tvsim/tv_control.h>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tvsimd {

// The flags of a property whose changes reach clients as their connections'
// own signals, never as PropertiesChanged (introspection says so).
constexpr std::uint64_t kPropertyWithoutChangeSignal = 0;

std::string readString(sd_bus_message* message);
int readInt(sd_bus_message* message);
std::uint64_t readId(sd_bus_message* message);
std::string senderOf(sd_bus_message* message);

// Sends the method return with what append adds; returns what a handler returns.
int reply(sd_bus_message* call, const std::function<void(sd_bus_message*)>& append);
int replyEmpty(sd_bus_message* call);
int replyStatus(sd_bus_message* call, int status);

// The type of the object at the path; OBJECT_TYPE_NONE when there is none.
lomodelapi::ObjectTypeSpec typeOrNone(const tvsim::Simulator& simulator, const std::string& path);
// Hands the paths to sd-bus as a node enumerator's answer; returns what the enumerator returns.
int nodeList(const std::vector<std::string>& paths, char*** nodes);

// The TV's controls behind the userdata of an interface that needs nothing else.
inline tvsim::TvControl& controlOf(void* userdata) {
    return *static_cast<tvsim::TvControl*>(userdata);
}

}  // namespace tvsimd
