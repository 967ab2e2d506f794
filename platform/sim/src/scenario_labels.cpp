// The names a play's report gives steps, expectations and records.
#include "scenario_labels.h"

#include <tvsim/record_pattern.h>

namespace tvsim {
namespace {

std::string cut(std::string text) {
    if (text.size() <= kMaxReportTextBytes) {
        return text;
    }
    std::size_t end = kMaxReportTextBytes - 3;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;  // a UTF-8 continuation byte: cut before its character
    }
    return text.substr(0, end) + "...";
}

std::string numbered(const char* what, std::size_t index, const std::string& id) {
    return std::string(what) + " " + std::to_string(index + 1) + (id.empty() ? "" : " (" + id + ")");
}

std::string actionIdText(const ScenarioActionId& id) {
    return id.expectation.empty() ? std::to_string(id.number) : "of '" + id.expectation + "'";
}

struct StepAction {
    std::string operator()(const SetValueStep& step) const { return "set-value " + step.path + " = " + step.value; }
    std::string operator()(const SetRowsStep& step) const {
        return "set-rows " + step.path + " (" + std::to_string(step.rows.size()) + " rows)";
    }
    std::string operator()(const SetReplyStep& step) const { return "set-reply " + step.path; }
    std::string operator()(const ResetReplyStep& step) const { return "reset-reply " + step.path; }
    std::string operator()(const FaultStep& step) const {
        return std::string("fault ") + scenarioFaultName(step.kind) + " " + step.path;
    }
    std::string operator()(const ClearFaultsStep& step) const { return "clear-faults " + step.path; }
    std::string operator()(const EmitResultStep& step) const {
        return "emit-result " + step.path + " id " + actionIdText(step.actionId);
    }
    std::string operator()(const EmitFailureStep& step) const {
        return "emit-failure " + step.path + " id " + actionIdText(step.actionId) + " error " +
               std::to_string(step.error);
    }
    std::string operator()(const PlatformAwayStep& step) const {
        return "platform-away " + std::to_string(step.away.count()) + " ms";
    }
    std::string operator()(const WaitStep& step) const {
        return "wait " + std::to_string(step.duration.count()) + " ms";
    }
};

// As sactl's record waits take a matcher: POS=VALUE, POS=* or POS~REGEX.
std::string matcherText(const ArgumentMatcher& matcher, const std::string& position) {
    switch (matcher.kind) {
        case ArgumentMatcher::Kind::Any:
            return position + "=*";
        case ArgumentMatcher::Kind::Regex:
            return position + "~" + matcher.text;
        case ArgumentMatcher::Kind::Exact:
            break;
    }
    return position + "=" + matcher.text;
}

std::string statusText(int status) {
    return status == 0 ? "" : " (status " + std::to_string(status) + ")";
}

struct RecordText {
    std::string operator()(const ClientConnect& connect) const {
        return "connect #" + std::to_string(connect.sequence + 1) + " " + connect.path + statusText(connect.status);
    }
    std::string operator()(const InvokeRecord& invoke) const {
        std::string arguments;
        for (const lomodelapi::Argument& argument : invoke.arguments) {
            arguments += (arguments.empty() ? "" : ", ") + argument.value;
        }
        return "invoke #" + std::to_string(invoke.sequence + 1) + " " + invoke.path + " [" + arguments + "]" +
               statusText(invoke.status);
    }
    std::string operator()(const WriteRecord& write) const {
        return "write #" + std::to_string(write.sequence + 1) + " " + write.path + " = " + valueText(write.value);
    }
};

}  // namespace

std::string stepLabel(const ScenarioStep& step, std::size_t index) {
    return cut(numbered("step", index, step.id) + ": " + std::visit(StepAction{}, step.action));
}

std::string expectationLabel(const ScenarioExpectation& expectation, std::size_t index) {
    const RecordPattern& pattern = expectation.pattern;
    std::string label =
        numbered("expectation", index, expectation.id) + ": " + recordKindName(pattern.kind) + " " + pattern.path;
    for (const ArgumentMatcher& matcher : pattern.arguments) {
        label +=
            " " + matcherText(matcher, pattern.kind == RecordPattern::Kind::Write ? std::string("value")
                                                                                  : std::to_string(matcher.position));
    }
    return cut(label);
}

std::string expectationName(const std::vector<ScenarioExpectation>& expectations, std::size_t index) {
    const std::string& id = expectations[index].id;
    return id.empty() ? "expectation " + std::to_string(index + 1) : "'" + id + "'";
}

std::string recordText(const std::variant<ClientConnect, InvokeRecord, WriteRecord>& record) {
    return cut(std::visit(RecordText{}, record));
}

}  // namespace tvsim
