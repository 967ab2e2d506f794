// Every SourceSwitchAccess operation by name, for the source command, watch
// steps and the demo; and the report of one run: the call, what it sent to the
// source-switch action, its result, and what the simulated TV holds afterwards.
#pragma once

#include "session.h"

#include <system_access/source_switch_access.h>

#include <functional>
#include <string>
#include <vector>

namespace sactl {

struct SourceOperation {
    const char* name;
    std::vector<const char*> parameters;  // TYPE, N, CHANNEL, FOLDER, URI, FORCE
    const char* description;
    // Parses the parameters (bad text is a CommandError) and runs the operation.
    std::function<nlohmann::json(velmora::system::access::SourceSwitchAccess&, const std::vector<std::string>&)> run;
};

const std::vector<SourceOperation>& sourceOperations();
// How each parameter name is written on the command line.
std::string describeSourceParameter(const std::string& parameter);

// NOLINTNEXTLINE(bugprone-exception-escape): its moves are nlohmann::json's, noexcept; the check cannot see it.
struct SourceReport {
    std::string call;       // "setChannelByURI(\"dvb://1.1.105\", true)"
    nlohmann::json result;  // the operation's bool, or setQuietFlag's status
    bool ok = false;
    std::string failure;  // why it failed, when not ok: "the TV answered failure code 106 (no such channel)"
    std::vector<std::vector<lomodelapi::Argument>> sent;  // the argument list of each invocation it made
    nlohmann::json tv;                                    // what the simulated TV holds afterwards
    std::string tvText;
};

// Runs the operation through SourceSwitchAccess; an unknown name or bad
// parameter text is a CommandError, a failed operation is a report that is not ok.
// When the TV cannot be asked afterwards what the operation sent and what it
// holds now, the result line is printed and the reason is a CommandError.
SourceReport runSourceOperation(Session& session, const std::string& name, const std::vector<std::string>& arguments);
void printSourceReport(const Session& session, const SourceReport& report);

}  // namespace sactl
