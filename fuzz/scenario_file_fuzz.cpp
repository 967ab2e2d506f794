// Fuzzes scenario files: the input is the text of a scenario, decoded with
// tvsim::parseScenarioText. A refused text must throw tvsim::ScenarioFileError
// and nothing else. A decoded one must keep to the bounds and be written back
// (tvsim::scenarioText) as a text that decodes to the same scenario, written
// the same. Anything else escaping, a crash or a sanitizer report is a finding.
#include <tvsim/scenario_file.h>

#include <cstdint>
#include <string>

namespace {

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    tvsim::Scenario scenario;
    try {
        scenario = tvsim::parseScenarioText(text, "fuzz.json", "");
    } catch (const tvsim::ScenarioFileError&) {
        return 0;
    }
    require(scenario.steps.size() <= tvsim::kMaxScenarioSteps &&
            scenario.expectations.size() <= tvsim::kMaxScenarioExpectations &&
            scenario.timeLimit <= tvsim::kMaxScenarioTimeLimit);
    const std::string written = tvsim::scenarioText(scenario);
    require(tvsim::scenarioText(tvsim::parseScenarioText(written, "fuzz.json", "")) == written);
    return 0;
}
