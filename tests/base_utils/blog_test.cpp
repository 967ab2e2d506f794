// Log statements and trace guards, observed through the simulated debug service's capture.
#include <base/blog.h>
#include <tvsim/debug_capture.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>

namespace {

constexpr char kFile[] = "blog_test.cpp";
constexpr std::uint32_t kTraceWord = 0x5F1388;

std::string logLine(int line, const std::string& function, const std::string& message) {
    return "[B-LOG] " + std::string(kFile) + ":" + std::to_string(line) + ":" + function + "(): " + message + "\n";
}

std::string traceLine(const char* arrow, const char* direction, int line, const std::string& function) {
    return "[TRACE " + std::string(arrow) + " " + function + "(" + direction + ")] " + kFile + ":" +
           std::to_string(line) + ":" + function + "() \n";
}

// Each emitter writes one line whose argument counts its own evaluations, and answers the statement's line.
int emitAlways(int& evaluations) {
    BLOG_ALWAYS("value %d of %s", ++evaluations, "always");
    return __LINE__ - 1;
}
int emitError(int& evaluations) {
    BLOG_ERROR("value %d of %s", ++evaluations, "error");
    return __LINE__ - 1;
}
int emitInfo(int& evaluations) {
    BLOG_INFO("value %d of %s", ++evaluations, "info");
    return __LINE__ - 1;
}

struct LevelCase {
    const char* name;
    int (*emit)(int&);
    const char* function;
    const char* printed;  // the emitter's second argument
    std::uint32_t word;
    unsigned level;
};

const LevelCase kLevelCases[] = {
    {"Always", emitAlways, "emitAlways", "always", 0x5F0001, 1},
    {"Error", emitError, "emitError", "error", 0x5F03E8, 1000},
    {"Info", emitInfo, "emitInfo", "info", 0x5F0FA0, 4000},
};

void PrintTo(const LevelCase& level, std::ostream* out) {
    *out << level.name;
}

class LogLevelTest : public testing::TestWithParam<LevelCase> {};

TEST_P(LogLevelTest, EnabledLineCarriesExactTextFormatAndLevelWord) {
    const LevelCase& level = GetParam();
    tvsim::DebugCapture capture(level.level);
    int evaluations = 0;

    const int line = level.emit(evaluations);

    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, logLine(line, level.function, std::string("value 1 of ") + level.printed));
    EXPECT_EQ(lines[0].format, "[%s] %s:%d:%s(): value %d of %s\n");
    EXPECT_EQ(lines[0].levelWord, level.word);
    EXPECT_EQ(evaluations, 1);
    EXPECT_EQ(capture.checkCalls(), 1);
    EXPECT_EQ(capture.baseNameCalls(), 1);
    EXPECT_EQ(capture.outputCalls(), 1);
}

TEST_P(LogLevelTest, DisabledLevelEvaluatesNoArgumentAndLooksUpNoName) {
    const LevelCase& level = GetParam();
    for (unsigned threshold : {level.level - 1, tvsim::kLevelNone}) {
        SCOPED_TRACE(threshold);
        tvsim::DebugCapture capture(threshold);
        int evaluations = 0;

        level.emit(evaluations);

        EXPECT_EQ(evaluations, 0);
        EXPECT_EQ(capture.checkCalls(), 1);
        EXPECT_EQ(capture.baseNameCalls(), 0);
        EXPECT_EQ(capture.outputCalls(), 0);
        EXPECT_TRUE(capture.lines().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, LogLevelTest, testing::ValuesIn(kLevelCases),
                         [](const testing::TestParamInfo<LevelCase>& testInfo) {
                             return std::string(testInfo.param.name);
                         });

// The unbraced if/else must keep its else whether or not the line is wanted.
bool logUnlessElse(bool condition) {
    bool elseTaken = false;
    if (condition)
        BLOG_ERROR("condition held");
    else
        elseTaken = true;
    return elseTaken;
}

TEST(LogStatementTest, FollowingElseBindsToTheEnclosingIf) {
    struct Case {
        bool condition;
        unsigned threshold;
        size_t lines;
        bool elseTaken;
    };
    for (const Case& c : {Case{true, tvsim::kLevelError, 1, false}, Case{true, tvsim::kLevelNone, 0, false},
                          Case{false, tvsim::kLevelError, 0, true}, Case{false, tvsim::kLevelNone, 0, true}}) {
        SCOPED_TRACE(testing::Message() << "condition " << c.condition << ", threshold " << c.threshold);
        tvsim::DebugCapture capture(c.threshold);
        EXPECT_EQ(logUnlessElse(c.condition), c.elseTaken);
        EXPECT_EQ(capture.lines().size(), c.lines);
    }
}

struct Widget {
    int describe() {
        BLOG_INFO("no arguments");
        return __LINE__ - 1;
    }
};

TEST(LogStatementTest, FunctionNameIsUnqualifiedAndFormatWithoutArgumentsWorks) {
    tvsim::DebugCapture capture;
    const int line = Widget().describe();
    EXPECT_EQ(capture.texts(), std::vector<std::string>{logLine(line, "describe", "no arguments")});
}

// Traced operations: each answers the line of its guard.
int tracedReturn(bool early, bool& pastEarlyReturn) {
    BLOG_TRACE();
    const int guardLine = __LINE__ - 1;
    if (early) {
        return guardLine;
    }
    pastEarlyReturn = true;
    return guardLine;
}

int g_throwingGuardLine = 0;
void tracedThrow() {
    BLOG_TRACE();
    g_throwingGuardLine = __LINE__ - 1;
    throw std::runtime_error("leaving");
}

int g_destructorGuardLine = 0;
struct Traced {
    ~Traced() {
        BLOG_TRACE();
        g_destructorGuardLine = __LINE__ - 1;
    }
};

// Switches the trace level between its entry and its exit.
int tracedSwitching(unsigned thresholdInside) {
    BLOG_TRACE();
    const int guardLine = __LINE__ - 1;
    tvsim::setLogThreshold(thresholdInside);
    return guardLine;
}

struct TraceCase {
    const char* name;
    const char* function;
    int (*run)();  // answers the guard's line
};

const TraceCase kTraceCases[] = {
    {"NormalReturn", "tracedReturn",
     [] {
         bool past = false;
         const int line = tracedReturn(false, past);
         EXPECT_TRUE(past);
         return line;
     }},
    {"EarlyReturn", "tracedReturn",
     [] {
         bool past = false;
         const int line = tracedReturn(true, past);
         EXPECT_FALSE(past);
         return line;
     }},
    {"Exception", "tracedThrow",
     [] {
         EXPECT_THROW(tracedThrow(), std::runtime_error);
         return g_throwingGuardLine;
     }},
    {"Destructor", "~Traced",
     [] {
         { Traced traced; }
         return g_destructorGuardLine;
     }},
};

void PrintTo(const TraceCase& trace, std::ostream* out) {
    *out << trace.name;
}

class TraceExitTest : public testing::TestWithParam<TraceCase> {};

TEST_P(TraceExitTest, EntryAndExitLinesShareNameFileAndGuardLine) {
    const TraceCase& trace = GetParam();
    tvsim::DebugCapture capture;

    const int line = trace.run();

    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, traceLine("->", "IN", line, trace.function));
    EXPECT_EQ(lines[1].text, traceLine("<-", "OUT", line, trace.function));
    EXPECT_EQ(lines[0].format, "[TRACE -> %s(IN)] %s:%d:%s() \n");
    EXPECT_EQ(lines[1].format, "[TRACE <- %s(OUT)] %s:%d:%s() \n");
    EXPECT_EQ(lines[0].levelWord, kTraceWord);
    EXPECT_EQ(lines[1].levelWord, kTraceWord);
    EXPECT_EQ(capture.baseNameCalls(), 1);
}

INSTANTIATE_TEST_SUITE_P(Exits, TraceExitTest, testing::ValuesIn(kTraceCases),
                         [](const testing::TestParamInfo<TraceCase>& testInfo) {
                             return std::string(testInfo.param.name);
                         });

TEST(TraceScopeTest, TracingOffWritesNothingButLooksUpTheNameOncePerCall) {
    tvsim::DebugCapture capture(tvsim::kLevelInfo);
    bool past = false;

    tracedReturn(false, past);
    tracedReturn(true, past);

    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(capture.baseNameCalls(), 2);
    EXPECT_EQ(capture.checkCalls(), 4);
}

TEST(TraceScopeTest, ExitLineIsDecidedAtExit) {
    struct Case {
        unsigned atEntry;
        unsigned atExit;
        bool entryLine;
        bool exitLine;
    };
    for (const Case& c : {Case{tvsim::kLevelNone, tvsim::kLevelTrace, false, true},
                          Case{tvsim::kLevelTrace, tvsim::kLevelNone, true, false}}) {
        SCOPED_TRACE(testing::Message() << "entry " << c.atEntry << ", exit " << c.atExit);
        tvsim::DebugCapture capture(c.atEntry);

        const int line = tracedSwitching(c.atExit);

        std::vector<std::string> expected;
        if (c.entryLine) {
            expected.push_back(traceLine("->", "IN", line, "tracedSwitching"));
        }
        if (c.exitLine) {
            expected.push_back(traceLine("<-", "OUT", line, "tracedSwitching"));
        }
        EXPECT_EQ(capture.texts(), expected);
    }
}

}  // namespace
