// Invoking a model action through ActionAccess and waiting for its outcome.
#pragma once

#include "session.h"

#include <system_access/action_access.h>

#include <lomodelapi/argument.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sactl {

struct ActionOutcome {
    unsigned int actionId = 0;
    bool failed = false;
    int error = 0;                     // when failed
    std::vector<std::string> results;  // when not failed, in position order
};

// Arguments given as "position=value"; bad text is a CommandError.
std::vector<lomodelapi::Argument> parseArguments(const std::vector<std::string>& texts);
// "[0]=tag [1]=8 [2]=hbbtv", and the JSON list of {"position", "value"}.
std::string formatArguments(const std::vector<lomodelapi::Argument>& arguments);
nlohmann::json argumentsToJson(const std::vector<lomodelapi::Argument>& arguments);

// One connected action accessor whose handler keeps every outcome by action id.
class ActionCaller {
public:
    ActionCaller(Session& session, const std::string& path);
    ~ActionCaller();

    ActionCaller(const ActionCaller&) = delete;
    ActionCaller& operator=(const ActionCaller&) = delete;

    // Invokes and waits up to the session's time-out; a refused invoke or a
    // missing outcome is a CommandError. A failure reported by the platform is an outcome.
    ActionOutcome call(const std::vector<lomodelapi::Argument>& arguments);

    class Collector;

private:
    Session& m_session;
    std::string m_path;
    std::shared_ptr<Collector> m_collector;
    velmora::system::access::ActionAccess m_access;
};

}  // namespace sactl
