// The simulated debug service: level names and numbers, the threshold check,
// and the capture tests use to read the lines back.
#include <debug_service/csp_debug.h>
#include <tvsim/debug_capture.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

constexpr std::uint32_t kModule = 0x5F0000;

int check(std::uint32_t levelWord) {
    DebugLevelRecord record{levelWord, 0, 0};
    return cspDebugCheckLevelGetFrameAndChunk(&record);
}

struct LevelText {
    const char* text;
    bool valid;
    unsigned level;
};

class ParseLogLevelTest : public ::testing::TestWithParam<LevelText> {};

TEST_P(ParseLogLevelTest, AcceptsNumbersAndNamesOnly) {
    unsigned level = 12345;
    EXPECT_EQ(GetParam().valid, tvsim::parseLogLevel(GetParam().text, level));
    EXPECT_EQ(GetParam().valid ? GetParam().level : 12345u, level);
}

INSTANTIATE_TEST_SUITE_P(
    Levels, ParseLogLevelTest,
    ::testing::Values(LevelText{"1000", true, 1000}, LevelText{"0", true, 0},
                      LevelText{"error", true, tvsim::kLevelError}, LevelText{"INFO", true, tvsim::kLevelInfo},
                      LevelText{"trace", true, tvsim::kLevelTrace}, LevelText{"always", true, tvsim::kLevelAlways},
                      LevelText{"none", true, tvsim::kLevelNone}, LevelText{"all", true, tvsim::kLevelTrace},
                      LevelText{"", false, 0}, LevelText{"-1", false, 0}, LevelText{"10a", false, 0},
                      LevelText{"123456", false, 0}, LevelText{"debug", false, 0}));

TEST(DebugServiceTest, CheckPassesAtOrBelowTheThresholdWhateverTheModule) {
    const unsigned previous = tvsim::logThreshold();
    tvsim::setLogThreshold(tvsim::kLevelError);

    EXPECT_NE(0, check(kModule | 1));
    EXPECT_NE(0, check(kModule | 1000));
    EXPECT_NE(0, check(1000));
    EXPECT_EQ(0, check(kModule | 1001));
    EXPECT_EQ(0, check(kModule | 5000));

    tvsim::setLogThreshold(previous);
}

TEST(DebugServiceTest, BaseNameIsTheLastPathComponent) {
    EXPECT_STREQ("value_access.cpp", blog_base_name("/src/biz_access/value_access.cpp"));
    EXPECT_STREQ("plain.cpp", blog_base_name("plain.cpp"));
}

TEST(DebugCaptureTest, RecordsLevelWordFormatAndTextAndCountsCalls) {
    tvsim::DebugCapture capture;
    const char* base = blog_base_name("dir/file.cpp");
    ASSERT_NE(0, check(kModule | tvsim::kLevelInfo));
    cspDebugOutput0("[%s] %s:%d: value %d\n", "B-LOG", base, 12, 7);

    auto lines = capture.lines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(kModule | tvsim::kLevelInfo, lines[0].levelWord);
    EXPECT_EQ("[%s] %s:%d: value %d\n", lines[0].format);
    EXPECT_EQ("[B-LOG] file.cpp:12: value 7\n", lines[0].text);
    EXPECT_EQ(1, capture.checkCalls());
    EXPECT_EQ(1, capture.baseNameCalls());
    EXPECT_EQ(1, capture.outputCalls());

    capture.clear();
    EXPECT_TRUE(capture.texts().empty());
    EXPECT_EQ(0, capture.checkCalls());
}

TEST(DebugCaptureTest, KeepsLinesLongerThanAnyBufferWhole) {
    tvsim::DebugCapture capture;
    const std::string longText(5000, 'x');
    cspDebugOutput0("%s|%d", longText.c_str(), 42);
    EXPECT_EQ(std::vector<std::string>{longText + "|42"}, capture.texts());
}

TEST(DebugCaptureTest, AttributesEachLineToTheCheckOnItsOwnThread) {
    tvsim::DebugCapture capture;
    check(kModule | tvsim::kLevelInfo);
    std::thread other([] {
        check(kModule | tvsim::kLevelError);
        cspDebugOutput0("other\n");
    });
    other.join();
    cspDebugOutput0("main\n");

    auto lines = capture.lines();
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(kModule | tvsim::kLevelError, lines[0].levelWord);
    EXPECT_EQ(kModule | tvsim::kLevelInfo, lines[1].levelWord);
}

TEST(DebugCaptureTest, InstallsItsThresholdAndRestoresThePreviousOne) {
    tvsim::setLogThreshold(tvsim::kLevelAlways);
    {
        tvsim::DebugCapture capture(tvsim::kLevelError);
        EXPECT_NE(0, check(kModule | tvsim::kLevelError));
        EXPECT_EQ(0, check(kModule | tvsim::kLevelInfo));
    }
    EXPECT_EQ(tvsim::kLevelAlways, tvsim::logThreshold());
    tvsim::DebugCapture next;
    EXPECT_EQ(0, next.checkCalls());
    tvsim::setLogThreshold(tvsim::kLevelError);
}

}  // namespace
