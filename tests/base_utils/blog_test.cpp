// Log statements and trace guards, observed through the simulated debug service's capture.
#include <base/blog.h>
#include <tvsim/debug_capture.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string logLine(int line, const std::string& function, const std::string& message) {
    return "[B-LOG] blog_test.cpp:" + std::to_string(line) + ":" + function + "(): " + message + "\n";
}

std::string traceLine(bool entry, int line, const std::string& function) {
    return std::string(entry ? "[TRACE -> " : "[TRACE <- ") + function + (entry ? "(IN)] " : "(OUT)] ") +
           "blog_test.cpp:" + std::to_string(line) + ":" + function + "() \n";
}

// Each emitter writes one line whose argument counts its own evaluations, and answers the statement's line.
int emitAlways(int& evaluations) {
    BLOG_ALWAYS("value %d of %s", ++evaluations, "Always");
    return __LINE__ - 1;
}
int emitError(int& evaluations) {
    BLOG_ERROR("value %d of %s", ++evaluations, "Error");
    return __LINE__ - 1;
}
int emitInfo(int& evaluations) {
    BLOG_INFO("value %d of %s", ++evaluations, "Info");
    return __LINE__ - 1;
}

struct LevelCase {
    const char* name;
    int (*emit)(int&);
    std::uint32_t word;
};

class LogLevelTest : public testing::TestWithParam<LevelCase> {};

TEST_P(LogLevelTest, LineIsWrittenAtOrBelowTheThresholdAndNothingIsEvaluatedAbove) {
    const LevelCase& level = GetParam();
    const unsigned number = level.word & 0xFFFF;
    for (const unsigned threshold : {number, number - 1, tvsim::kLevelNone}) {
        SCOPED_TRACE(threshold);
        tvsim::DebugCapture capture(threshold);
        int evaluations = 0;
        const int line = level.emit(evaluations);

        const bool wanted = threshold == number;
        EXPECT_EQ(evaluations, wanted ? 1 : 0);
        EXPECT_EQ(capture.checkCalls(), 1);
        EXPECT_EQ(capture.baseNameCalls(), wanted ? 1 : 0);
        EXPECT_EQ(capture.outputCalls(), wanted ? 1 : 0);
        const auto lines = capture.lines();
        ASSERT_EQ(lines.size(), wanted ? 1u : 0u);
        if (wanted) {
            const std::string function = std::string("emit") + level.name;
            EXPECT_EQ(lines[0].text, logLine(line, function, "value 1 of " + std::string(level.name)));
            EXPECT_EQ(lines[0].format, "[%s] %s:%d:%s(): value %d of %s\n");
            EXPECT_EQ(lines[0].levelWord, level.word);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, LogLevelTest,
                         testing::Values(LevelCase{"Always", emitAlways, 0x5F0001},
                                         LevelCase{"Error", emitError, 0x5F03E8},
                                         LevelCase{"Info", emitInfo, 0x5F0FA0}),
                         [](const auto& test) { return std::string(test.param.name); });

// The unbraced if/else must keep its else whether or not the line is wanted.
bool logUnlessElse(bool condition) {
    bool elseTaken = false;
    if (condition)
        BLOG_ERROR("condition held");
    else
        elseTaken = true;
    return elseTaken;
}

struct Widget {
    int describe() {
        BLOG_INFO("no arguments");
        return __LINE__ - 1;
    }
};

TEST(LogStatementTest, ElseBindsToTheEnclosingIfAndTheFunctionNameIsUnqualified) {
    for (const unsigned threshold : {tvsim::kLevelError, tvsim::kLevelNone}) {
        tvsim::DebugCapture capture(threshold);
        EXPECT_FALSE(logUnlessElse(true));
        EXPECT_TRUE(logUnlessElse(false));
        EXPECT_EQ(capture.lines().size(), threshold == tvsim::kLevelNone ? 0u : 1u);
    }
    tvsim::DebugCapture capture;
    const int line = Widget().describe();
    EXPECT_EQ(capture.texts(), std::vector<std::string>{logLine(line, "describe", "no arguments")});
}

// A text value beyond 256 bytes keeps them, less a UTF-8 character they would split, and says how many bytes
// it left out; shorter values and other arguments are written whole.
TEST(LogStatementTest, TextValuesBeyond256BytesAreCutWithTheCountLeftOut) {
    tvsim::DebugCapture capture;
    const std::string whole(256, 'a');
    std::string split = std::string(255, 'b') + "\xc3\xa9!";  // writable (char*), a character over the cut
    BLOG_INFO("%s|%s|%d", whole.c_str(), split.data(), 7);
    const std::string cut = std::string(255, 'b') + "[... 3 more bytes]";
    EXPECT_EQ(capture.texts(), std::vector<std::string>{logLine(__LINE__ - 2, "TestBody", whole + "|" + cut + "|7")});
}

// Traced operations: each sets the threshold its exit line meets and records the line of its guard.
unsigned g_atExit = 0;
int g_guardLine = 0;

void tracedReturn() {
    BLOG_TRACE();
    g_guardLine = __LINE__ - 1;
    tvsim::setLogThreshold(g_atExit);
}

void tracedThrow() {
    BLOG_TRACE();
    g_guardLine = __LINE__ - 1;
    tvsim::setLogThreshold(g_atExit);
    throw std::runtime_error("leaving");
}

struct Traced {
    ~Traced() {
        BLOG_TRACE();
        g_guardLine = __LINE__ - 1;
        tvsim::setLogThreshold(g_atExit);
    }
};

// Entry and exit lines share name, file and guard line however the function is left; each is decided when
// it is due, and the name is looked up once either way.
TEST(TraceScopeTest, EachExitWritesItsLineWhenTracingIsOnThen) {
    struct Case {
        const char* function;
        void (*run)();
        unsigned atEntry;
        unsigned atExit;
    };
    const auto leaveByThrowing = [] { EXPECT_THROW(tracedThrow(), std::runtime_error); };
    const auto leaveADestructor = [] { Traced(); };
    const unsigned on = tvsim::kLevelTrace;
    const unsigned off = tvsim::kLevelInfo;
    for (const Case& c : {Case{"tracedReturn", tracedReturn, on, on}, Case{"tracedThrow", leaveByThrowing, on, on},
                          Case{"~Traced", leaveADestructor, on, on}, Case{"tracedReturn", tracedReturn, off, off},
                          Case{"tracedReturn", tracedReturn, off, on}, Case{"tracedReturn", tracedReturn, on, off}}) {
        SCOPED_TRACE(testing::Message() << c.function << " entry " << c.atEntry << ", exit " << c.atExit);
        tvsim::DebugCapture capture(c.atEntry);
        g_atExit = c.atExit;
        c.run();

        std::vector<std::string> texts;
        std::vector<std::string> formats;
        if (c.atEntry == on) {
            texts.push_back(traceLine(true, g_guardLine, c.function));
            formats.push_back("[TRACE -> %s(IN)] %s:%d:%s() \n");
        }
        if (c.atExit == on) {
            texts.push_back(traceLine(false, g_guardLine, c.function));
            formats.push_back("[TRACE <- %s(OUT)] %s:%d:%s() \n");
        }
        EXPECT_EQ(capture.texts(), texts);
        for (size_t index = 0; index < capture.lines().size() && index < formats.size(); ++index) {
            EXPECT_EQ(capture.lines()[index].format, formats[index]);
            EXPECT_EQ(capture.lines()[index].levelWord, 0x5F1388u);
        }
        EXPECT_EQ(capture.baseNameCalls(), 1);
        EXPECT_EQ(capture.checkCalls(), 2);
    }
}

}  // namespace
