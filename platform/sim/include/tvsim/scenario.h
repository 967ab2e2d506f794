// A scenario: what the simulated TV does over time (steps) and what its
// clients must ask of it meanwhile (expectations), played against the TV's
// controls by ScenarioPlayer. Written as a JSON file (tvsim/scenario_file.h,
// docs/scenarios.md). Times are milliseconds from the play's start.
#pragma once

#include <tvsim/model_control.h>
#include <tvsim/record_pattern.h>

#include <lomodelapi/argument.h>
#include <lomodelapi/object_type_spec.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tvsim {

// The TV a play starts with.
struct ScenarioTv {
    enum class Kind { Default, File, Content };

    Kind kind = Kind::Default;
    std::string file;     // File: the path as resolved against the scenario's folder
    std::string content;  // Content: the model document's text
    std::string name;     // Content: the name its errors carry ("FILE#/tv/content")
};

// ---- Steps: what the TV does ----

struct SetValueStep {
    std::string path;
    std::string value;  // JSON text, typed by the path's type when the step runs
};
struct SetRowsStep {
    std::string path;
    std::vector<Row> rows;
};
struct SetReplyStep {
    std::string path;
    Reply reply;
};
struct ResetReplyStep {
    std::string path;
};
// sactl's fault names: "fail-connects", "null-connects", "report-type", "fail-getter", "refuse-invokes",
// "fail-iterators".
enum class ScenarioFaultKind { FailConnects, NullConnects, ReportType, FailGetter, RefuseInvokes, FailIterators };
struct FaultStep {
    ScenarioFaultKind kind = ScenarioFaultKind::FailConnects;
    std::string path;
    int count = 1;                                                   // fail-connects, null-connects, refuse-invokes,
                                                                     // fail-iterators
    int status = 0;                                                  // fail-connects, fail-getter, refuse-invokes
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;  // report-type
};
struct ClearFaultsStep {
    std::string path;
};
// The action id an outcome is for: a number, or the id of the invoke that met an invoke expectation.
struct ScenarioActionId {
    unsigned int number = 0;
    std::string expectation;  // when not empty, the expectation's id (and number is unused)
};
struct EmitResultStep {
    std::string path;
    ScenarioActionId actionId;
    std::vector<lomodelapi::Argument> results;
};
struct EmitFailureStep {
    std::string path;
    ScenarioActionId actionId;
    int error = 0;
};
// The service leaves the bus and comes back `away` later; the step has run when it is back.
struct PlatformAwayStep {
    std::chrono::milliseconds away{0};
};
// Does nothing for `duration`; it has run at its end (an anchor for `after`).
struct WaitStep {
    std::chrono::milliseconds duration{0};
};

using ScenarioAction = std::variant<SetValueStep, SetRowsStep, SetReplyStep, ResetReplyStep, FaultStep, ClearFaultsStep,
                                    EmitResultStep, EmitFailureStep, PlatformAwayStep, WaitStep>;

struct ScenarioStep {
    std::string id;  // may be empty
    // When it is due: `at` from the start or, when `after` names a step or an expectation, `at` after that step
    // ran or that expectation was met.
    std::string after;
    std::chrono::milliseconds at{0};
    ScenarioAction action;
};

// ---- Expectations: what the clients ask ----

// When a record may meet an expectation: from `from` to `to` after the start or, when `after` names a step or
// an expectation, after that step ran or that expectation was met. No `to`: until the time limit.
struct ScenarioWindow {
    std::string after;
    std::chrono::milliseconds from{0};
    std::optional<std::chrono::milliseconds> to;
};

struct ScenarioExpectation {
    std::string id;  // may be empty
    // Connect, Invoke or Write; a write's value is matched at position 0 against valueText.
    RecordPattern pattern;
    ScenarioWindow window;
    // The expectations of one sequence are met in the order listed; consecutive ones of a sequence with the same
    // (non-empty) group form one unit, met in any order among them.
    std::string sequence;
    std::string group;
};

struct Scenario {
    std::string name;
    ScenarioTv tv;
    std::chrono::milliseconds timeLimit{10000};
    bool clientMustSucceed = false;
    std::vector<ScenarioStep> steps;
    std::vector<ScenarioExpectation> expectations;
    std::vector<std::string> nothingElse;  // action paths no unmatched invoke may reach
};

// The bounds of a scenario, its file's included (docs/scenarios.md).
constexpr std::size_t kMaxScenarioFileBytes = std::size_t{4} << 20;
constexpr std::size_t kMaxScenarioSteps = 1000;
constexpr std::size_t kMaxScenarioExpectations = 1000;
constexpr std::size_t kMaxScenarioIdBytes = 128;
constexpr std::chrono::milliseconds kDefaultScenarioTimeLimit{10000};
constexpr std::chrono::milliseconds kMaxScenarioTimeLimit{600000};

// "fail-connects" ... and back; nullopt for another word.
const char* scenarioFaultName(ScenarioFaultKind kind);
std::optional<ScenarioFaultKind> scenarioFaultKind(const std::string& name);
// Whether the fault takes a count (how many operations fail) and a status (what they answer).
bool scenarioFaultHasCount(ScenarioFaultKind kind);
bool scenarioFaultHasStatus(ScenarioFaultKind kind);

}  // namespace tvsim
