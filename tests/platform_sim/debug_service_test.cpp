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

TEST(DebugServiceTest, LevelTextIsADecimalNumberOrANameAndNothingElse) {
    const std::pair<const char*, unsigned> valid[] = {{"1000", 1000},
                                                      {"0", 0},
                                                      {"error", tvsim::kLevelError},
                                                      {"INFO", tvsim::kLevelInfo},
                                                      {"trace", tvsim::kLevelTrace},
                                                      {"always", tvsim::kLevelAlways},
                                                      {"none", tvsim::kLevelNone},
                                                      {"all", tvsim::kLevelTrace}};
    for (const auto& [text, expected] : valid) {
        unsigned level = 12345;
        EXPECT_TRUE(tvsim::parseLogLevel(text, level)) << text;
        EXPECT_EQ(expected, level) << text;
    }
    for (const char* text : {"", "-1", "10a", "123456", "debug"}) {
        unsigned level = 12345;
        EXPECT_FALSE(tvsim::parseLogLevel(text, level)) << text;
        EXPECT_EQ(12345u, level) << text;
    }
}

TEST(DebugServiceTest, CheckPassesAtOrBelowTheThresholdWhateverTheModuleAndBaseNameIsTheLastComponent) {
    tvsim::DebugCapture capture(tvsim::kLevelError);
    EXPECT_NE(0, check(kModule | 1));
    EXPECT_NE(0, check(kModule | 1000));
    EXPECT_NE(0, check(1000));
    EXPECT_EQ(0, check(kModule | 1001));
    EXPECT_EQ(0, check(kModule | 5000));
    EXPECT_STREQ("value_access.cpp", blog_base_name("/src/biz_access/value_access.cpp"));
    EXPECT_STREQ("plain.cpp", blog_base_name("plain.cpp"));
}

TEST(DebugCaptureTest, RecordsEachLineWholeWithTheLevelWordOfItsOwnThreadsCheck) {
    tvsim::DebugCapture capture;
    ASSERT_NE(0, check(kModule | tvsim::kLevelInfo));
    cspDebugOutput0("[%s] %s:%d: value %d\n", "B-LOG", blog_base_name("dir/file.cpp"), 12, 7);
    std::thread([] {
        check(kModule | tvsim::kLevelError);
        cspDebugOutput0("%s|%d", std::string(5000, 'x').c_str(), 42);  // longer than any buffer
    }).join();

    const auto lines = capture.lines();
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(kModule | tvsim::kLevelInfo, lines[0].levelWord);
    EXPECT_EQ("[%s] %s:%d: value %d\n", lines[0].format);
    EXPECT_EQ("[B-LOG] file.cpp:12: value 7\n", lines[0].text);
    EXPECT_EQ(kModule | tvsim::kLevelError, lines[1].levelWord);
    EXPECT_EQ(std::string(5000, 'x') + "|42", lines[1].text);
    EXPECT_EQ(2, capture.checkCalls());
    EXPECT_EQ(1, capture.baseNameCalls());
    EXPECT_EQ(2, capture.outputCalls());

    capture.clear();
    EXPECT_TRUE(capture.texts().empty());
    EXPECT_EQ(0, capture.checkCalls() + capture.baseNameCalls() + capture.outputCalls());
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
