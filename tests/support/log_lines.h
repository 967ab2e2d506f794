// Matching captured debug-service lines in tests: log lines are
// "[B-LOG] <file>:<line>:<function>(): <message>\n", trace lines
// "[TRACE -> <function>(IN)] <file>:<line>:<function>() \n" and the OUT twin.
// Line numbers are matched as any decimal so tests survive edits.
#pragma once

#include <tvsim/debug_capture.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <regex>
#include <string>
#include <vector>

namespace testsupport {

constexpr std::uint32_t kWordAlways = 0x5F0001;
constexpr std::uint32_t kWordError = 0x5F03E8;
constexpr std::uint32_t kWordInfo = 0x5F0FA0;
constexpr std::uint32_t kWordTrace = 0x5F1388;

inline std::string escapeRegex(const std::string& text) {
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    return std::regex_replace(text, special, R"(\$&)");
}

// Pattern of one log line; `message` is literal text.
inline std::string logLine(const std::string& file, const std::string& function, const std::string& message) {
    return R"(\[B-LOG\] )" + escapeRegex(file) + R"(:\d+:)" + escapeRegex(function) + R"(\(\): )" +
           escapeRegex(message) + "\n";
}

inline std::string traceIn(const std::string& file, const std::string& function) {
    return R"(\[TRACE -> )" + escapeRegex(function) + R"(\(IN\)\] )" + escapeRegex(file) + R"(:\d+:)" +
           escapeRegex(function) + R"(\(\) )" + "\n";
}

inline std::string traceOut(const std::string& file, const std::string& function) {
    return R"(\[TRACE <- )" + escapeRegex(function) + R"(\(OUT\)\] )" + escapeRegex(file) + R"(:\d+:)" +
           escapeRegex(function) + R"(\(\) )" + "\n";
}

// How many captured lines match the pattern (and the level word, when given).
inline int countLines(const tvsim::DebugCapture& capture, const std::string& pattern, std::uint32_t levelWord = 0) {
    const std::regex expression(pattern);
    int count = 0;
    for (const tvsim::CapturedLine& line : capture.lines()) {
        if (std::regex_match(line.text, expression) && (levelWord == 0 || line.levelWord == levelWord)) {
            ++count;
        }
    }
    return count;
}

// True when the captured lines hold the patterns in this order (other lines may come between).
inline bool inOrder(const tvsim::DebugCapture& capture, const std::vector<std::string>& patterns) {
    size_t next = 0;
    for (const tvsim::CapturedLine& line : capture.lines()) {
        if (next < patterns.size() && std::regex_match(line.text, std::regex(patterns[next]))) {
            ++next;
        }
    }
    return next == patterns.size();
}

// The captured texts, each matched in full against its pattern: nothing more, nothing less.
inline void expectLines(const tvsim::DebugCapture& capture, const std::vector<std::string>& patterns) {
    const std::vector<std::string> texts = capture.texts();
    ASSERT_EQ(texts.size(), patterns.size()) << ::testing::PrintToString(texts);
    for (size_t index = 0; index < texts.size(); ++index) {
        EXPECT_TRUE(std::regex_match(texts[index], std::regex(patterns[index])))
            << texts[index] << " does not match " << patterns[index];
    }
}

}  // namespace testsupport
