// The text forms sactl reads and prints: model values as the command line
// writes them, and any JSON as one line.
#pragma once

#include <tvsim/model_file.h>

#include <nlohmann/json.hpp>

#include <string>

namespace sactl {

// One line of JSON. Bytes that are not UTF-8 (model strings and command-line
// text may hold any) are shown as U+FFFD instead of ending the program.
std::string jsonText(const nlohmann::json& value);

// The text form of a value, as the command line takes it: integers in
// decimal, a string as it is, vectors as JSON arrays ([1,2,3], ["eng","fra"]).
// Throws std::invalid_argument with one line saying what is wrong.
tvsim::ModelValue parseValueText(tvsim::ValueType type, const std::string& text);
// The same form; vector elements are JSON (strings quoted).
std::string formatValueText(const tvsim::ModelValue& value);

}  // namespace sactl
