// A play's report in its forms: lines for people, JUnit XML for CI, JSON for
// the bus and the dashboard (and back).
#include <tvsim/scenario_file.h>
#include <tvsim/scenario_report.h>

#include "json_document.h"
#include "json_error_text.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace tvsim {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;

const char* const kStepStates[] = {"pending", "ran", "refused", "not-run"};
const char* const kExpectationStates[] = {"pending", "met", "unmet"};

bool anyRefused(const ScenarioReport& report) {
    return std::any_of(report.steps.begin(), report.steps.end(),
                       [](const StepReport& step) { return step.state == StepReport::State::Refused; });
}

bool clientFailed(const ScenarioReport& report) {
    return report.clientMustSucceed && report.clientStatus.value_or(-1) != 0;
}

std::string clientText(const ScenarioReport& report) {
    std::string text = !report.clientStatus        ? "did not end"
                       : *report.clientStatus >= 0 ? "exited with status " + std::to_string(*report.clientStatus)
                                                   : "ended by signal " + std::to_string(-*report.clientStatus);
    return text + (report.clientMustSucceed ? " (it must succeed)" : "");
}

std::string stepText(const StepReport& step) {
    switch (step.state) {
        case StepReport::State::Pending:
            return step.due ? "due at " + secondsText(*step.due) : "pending";
        case StepReport::State::Ran:
            return "ran at " + secondsText(step.ranAt.value_or(milliseconds(0)));
        case StepReport::State::Refused:
            return "refused at " + secondsText(step.ranAt.value_or(milliseconds(0))) + ": " + step.error;
        case StepReport::State::NotRun:
            break;
    }
    return "not run";
}

std::string expectationText(const ExpectationReport& expectation) {
    switch (expectation.state) {
        case ExpectationReport::State::Pending:
            return "pending";
        case ExpectationReport::State::Met:
            return "met at " + secondsText(expectation.metAt.value_or(milliseconds(0))) + " by " + expectation.record;
        case ExpectationReport::State::Unmet:
            break;
    }
    return "UNMET: " + expectation.reason;
}

std::string closestText(const ExpectationReport& expectation) {
    std::string text;
    for (const ClosestRecord& closest : expectation.closest) {
        text += "  closest: " + closest.record + ": " + closest.reason + "\n";
    }
    return expectation.closest.empty() && expectation.state == ExpectationReport::State::Unmet
               ? "  closest: no record of its kind came\n"
               : text;
}

// Text as XML 1.0 carries it: valid UTF-8 (U+FFFD for the bytes that are not), no control characters but
// tab and line ends, and the markup characters escaped.
std::string xmlText(const std::string& text) {
    const std::string valid =
        nlohmann::json::parse(nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
            .get<std::string>();
    std::string escaped;
    for (char c : valid) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r' ? '?' : c;
        }
    }
    return escaped;
}

std::string junitSeconds(milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(time.count() / 1000),
                  static_cast<long long>(time.count() % 1000));
    return text;
}

// A <testcase>, with a <failure> or an <error> when `problem` is given.
std::string testCase(const std::string& suite, const std::string& name, milliseconds time, const char* problem = "",
                     const std::string& message = "", const std::string& detail = "") {
    std::string xml = "    <testcase classname=\"" + xmlText(suite) + "\" name=\"" + xmlText(name) + "\" time=\"" +
                      junitSeconds(time) + "\"";
    if (*problem == '\0') {
        return xml + "/>\n";
    }
    return xml + ">\n      <" + problem + " message=\"" + xmlText(message) + "\">" + xmlText(detail) + "</" + problem +
           ">\n    </testcase>\n";
}

Json optionalTime(const std::optional<milliseconds>& time) {
    return time ? Json(time->count()) : Json(nullptr);
}

}  // namespace

std::string secondsText(milliseconds time) {
    return junitSeconds(time) + " s";
}

int ScenarioReport::exitCode() const {
    if (anyRefused(*this)) {
        return 2;
    }
    const bool allMet = std::all_of(expectations.begin(), expectations.end(), [](const ExpectationReport& e) {
        return e.state == ExpectationReport::State::Met;
    });
    return allMet && unexpected.empty() && !clientFailed(*this) ? 0 : 1;
}

std::string reportText(const ScenarioReport& report) {
    const int exitCode = report.exitCode();
    std::string text = "scenario '" + report.name + "': " +
                       (!report.finished ? "in progress"
                        : exitCode == 0  ? "passed"
                        : exitCode == 2  ? "a step was refused"
                                         : "failed") +
                       " after " + secondsText(report.elapsed) + "\n";
    for (const StepReport& step : report.steps) {
        text += step.label + ": " + stepText(step) + "\n";
    }
    for (const ExpectationReport& expectation : report.expectations) {
        text += expectation.label + ": " + expectationText(expectation) + "\n" + closestText(expectation);
    }
    for (const std::string& unexpected : report.unexpected) {
        text += "unexpected: " + unexpected + "\n";
    }
    if (report.clientStatus || report.clientMustSucceed) {
        text += "client: " + clientText(report) + "\n";
    }
    return text;
}

std::string reportJUnit(const ScenarioReport& report) {
    std::string cases;
    int failures = 0;
    int errors = 0;
    int tests = 0;
    for (const StepReport& step : report.steps) {
        if (step.state == StepReport::State::Refused) {
            ++tests;
            ++errors;
            cases += testCase(report.name, step.label, step.ranAt.value_or(milliseconds(0)), "error", step.error);
        }
    }
    for (const ExpectationReport& expectation : report.expectations) {
        ++tests;
        if (expectation.state == ExpectationReport::State::Met) {
            cases += testCase(report.name, expectation.label, *expectation.metAt);
            continue;
        }
        ++failures;
        std::string closest = closestText(expectation);
        cases +=
            testCase(report.name, expectation.label, report.elapsed, "failure",
                     expectation.state == ExpectationReport::State::Pending ? "pending" : expectation.reason, closest);
    }
    if (!report.unexpected.empty()) {
        ++tests;
        ++failures;
        std::string detail;
        for (const std::string& unexpected : report.unexpected) {
            detail += unexpected + "\n";
        }
        cases += testCase(report.name, "nothing else", report.elapsed, "failure",
                          std::to_string(report.unexpected.size()) + " unexpected request(s)", detail);
    }
    if (report.clientMustSucceed) {
        ++tests;
        const bool failed = clientFailed(report);
        failures += failed ? 1 : 0;
        cases += testCase(report.name, "client", report.elapsed, failed ? "failure" : "", clientText(report));
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"" + xmlText(report.name) +
           "\" tests=\"" + std::to_string(tests) + "\" failures=\"" + std::to_string(failures) + "\" errors=\"" +
           std::to_string(errors) + "\" time=\"" + junitSeconds(report.elapsed) + "\">\n" + cases +
           "  </testsuite>\n</testsuites>\n";
}

std::string reportJson(const ScenarioReport& report) {
    Json json{{"name", report.name},
              {"finished", report.finished},
              {"elapsed-ms", report.elapsed.count()},
              {"exit-code", report.exitCode()},
              {"steps", Json::array()},
              {"expectations", Json::array()},
              {"unexpected", report.unexpected},
              {"client-status", report.clientStatus ? Json(*report.clientStatus) : Json(nullptr)},
              {"client-must-succeed", report.clientMustSucceed}};
    for (const StepReport& step : report.steps) {
        json["steps"].push_back({{"label", step.label},
                                 {"state", kStepStates[static_cast<int>(step.state)]},
                                 {"due-ms", optionalTime(step.due)},
                                 {"ran-at-ms", optionalTime(step.ranAt)},
                                 {"error", step.error}});
    }
    for (const ExpectationReport& expectation : report.expectations) {
        Json closest = Json::array();
        for (const ClosestRecord& record : expectation.closest) {
            closest.push_back({{"record", record.record}, {"reason", record.reason}});
        }
        json["expectations"].push_back({{"label", expectation.label},
                                        {"state", kExpectationStates[static_cast<int>(expectation.state)]},
                                        {"met-at-ms", optionalTime(expectation.metAt)},
                                        {"record", expectation.record},
                                        {"reason", expectation.reason},
                                        {"closest", std::move(closest)}});
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

namespace {

using modelfile::Node;

template <std::size_t Count>
int stateFromJson(const Node& node, const char* const (&names)[Count]) {
    const std::string name = node.text();
    for (std::size_t index = 0; index < Count; ++index) {
        if (name == names[index]) {
            return static_cast<int>(index);
        }
    }
    node.fail("unknown state " + modelfile::jsonQuoted(name));
}

std::optional<milliseconds> timeFromJson(const Node& node) {
    if (node.json().is_null()) {
        return std::nullopt;
    }
    return milliseconds(node.integer(0, std::numeric_limits<long long>::max(), "a time in ms"));
}

ScenarioReport reportFromJson(const Node& root) {
    root.expectObject({"name", "finished", "elapsed-ms", "exit-code", "steps", "expectations", "unexpected",
                       "client-status", "client-must-succeed"});
    ScenarioReport report;
    report.name = root.member("name").text();
    report.finished = root.member("finished").flag();
    report.elapsed = *timeFromJson(root.member("elapsed-ms"));
    for (const Node& node : root.member("steps").elements()) {
        node.expectObject({"label", "state", "due-ms", "ran-at-ms", "error"});
        report.steps.push_back({node.member("label").text(),
                                static_cast<StepReport::State>(stateFromJson(node.member("state"), kStepStates)),
                                timeFromJson(node.member("due-ms")), timeFromJson(node.member("ran-at-ms")),
                                node.member("error").text()});
    }
    for (const Node& node : root.member("expectations").elements()) {
        node.expectObject({"label", "state", "met-at-ms", "record", "reason", "closest"});
        ExpectationReport expectation{
            node.member("label").text(),
            static_cast<ExpectationReport::State>(stateFromJson(node.member("state"), kExpectationStates)),
            timeFromJson(node.member("met-at-ms")),
            node.member("record").text(),
            node.member("reason").text(),
            {}};
        for (const Node& closest : node.member("closest").elements()) {
            closest.expectObject({"record", "reason"});
            expectation.closest.push_back({closest.member("record").text(), closest.member("reason").text()});
        }
        report.expectations.push_back(std::move(expectation));
    }
    for (const Node& unexpected : root.member("unexpected").elements()) {
        report.unexpected.push_back(unexpected.text());
    }
    if (!root.member("client-status").json().is_null()) {
        report.clientStatus = static_cast<int>(
            root.member("client-status")
                .integer(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), "an exit status"));
    }
    report.clientMustSucceed = root.member("client-must-succeed").flag();
    return report;
}

}  // namespace

ScenarioReport parseReportJson(const std::string& json) {
    try {
        const modelfile::JsonDocument document = modelfile::parseJsonText(json);
        return reportFromJson(Node(document));
    } catch (const modelfile::SyntaxFault& fault) {
        throw ScenarioFileError("report:" + std::to_string(modelfile::lineOfByte(json, fault.byte)) +
                                ": invalid JSON: " + fault.detail);
    } catch (const modelfile::Fault& fault) {
        throw ScenarioFileError("report: " + (fault.pointer.empty() ? "top level" : fault.pointer) + ": " + fault.what);
    }
}

}  // namespace tvsim
