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
// "tvsimd: <text>". A caller puts a value that may be long (a client's path)
// through base/log_text.h first, as the library's log lines do.
void logLine(unsigned level, const std::string& text);

}  // namespace tvsimd
