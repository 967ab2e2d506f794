// Scenario files: JSON (docs/scenarios.md, docs/scenario.schema.json), checked
// as model files are, with a one-line error that names the place of the first
// fault: "FILE:LINE: invalid JSON: ..." or "FILE: /steps/2/after: ...".
#pragma once

#include <tvsim/scenario.h>

#include <stdexcept>
#include <string>

namespace tvsim {

class ScenarioFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The name in errors is the path as given; a "tv" model file is relative to the file's folder. Anything but a
// regular file of at most kMaxScenarioFileBytes is refused.
Scenario readScenarioFile(const std::string& path);
// `name` is what errors carry; `folder` resolves a relative "tv" model file ("" for the current directory).
Scenario parseScenarioText(const std::string& text, const std::string& name, const std::string& folder);
// The file form, pretty (2 spaces): parseScenarioText(scenarioText(s), ...) gives s again. A "tv" model file
// is written as resolved.
std::string scenarioText(const Scenario& scenario);

}  // namespace tvsim
