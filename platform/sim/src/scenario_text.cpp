// Writing a scenario as its file: the keys in the order docs/scenarios.md
// gives them, defaults left out where the file may leave them out, so that a
// recorded scenario reads as one written by hand.
#include <tvsim/scenario_file.h>

#include <nlohmann/json.hpp>

#include <limits>

namespace tvsim {
namespace {

using Json = nlohmann::ordered_json;

Json argumentsJson(const std::vector<lomodelapi::Argument>& arguments) {
    bool inOrder = true;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        inOrder = inOrder && arguments[index].position == static_cast<int>(index);
    }
    Json json = inOrder ? Json::array() : Json::object();
    for (const lomodelapi::Argument& argument : arguments) {
        if (inOrder) {
            json.push_back(argument.value);
        } else {
            json[std::to_string(argument.position)] = argument.value;
        }
    }
    return json;
}

Json replyJson(const Reply& reply) {
    Json json = Json::object();
    switch (reply.kind) {
        case Reply::Kind::Results:
            if (!reply.results.empty()) {
                json["results"] = argumentsJson(reply.results);
            }
            break;
        case Reply::Kind::Failure:
            json["error"] = reply.error;
            break;
        case Reply::Kind::NoReply:
            json["no-reply"] = true;
            break;
    }
    if (reply.delay.count() != 0) {
        json["delay-ms"] = reply.delay.count();
    }
    if (reply.copies != 1) {
        json["copies"] = reply.copies;
    }
    if (reply.beforeInvokeReturns) {
        json["before-invoke-returns"] = true;
    }
    return json;
}

// A written value's text form as the value it is the text of, when reading that value back gives the same
// text: 30 rather than "30", [1,2] rather than "[1,2]".
Json writtenValueJson(const std::string& text) {
    Json value = Json::parse(text, nullptr, false);
    const auto isInt64 = [](const Json& json) {
        return json.is_number_integer() &&
               (!json.is_number_unsigned() ||
                json.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<long long>::max()));
    };
    bool valueText = isInt64(value);
    if (value.is_array()) {
        valueText = std::all_of(value.begin(), value.end(), [&](const Json& element) {
            return value.front().is_string() ? element.is_string() : isInt64(element);
        });
    }
    if (valueText && value.dump(-1, ' ', false, Json::error_handler_t::replace) == text) {
        return value;
    }
    return text;
}

Json matcherJson(const ArgumentMatcher& matcher, bool writtenValue) {
    switch (matcher.kind) {
        case ArgumentMatcher::Kind::Any:
            return Json{{"any", true}};
        case ArgumentMatcher::Kind::Regex:
            return Json{{"regex", matcher.text}};
        case ArgumentMatcher::Kind::Exact:
            break;
    }
    return writtenValue ? writtenValueJson(matcher.text) : Json(matcher.text);
}

Json actionIdJson(const ScenarioActionId& id) {
    return id.expectation.empty() ? Json(id.number) : Json(id.expectation);
}

Json faultJson(const FaultStep& fault) {
    Json json{{"kind", scenarioFaultName(fault.kind)}, {"path", fault.path}};
    if (scenarioFaultHasCount(fault.kind)) {
        json["count"] = fault.count;
    }
    if (scenarioFaultHasStatus(fault.kind)) {
        json["status"] = fault.status;
    }
    if (fault.kind == ScenarioFaultKind::ReportType) {
        const std::optional<lomodelapi::ObjectTypeSpec> named = objectTypeNamed(objectTypeName(fault.type));
        json["type"] = named == fault.type ? Json(objectTypeName(fault.type)) : Json(static_cast<int>(fault.type));
    }
    return json;
}

// The action's key and its object.
std::pair<const char*, Json> actionJson(const ScenarioAction& action) {
    struct Visitor {
        std::pair<const char*, Json> operator()(const SetValueStep& step) const {
            return {"set-value", Json{{"path", step.path}, {"value", Json::parse(step.value)}}};
        }
        std::pair<const char*, Json> operator()(const SetRowsStep& step) const {
            return {"set-rows", Json{{"path", step.path}, {"rows", step.rows}}};
        }
        std::pair<const char*, Json> operator()(const SetReplyStep& step) const {
            return {"set-reply", Json{{"path", step.path}, {"reply", replyJson(step.reply)}}};
        }
        std::pair<const char*, Json> operator()(const ResetReplyStep& step) const {
            return {"reset-reply", Json{{"path", step.path}}};
        }
        std::pair<const char*, Json> operator()(const FaultStep& step) const { return {"fault", faultJson(step)}; }
        std::pair<const char*, Json> operator()(const ClearFaultsStep& step) const {
            return {"clear-faults", Json{{"path", step.path}}};
        }
        std::pair<const char*, Json> operator()(const EmitResultStep& step) const {
            return {"emit-result", Json{{"path", step.path},
                                        {"action-id", actionIdJson(step.actionId)},
                                        {"results", argumentsJson(step.results)}}};
        }
        std::pair<const char*, Json> operator()(const EmitFailureStep& step) const {
            return {"emit-failure",
                    Json{{"path", step.path}, {"action-id", actionIdJson(step.actionId)}, {"error", step.error}}};
        }
        std::pair<const char*, Json> operator()(const PlatformAwayStep& step) const {
            return {"platform-away", Json{{"for-ms", step.away.count()}}};
        }
        std::pair<const char*, Json> operator()(const WaitStep& step) const {
            return {"wait", Json{{"ms", step.duration.count()}}};
        }
    };
    return std::visit(Visitor{}, action);
}

Json stepJson(const ScenarioStep& step) {
    Json json = Json::object();
    if (!step.id.empty()) {
        json["id"] = step.id;
    }
    if (step.after.empty()) {
        json["at-ms"] = step.at.count();
    } else {
        json["after"] = step.after;
        if (step.at.count() != 0) {
            json["delay-ms"] = step.at.count();
        }
    }
    auto [key, action] = actionJson(step.action);
    json[key] = std::move(action);
    return json;
}

Json patternJson(const RecordPattern& pattern) {
    Json json{{"path", pattern.path}};
    if (pattern.kind == RecordPattern::Kind::Write) {
        if (!pattern.arguments.empty()) {
            json["value"] = matcherJson(pattern.arguments.front(), true);
        }
    } else if (!pattern.arguments.empty()) {
        Json arguments = Json::object();
        for (const ArgumentMatcher& matcher : pattern.arguments) {
            arguments[std::to_string(matcher.position)] = matcherJson(matcher, false);
        }
        json["arguments"] = std::move(arguments);
    }
    return json;
}

Json expectationJson(const ScenarioExpectation& expectation) {
    Json json = Json::object();
    if (!expectation.id.empty()) {
        json["id"] = expectation.id;
    }
    json[recordKindName(expectation.pattern.kind)] = patternJson(expectation.pattern);
    const ScenarioWindow& window = expectation.window;
    Json windowJson = Json::object();
    if (!window.after.empty()) {
        windowJson["after"] = window.after;
    }
    if (window.from.count() != 0) {
        windowJson["from-ms"] = window.from.count();
    }
    if (window.to) {
        windowJson["to-ms"] = window.to->count();
    }
    if (!windowJson.empty()) {
        json["window"] = std::move(windowJson);
    }
    if (!expectation.sequence.empty()) {
        json["sequence"] = expectation.sequence;
    }
    if (!expectation.group.empty()) {
        json["group"] = expectation.group;
    }
    return json;
}

}  // namespace

std::string scenarioText(const Scenario& scenario) {
    Json json{{"name", scenario.name}};
    switch (scenario.tv.kind) {
        case ScenarioTv::Kind::Default:
            break;
        case ScenarioTv::Kind::File:
            json["tv"] = Json{{"model", scenario.tv.file}};
            break;
        case ScenarioTv::Kind::Content:
            json["tv"] = Json{{"content", Json::parse(scenario.tv.content)}};
            break;
    }
    json["time-limit-ms"] = scenario.timeLimit.count();
    json["client-must-succeed"] = scenario.clientMustSucceed;
    json["steps"] = Json::array();
    for (const ScenarioStep& step : scenario.steps) {
        json["steps"].push_back(stepJson(step));
    }
    json["expectations"] = Json::array();
    for (const ScenarioExpectation& expectation : scenario.expectations) {
        json["expectations"].push_back(expectationJson(expectation));
    }
    if (!scenario.nothingElse.empty()) {
        json["nothing-else"] = scenario.nothingElse;
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tvsim
