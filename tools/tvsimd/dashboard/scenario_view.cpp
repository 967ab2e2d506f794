#include "scenario_view.h"

namespace tvsimd {
namespace {

using nlohmann::json;

const char* stateName(tvsim::StepReport::State state) {
    switch (state) {
        case tvsim::StepReport::State::Ran:
            return "ran";
        case tvsim::StepReport::State::Refused:
            return "refused";
        case tvsim::StepReport::State::NotRun:
            return "not run";
        case tvsim::StepReport::State::Pending:
            break;
    }
    return "pending";
}

const char* stateName(tvsim::ExpectationReport::State state) {
    switch (state) {
        case tvsim::ExpectationReport::State::Met:
            return "met";
        case tvsim::ExpectationReport::State::Unmet:
            return "unmet";
        case tvsim::ExpectationReport::State::Pending:
            break;
    }
    return "pending";
}

// Each entry's label and state, and its why when it has one (a refused step's error, an unmet expectation's reason).
template <typename Entry>
json entries(const std::vector<Entry>& list, std::string Entry::*why) {
    json shown = json::array();
    for (const Entry& entry : list) {
        json item = {{"label", entry.label}, {"state", stateName(entry.state)}};
        if (!(entry.*why).empty()) {
            item["why"] = entry.*why;
        }
        shown.push_back(std::move(item));
    }
    return shown;
}

}  // namespace

json scenarioView(const tvsim::ScenarioReport& report) {
    // The elapsed time is left out: the view changes when a step or an expectation does, not every look.
    return {{"name", report.name},
            {"finished", report.finished},
            {"exitCode", report.finished ? json(report.exitCode()) : json(nullptr)},
            {"steps", entries(report.steps, &tvsim::StepReport::error)},
            {"expectations", entries(report.expectations, &tvsim::ExpectationReport::reason)},
            {"unexpected", report.unexpected}};
}

}  // namespace tvsimd
