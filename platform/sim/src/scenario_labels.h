// How a play's report names steps, expectations and records: one short line
// each, cut to a bound so that a report stays small whatever a client sends.
#pragma once

#include <tvsim/scenario.h>
#include <tvsim/tv_control.h>

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

namespace tvsim {

// A label or a record's text is cut to this many bytes (at a character's start) and ends in "..." then.
constexpr std::size_t kMaxReportTextBytes = 256;

// "step 2 (refuse-next): set-reply orvik.sl2.action.source.switch"; steps count from 1.
std::string stepLabel(const ScenarioStep& step, std::size_t index);
// "expectation 1 (took-av): invoke orvik.sl2.action.source.switch 0~ss_[0-9]+ 1=2 3=*"
std::string expectationLabel(const ScenarioExpectation& expectation, std::size_t index);
// "'took-av'", or "expectation 3" for one without an id.
std::string expectationName(const std::vector<ScenarioExpectation>& expectations, std::size_t index);
// "connect #1 PATH", "invoke #3 PATH [a, b]", "write #2 PATH = 30": #N counts the records of the kind from 1
// since the records were cleared; a status other than 0 follows as " (status 7)".
std::string recordText(const std::variant<ClientConnect, InvokeRecord, WriteRecord>& record);

}  // namespace tvsim
