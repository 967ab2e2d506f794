// SourceSwitchAccess through the simulator: the argument list, lines and
// answers of every request, the playback flags, request tags, the typical
// pauseAV request with its lines, the no-banner value and the process-wide
// instance. Faults of the platform (refused or unconnectable action, outcomes
// that come early, twice, never or late) live in the fault matrix.
//
// The process-wide instance would stay connected to the first test's simulator,
// so each test builds a service of its own, against its own simulator, through
// the singleton's traits (the factory GetInstance itself uses).
#include <system_access/source_switch_access.h>

#include <base/singleton.h>
#include <tvsim/source_switch.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <regex>
#include <set>
#include <thread>

#include "log_lines.h"
#include "sim_fixture.h"

namespace velmora::system::access {
namespace {

using testsupport::countLines;
using testsupport::inOrder;
using testsupport::kWordAlways;
using testsupport::kWordError;
using testsupport::kWordInfo;
using testsupport::logLine;
using testsupport::traceIn;
using testsupport::traceOut;
using Service = SourceSwitchAccess;

constexpr char kSwitch[] = "orvik.sl2.action.source.switch";
constexpr char kNoBanner[] = "orvik.sl2.i32.tvservice.no-banner";
constexpr char kFile[] = "source_switch_access.cpp";

// Tags are numbered per process: how many this process sent before the running test.
int g_tagsSentBefore = 0;

struct Tag {
    long thread;
    int sequence;
};

Tag parseTag(const std::string& text) {
    std::smatch match;
    EXPECT_TRUE(std::regex_match(text, match, std::regex(R"(ss_access_timercontrol(-?\d+)_(\d+))"))) << text;
    return match.empty() ? Tag{0, 0} : Tag{std::stol(match[1]), std::stoi(match[2])};
}

class SourceSwitchAccessTest : public testsupport::SimTest {
protected:
    void SetUp() override {
        sim.addAction(kSwitch, std::ref(replies));
        service.reset(base::DefaultSingletonTraits<Service>::New());
    }

    void TearDown() override {
        service.reset();
        g_tagsSentBefore += static_cast<int>(sim.invokes().size());
    }

    std::string lastPlaybackStatusSent() const {
        const std::vector<tvsim::InvokeRecord> invokes = sim.invokes();
        for (auto record = invokes.rbegin(); record != invokes.rend(); ++record) {
            if (record->arguments.at(1).value == "11") {
                return record->arguments.at(3).value;
            }
        }
        return "(none)";
    }

    tvsim::SourceSwitchResponder tv;
    testsupport::ScriptedReplies replies{std::ref(tv)};
    std::unique_ptr<Service> service;
};

// ---- What each operation sends, writes and answers ----

struct RequestCase {
    const char* function;  // the operation, named as in its trace lines
    std::function<bool(Service&)> operation;
    const char* sent;    // "position=value;" from position 1 on, in order
    const char* sender;  // the operation that logs a refusal
    bool traced;         // writes trace lines under its own name
    bool enter;          // writes the "enter" line
};

class SourceSwitchRequestTest : public SourceSwitchAccessTest, public ::testing::WithParamInterface<RequestCase> {};

TEST_P(SourceSwitchRequestTest, SendsItsArgumentsLogsAndAnswersTheOutcome) {
    const RequestCase& c = GetParam();
    EXPECT_TRUE(c.operation(*service));
    replies.push(tvsim::Reply::failure(9));
    EXPECT_FALSE(c.operation(*service));
    sim.refuseNextInvokes(kSwitch, 1, 33);
    EXPECT_FALSE(c.operation(*service));

    const std::vector<lomodelapi::Argument> arguments = sim.invokes().at(0).arguments;
    EXPECT_EQ(base::currentThread(), parseTag(arguments.at(0).value).thread);
    std::string sent;
    for (const lomodelapi::Argument& argument : arguments) {
        sent += std::to_string(argument.position) + "=" + (sent.empty() ? "tag" : argument.value) + ";";
        EXPECT_EQ(0, argument.tag + argument.subtag);
    }
    EXPECT_EQ(std::string("0=tag;") + c.sent, sent);
    EXPECT_EQ(c.traced ? 3 : 0, countLines(capture, traceIn(kFile, c.function)));
    EXPECT_EQ(c.enter ? 3 : 0, countLines(capture, logLine(kFile, c.function, "enter"), kWordAlways));
    EXPECT_EQ(1, countLines(capture, logLine(kFile, c.sender, "error: 33"), kWordError));
    EXPECT_EQ(2, countLines(capture, traceIn(kFile, "waitForResult")));  // none for the refused request
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Operations, SourceSwitchRequestTest, ::testing::Values(
    RequestCase{"requestResourceFromSystem", [](Service& s) { return s.requestResourceFromSystem(Service::RESOURCE_TYPE_AV); }, "1=2;2=hbbtv;3=3;", "requestResourceFromSystem", true, false},
    RequestCase{"releaseResourceToSystem", [](Service& s) { return s.releaseResourceToSystem(Service::RESOURCE_TYPE_PSI_AV); }, "1=3;2=hbbtv;3=7;", "releaseResourceToSystem", true, false},
    RequestCase{"changeDTVPlaybackStatus", [](Service& s) { return s.changeDTVPlaybackStatus(Service::RESOURCE_TYPE_VIDEO); }, "1=11;2=hbbtv;3=1;", "changeDTVPlaybackStatus", true, false},
    RequestCase{"pausePSI", [](Service& s) { return s.pausePSI(); }, "1=2;2=hbbtv;3=4;", "requestResourceFromSystem", false, false},
    RequestCase{"pauseAV", [](Service& s) { return s.pauseAV(); }, "1=2;2=hbbtv;3=3;", "requestResourceFromSystem", true, true},
    RequestCase{"pauseVideo", [](Service& s) { return s.pauseVideo(); }, "1=11;2=hbbtv;3=1;", "changeDTVPlaybackStatus", false, false},
    RequestCase{"resumePSI", [](Service& s) { return s.resumePSI(); }, "1=3;2=hbbtv;3=4;", "releaseResourceToSystem", true, false},
    RequestCase{"resumeAV", [](Service& s) { return s.resumeAV(); }, "1=3;2=hbbtv;3=3;", "releaseResourceToSystem", true, true},
    RequestCase{"resumePSIAV", [](Service& s) { return s.resumePSIAV(); }, "1=3;2=hbbtv;3=7;", "releaseResourceToSystem", true, false},
    RequestCase{"resumeVideo", [](Service& s) { return s.resumeVideo(); }, "1=11;2=hbbtv;3=1;", "changeDTVPlaybackStatus", true, false},
    RequestCase{"setChannelPrev", [](Service& s) { return s.setChannelPrev(); }, "1=8;2=hbbtv;3=-1;5=2;", "setChannelPrev", true, false},
    RequestCase{"setChannelNext", [](Service& s) { return s.setChannelNext(); }, "1=8;2=hbbtv;3=+1;5=2;", "setChannelNext", true, false},
    RequestCase{"setChannelByUUIDs", [](Service& s) { return s.setChannelByUUIDs("c0a80001-0000-4000-8000-000000000004", "f0000001-0000-4000-8000-0000000000b2", true); }, "1=8;2=hbbtv;3=c0a80001-0000-4000-8000-000000000004;4=f0000001-0000-4000-8000-0000000000b2;5=2;5=1;", "setChannelByUUIDs", true, false},
    RequestCase{"setChannelByURI", [](Service& s) { return s.setChannelByURI("dvb://1.1.102", false); }, "1=8;2=hbbtv;3=dvb://1.1.102;4=;5=2;5=0;", "setChannelByURI", true, false}),
    [](const ::testing::TestParamInfo<RequestCase>& testCase) { return testCase.param.function; });
// clang-format on

// ---- Playback flags, seen through the status pauseVideo and resumeVideo send ----

struct FlagCase {
    const char* name;
    std::vector<std::string> steps;  // operations in order; a leading '!' makes the platform fail that one
    const char* statusSent;          // by the last step
};

class PlaybackStatusTest : public SourceSwitchAccessTest, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(PlaybackStatusTest, StatusFollowsTheFlagsOfSuccessfulOperations) {
    const std::map<std::string, bool (Service::*)()> operations = {
        {"pausePSIAV", &Service::pausePSIAV},   {"pausePSI", &Service::pausePSI},
        {"pauseAV", &Service::pauseAV},         {"pauseVideo", &Service::pauseVideo},
        {"resumePSI", &Service::resumePSI},     {"resumeAV", &Service::resumeAV},
        {"resumePSIAV", &Service::resumePSIAV}, {"resumeVideo", &Service::resumeVideo},
    };
    for (const std::string& step : GetParam().steps) {
        const bool fails = step[0] == '!';
        if (fails) {
            replies.push(tvsim::Reply::failure(9));
        }
        EXPECT_EQ(!fails, (service.get()->*operations.at(fails ? step.substr(1) : step))()) << step;
    }

    EXPECT_EQ(GetParam().statusSent, lastPlaybackStatusSent());
    const std::vector<std::string>& steps = GetParam().steps;
    EXPECT_EQ(sim.invokes().size(), steps.size() - std::count(steps.begin(), steps.end(), "pausePSIAV"));
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, PlaybackStatusTest,
    ::testing::Values(FlagCase{"FreshResumeVideo", {"resumeVideo"}, "1"},
                      FlagCase{"AVAndPSIResumed", {"resumeAV", "resumePSI", "pauseVideo"}, "7"},
                      FlagCase{"PSIPausedAgain", {"resumeAV", "resumePSI", "pausePSI", "pauseVideo"}, "3"},
                      FlagCase{"AVPausedKeepsPSI", {"resumePSIAV", "pauseAV", "resumeVideo"}, "5"},
                      FlagCase{"AVPausedAlone", {"resumeAV", "pauseAV", "resumeVideo"}, "1"},
                      FlagCase{"FailedPauseAVKeepsFlags", {"resumeAV", "!pauseAV", "pauseVideo"}, "3"},
                      FlagCase{"FailedPausePSIKeepsFlags", {"resumePSI", "!pausePSI", "pauseVideo"}, "5"},
                      FlagCase{"FailedResumePSIKeepsFlags", {"!resumePSI", "resumeVideo"}, "1"},
                      FlagCase{"FailedResumePSIAVKeepsFlags", {"!resumePSIAV", "pauseVideo"}, "1"},
                      FlagCase{"ResumePSIAVSetsAll", {"resumePSIAV", "pauseVideo"}, "7"},
                      FlagCase{"PausePSIAVClearsAll", {"resumePSIAV", "pausePSIAV", "pauseVideo"}, "1"},
                      FlagCase{"VideoOperationsLeaveAVAndPSI", {"resumePSI", "resumeVideo", "pauseVideo"}, "5"}),
    [](const ::testing::TestParamInfo<FlagCase>& testCase) { return testCase.param.name; });

// ---- Request tags and connecting the action, the typical request, the service's life ----

TEST_F(SourceSwitchAccessTest, ConcurrentFirstRequestsConnectOnceAndEachTagTakesTheNextNumberOfTheProcess) {
    std::vector<std::thread> clients;
    std::set<long> threads;
    std::mutex threadsMutex;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([&] {
            EXPECT_TRUE(service->setChannelNext());
            std::lock_guard<std::mutex> lock(threadsMutex);
            threads.insert(base::currentThread());
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }

    EXPECT_EQ(1u, sim.connects().size());
    EXPECT_EQ(
        1, countLines(capture, logLine(kFile, "connectToValue", std::string("Connecting To Value: ") + kSwitch + "  "),
                      kWordInfo));
    std::set<long> taggedThreads;
    std::set<int> sequences;
    for (const tvsim::InvokeRecord& invoke : sim.invokes()) {
        const Tag tag = parseTag(invoke.arguments.at(0).value);
        taggedThreads.insert(tag.thread);
        sequences.insert(tag.sequence);
    }
    EXPECT_EQ(threads, taggedThreads);
    EXPECT_EQ((std::set<int>{g_tagsSentBefore + 1, g_tagsSentBefore + 2, g_tagsSentBefore + 3, g_tagsSentBefore + 4}),
              sequences);
    EXPECT_EQ(4u, tv.accepted().size());
}

TEST_F(SourceSwitchAccessTest, PauseAVRequestsAudioAndVideoAndWaitsForTheOutcome) {
    EXPECT_TRUE(service->pauseAV());

    const std::string id = std::to_string(sim.invokes().at(0).actionId);
    // Lines of the client thread, in order; callback-thread lines come between.
    EXPECT_TRUE(
        inOrder(capture, {
                             traceIn(kFile, "pauseAV"),
                             logLine(kFile, "pauseAV", "enter"),
                             traceIn(kFile, "requestResourceFromSystem"),
                             traceIn(kFile, "connectToValue"),
                             logLine(kFile, "connectToValue", std::string("Connecting To Value: ") + kSwitch + "  "),
                             traceOut(kFile, "connectToValue"),
                             traceIn(kFile, "waitForResult"),
                             logLine(kFile, "waitForResult", "waiting result ...  for  actionid: " + id),
                             logLine(kFile, "waitForResult", "waiting result ...  001   actionid: " + id),
                             logLine(kFile, "waitForResult", "waiting done. " + id + "  : err : 0"),
                             traceOut(kFile, "waitForResult"),
                             traceOut(kFile, "requestResourceFromSystem"),
                             traceOut(kFile, "pauseAV"),
                         }));
    // Lines of the callback thread, in order among themselves. pauseAV returns
    // once the outcome is stored, before the callback has written its exit lines.
    sim.flush();
    EXPECT_TRUE(inOrder(capture, {
                                     traceIn("action_access.cpp", "notifyResult"),
                                     logLine("action_access.cpp", "notifyResult",
                                             std::string("Action Result: ") + kSwitch + ",  " + id + ",  0 "),
                                     traceIn(kFile, "onActionResult"),
                                     traceOut(kFile, "onActionResult"),
                                     traceOut("action_access.cpp", "notifyResult"),
                                 }));
}

TEST_F(SourceSwitchAccessTest, ChannelUUIDLineFollowsTheConnectAndPrecedesTheRequest) {
    EXPECT_TRUE(service->setChannelByUUIDs("c0a80001-0000-4000-8000-000000000001",
                                           "f0000001-0000-4000-8000-0000000000a1", true));

    const std::string line = logLine(kFile, "setChannelByUUIDs",
                                     "channelUUID:'c0a80001-0000-4000-8000-000000000001', "
                                     "folderUUID:'f0000001-0000-4000-8000-0000000000a1', forceShowAV:1.");
    EXPECT_EQ(1, countLines(capture, line, kWordInfo));
    EXPECT_TRUE(inOrder(capture, {traceIn(kFile, "setChannelByUUIDs"), traceOut(kFile, "connectToValue"), line,
                                  traceIn(kFile, "waitForResult")}));
}

TEST_F(SourceSwitchAccessTest, ConstructionAndDestructionAreTracedAndDestructionDisconnects) {
    sim.addInteger(kNoBanner, 0);
    ASSERT_TRUE(service->setChannelNext());
    ASSERT_EQ(0, service->setQuietFlag(1));
    const tvsim::ConnectRecord connected = sim.connects().at(0);

    service.reset();

    ASSERT_EQ(2u, sim.disconnects().size());
    EXPECT_EQ(connected.object, sim.disconnects()[0].object);
    EXPECT_EQ(connected.observer, sim.disconnects()[0].observer);
    EXPECT_EQ(0, sim.connectedObservers(kSwitch));
    EXPECT_EQ(0, sim.connectedObservers(kNoBanner));
    EXPECT_TRUE(inOrder(capture, {traceIn(kFile, "SourceSwitchAccess"), traceOut(kFile, "SourceSwitchAccess"),
                                  traceIn(kFile, "~SourceSwitchAccess"), traceOut(kFile, "~SourceSwitchAccess")}));
}

// ---- No-banner value ----

TEST_F(SourceSwitchAccessTest, QuietFlagIsWrittenThroughOneAccessorAndAnswersTheStatus) {
    EXPECT_EQ(STATUS_ERR_CONNECT_FAILED, service->setQuietFlag(1));  // no such value yet
    sim.addString(kNoBanner, "");
    EXPECT_EQ(STATUS_ERR_VALUE_TYPE_MISMATCH, service->setQuietFlag(1));
    sim.remove(kNoBanner);
    sim.addInteger(kNoBanner, 0);
    EXPECT_EQ(0, service->setQuietFlag(1));
    EXPECT_EQ(1, sim.integer(kNoBanner));
    EXPECT_EQ(0, service->setQuietFlag(0));
    EXPECT_EQ(0, sim.integer(kNoBanner));
    EXPECT_EQ(2, sim.setterCalls(kNoBanner));
}

// ---- The process-wide instance ----

TEST(SourceSwitchSingletonTest, BothGettersAnswerTheSameInstanceOnEveryThread) {
    Service* other = nullptr;
    std::thread([&other] { other = Service::GetInstance(); }).join();
    EXPECT_NE(nullptr, other);
    EXPECT_EQ(other, Service::getInstance());
}

// Outcomes nobody claims (unknown ids here) are kept up to the bound; each one
// more drops the oldest with one error line. Those kept are claimed as before;
// one that comes after its request timed out is not kept.
TEST_F(SourceSwitchAccessTest, UnclaimedOutcomesAreBoundedToTheMostRecent) {
    constexpr unsigned int kFirst = 1000000;  // ids the simulator never hands out
    constexpr unsigned int kLast = kFirst + static_cast<unsigned int>(Service::kMaxUnclaimedOutcomes) + 1;
    capture.clear();

    for (unsigned int id = kFirst; id <= kLast; ++id) {
        service->onActionFailed(static_cast<int>(id), id == kFirst ? 7 : 0);
    }

    EXPECT_EQ(2, countLines(capture, R"([\s\S]*)", kWordError));
    EXPECT_TRUE(
        inOrder(capture, {logLine(kFile, "storeOutcome", "unclaimed result dropped, actionid: 1000000  err : 7"),
                          logLine(kFile, "storeOutcome", "unclaimed result dropped, actionid: 1000001  err : 0")}));
    EXPECT_TRUE(service->waitForResult(kFirst + 2));
    EXPECT_TRUE(service->waitForResult(kLast));
    service->setResultTimeout(1);
    EXPECT_FALSE(service->waitForResult(kFirst + 1));
    service->onActionFailed(static_cast<int>(kFirst + 1), 0);
    EXPECT_FALSE(service->waitForResult(kFirst + 1)) << "the outcome of a request that timed out is dropped";
}

}  // namespace
}  // namespace velmora::system::access
