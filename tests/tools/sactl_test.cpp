// sactl as a script sees it: each case runs the tool with its arguments and
// checks the exit code, standard output, and standard error, which holds
// exactly one line whenever the tool fails.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "run_process.h"

namespace {

const std::string kExample = std::string(SACTL_MODELS_DIR) + "/example_tv.json";
const std::string kBadRowWidth = std::string(SACTL_MODELS_DIR) + "/bad_row_width.json";

using SactlRun = testsupport::ProcessRun;

SactlRun runSactl(const std::vector<std::string>& arguments) {
    return testsupport::runShellCommand(testsupport::commandLine(SACTL_PATH, arguments));
}

struct SactlCase {
    const char* name;
    std::vector<std::string> arguments;
    int exitCode;
    std::vector<std::string> out;  // regular expressions found in this order on standard output; none: it is empty
    std::string err;               // on failure, found in its one line; on success, found in it; empty: it is empty
};

const std::vector<SactlCase> kCases = {
    // Values on the default model.
    {"ListShowsPathsWithTheirTypes",
     {"list"},
     0,
     {R"(orvik\.sl2\.i32\.tvservice\.no-banner +integer\n)", R"(orvik\.sl2\.table\.channels +table\n)"},
     ""},
    {"ListTakesAPrefix",
     {"list", "orvik.sl2.vstr."},
     0,
     {R"(^orvik\.sl2\.vstr\.audio\.languages +string-vector\norvik\.sl2\.vstr\.subtitle\.languages +string-vector\n$)"},
     ""},
    {"ListOfAnUnknownPrefixFails", {"list", "nowhere."}, 1, {}, R"(no model path starts with 'nowhere\.')"},
    {"GetReadsAStringVector",
     {"get", "orvik.sl2.vstr.audio.languages"},
     0,
     {R"(^orvik\.sl2\.vstr\.audio\.languages = \["eng","fra","deu"\]\n$)"},
     ""},
    {"GetPrintsJsonForScripts",
     {"--json", "get", "orvik.sl2.i64.system.uptime-ms"},
     0,
     {R"(^\{"path":"orvik\.sl2\.i64\.system\.uptime-ms","type":"int64","value":6048000000\}\n$)"},
     ""},
    {"SetWritesANegativeIntegerAndReadsItBack",
     {"set", "orvik.sl2.i32.audio.volume", "-5"},
     0,
     {R"(^orvik\.sl2\.i32\.audio\.volume = -5\n$)"},
     ""},
    {"SetWritesAnInt64BeyondThe32BitRange",
     {"set", "orvik.sl2.i64.epg.last-update", "9000000000000"},
     0,
     {R"(= 9000000000000\n$)"},
     ""},
    {"SetWritesAStringVectorGivenAsJson",
     {"set", "orvik.sl2.vstr.audio.languages", R"(["nor", "swe"])"},
     0,
     {R"(= \["nor","swe"\]\n$)"},
     ""},
    {"SetTakesAStringAsItIs",
     {"set", "orvik.sl2.str.system.menu-language", "[not json"},
     0,
     {R"(= \[not json\n$)"},
     ""},
    {"UnknownPathFails", {"get", "orvik.sl2.i32.nothing"}, 1, {}, R"(unknown path 'orvik\.sl2\.i32\.nothing')"},
    {"ActionIsNotAValue",
     {"get", "orvik.sl2.action.source.switch"},
     1,
     {},
     R"('orvik\.sl2\.action\.source\.switch' is an action, not a value)"},
    {"TableIsNotAValue", {"set", "orvik.sl2.table.channels", "1"}, 1, {}, "is a table, not a value"},
    {"BadIntegerTextFails",
     {"set", "orvik.sl2.i32.audio.volume", "loud"},
     1,
     {},
     R"(bad value for 'orvik\.sl2\.i32\.audio\.volume' \(integer\): "loud" is not an integer)"},
    {"IntegerOutOfRangeFails",
     {"set", "orvik.sl2.i32.audio.volume", "3000000000"},
     1,
     {},
     "3000000000 is out of range for a 32-bit integer"},
    {"BadVectorElementFails",
     {"set", "orvik.sl2.vi32.tvservice.favourite-channels", R"([1,"x"])"},
     1,
     {},
     R"(element 1: expected an integer, got the string "x")"},
    {"ValueIsNotAnAction", {"invoke", "orvik.sl2.i32.audio.volume"}, 1, {}, "is an integer, not an action"},

    // Watching.
    {"WatchPrintsInitialValuesAndEachChangeTheStepsCause",
     {"watch", "orvik.sl2.i32.audio.volume", "orvik.sl2.str.tvservice.channel-name", "--then",
      "set orvik.sl2.i32.audio.volume 30", "--then", "tv-set orvik.sl2.i32.audio.volume 31", "--then",
      "source setChannelNext"},
     0,
     {R"(^\[[0-9:.]{12}\] initial orvik\.sl2\.i32\.audio\.volume = 12\n)"
      R"(\[[0-9:.]{12}\] initial orvik\.sl2\.str\.tvservice\.channel-name = News One\n)"
      R"(> set orvik\.sl2\.i32\.audio\.volume 30\n\[[0-9:.]{12}\] changed orvik\.sl2\.i32\.audio\.volume = 30\n)"
      R"(> tv-set orvik\.sl2\.i32\.audio\.volume 31\n\[[0-9:.]{12}\] changed orvik\.sl2\.i32\.audio\.volume = 31\n)"
      R"(> source setChannelNext\n\[[0-9:.]{12}\] changed orvik\.sl2\.str\.tvservice\.channel-name = Sport Two\n$)"},
     ""},
    {"WatchStopsAfterCount",
     {"watch", "orvik.sl2.i32.audio.mute", "--count", "1", "--then", "set orvik.sl2.i32.audio.mute 1", "--then",
      "set orvik.sl2.i32.audio.mute 0"},
     0,
     {R"(changed orvik\.sl2\.i32\.audio\.mute = 1\n$)"},
     ""},
    {"WatchSeeingFewerChangesThanCountFails",
     {"watch", "orvik.sl2.i32.audio.mute", "--count", "2", "--then", "set orvik.sl2.i32.audio.mute 1"},
     1,
     {R"(changed orvik\.sl2\.i32\.audio\.mute = 1\n$)"},
     "watch saw 1 of the 2 changes it expected"},
    {"WatchTakesOneStepPerThen",
     {"watch", "orvik.sl2.i32.audio.volume", "--then", "set orvik.sl2.i32.audio.mute 1", "orvik.sl2.i32.audio.mute"},
     0,
     {R"(initial orvik\.sl2\.i32\.audio\.mute = 0\n)", R"(changed orvik\.sl2\.i32\.audio\.mute = 1\n$)"},
     ""},
    {"WatchRefusesAnUnknownStep",
     {"watch", "orvik.sl2.i32.audio.mute", "--then", "poke it"},
     1,
     {"initial"},
     "bad --then step 'poke it'"},

    // Actions and tables.
    {"InvokePrintsTheResults",
     {"invoke", "orvik.sl2.action.system.get-version", "0=now"},
     0,
     {R"(^orvik\.sl2\.action\.system\.get-version \(action id 1\) -> \["4\.2\.1","sim"\]\n$)"},
     ""},
    {"InvokeFillsUnnamedPositions",
     {"--model", kExample, "invoke", "example.action.picture.calibrate"},
     0,
     {R"(-> \["done","42"\]\n$)"},
     ""},
    {"InvokeReportsTheFailureCode",
     {"--model", kExample, "invoke", "example.action.system.reboot"},
     1,
     {},
     R"('example\.action\.system\.reboot' failed with code 7 \(action id 1\))"},
    {"InvokeGivesUpAfterTheTimeout",
     {"--model", kExample, "--timeout", "50", "invoke", "example.action.system.silent"},
     1,
     {},
     R"(no outcome for 'example\.action\.system\.silent' \(action id 1\) within 50 ms)"},
    {"InvokeRefusesAnArgumentWithoutPosition",
     {"invoke", "orvik.sl2.action.system.get-version", "now"},
     1,
     {},
     "bad argument 'now': expected POSITION=VALUE"},
    {"TablePrintsColumnsAndEveryRow",
     {"table", "orvik.sl2.table.channels"},
     0,
     {R"(^uuid +uri +name +number +folder-uuid\n)",
      R"(c0a80001-0000-4000-8000-000000000001 +dvb://1\.1\.101 +News One +1 )",
      R"(c0a80001-0000-4000-8000-000000000012 +dvb://1\.2\.202 +Radio Twelve +12 +f0000001-\S+\n$)"},
     ""},
    {"TablePrintsOneJsonObjectPerRow",
     {"--model", kExample, "--json", "table", "example.table.channels"},
     0,
     {R"(\{"cells":\{"folder-uuid":"radio","name":"Gamma","uri":"dvb://9\.9\.3","uuid":"ch-3"\},"row":2,)"
      R"("table":"example\.table\.channels"\}\n$)"},
     ""},

    // Source switching.
    {"SourceShowsWhatWasSentAndTheTvState",
     {"source", "setChannelNext"},
     0,
     {R"(^setChannelNext\(\) -> true\n  sent: \[0\]="ss_access_timercontrol[0-9]+_1" \[1\]="8" \[2\]="hbbtv" )"
      R"(\[3\]="\+1" \[5\]="2"\n  TV now: .*channel-index=1 "Sport Two" dvb://1\.1\.102 no-banner=0\n$)"},
     ""},
    {"SourceTakesResourceNames",
     {"source", "requestResourceFromSystem", "psi-av"},
     0,
     {R"(\[3\]="7"\n  TV now: video=web-engine audio=web-engine psi=web-engine )"},
     ""},
    {"SourceQuietFlagWritesTheNoBannerValue",
     {"source", "setQuietFlag", "1"},
     0,
     {R"(^setQuietFlag\(1\) -> 0\n  sent: nothing \(no action invoked\)\n.* no-banner=1\n$)"},
     ""},
    {"SourceByUuidsOnAModelFile",
     {"--model", kExample, "source", "setChannelByUUIDs", "ch-3", "radio", "true"},
     0,
     {R"(\[4\]="radio" \[5\]="2" \[5\]="1"\n.*channel-index=2 "Gamma")"},
     ""},
    {"SourceRefusedByTheTvFails",
     {"source", "setChannelByURI", "dvb://0.0.0", "0"},
     1,
     {},
     R"(setChannelByURI\("dvb://0\.0\.0", 0\) failed: the TV answered failure code 106 \(no such channel\))"},
    {"SourceUnknownResourceFails",
     {"source", "releaseResourceToSystem", "2"},
     1,
     {},
     R"(failure code 105 \(unknown resource type\))"},
    {"SourceBadFlagFails", {"source", "setChannelByURI", "dvb://1.1.101", "maybe"}, 1, {}, "bad FORCE 'maybe'"},

    // The demo, options and the command line.
    {"DemoRunsEveryTypicalRequest",
     {"demo"},
     0,
     {R"(setQuietFlag\(1\) -> 0\n)", R"(notified orvik\.sl2\.i32\.audio\.volume = 30\n)",
      R"(pauseAV\(\) -> true\n  sent: \[0\]="ss_access_timercontrol[0-9]+_1" \[1\]="2" \[2\]="hbbtv" \[3\]="3"\n)",
      R"(resumeAV\(\) -> true\n)", R"(dvb://1\.2\.202 +Radio Twelve)", R"(setChannelNext\(\) -> true\n)",
      R"(setChannelPrev\(\) -> true\n)", R"(setChannelByURI\("dvb://1\.1\.105", 1\) -> true\n)",
      R"(setChannelByUUIDs\("c0a80001-0000-4000-8000-000000000011", "f0000001-0000-4000-8000-0000000000b2", 0\) -> true)",
      R"(notified orvik\.sl2\.str\.tvservice\.channel-name = Radio Eleven\n)", R"(failure code 106)"},
     ""},
    {"MalformedModelFileNamesTheProblem",
     {"--model", kBadRowWidth, "list"},
     1,
     {},
     R"(bad_row_width\.json: /tables/0/rows/1: the row has 2 cells but the table has 3 columns)"},
    {"MissingModelFileFails",
     {"--model", "/nonexistent/tv.json", "list"},
     1,
     {},
     R"(/nonexistent/tv\.json: cannot read the file)"},
    {"BadLogLevelFails", {"--log-level", "loud", "list"}, 1, {}, "bad --log-level 'loud'"},
    {"LogLevelShowsTheLibrarysLines",
     {"--log-level", "trace", "source", "pauseAV"},
     0,
     {R"(pauseAV\(\) -> true)"},
     R"(\[B-LOG\] source_switch_access\.cpp:[0-9]+:pauseAV\(\): enter\n)"},
    {"EverySubcommandHasHelp",
     {"source", "setChannelByURI", "--help"},
     0,
     {R"(Usage: sactl source setChannelByURI \[OPTIONS\] URI FORCE)"},
     ""},
    {"MissingArgumentFails", {"get"}, 106, {}, "PATH is required"},
};

class SactlTest : public ::testing::TestWithParam<SactlCase> {};

TEST_P(SactlTest, ExitCodeAndOutput) {
    const SactlCase& expected = GetParam();
    const SactlRun run = runSactl(expected.arguments);
    EXPECT_EQ(expected.exitCode, run.exitCode) << run.err;

    if (expected.out.empty()) {
        EXPECT_EQ("", run.out);
    }
    std::string::const_iterator from = run.out.begin();
    for (const std::string& pattern : expected.out) {
        std::smatch found;
        ASSERT_TRUE(std::regex_search(from, run.out.end(), found, std::regex(pattern)))
            << "missing " << pattern << " in order in:\n"
            << run.out;
        from = found[0].second;
    }

    if (expected.err.empty()) {
        EXPECT_EQ("", run.err);
    } else if (expected.exitCode != 0) {
        EXPECT_TRUE(std::regex_match(run.err, std::regex("sactl: .*" + expected.err + ".*\n"))) << run.err;
    } else {
        EXPECT_TRUE(std::regex_search(run.err, std::regex(expected.err))) << run.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Sactl, SactlTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<SactlCase>& param) { return param.param.name; });

}  // namespace
