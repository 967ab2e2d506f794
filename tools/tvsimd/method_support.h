// What the method handlers of every interface share: reading a request,
// sending a reply, and looking a model path up with one clear error.
// Bus thread only.
#pragma once

#include <tvsim/model_file.h>
#include <tvsim/simulator.h>

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

// The real type of the object at the path; UnknownPath when there is none.
lomodelapi::ObjectTypeSpec realTypeOf(const tvsim::Simulator& simulator, const std::string& path);
// The value type at the path; UnknownPath, or WrongType for an action, a table or another object.
tvsim::ValueType valueTypeAt(const tvsim::Simulator& simulator, const std::string& path);
// The value the model holds at the path; UnknownPath or WrongType as above.
tvsim::ModelValue modelValueAt(const tvsim::Simulator& simulator, const std::string& path);
// UnknownPath or WrongType unless the path holds an object of this real type.
void requireType(const tvsim::Simulator& simulator, const std::string& path, lomodelapi::ObjectTypeSpec type);
// Hands the paths to sd-bus as a node enumerator's answer; returns what the enumerator returns.
int nodeList(const std::vector<std::string>& paths, char*** nodes);

// A count for a fault: InvalidArgument when negative.
int requireCount(int count);

}  // namespace tvsimd
