// The scenario a recording gives: what clients asked, in the order they asked
// it, as expectations; what the TV's controls changed meanwhile as steps,
// each due after the request it followed.
#include <tvsim/scenario_recorder.h>

#include "model_parser.h"

#include <tvsim/record_pattern.h>

#include <algorithm>
#include <cctype>
#include <map>

namespace tvsim {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A tag a client makes afresh for each run, "ss_access_timercontrol12_3" (a word, digits, "_", digits), as the
// pattern every run's tag matches.
std::optional<std::string> tagPattern(const std::string& value) {
    const auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    const std::size_t underscore = value.rfind('_');
    if (underscore == std::string::npos || underscore + 1 == value.size() ||
        !std::all_of(value.begin() + static_cast<std::ptrdiff_t>(underscore) + 1, value.end(), isDigit)) {
        return std::nullopt;
    }
    std::size_t word = underscore;
    while (word > 0 && isDigit(value[word - 1])) {
        --word;
    }
    const bool wordChars = std::all_of(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(word), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
    });
    if (word == 0 || word == underscore || !wordChars) {
        return std::nullopt;
    }
    return value.substr(0, word) + "[0-9]+_[0-9]+";
}

// A client's request as an expectation, with its time and, for an invoke, the id it got.
struct Request {
    Clock::time_point at;
    ScenarioExpectation expectation;
    std::optional<unsigned int> actionId;
};

Request request(const ClientConnect& connect) {
    return {connect.at, {{}, {RecordPattern::Kind::Connect, connect.path, {}}, {}, {}, {}}, std::nullopt};
}

Request request(const InvokeRecord& invoke) {
    RecordPattern pattern{RecordPattern::Kind::Invoke, invoke.path, {}};
    for (const lomodelapi::Argument& argument : invoke.arguments) {
        const bool named =
            std::any_of(pattern.arguments.begin(), pattern.arguments.end(),
                        [&](const ArgumentMatcher& matcher) { return matcher.position == argument.position; });
        if (argument.position < 0 || named) {
            continue;  // a pattern names a position once, and only from 0
        }
        const std::optional<std::string> tag = tagPattern(argument.value);
        pattern.arguments.push_back(
            tag ? ArgumentMatcher{argument.position, ArgumentMatcher::Kind::Regex, *tag}
                : ArgumentMatcher{argument.position, ArgumentMatcher::Kind::Exact, argument.value});
    }
    std::sort(pattern.arguments.begin(), pattern.arguments.end(),
              [](const ArgumentMatcher& left, const ArgumentMatcher& right) { return left.position < right.position; });
    return {invoke.invokedAt, {{}, std::move(pattern), {}, {}, {}}, invoke.actionId};
}

// A value too long to be a matcher's text is expected with any value.
Request request(const WriteRecord& write) {
    RecordPattern pattern{RecordPattern::Kind::Write, write.path, {}};
    std::string text = valueText(write.value);
    if (text.size() <= kMaxMatcherBytes) {
        pattern.arguments.push_back({0, ArgumentMatcher::Kind::Exact, std::move(text)});
    }
    return {write.at, {{}, std::move(pattern), {}, {}, {}}, std::nullopt};
}

// Every request in the order it came, as many as a scenario takes; those at a path no scenario names (too long,
// with spaces) are left out.
std::vector<Request> requestsOf(const NewRecords& records) {
    std::vector<Request> requests;
    const auto add = [&](const auto& kept) {
        for (const auto& record : kept) {
            if (modelfile::isModelPath(record.path)) {
                requests.push_back(request(record));
            }
        }
    };
    add(records.connects);
    add(records.invokes);
    add(records.writes);
    std::stable_sort(requests.begin(), requests.end(),
                     [](const Request& left, const Request& right) { return left.at < right.at; });
    requests.resize(std::min(requests.size(), kMaxScenarioExpectations));
    return requests;
}

// The sequence of a path's requests: the path itself when it is short enough to be a name.
std::string sequenceName(const std::string& path, std::map<std::string, std::string>& names) {
    auto [name, added] = names.emplace(path, path);
    if (added && path.size() > kMaxScenarioIdBytes) {
        name->second = "path-" + std::to_string(names.size());
    }
    return name->second;
}

milliseconds between(Clock::time_point from, Clock::time_point to) {
    return std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(to - from));
}

}  // namespace

Scenario recordedScenario(const ScenarioTv& tv, Clock::time_point start,
                          const std::vector<JournalingTvControl::Entry>& journal, const NewRecords& records,
                          milliseconds duration) {
    Scenario scenario;
    scenario.name = "recorded";
    scenario.tv = tv;
    // Room for a replay that runs slower than the recording; a replay that goes as recorded ends sooner.
    scenario.timeLimit = std::clamp(duration * 2, kDefaultScenarioTimeLimit, kMaxScenarioTimeLimit);
    std::vector<Request> requests = requestsOf(records);
    std::map<std::string, std::string> sequences;
    for (Request& request : requests) {
        request.expectation.sequence = sequenceName(request.expectation.pattern.path, sequences);
    }
    // The id of a request's expectation, given once a step refers to it.
    const auto idOf = [&](std::size_t index) {
        std::string& id = requests[index].expectation.id;
        id = "request-" + std::to_string(index + 1);
        return id;
    };
    // An outcome for an invoke the recording holds answers the invoke that meets its expectation in a replay.
    const auto answered = [&](const std::string& path, ScenarioActionId& actionId) {
        for (std::size_t index = 0; index < requests.size(); ++index) {
            if (requests[index].actionId == actionId.number && requests[index].expectation.pattern.path == path) {
                actionId.expectation = idOf(index);
                return;
            }
        }
    };
    for (const JournalingTvControl::Entry& entry : journal) {
        if (scenario.steps.size() == kMaxScenarioSteps) {
            break;
        }
        ScenarioStep step = entry.step;
        const auto after =
            std::lower_bound(requests.begin(), requests.end(), entry.at,
                             [](const Request& request, Clock::time_point at) { return request.at < at; });
        if (after == requests.begin()) {
            step.at = between(start, entry.at);
        } else {
            step.after = idOf(static_cast<std::size_t>(after - requests.begin()) - 1);
            step.at = between((after - 1)->at, entry.at);
        }
        if (auto* result = std::get_if<EmitResultStep>(&step.action)) {
            answered(result->path, result->actionId);
        } else if (auto* failure = std::get_if<EmitFailureStep>(&step.action)) {
            answered(failure->path, failure->actionId);
        }
        scenario.steps.push_back(std::move(step));
    }
    for (Request& request : requests) {
        scenario.expectations.push_back(std::move(request.expectation));
    }
    return scenario;
}

}  // namespace tvsim
