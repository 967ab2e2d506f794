// What a play of a scenario found: each step and expectation with its state,
// the closest records of an unmet expectation and why each missed, and the
// client's exit status; with its text, JUnit XML and JSON forms.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tvsim {

struct StepReport {
    enum class State { Pending, Ran, Refused, NotRun };

    std::string label;  // "step 2 (refuse-next): set-reply orvik.sl2.action.source.switch"
    State state = State::Pending;
    std::optional<std::chrono::milliseconds> due;    // once known (an `after` step's once its anchor came)
    std::optional<std::chrono::milliseconds> ranAt;  // Ran, Refused
    std::string error;                               // Refused: the TV's sentence
};

// A record that came near an unmet expectation: "invoke #3 orvik.sl2.action.source.switch [a, b]", and why it
// did not meet it.
struct ClosestRecord {
    std::string record;
    std::string reason;
};

struct ExpectationReport {
    enum class State { Pending, Met, Unmet };

    std::string label;  // "expectation 1 (took-av): invoke orvik.sl2.action.source.switch"
    State state = State::Pending;
    std::optional<std::chrono::milliseconds> metAt;
    std::string record;                  // Met: the record that met it
    std::string reason;                  // Unmet: "the window ended at 2.000 s", "the client ended at 1.234 s"...
    std::vector<ClosestRecord> closest;  // Unmet
};

struct ScenarioReport {
    std::string name;
    bool finished = false;
    std::chrono::milliseconds elapsed{0};
    std::vector<StepReport> steps;
    std::vector<ExpectationReport> expectations;
    std::vector<std::string> unexpected;  // nothing-else violations, as record texts
    std::optional<int> clientStatus;      // when the client ended: its exit status, or -signal
    bool clientMustSucceed = false;

    // 0: every expectation met, nothing unexpected, the client (when it must) succeeded; 2: a step was refused;
    // 1: otherwise.
    int exitCode() const;
};

std::string reportText(const ScenarioReport& report);   // the lines sactl prints
std::string reportJUnit(const ScenarioReport& report);  // JUnit XML, one <testcase> per expectation
std::string reportJson(const ScenarioReport& report);   // for the bus and the dashboard
// reportJson's inverse; ScenarioFileError when the text is not one.
ScenarioReport parseReportJson(const std::string& json);

// "1.234 s": how reports write a time from the start.
std::string secondsText(std::chrono::milliseconds time);

}  // namespace tvsim
