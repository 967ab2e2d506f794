// The dashboard's view of a scenario report: what the page's Scenario section
// shows of the play in progress or the last one (each step and expectation
// with its state, and whether and how the play ended).
#pragma once

#include <tvsim/scenario_report.h>

#include <nlohmann/json.hpp>

namespace tvsimd {

nlohmann::json scenarioView(const tvsim::ScenarioReport& report);

}  // namespace tvsimd
