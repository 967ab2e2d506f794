// The simulator's debug service: which lines are wanted, where they go, and a
// capture for tests.
//
// The level check passes when the level (lower 16 bits of the word) is at or
// below the threshold. The threshold starts from SYSACCESS_LOG_LEVEL (a number
// such as 1000, or always/error/info/trace/none), default 1000 (error); a
// value that is neither gets one warning line on standard error and the default.
// Lines go to standard error unless a DebugCapture is installed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tvsim {

constexpr unsigned kLevelNone = 0;
constexpr unsigned kLevelAlways = 1;
constexpr unsigned kLevelError = 1000;
constexpr unsigned kLevelInfo = 4000;
constexpr unsigned kLevelTrace = 5000;

void setLogThreshold(unsigned level);
unsigned logThreshold();
// Parses a level number or name; false when the text is neither.
bool parseLogLevel(const std::string& text, unsigned& level);

struct CapturedLine {
    std::uint32_t levelWord;  // of the check that preceded the line on the same thread
    std::string format;       // the constant format string as passed
    std::string text;         // the formatted line
};

// Records every line written while it lives, instead of printing it. Installs
// its own threshold (everything by default) and restores the previous one.
// One capture at a time.
class DebugCapture {
public:
    explicit DebugCapture(unsigned threshold = kLevelTrace);
    ~DebugCapture();

    DebugCapture(const DebugCapture&) = delete;
    DebugCapture& operator=(const DebugCapture&) = delete;

    std::vector<CapturedLine> lines() const;
    std::vector<std::string> texts() const;
    void clear();  // lines and counters

    int checkCalls() const;
    int baseNameCalls() const;
    int outputCalls() const;
};

}  // namespace tvsim
