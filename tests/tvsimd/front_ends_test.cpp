// The TV's controls through every front end: tvsimd's D-Bus interfaces (through
// the proxy sactl uses), the dashboard's JSON API, sactl with its own TV and
// sactl --bus. The same control is accepted or refused alike, with the same
// sentence. One tvsimd with its dashboard serves the whole suite.
#include "bus_processes.h"
#include "run_process.h"

#include <tv_control_proxy.h>
#include <tvsim/control_error.h>
#include <tvsim/input_limits.h>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <regex>
#include <string>

namespace {

using tvsimd_test::ChildProcess;

constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kSwitch = "orvik.sl2.action.source.switch";
constexpr const char* kChannelName = "orvik.sl2.str.tvservice.channel-name";

// One control as each front end spells it; an empty spelling is a control that front end does not offer.
struct ControlCase {
    const char* name;
    std::function<void(tvsim::TvControl&)> viaBus;
    const char* route;  // the dashboard's
    std::string body;
    std::string sactl;  // its arguments
    std::optional<tvsim::ControlErrorKind> refusal;
    std::string sentence;  // the refusal's
};

const std::string kLongPath(tvsim::kMaxPathBytes + 1, 'a');

const ControlCase kCases[] = {
    {"FaultOnAPathThatDoesNotExist", [](tvsim::TvControl& tv) { tv.failNextConnects("no.such.path", 1, 9); },
     "/api/fault", R"({"fault":"fail-connects","path":"no.such.path","status":9})",
     "faults fail-connects no.such.path 9", tvsim::ControlErrorKind::UNKNOWN_PATH,
     "The model holds no object at 'no.such.path'."},
    {"NullObjectOnAPathThatDoesNotExist", [](tvsim::TvControl& tv) { tv.nullObjectOnNextConnects("no.such.path", 1); },
     "/api/fault", R"({"fault":"null-object-on-connects","path":"no.such.path"})", "faults null-connects no.such.path",
     tvsim::ControlErrorKind::UNKNOWN_PATH, "The model holds no object at 'no.such.path'."},
    {"GetterFaultOnAnInteger", [](tvsim::TvControl& tv) { tv.failGetter(kVolume, 5); }, "/api/fault",
     R"({"fault":"fail-getter","path":"orvik.sl2.i32.audio.volume","status":5})",
     "faults fail-getter orvik.sl2.i32.audio.volume 5", tvsim::ControlErrorKind::WRONG_TYPE,
     "orvik.sl2.i32.audio.volume is an integer, not a string or vector value."},
    {"InvokeFaultOnAValue", [](tvsim::TvControl& tv) { tv.refuseNextInvokes(kVolume, 1, 3); }, "/api/fault",
     R"({"fault":"refuse-invokes","path":"orvik.sl2.i32.audio.volume","status":3})",
     "faults refuse-invokes orvik.sl2.i32.audio.volume 3", tvsim::ControlErrorKind::WRONG_TYPE,
     "orvik.sl2.i32.audio.volume is an integer, not an action."},
    {"FailingConnectWithStatusZero", [](tvsim::TvControl& tv) { tv.failNextConnects(kVolume, 1, 0); }, "/api/fault",
     R"({"fault":"fail-connects","path":"orvik.sl2.i32.audio.volume","status":0})",
     "faults fail-connects orvik.sl2.i32.audio.volume 0", tvsim::ControlErrorKind::INVALID_ARGUMENT,
     "A failing connect needs a non-zero status; a null object with status 0 is a fault of its own."},
    {"NegativeCount", [](tvsim::TvControl& tv) { tv.nullObjectOnNextConnects(kVolume, -1); }, "/api/fault",
     R"({"fault":"null-object-on-connects","path":"orvik.sl2.i32.audio.volume","count":-1})",
     "faults null-connects orvik.sl2.i32.audio.volume --count=-1", tvsim::ControlErrorKind::OUT_OF_RANGE,
     "A fault's count is 0 to 1000000; got -1."},
    {"ValueOnAnAction", [](tvsim::TvControl& tv) { tv.setValue(kSwitch, 1); }, "/api/value",
     R"({"path":"orvik.sl2.action.source.switch","value":1})", "", tvsim::ControlErrorKind::WRONG_TYPE,
     "orvik.sl2.action.source.switch is an action, not a value."},
    {"AnswerDelayedTooLong",
     [](tvsim::TvControl& tv) {
         tvsim::Reply reply = tvsim::Reply::none();
         reply.delay = std::chrono::milliseconds(60001);
         tv.setReply(kSwitch, reply);
     },
     "/api/answer", R"({"path":"orvik.sl2.action.source.switch","answer":"none","delayMs":60001})",
     "responders set orvik.sl2.action.source.switch --no-reply --delay 60001",
     tvsim::ControlErrorKind::INVALID_ARGUMENT, "A delay is 0 to 60000 ms; got 60001 ms."},
    {"OwnAnswerOfAValue", [](tvsim::TvControl& tv) { tv.resetReply(kVolume); }, "/api/answer",
     R"({"path":"orvik.sl2.i32.audio.volume","answer":"own"})", "responders clear orvik.sl2.i32.audio.volume",
     tvsim::ControlErrorKind::WRONG_TYPE, "orvik.sl2.i32.audio.volume is an integer, not an action."},
    {"FaultTakenBack", [](tvsim::TvControl& tv) { tv.failNextConnects(kVolume, 0, 7); }, "/api/fault",
     R"({"fault":"fail-connects","path":"orvik.sl2.i32.audio.volume","status":7,"clear":true})",
     "faults fail-connects orvik.sl2.i32.audio.volume 7 --count 0", std::nullopt, ""},
    {"PathBeyondTheBound", [](tvsim::TvControl& tv) { tv.failGetter(kLongPath, 5); }, "/api/fault",
     R"({"fault":"fail-getter","path":")" + kLongPath + R"(","status":5})", "faults fail-getter " + kLongPath + " 5",
     tvsim::ControlErrorKind::INVALID_ARGUMENT, "A model path is at most 1024 bytes; got 1025."},
};

class FrontEndsTest : public ::testing::TestWithParam<ControlCase> {
protected:
    static void SetUpTestSuite() {
        s_bus = new tvsimd_test::PrivateDbusDaemon();
        s_tvsimd = new ChildProcess({TVSIMD_PATH, "--address", s_bus->address(), "--http", "127.0.0.1:0"});
        const std::string dashboard = s_tvsimd->readLine();
        const std::string ready = s_tvsimd->readLine();
        std::smatch url;
        ASSERT_TRUE(std::regex_match(dashboard, url, std::regex("dashboard (http://127\\.0\\.0\\.1:[0-9]+)/?")))
            << dashboard;
        ASSERT_EQ(ready, "ready");
        s_http = new httplib::Client(url[1].str());
        s_http->set_connection_timeout(5);
        s_http->set_read_timeout(5);
        const httplib::Result page = s_http->Get("/");
        std::smatch token;
        ASSERT_TRUE(page &&
                    std::regex_search(page->body, token, std::regex("name=\"tvsim-token\" content=\"([0-9a-f]+)\"")));
        s_token = token[1].str();
    }
    static void TearDownTestSuite() {
        delete s_http;
        delete s_tvsimd;
        delete s_bus;
    }

    static testsupport::ProcessRun sactl(const std::string& arguments) {
        return testsupport::runShellCommand("timeout 20 " + testsupport::shellQuoted(SACTL_PATH) + " " + arguments);
    }

    static tvsimd_test::PrivateDbusDaemon* s_bus;
    static ChildProcess* s_tvsimd;
    static httplib::Client* s_http;
    static std::string s_token;
};

tvsimd_test::PrivateDbusDaemon* FrontEndsTest::s_bus = nullptr;
ChildProcess* FrontEndsTest::s_tvsimd = nullptr;
httplib::Client* FrontEndsTest::s_http = nullptr;
std::string FrontEndsTest::s_token;

TEST_P(FrontEndsTest, AControlIsAcceptedOrRefusedAlikeEverywhere) {
    const ControlCase& control = GetParam();
    const bool refused = control.refusal.has_value();

    SCOPED_TRACE("D-Bus");
    tvsim::bus::TvControlProxy bus(s_bus->address(), std::chrono::milliseconds(5000));
    try {
        control.viaBus(bus);
        EXPECT_FALSE(refused) << "accepted";
    } catch (const tvsim::ControlError& error) {
        ASSERT_TRUE(refused) << error.what();
        EXPECT_EQ(error.kind(), *control.refusal);
        EXPECT_EQ(error.what(), control.sentence);
    }

    SCOPED_TRACE("dashboard");
    const httplib::Result answer =
        s_http->Post(control.route, {{"X-TvSim-Token", s_token}}, control.body, "application/json");
    ASSERT_TRUE(answer);
    if (refused) {
        EXPECT_EQ(answer->status, *control.refusal == tvsim::ControlErrorKind::UNKNOWN_PATH ? 404 : 400);
        EXPECT_EQ(nlohmann::json::parse(answer->body), nlohmann::json({{"error", control.sentence}}));
    } else {
        EXPECT_EQ(answer->status, 200) << answer->body;
    }

    if (control.sactl.empty()) {
        return;
    }
    for (const std::string& tv : {std::string(), "--bus=" + testsupport::shellQuoted(s_bus->address()) + " "}) {
        SCOPED_TRACE(tv.empty() ? "sactl" : "sactl --bus");
        const testsupport::ProcessRun run = sactl(tv + control.sactl);
        EXPECT_EQ(run.exitCode, refused ? 1 : 0) << run.err;
        EXPECT_EQ(run.err, refused ? "sactl: " + control.sentence + "\n" : "");
    }
}

INSTANTIATE_TEST_SUITE_P(Controls, FrontEndsTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<ControlCase>& tested) { return tested.param.name; });

// Giving an action its own answer back gives back all it does: the source
// switch keeps the channel-name value in step again.
TEST_F(FrontEndsTest, ResetAnswerKeepsTheChannelNameInStep) {
    tvsim::bus::TvControlProxy tv(s_bus->address(), std::chrono::milliseconds(5000));
    tv.setReply(kSwitch, tvsim::Reply::failure(42));
    tv.resetReply(kSwitch);
    const testsupport::ProcessRun run =
        sactl("--bus=" + testsupport::shellQuoted(s_bus->address()) + " source setChannelByURI dvb://1.1.105 true");
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(tv.sourceSwitch(kSwitch)->channel.name, "Nature Five");
    EXPECT_EQ(tv.value(kChannelName), tvsim::ModelValue(std::string("Nature Five")));
}

}  // namespace
