// What the method handlers of every interface share: reading a request,
// sending a reply, and looking a model path up with one clear error.
// Bus thread only.
#pragma once

#include <tvsim/simulator.h>
#include <tvsim/tv_control.h>

#include <systemd/sd-bus.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tvsimd {

// The flags of a property whose changes reach clients as their connections'
// own signals, never as PropertiesChanged (introspection says so).
constexpr std::uint64_t kPropertyWithoutChangeSignal = 0;

std::string readString(sd_bus_message* message);
// A string that names a model path: InvalidArgument beyond the TV's bound (tvsim/input_limits.h).
std::string readModelPath(sd_bus_message* message);
int readInt(sd_bus_message* message);
std::uint64_t readId(sd_bus_message* message);
std::string senderOf(sd_bus_message* message);

// Sends the method return with what append adds; returns what a handler
// returns. When sd-bus refuses to append or to send it, the caller gets an
// error reply instead (handleMethod, or sd-bus for a failing send).
int reply(sd_bus_message* call, const std::function<void(sd_bus_message*)>& append);
// Answers a call kept for later (a wait's reply) as a method handler would have: what the reply
// throws becomes the call's error reply (handleMethod's mapping).
void replyKeptCall(sd_bus_message* call, const std::function<int()>& reply);

// D-Bus carries at most 64 MiB in one array, and the bus daemon drops a
// connection that sends more, though sd-bus builds such a message. A reply
// whose array grows with what clients did (records, a model's list) adds up
// its elements first (tvsim::sizeOf counts as a message does, at most) and
// answers org.freedesktop.DBus.Error.LimitsExceeded beyond kMaxReplyArrayBytes.
constexpr std::size_t kMaxReplyArrayBytes = std::size_t{60} << 20;  // leaves room for the rest of the message

class ReplyArraySize {
public:
    explicit ReplyArraySize(const char* what) : m_what(what) {}
    void add(std::size_t bytes);  // throws the BusError beyond the bound

private:
    const char* m_what;
    std::size_t m_bytes = 0;
    std::size_t m_count = 0;
};
int replyEmpty(sd_bus_message* call);
// Replies one string, `what` (for the error): LimitsExceeded instead when it does not fit one message.
int replyText(sd_bus_message* call, const char* what, const std::string& text);
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
