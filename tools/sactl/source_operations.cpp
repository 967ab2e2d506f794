#include "source_operations.h"

#include "actions.h"
#include "values.h"

#include <tvsim/model_value_json.h>
#include <tvsim/source_switch.h>

#include <algorithm>
#include <map>

namespace sactl {
namespace {

namespace access = velmora::system::access;
using Access = access::SourceSwitchAccess;

constexpr const char* kNoBannerPath = "orvik.sl2.i32.tvservice.no-banner";

int parseInteger(const std::string& parameter, const std::string& text) {
    try {
        return std::get<int>(parseValueText(tvsim::ValueType::INTEGER, text));
    } catch (const std::invalid_argument& error) {
        throw CommandError("bad " + parameter + " '" + text + "': " + error.what());
    }
}

Access::_ResourceType parseResourceType(const std::string& text) {
    static const std::map<std::string, Access::_ResourceType> kNames = {
        {"video", Access::RESOURCE_TYPE_VIDEO},
        {"av", Access::RESOURCE_TYPE_AV},
        {"psi", Access::RESOURCE_TYPE_PSI},
        {"psi-av", Access::RESOURCE_TYPE_PSI_AV},
    };
    auto found = kNames.find(text);
    return found != kNames.end() ? found->second : static_cast<Access::_ResourceType>(parseInteger("TYPE", text));
}

bool parseFlag(const std::string& text) {
    if (text == "1" || text == "true") {
        return true;
    }
    if (text == "0" || text == "false") {
        return false;
    }
    throw CommandError("bad FORCE '" + text + "': give 1, 0, true or false");
}

using ResourceCall = bool (Access::*)(Access::_ResourceType);
using PlainCall = bool (Access::*)();

SourceOperation resourceOperation(const char* name, ResourceCall call, const char* description) {
    return {name, {"TYPE"}, description, [call](Access& service, const std::vector<std::string>& arguments) {
                return nlohmann::json((service.*call)(parseResourceType(arguments[0])));
            }};
}

SourceOperation plainOperation(const char* name, PlainCall call, const char* description) {
    return {name, {}, description, [call](Access& service, const std::vector<std::string>&) {
                return nlohmann::json((service.*call)());
            }};
}

const char* holderName(tvsim::ResourceHolder holder) {
    return holder == tvsim::ResourceHolder::WEB_ENGINE ? "web-engine" : "system";
}

std::string failureReason(int code) {
    switch (code) {
        case tvsim::SourceSwitchResponder::FAILURE_MISSING_TAG:
            return "no request tag";
        case tvsim::SourceSwitchResponder::FAILURE_UNKNOWN_COMMAND:
            return "unknown command";
        case tvsim::SourceSwitchResponder::FAILURE_NOT_HBBTV:
            return "not an hbbtv request";
        case tvsim::SourceSwitchResponder::FAILURE_BAD_ARGUMENTS:
            return "bad arguments for the command";
        case tvsim::SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE:
            return "unknown resource type";
        case tvsim::SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL:
            return "no such channel";
        default:
            return "a failure the simulated TV does not explain";
    }
}

bool isTextParameter(const std::string& parameter) {
    return parameter == "CHANNEL" || parameter == "FOLDER" || parameter == "URI";
}

// The call as C++ would read, the string parameters quoted.
std::string callText(const SourceOperation& operation, const std::vector<std::string>& arguments) {
    std::string text = std::string(operation.name) + "(";
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        text +=
            (index == 0 ? "" : ", ") + (isTextParameter(operation.parameters[index]) ? jsonText(argument) : argument);
    }
    return text + ")";
}

// What the source-switch responder and the no-banner value hold now. The
// value is read through the library like any client would.
void describeTv(Session& session, SourceReport& report) {
    report.tv = nlohmann::json::object();
    const bool hasSwitch = session.has(tvsim::kSourceSwitchPath);
    if (const std::optional<tvsim::SourceSwitchState> tv =
            hasSwitch ? session.tv().sourceSwitch(tvsim::kSourceSwitchPath) : std::nullopt) {
        const tvsim::Channel& channel = tv->channel;
        report.tv = {
            {"video", holderName(tv->video)},
            {"audio", holderName(tv->audio)},
            {"psi", holderName(tv->psi)},
            {"playback-status", tv->playbackStatus},
            {"channel",
             {{"index", tv->channelIndex}, {"uuid", channel.uuid}, {"uri", channel.uri}, {"name", channel.name}}}};
        report.tvText = std::string("video=") + holderName(tv->video) + " audio=" + holderName(tv->audio) +
                        " psi=" + holderName(tv->psi) + " playback-status=" + std::to_string(tv->playbackStatus) +
                        " channel-index=" + std::to_string(tv->channelIndex) + " " + jsonText(channel.name) + " " +
                        channel.uri;
    }
    if (session.has(kNoBannerPath)) {
        const tvsim::ModelValue noBanner = readValue(session, kNoBannerPath);
        report.tv["no-banner"] = tvsim::valueToJson(noBanner);
        report.tvText += (report.tvText.empty() ? "" : " ") + std::string("no-banner=") + formatValueText(noBanner);
    }
}

std::string explainFailure(Session& session, const SourceReport& report) {
    if (report.sent.empty() && !session.has(tvsim::kSourceSwitchPath)) {
        return "the model has no action '" + std::string(tvsim::kSourceSwitchPath) + "'";
    }
    if (!report.sent.empty() && session.has(tvsim::kSourceSwitchPath)) {
        const std::optional<tvsim::SourceSwitchState> tv = session.tv().sourceSwitch(tvsim::kSourceSwitchPath);
        if (tv && tv->lastFailure != 0) {
            return "the TV answered failure code " + std::to_string(tv->lastFailure) + " (" +
                   failureReason(tv->lastFailure) + ")";
        }
    }
    return "the platform reported a failure or no outcome within " + std::to_string(session.timeoutMs()) + " ms";
}

}  // namespace

const std::vector<SourceOperation>& sourceOperations() {
    static const std::vector<SourceOperation> kOperations = {
        resourceOperation("requestResourceFromSystem", &Access::requestResourceFromSystem,
                          "take resources from the system (command 2)"),
        resourceOperation("releaseResourceToSystem", &Access::releaseResourceToSystem,
                          "hand resources back to the system (command 3)"),
        resourceOperation("changeDTVPlaybackStatus", &Access::changeDTVPlaybackStatus,
                          "change the DTV playback status (command 11)"),
        plainOperation("pausePSIAV", &Access::pausePSIAV, "forget PSI, AV and video (sends nothing)"),
        plainOperation("pausePSI", &Access::pausePSI, "take PSI"),
        plainOperation("pauseAV", &Access::pauseAV, "take audio and video"),
        plainOperation("pauseVideo", &Access::pauseVideo, "send the playback status, video paused"),
        plainOperation("resumePSI", &Access::resumePSI, "hand PSI back"),
        plainOperation("resumeAV", &Access::resumeAV, "hand audio and video back"),
        plainOperation("resumePSIAV", &Access::resumePSIAV, "hand PSI, audio and video back"),
        plainOperation("resumeVideo", &Access::resumeVideo, "send the playback status, video resumed"),
        {"setQuietFlag",
         {"N"},
         "write the no-banner value (answers the write's status)",
         [](Access& service, const std::vector<std::string>& arguments) {
             return nlohmann::json(service.setQuietFlag(parseInteger("N", arguments[0])));
         }},
        plainOperation("setChannelPrev", &Access::setChannelPrev, "one channel down the list"),
        plainOperation("setChannelNext", &Access::setChannelNext, "one channel up the list"),
        {"setChannelByUUIDs",
         {"CHANNEL", "FOLDER", "FORCE"},
         "the channel with this UUID in the folder with this UUID",
         [](Access& service, const std::vector<std::string>& arguments) {
             return nlohmann::json(service.setChannelByUUIDs(arguments[0], arguments[1], parseFlag(arguments[2])));
         }},
        {"setChannelByURI",
         {"URI", "FORCE"},
         "the channel with this URI",
         [](Access& service, const std::vector<std::string>& arguments) {
             return nlohmann::json(service.setChannelByURI(arguments[0], parseFlag(arguments[1])));
         }},
    };
    return kOperations;
}

std::string describeSourceParameter(const std::string& parameter) {
    static const std::map<std::string, std::string> kDescriptions = {
        {"TYPE", "resource type: video, av, psi, psi-av or a number"},
        {"N", "the no-banner value, an integer"},
        {"CHANNEL", "the channel's UUID"},
        {"FOLDER", "the folder's UUID"},
        {"URI", "the channel's URI"},
        {"FORCE", "force showing AV: 1, 0, true or false"},
    };
    return kDescriptions.at(parameter);
}

SourceReport runSourceOperation(Session& session, const std::string& name, const std::vector<std::string>& arguments) {
    const std::vector<SourceOperation>& operations = sourceOperations();
    auto operation = std::find_if(operations.begin(), operations.end(),
                                  [&](const SourceOperation& candidate) { return name == candidate.name; });
    if (operation == operations.end()) {
        throw CommandError("unknown source operation '" + name + "' (sactl source --help lists them)");
    }
    if (arguments.size() != operation->parameters.size()) {
        throw CommandError(name + " takes " + std::to_string(operation->parameters.size()) + " arguments, not " +
                           std::to_string(arguments.size()));
    }
    Access* service = Access::getInstance();
    service->setResultTimeout(session.timeoutMs());
    // Counted with the dropped ones: at the service's record limit the list keeps its length while it moves on.
    const std::uint64_t invokesBefore = session.tv().droppedRecords().invokes + session.tv().invokes().size();

    SourceReport report;
    report.call = callText(*operation, arguments);
    report.result = operation->run(*service, arguments);
    report.ok = report.result.is_boolean() ? report.result.get<bool>() : report.result.get<int>() == 0;
    try {
        const std::vector<tvsim::InvokeRecord> invokes = session.tv().invokes();
        const std::uint64_t droppedSince = session.tv().droppedRecords().invokes;
        for (std::size_t index = invokesBefore > droppedSince ? invokesBefore - droppedSince : 0;
             index < invokes.size(); ++index) {
            if (invokes[index].path == tvsim::kSourceSwitchPath) {
                report.sent.push_back(invokes[index].arguments);
            }
        }
        if (!report.ok) {
            report.failure = explainFailure(session, report);
        }
        describeTv(session, report);
    } catch (const std::exception& error) {
        // The TV could not be asked what happened (the service went away, say):
        // the result is known all the same, and printed before the reason.
        session.out().result(report.call + " -> " + jsonText(report.result),
                             {{"call", report.call}, {"result", report.result}, {"ok", report.ok}});
        throw CommandError(error.what());
    }
    return report;
}

void printSourceReport(const Session& session, const SourceReport& report) {
    nlohmann::json sent = nlohmann::json::array();
    std::string text = report.call + " -> " + jsonText(report.result);
    for (const std::vector<lomodelapi::Argument>& arguments : report.sent) {
        sent.push_back(argumentsToJson(arguments));
        text += "\n  sent: " + formatArguments(arguments);
    }
    if (report.sent.empty()) {
        text += "\n  sent: nothing (no action invoked)";
    }
    if (!report.ok) {
        text += "\n  failed: " + report.failure;
    }
    text += "\n  TV now: " + report.tvText;
    session.out().result(text, {{"call", report.call},
                                {"result", report.result},
                                {"ok", report.ok},
                                {"failure", report.failure},
                                {"sent", sent},
                                {"tv", report.tv}});
}

}  // namespace sactl
