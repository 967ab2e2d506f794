// tvsimd's own lines on standard error, written only at or below the
// threshold that --log-level sets (none by default). Any thread.
#pragma once

#include <string>

namespace tvsimd {

constexpr unsigned kLogError = 1000;
constexpr unsigned kLogInfo = 4000;
constexpr unsigned kLogTrace = 5000;

void setLogThreshold(unsigned level);
bool logEnabled(unsigned level);
void logLine(unsigned level, const std::string& text);  // "tvsimd: <text>"

}  // namespace tvsimd
