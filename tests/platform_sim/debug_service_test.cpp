// The simulated debug service where the library's suites and the log statement
// suite do not reach it: level names and numbers, long lines, level words
// checked on another thread, and the threshold a capture restores. The
// threshold check and base names are what the log statement suite observes.
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

// Level words, formats and texts of ordinary lines are what every library suite matches, and the
// call counts what the log statement suite counts; what neither meets is a line longer than any buffer
// and a level checked on another thread.
TEST(DebugCaptureTest, RecordsALongLineWholeWithTheLevelWordOfItsOwnThreadsCheck) {
    tvsim::DebugCapture capture;
    ASSERT_NE(0, check(kModule | tvsim::kLevelInfo));
    std::thread([] {
        check(kModule | tvsim::kLevelError);
        cspDebugOutput0("%s|%d", std::string(5000, 'x').c_str(), 42);
    }).join();

    const auto lines = capture.lines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(kModule | tvsim::kLevelError, lines[0].levelWord);
    EXPECT_EQ(std::string(5000, 'x') + "|42", lines[0].text);
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
