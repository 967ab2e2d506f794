// sactl as a script sees it: each case runs a command line with the tool and
// checks the exit code, standard output, and standard error, which holds
// exactly one line whenever the tool fails. The cases also drive the library
// end to end, so their outputs are matched exactly where they are stable.
// Hostile input gets its one line and exit code too, never a crash or a hang
// (`timeout` turns a hang into exit 124).
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "run_process.h"

namespace {

using SactlRun = testsupport::ProcessRun;

const std::string kReplaced = "\xEF\xBF\xBD";  // U+FFFD in UTF-8, for a byte that is not UTF-8

// Runs a shell command line in which $SACTL is the tool and $MODELS its model files' folder.
SactlRun runSactl(const std::string& commandLine) {
    return testsupport::runShellCommand("SACTL=" + testsupport::shellQuoted(SACTL_PATH) +
                                        " MODELS=" + testsupport::shellQuoted(SACTL_MODELS_DIR) + "; " + commandLine);
}

struct SactlCase {
    const char* name;
    const char* commandLine;
    int exitCode;
    std::string out;  // a regular expression found on standard output; empty: the output is empty
    std::string err;  // on failure, the one line after "sactl: "; on success, found in it; empty: it is empty
};

const SactlCase kCases[] = {
    // Values on the default model.
    {"ListTakesAPrefix", R"($SACTL list orvik.sl2.vstr.)", 0,
     R"(^orvik\.sl2\.vstr\.audio\.languages +string-vector\norvik\.sl2\.vstr\.subtitle\.languages +string-vector\n$)",
     ""},
    {"GetReadsAStringVector", R"($SACTL get orvik.sl2.vstr.audio.languages)", 0,
     R"(^orvik\.sl2\.vstr\.audio\.languages = \["eng","fra","deu"\]\n$)", ""},
    {"GetPrintsJsonForScripts", R"($SACTL --json get orvik.sl2.i64.system.uptime-ms)", 0,
     R"(^\{"path":"orvik\.sl2\.i64\.system\.uptime-ms","type":"int64","value":6048000000\}\n$)", ""},
    {"SetWritesANegativeIntegerAndReadsItBack", R"($SACTL set orvik.sl2.i32.audio.volume -5)", 0,
     R"(^orvik\.sl2\.i32\.audio\.volume = -5\n$)", ""},
    {"SetWritesAnInt64", R"($SACTL set orvik.sl2.i64.epg.last-update 9000000000000)", 0, R"(= 9000000000000\n$)", ""},
    {"SetWritesAStringVectorGivenAsJson", R"($SACTL set orvik.sl2.vstr.audio.languages '["nor", "swe"]')", 0,
     R"(= \["nor","swe"\]\n$)", ""},
    {"UnknownPathFails", R"($SACTL get orvik.sl2.i32.nothing)", 1, "",
     R"(The model holds no object at 'orvik\.sl2\.i32\.nothing'\.)"},
    {"ActionIsNotAValue", R"($SACTL get orvik.sl2.action.source.switch)", 1, "",
     R"(orvik\.sl2\.action\.source\.switch is an action, not a value\.)"},
    {"ByteForAnIntegerFails", "$SACTL set orvik.sl2.i32.audio.volume '\xff'", 1, "",
     R"(bad value for 'orvik\.sl2\.i32\.audio\.volume' \(integer\): ")" + kReplaced + R"(" is not an integer)"},
    {"ByteInAStringAsJson", "$SACTL --json set orvik.sl2.str.system.menu-language 'a\xff'", 0,
     R"("value":"a)" + kReplaced + R"("\}\n$)", ""},
    {"IntegerBeyond64BitsFails", R"($SACTL set orvik.sl2.i64.epg.last-update 99999999999999999999999)", 1, "",
     R"(bad value for .*: 99999999999999999999999 is out of range for a 64-bit integer )"
     R"(\(-9223372036854775808 to 9223372036854775807\))"},

    // The TV's controls, here on the TV in sactl's own process (sactl_bus_test drives tvsimd's).
    {"RespondersSetTakesResultsAndCopies",
     R"($SACTL --json responders set orvik.sl2.action.source.switch --results 0=ok --copies 2)", 0,
     R"(^\{"answer":"results","before-invoke-returns":false,"copies":2,"delay-ms":0,"path":"orvik\.sl2\.action\.source\.switch","results":\[\{"position":0,"value":"ok"\}\]\}\n$)",
     ""},
    {"FaultsPrintWhatWasSet", R"($SACTL --json faults fail-connects orvik.sl2.i32.audio.volume 7 --count 2)", 0,
     R"(^\{"count":2,"fault":"fail-connects","path":"orvik\.sl2\.i32\.audio\.volume","status":7\}\n$)", ""},
    {"FaultsClearPrintsThePath", R"($SACTL faults clear orvik.sl2.i32.audio.volume)", 0,
     R"(^clear orvik\.sl2\.i32\.audio\.volume\n$)", ""},

    // Watching.
    {"WatchPrintsInitialValuesAndEachChangeTheStepsCause",
     R"($SACTL watch orvik.sl2.i32.audio.volume orvik.sl2.str.tvservice.channel-name --then 'set orvik.sl2.i32.audio.volume 30' --then 'tv-set orvik.sl2.i32.audio.volume 31' --then 'source setChannelNext')",
     0,
     R"(^\[[0-9:.]{12}\] initial orvik\.sl2\.i32\.audio\.volume = 12\n)"
     R"(\[[0-9:.]{12}\] initial orvik\.sl2\.str\.tvservice\.channel-name = News One\n)"
     R"(> set orvik\.sl2\.i32\.audio\.volume 30\n\[[0-9:.]{12}\] changed orvik\.sl2\.i32\.audio\.volume = 30\n)"
     R"(> tv-set orvik\.sl2\.i32\.audio\.volume 31\n\[[0-9:.]{12}\] changed orvik\.sl2\.i32\.audio\.volume = 31\n)"
     R"(> source setChannelNext\n\[[0-9:.]{12}\] changed orvik\.sl2\.str\.tvservice\.channel-name = Sport Two\n$)",
     ""},
    {"WatchStepWithAByte",
     "$SACTL --json watch orvik.sl2.str.system.menu-language --then 'set orvik.sl2.str.system.menu-language \xff'", 0,
     R"("step":"set orvik\.sl2\.str\.system\.menu-language )" + kReplaced + "\"", ""},
    {"WatchForTooLongFails", R"($SACTL watch orvik.sl2.i32.audio.volume --for 1e10)", 105, "",
     R"(--for: expected seconds from 0 to 31536000 \(a year\), got '1e10' \(see --help\))"},
    {"WatchSeeingFewerChangesThanCountFails",
     R"($SACTL watch orvik.sl2.i32.audio.mute --count 2 --then 'set orvik.sl2.i32.audio.mute 1')", 1,
     R"(changed orvik\.sl2\.i32\.audio\.mute = 1\n$)", "watch saw 1 of the 2 changes it expected"},

    // Actions and tables.
    {"InvokePrintsTheResults", R"($SACTL invoke orvik.sl2.action.system.get-version 0=now)", 0,
     R"(^orvik\.sl2\.action\.system\.get-version \(action id 1\) -> \["4\.2\.1","sim"\]\n$)", ""},
    {"InvokeFillsUnnamedPositions",
     R"($SACTL --model "$MODELS/example_tv.json" invoke example.action.picture.calibrate)", 0,
     R"(^example\.action\.picture\.calibrate \(action id 1\) -> \["done","42"\]\n$)", ""},
    {"InvokeReportsTheFailureCode", R"($SACTL --model "$MODELS/example_tv.json" invoke example.action.system.reboot)",
     1, "", R"('example\.action\.system\.reboot' failed with code 7 \(action id 1\))"},
    // The outcome is due in a minute: the run ends at the timeout, not when the outcome would come.
    {"InvokeGivesUpAfterTheTimeout",
     R"(timeout 30 $SACTL --model "$MODELS/slow_reply.json" --timeout 200 invoke slow.action)", 1, "",
     R"(no outcome for 'slow\.action' \(action id 1\) within 200 ms)"},
    {"TablePrintsColumnsAndEveryRow", R"($SACTL table orvik.sl2.table.channels)", 0,
     R"(^uuid +uri +name +number +folder-uuid\nc0a80001-0000-4000-8000-000000000001 +dvb://1\.1\.101 +News One +1 )"
     R"([\s\S]*c0a80001-0000-4000-8000-000000000012 +dvb://1\.2\.202 +Radio Twelve +12 +f0000001-\S+\n$)",
     ""},
    {"TablePrintsOneJsonObjectPerRow",
     R"($SACTL --model "$MODELS/example_tv.json" --json table example.table.channels)", 0,
     R"(\{"cells":\{"folder-uuid":"radio","name":"Gamma","uri":"dvb://9\.9\.3","uuid":"ch-3"\},"row":2,)"
     R"("table":"example\.table\.channels"\}\n$)",
     ""},

    // Source switching.
    {"SourceShowsWhatWasSentAndTheTvState", R"($SACTL source setChannelNext)", 0,
     R"(^setChannelNext\(\) -> true\n  sent: \[0\]="ss_access_timercontrol[0-9]+_1" \[1\]="8" \[2\]="hbbtv" )"
     R"(\[3\]="\+1" \[5\]="2"\n  TV now: .*channel-index=1 "Sport Two" dvb://1\.1\.102 no-banner=0\n$)",
     ""},
    {"SourceTakesResourceNames", R"($SACTL source requestResourceFromSystem psi-av)", 0,
     R"(\[3\]="7"\n  TV now: video=web-engine audio=web-engine psi=web-engine )", ""},
    {"SourceQuietFlagWritesTheNoBannerValue", R"($SACTL source setQuietFlag 1)", 0,
     R"(^setQuietFlag\(1\) -> 0\n  sent: nothing \(no action invoked\)\n.* no-banner=1\n$)", ""},
    {"SourceByUuidsOnAModelFile",
     R"($SACTL --model "$MODELS/example_tv.json" source setChannelByUUIDs ch-3 radio true)", 0,
     R"(\[4\]="radio" \[5\]="2" \[5\]="1"\n.*channel-index=2 "Gamma")", ""},
    {"SourceByUriWithAByteFails", "$SACTL source setChannelByURI 'dvb://\xff' true", 1, "",
     R"(setChannelByURI\("dvb://)" + kReplaced + R"(", true\) failed: .*no such channel\))"},
    {"SourceByUuidsWithAByteFails", "$SACTL source setChannelByUUIDs '\xff' x true", 1, "",
     R"(setChannelByUUIDs\(")" + kReplaced + R"(", "x", true\) failed: .*)"},
    {"SourceRefusedByTheTvFails", R"($SACTL source setChannelByURI dvb://0.0.0 0)", 1, "",
     R"(setChannelByURI\("dvb://0\.0\.0", 0\) failed: the TV answered failure code 106 \(no such channel\))"},

    // The demo, options and the command line.
    {"DemoRunsEveryTypicalRequest", R"($SACTL demo)", 0,
     R"(setQuietFlag\(1\) -> 0\n[\s\S]*notified orvik\.sl2\.i32\.audio\.volume = 30\n[\s\S]*)"
     R"(pauseAV\(\) -> true\n  sent: \[0\]="ss_access_timercontrol[0-9]+_1" \[1\]="2" \[2\]="hbbtv" \[3\]="3"\n[\s\S]*)"
     R"(resumeAV\(\) -> true\n[\s\S]*dvb://1\.2\.202 +Radio Twelve[\s\S]*setChannelNext\(\) -> true\n[\s\S]*)"
     R"(setChannelPrev\(\) -> true\n[\s\S]*setChannelByURI\("dvb://1\.1\.105", 1\) -> true\n[\s\S]*)"
     R"(setChannelByUUIDs\("c0a80001-0000-4000-8000-000000000011", "f0000001-0000-4000-8000-0000000000b2", 0\) )"
     R"(-> true[\s\S]*notified orvik\.sl2\.str\.tvservice\.channel-name = Radio Eleven\n[\s\S]*failure code 106)",
     ""},
    {"MalformedModelFileNamesTheProblem", R"($SACTL --model "$MODELS/bad_row_width.json" list)", 1, "",
     "[^\n]*/tests/tools/models/bad_row_width\\.json: /tables/0/rows/1: the row has 2 cells but the table has 3 "
     "columns"},
    {"BadLogLevelFails", R"($SACTL --log-level loud list)", 1, "",
     "bad --log-level 'loud': give a number such as 1000 or one of none, always, error, info, trace"},
    {"LogLevelShowsTheLibrarysLines", R"($SACTL --log-level trace source pauseAV)", 0, R"(pauseAV\(\) -> true)",
     R"(\[B-LOG\] source_switch_access\.cpp:[0-9]+:pauseAV\(\): enter\n)"},
    {"LogLevelFromTheEnvironment", R"(SYSACCESS_LOG_LEVEL=trace $SACTL source pauseAV)", 0, R"(pauseAV\(\) -> true)",
     R"(\[TRACE -> pauseAV\(IN\)\] source_switch_access\.cpp:[0-9]+:pauseAV\(\) \n)"},
    {"MissingArgumentFails", R"($SACTL get)", 106, "", R"(PATH is required \(see --help\))"},
    {"UnknownCommandFails", R"($SACTL frobnicate)", 106, "",
     R"(unknown command 'frobnicate' \(commands: get, set, watch, list, invoke, table, source, demo, )"
     R"(faults, responders, records, play, record\) \(see --help\))"},
    {"UnknownSourceOperationFails", R"($SACTL source frobnicate)", 106, "",
     R"(unknown source operation 'frobnicate' \(source operations: requestResourceFromSystem, .*\) \(see --help\))"},
    {"HexadecimalTimeoutFails", R"($SACTL --timeout 0x10 list)", 105, "",
     R"(--timeout: expected a decimal integer from 1 to 2147483647, got '0x10' \(see --help\))"},
    {"HexadecimalSecondsFail", R"($SACTL watch orvik.sl2.i32.audio.volume --for 0x10)", 105, "",
     R"(--for: expected seconds from 0 to 31536000 \(a year\), got '0x10' \(see --help\))"},
    {"ZeroCountFails", R"($SACTL watch orvik.sl2.i32.audio.volume --count 0)", 105, "",
     R"(--count: expected a decimal integer from 1 to 2147483647, got '0' \(see --help\))"},
    {"HexadecimalStatusFails", R"($SACTL faults fail-connects orvik.sl2.i32.audio.volume 0x7)", 105, "",
     R"(STATUS: expected a decimal integer, got '0x7' \(see --help\))"},
    {"FullOutputFails", R"($SACTL list >/dev/full)", 1, "", "write error on standard output: No space left on device"},
    {"ClosedOutputFails", R"($SACTL list >&-)", 1, "", "write error on standard output: Bad file descriptor"},
    {"GarbledLogLevelVariableIsReportedOnce", R"(SYSACCESS_LOG_LEVEL=loud $SACTL get orvik.sl2.i32.audio.volume)", 0,
     R"(^orvik\.sl2\.i32\.audio\.volume = )",
     R"(^tvsim: SYSACCESS_LOG_LEVEL 'loud' is neither a level number nor none, always, error, info or trace; )"
     R"(using error \(1000\)\n$)"},
};

class SactlTest : public ::testing::TestWithParam<SactlCase> {};

TEST_P(SactlTest, ExitCodeAndOutput) {
    const SactlCase& expected = GetParam();
    const SactlRun run = runSactl(expected.commandLine);
    EXPECT_EQ(expected.exitCode, run.exitCode) << run.err;
    if (expected.out.empty()) {
        EXPECT_EQ("", run.out);
    } else {
        EXPECT_TRUE(std::regex_search(run.out, std::regex(expected.out))) << run.out;
    }
    if (expected.err.empty()) {
        EXPECT_EQ("", run.err);
    } else if (expected.exitCode != 0) {
        EXPECT_TRUE(std::regex_match(run.err, std::regex("sactl: " + expected.err + "\n"))) << run.err;
    } else {
        EXPECT_TRUE(std::regex_search(run.err, std::regex(expected.err))) << run.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Sactl, SactlTest, ::testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
