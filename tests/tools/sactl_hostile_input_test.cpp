// sactl against hostile input, one row each: bytes that are not UTF-8, numbers
// beyond what a type or the clock holds, files that are not model files,
// unknown words, an output that cannot be written and a garbled environment.
// Each gets its one line and exit code, never a crash or a hang (`timeout`
// turns a hang into exit 124).
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "run_process.h"

namespace {

const std::string kSlowReply = std::string(SACTL_MODELS_DIR) + "/slow_reply.json";
constexpr char kReplaced[] = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

struct HostileCase {
    const char* name;
    std::string before;  // shell words before the program: variables, `timeout`
    std::vector<std::string> arguments;
    std::string after;  // redirections
    int exitCode;
    std::string out;  // found on standard output; empty: nothing there
    std::string err;  // all of standard error
};

std::string failure(const std::string& message) {
    return "sactl: " + message + "\n";
}

const std::vector<HostileCase> kCases = {
    {"ByteForAnInteger",
     "",
     {"set", "orvik.sl2.i32.audio.volume", "\xff"},
     "",
     1,
     "",
     failure(R"(bad value for 'orvik\.sl2\.i32\.audio\.volume' \(integer\): ")" + std::string(kReplaced) +
             R"(" is not an integer)")},
    {"ByteInAStringVector",
     "",
     {"set", "orvik.sl2.vstr.audio.languages", "[\"\xff\"]"},
     "",
     1,
     "",
     failure(R"(bad value for .*: "\[\\")" + std::string(kReplaced) + R"(\\"\]" is not a JSON array of strings.*)")},
    {"ByteInAStringAsJson",
     "",
     {"--json", "set", "orvik.sl2.str.system.menu-language", "a\xff"},
     "",
     0,
     R"("value":"a)" + std::string(kReplaced) + R"("\}\n$)",
     ""},
    {"ByteInAUri",
     "",
     {"source", "setChannelByURI", "dvb://\xff", "true"},
     "",
     1,
     "",
     failure(R"(setChannelByURI\("dvb://)" + std::string(kReplaced) + R"(", true\) failed: .*no such channel\))")},
    {"ByteInAUuid",
     "",
     {"source", "setChannelByUUIDs", "\xff", "x", "true"},
     "",
     1,
     "",
     failure(R"(setChannelByUUIDs\(")" + std::string(kReplaced) + R"(", "x", true\) failed: .*)")},
    {"ByteInAWatchStep",
     "",
     {"--json", "watch", "orvik.sl2.str.system.menu-language", "--then", "set orvik.sl2.str.system.menu-language \xff"},
     "",
     0,
     R"("step":"set orvik\.sl2\.str\.system\.menu-language )" + std::string(kReplaced) + "\"",
     ""},
    {"IntegerBeyond64Bits",
     "",
     {"set", "orvik.sl2.i64.epg.last-update", "99999999999999999999999"},
     "",
     1,
     "",
     failure(R"(bad value for .*: 99999999999999999999999 is out of range for a 64-bit integer )"
             R"(\(-9223372036854775808 to 9223372036854775807\))")},
    {"TimeoutBoundsADelayedReply",
     "timeout 30",
     {"--model", kSlowReply, "--timeout", "200", "invoke", "slow.action"},
     "",
     1,
     "",
     failure(R"(no outcome for 'slow\.action' \(action id 1\) within 200 ms)")},
    {"ZeroTimeout",
     "",
     {"--timeout", "0", "list"},
     "",
     105,
     "",
     failure(R"(--timeout: Value 0 not in range 1 to 2147483647 \(see --help\))")},
    {"WatchForTooLong",
     "",
     {"watch", "orvik.sl2.i32.audio.volume", "--for", "1e10"},
     "",
     105,
     "",
     failure(R"(--for: expected seconds from 0 to 31536000 \(a year\), got '1e10' \(see --help\))")},
    {"WatchForNotANumber",
     "",
     {"watch", "orvik.sl2.i32.audio.volume", "--for", "nan"},
     "",
     105,
     "",
     failure(R"(--for: expected seconds .*, got 'nan' \(see --help\))")},
    {"DirectoryAsModel",
     "",
     {"--model", SACTL_MODELS_DIR, "list"},
     "",
     1,
     "",
     failure(".*: cannot read the file: it is a directory, not a regular file")},
    {"DeviceAsModel",
     "timeout 30",
     {"--model", "/dev/zero", "list"},
     "",
     1,
     "",
     failure("/dev/zero: cannot read the file: it is a character device, not a regular file")},
    {"UnknownCommand",
     "",
     {"frobnicate"},
     "",
     106,
     "",
     failure(R"(unknown command 'frobnicate' \(commands: get, set, watch, list, invoke, table, source, demo, )"
             R"(faults, responders, records\) \(see --help\))")},
    {"UnknownSourceOperation",
     "",
     {"source", "frobnicate"},
     "",
     106,
     "",
     failure(R"(unknown source operation 'frobnicate' \(source operations: requestResourceFromSystem, .*\) )"
             R"(\(see --help\))")},
    {"FullOutput",
     "",
     {"list"},
     ">/dev/full",
     1,
     "",
     failure("write error on standard output: No space left on device")},
    {"ClosedOutput", "", {"list"}, ">&-", 1, "", failure("write error on standard output: Bad file descriptor")},
    {"GarbledLogLevelVariable",
     "SYSACCESS_LOG_LEVEL=loud",
     {"get", "orvik.sl2.i32.audio.volume"},
     "",
     0,
     R"(^orvik\.sl2\.i32\.audio\.volume = )",
     R"(tvsim: SYSACCESS_LOG_LEVEL 'loud' is neither a level number nor none, always, error, info or trace; )"
     R"(using error \(1000\)\n)"},
};

class SactlHostileInputTest : public ::testing::TestWithParam<HostileCase> {};

TEST_P(SactlHostileInputTest, GetsItsOneLineAndExitCode) {
    const HostileCase& expected = GetParam();
    const testsupport::ProcessRun run = testsupport::runShellCommand(
        expected.before + " " + testsupport::commandLine(SACTL_PATH, expected.arguments) + " " + expected.after);

    EXPECT_EQ(expected.exitCode, run.exitCode) << run.err;
    if (expected.out.empty()) {
        EXPECT_EQ("", run.out);
    } else {
        EXPECT_TRUE(std::regex_search(run.out, std::regex(expected.out))) << run.out;
    }
    EXPECT_TRUE(std::regex_match(run.err, std::regex(expected.err))) << run.err;
}

INSTANTIATE_TEST_SUITE_P(Sactl, SactlHostileInputTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<HostileCase>& param) { return param.param.name; });

}  // namespace
