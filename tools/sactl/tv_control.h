// The simulated TV as sactl drives it from the platform's side: its model,
// faults, responders and records. Two implementations: the simulator in this
// process (local_tv_control.h) and the TV service, tvsimd, over D-Bus
// (bus_tv_control.h). Either reports what the TV refuses (an unknown path, a
// bad argument, a D-Bus error) as a CommandError of one line. Called from
// sactl's main thread only.
#pragma once

#include <tvsim/call_records.h>
#include <tvsim/model_control.h>
#include <tvsim/model_file.h>
#include <tvsim/source_switch.h>

#include <optional>
#include <string>
#include <vector>

namespace sactl {

// A connect a client made, as either host can tell it.
struct ConnectRecord {
    std::string path;
    std::string client;  // the TV service's name for the client's connection; "" in process
    int status = 0;
    bool object = false;  // whether an object was handed out
};

// What a source-switch responder holds now, as either host can tell it.
struct SourceSwitchState {
    tvsim::ResourceHolder video = tvsim::ResourceHolder::SYSTEM;
    tvsim::ResourceHolder audio = tvsim::ResourceHolder::SYSTEM;
    tvsim::ResourceHolder psi = tvsim::ResourceHolder::SYSTEM;
    int playbackStatus = 0;
    int channelIndex = -1;
    tvsim::Channel channel;
    int lastFailure = 0;  // the failure code the last request got; 0 when it succeeded or none came
};

class TvControl {
public:
    virtual ~TvControl() = default;

    // ---- The model ----
    virtual std::vector<tvsim::ModelEntry> list(const std::string& prefix) = 0;  // sorted by path
    virtual std::vector<std::string> columns(const std::string& table) = 0;
    virtual void setValue(const std::string& path, const tvsim::ModelValue& value) = 0;  // platform-originated
    virtual void flush() = 0;  // until every notification queued so far is delivered
    // The state of the source-switch responder answering the action; nullopt when none does.
    virtual std::optional<SourceSwitchState> sourceSwitch(const std::string& action) = 0;

    // ---- Faults: the next `count` operations on the path fail ----
    virtual void failNextConnects(const std::string& path, int count, int status) = 0;  // status != 0
    virtual void nullObjectOnNextConnects(const std::string& path, int count) = 0;
    virtual void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) = 0;
    virtual void failGetter(const std::string& path, int status) = 0;  // 0 heals
    virtual void refuseNextInvokes(const std::string& path, int count, int status) = 0;
    virtual void failNextCreateIterators(const std::string& path, int count) = 0;

    // ---- Responders ----
    virtual void setReply(const std::string& path, const tvsim::Reply& reply) = 0;  // for every invoke from now on
    virtual void resetReply(const std::string& path) = 0;                           // back to the action's own answer

    // ---- Records ----
    virtual std::vector<ConnectRecord> connects() = 0;
    virtual std::vector<tvsim::InvokeRecord> invokes() = 0;
    virtual void clearRecords() = 0;
};

}  // namespace sactl
