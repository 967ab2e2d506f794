// sactl play and sactl record end to end: sactl starts its own dbus-daemon and
// tvsimd (TVSIMD names the built one), the service plays the scenario files in
// scenarios/ and judges scenario_client, a client of the library. Every run is
// bounded by `timeout`.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "bus_processes.h"
#include "run_process.h"

namespace {

using testsupport::shellQuoted;

const std::string kScenarios = SCENARIOS_DIR "/";

testsupport::ProcessRun sactl(const std::string& arguments) {
    return testsupport::runShellCommand("TVSIMD=" + shellQuoted(TVSIMD_PATH) + " timeout 60 " +
                                        shellQuoted(SACTL_PATH) + " " + arguments);
}

std::string client(const std::string& options = "") {
    return " -- " + shellQuoted(SCENARIO_CLIENT_PATH) + " " + options;
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

struct PlayCase {
    const char* scenario;
    const char* clientOptions;
    int exitCode;
    std::vector<std::string> shown;  // in the client's lines and the report
    std::size_t testcases;           // in the JUnit XML: one per expectation, and the client's when it must succeed
};

// The client's lines come first (its standard output is sactl's), then the report.
TEST(SactlPlay, JudgesTheClientAndWritesJUnit) {
    const PlayCase cases[] = {
        {"take_switch_release.json", "", 0, {"take 1", "switch 1", "release 1", "passed"}, 4},
        // The client hands nothing back: the report names the expectation and the argument that differed in the
        // request that came nearest.
        {"take_switch_release.json",
         "--forget-release",
         1,
         {"expectation 3 (handed-back)", "position 1: '8' is not '3'\n  closest: invoke #1"},  // newest first
         4},
        // The service leaves while the switch waits for its answer: the request answers false, and the client's
        // connection and request after the service is back meet their expectations (the play ends there).
        {"platform_away.json",
         "--pause-ms 1000",
         0,
         {"take 1", "switch 0", "(reconnected): connect orvik.sl2.action.source.switch: met",
          "(handed-back): invoke orvik.sl2.action.source.switch 1=3: met"},
         4},
    };
    const std::string junit = ::testing::TempDir() + "sactl_play_junit_" + std::to_string(getpid()) + ".xml";
    for (const PlayCase& play : cases) {
        SCOPED_TRACE(std::string(play.scenario) + " " + play.clientOptions);
        const testsupport::ProcessRun run = sactl("play " + shellQuoted(kScenarios + play.scenario) + " --junit " +
                                                  shellQuoted(junit) + client(play.clientOptions));
        EXPECT_EQ(run.exitCode, play.exitCode) << run.out << run.err;
        for (const std::string& part : play.shown) {
            EXPECT_NE(run.out.find(part), std::string::npos) << part << " in\n" << run.out;
        }
        std::ifstream file(junit);
        const std::string xml((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        EXPECT_EQ(occurrences(xml, "<testcase"), play.testcases) << xml;
        EXPECT_EQ(occurrences(xml, "<failure") == 0, play.exitCode == 0) << xml;
    }
    std::remove(junit.c_str());
}

TEST(SactlPlay, AScenarioThatDoesNotDecodeIsOneLineAndStatus2) {
    const testsupport::ProcessRun run = sactl("play " + shellQuoted(kScenarios + "unknown_anchor.json") + client());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(
        std::regex_match(run.err, std::regex("sactl: .*unknown_anchor\\.json: /steps/0/after: .*never-named.*\n")))
        << run.err;
}

// A recording of the client plays back against it, run after run, and fails against the faulty one.
TEST(SactlRecord, ARecordingOfTheClientPlaysBack) {
    const std::string recording = ::testing::TempDir() + "sactl_recording_" + std::to_string(getpid()) + ".json";
    const testsupport::ProcessRun recorded = sactl("record --out " + shellQuoted(recording) + client());
    ASSERT_EQ(recorded.exitCode, 0) << recorded.err;
    EXPECT_TRUE(std::regex_search(recorded.out, std::regex("recorded [0-9]+ steps and [1-9][0-9]* expectations in ")))
        << recorded.out;
    for (int run = 0; run < 3; ++run) {
        const testsupport::ProcessRun played = sactl("play " + shellQuoted(recording) + client());
        EXPECT_EQ(played.exitCode, 0) << "run " << run << "\n" << played.out << played.err;
    }
    EXPECT_EQ(sactl("play " + shellQuoted(recording) + client("--forget-release")).exitCode, 1);
    std::remove(recording.c_str());
}

// SIGTERM to sactl stops the play, the client command and the service it started, and sactl waits for them.
TEST(SactlPlay, ASignalStopsEveryProcessItStarted) {
    tvsimd_test::ChildProcess sactl({"env", std::string("TVSIMD=") + TVSIMD_PATH, SACTL_PATH, "play",
                                     kScenarios + "take_switch_release.json", "--", "sh", "-c",
                                     "echo \"$$ $TVSIM_BUS\"; exec sleep 60"});
    std::istringstream started(sactl.readLine());
    pid_t command = 0;
    std::string address;
    ASSERT_TRUE(started >> command >> address);
    EXPECT_EQ(sactl.stop(SIGTERM), 128 + SIGTERM);
    EXPECT_TRUE(kill(command, 0) != 0 && errno == ESRCH) << "the command is still running";
    EXPECT_THROW(tvsimd_test::BusClient{address}, std::runtime_error) << "the private bus is still there";
}

}  // namespace
