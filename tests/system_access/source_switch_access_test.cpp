// SourceSwitchAccess through the simulator: the argument list of every request,
// the playback flags, request tags, outcomes that come early, twice, never or
// late, the typical pauseAV request with its lines, the no-banner value and
// channel changes on the simulated TV.
//
// The process-wide instance would stay connected to the first test's simulator,
// so each test builds a service of its own, against its own simulator, through
// the singleton's traits (the factory GetInstance itself uses). Only the
// identity of the process-wide instance is checked here.
#include <system_access/source_switch_access.h>

#include <base/singleton.h>
#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>
#include <tvsim/source_switch.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <regex>
#include <thread>

#include "log_lines.h"
#include "sleep_counter.h"

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
constexpr char kTagPrefix[] = "ss_access_timercontrol";

// The first request tag any test of this process sent (tags are numbered per process).
std::string g_firstTagOfProcess;

struct Tag {
    long thread;
    int sequence;
};

Tag parseTag(const std::string& text) {
    std::smatch match;
    const std::regex pattern(std::string(kTagPrefix) + R"((-?\d+)_(\d+))");
    EXPECT_TRUE(std::regex_match(text, match, pattern)) << text;
    return match.empty() ? Tag{0, 0} : Tag{std::stol(match[1]), std::stoi(match[2])};
}

class SourceSwitchAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::SleepCounter::reset();
        sim.addAction(kSwitch, [this](unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) {
            return answer(actionId, arguments);
        });
        service.reset(base::DefaultSingletonTraits<Service>::New());
    }

    void TearDown() override {
        service.reset();
        rememberFirstTag();
    }

    // The next replies, in order; afterwards the simulated TV answers.
    void script(tvsim::Reply reply) {
        std::lock_guard<std::mutex> lock(m_scriptMutex);
        m_script.push_back(std::move(reply));
    }

    std::vector<tvsim::InvokeRecord> switchInvokes() const {
        std::vector<tvsim::InvokeRecord> invokes;
        for (tvsim::InvokeRecord& record : sim.invokes()) {
            if (record.path == kSwitch) {
                invokes.push_back(std::move(record));
            }
        }
        return invokes;
    }

    void rememberFirstTag() {
        const std::vector<tvsim::InvokeRecord> invokes = switchInvokes();
        if (g_firstTagOfProcess.empty() && !invokes.empty()) {
            g_firstTagOfProcess = invokes.front().arguments.at(0).value;
        }
    }

    std::string lastPlaybackStatusSent() const {
        const std::vector<tvsim::InvokeRecord> invokes = switchInvokes();
        for (auto record = invokes.rbegin(); record != invokes.rend(); ++record) {
            if (record->arguments.at(1).value == "11") {
                return record->arguments.at(3).value;
            }
        }
        return "(none)";
    }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
    tvsim::SourceSwitchResponder tv;
    std::unique_ptr<Service> service;

private:
    tvsim::Reply answer(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) {
        {
            std::lock_guard<std::mutex> lock(m_scriptMutex);
            if (!m_script.empty()) {
                tvsim::Reply reply = std::move(m_script.front());
                m_script.pop_front();
                return reply;
            }
        }
        return tv(actionId, arguments);
    }

    std::mutex m_scriptMutex;
    std::deque<tvsim::Reply> m_script;
};

// ---- What each operation sends ----

struct RequestCase {
    const char* name;
    std::function<bool(Service&)> operation;
    std::vector<std::pair<int, std::string>> sent;  // from position 1 on, in order
    const char* sender;                             // the operation that logs a refusal
};

class SourceSwitchRequestTest : public SourceSwitchAccessTest, public ::testing::WithParamInterface<RequestCase> {};

TEST_P(SourceSwitchRequestTest, SendsTagCommandRequesterAndItsOwnArgumentsInOrder) {
    EXPECT_TRUE(GetParam().operation(*service));

    const std::vector<tvsim::InvokeRecord> invokes = switchInvokes();
    ASSERT_EQ(1u, invokes.size());
    const std::vector<lomodelapi::Argument>& arguments = invokes[0].arguments;
    ASSERT_EQ(GetParam().sent.size() + 1, arguments.size());
    EXPECT_EQ(0, arguments[0].position);
    EXPECT_EQ(base::currentThread(), parseTag(arguments[0].value).thread);
    for (size_t index = 0; index < GetParam().sent.size(); ++index) {
        EXPECT_EQ(GetParam().sent[index].first, arguments[index + 1].position) << "argument " << index + 1;
        EXPECT_EQ(GetParam().sent[index].second, arguments[index + 1].value) << "argument " << index + 1;
    }
    for (const lomodelapi::Argument& argument : arguments) {
        EXPECT_EQ(0, argument.tag);
        EXPECT_EQ(0, argument.subtag);
    }
}

TEST_P(SourceSwitchRequestTest, RefusedInvokeIsLoggedUnderTheSendingOperationWithoutWaiting) {
    sim.refuseNextInvokes(kSwitch, 1, 33);

    EXPECT_FALSE(GetParam().operation(*service));

    EXPECT_EQ(1, countLines(capture, logLine(kFile, GetParam().sender, "error: 33"), kWordError));
    EXPECT_EQ(0, countLines(capture, traceIn(kFile, "waitForResult")));
}

TEST_P(SourceSwitchRequestTest, ReportedFailureAnswersFalse) {
    script(tvsim::Reply::failure(9));

    EXPECT_FALSE(GetParam().operation(*service));
}

using Sent = std::vector<std::pair<int, std::string>>;

INSTANTIATE_TEST_SUITE_P(
    Operations, SourceSwitchRequestTest,
    ::testing::
        Values(
            RequestCase{"RequestResource",
                        [](Service& s) { return s.requestResourceFromSystem(Service::RESOURCE_TYPE_AV); },
                        Sent{{1, "2"}, {2, "hbbtv"}, {3, "3"}}, "requestResourceFromSystem"},
            RequestCase{"ReleaseResource",
                        [](Service& s) { return s.releaseResourceToSystem(Service::RESOURCE_TYPE_PSI_AV); },
                        Sent{{1, "3"}, {2, "hbbtv"}, {3, "7"}}, "releaseResourceToSystem"},
            RequestCase{"ChangePlayback",
                        [](Service& s) { return s.changeDTVPlaybackStatus(Service::RESOURCE_TYPE_VIDEO); },
                        Sent{{1, "11"}, {2, "hbbtv"}, {3, "1"}}, "changeDTVPlaybackStatus"},
            RequestCase{"PausePSI", [](Service& s) { return s.pausePSI(); }, Sent{{1, "2"}, {2, "hbbtv"}, {3, "4"}},
                        "requestResourceFromSystem"},
            RequestCase{"PauseAV", [](Service& s) { return s.pauseAV(); }, Sent{{1, "2"}, {2, "hbbtv"}, {3, "3"}},
                        "requestResourceFromSystem"},
            RequestCase{"PauseVideo", [](Service& s) { return s.pauseVideo(); },
                        Sent{{1, "11"}, {2, "hbbtv"}, {3, "1"}}, "changeDTVPlaybackStatus"},
            RequestCase{"ResumePSI", [](Service& s) { return s.resumePSI(); }, Sent{{1, "3"}, {2, "hbbtv"}, {3, "4"}},
                        "releaseResourceToSystem"},
            RequestCase{"ResumeAV", [](Service& s) { return s.resumeAV(); }, Sent{{1, "3"}, {2, "hbbtv"}, {3, "3"}},
                        "releaseResourceToSystem"},
            RequestCase{"ResumePSIAV", [](Service& s) { return s.resumePSIAV(); },
                        Sent{{1, "3"}, {2, "hbbtv"}, {3, "7"}}, "releaseResourceToSystem"},
            RequestCase{"ResumeVideo", [](Service& s) { return s.resumeVideo(); },
                        Sent{{1, "11"}, {2, "hbbtv"}, {3, "1"}}, "changeDTVPlaybackStatus"},
            RequestCase{"ChannelPrev", [](Service& s) { return s.setChannelPrev(); },
                        Sent{{1, "8"}, {2, "hbbtv"}, {3, "-1"}, {5, "2"}}, "setChannelPrev"},
            RequestCase{"ChannelNext", [](Service& s) { return s.setChannelNext(); },
                        Sent{{1, "8"}, {2, "hbbtv"}, {3, "+1"}, {5, "2"}}, "setChannelNext"},
            RequestCase{
                "ChannelByUUIDs",
                [](Service& s) {
                    return s.setChannelByUUIDs("c0a80001-0000-4000-8000-000000000004",
                                               "f0000001-0000-4000-8000-0000000000b2", true);
                },
                Sent{{1, "8"},
                     {2, "hbbtv"},
                     {3, "c0a80001-0000-4000-8000-000000000004"},
                     {4, "f0000001-0000-4000-8000-0000000000b2"},
                     {5, "2"},
                     {5, "1"}},
                "setChannelByUUIDs"},
            RequestCase{"ChannelByURI", [](Service& s) { return s.setChannelByURI("dvb://1.1.102", false); },
                        Sent{{1, "8"}, {2, "hbbtv"}, {3, "dvb://1.1.102"}, {4, ""}, {5, "2"}, {5, "0"}},
                        "setChannelByURI"}),
    [](const ::testing::TestParamInfo<RequestCase>& testCase) { return testCase.param.name; });

TEST_F(SourceSwitchAccessTest, EmptyUUIDsAreSentAsEmptyArguments) {
    EXPECT_FALSE(service->setChannelByUUIDs("", "", false));  // the simulated TV knows no such channel

    const std::vector<tvsim::InvokeRecord> invokes = switchInvokes();
    ASSERT_EQ(1u, invokes.size());
    ASSERT_EQ(7u, invokes[0].arguments.size());
    EXPECT_EQ("", invokes[0].arguments[3].value);
    EXPECT_EQ("", invokes[0].arguments[4].value);
    EXPECT_EQ("0", invokes[0].arguments[6].value);
}

TEST_F(SourceSwitchAccessTest, PausePSIAVSendsNothingAndSucceedsUnconnected) {
    EXPECT_TRUE(service->pausePSIAV());

    EXPECT_TRUE(sim.connects().empty());
    EXPECT_TRUE(sim.invokes().empty());
}

// ---- Playback flags, seen through the status pauseVideo and resumeVideo send ----

struct FlagCase {
    const char* name;
    std::vector<std::string> steps;  // operations in order; a leading '!' makes the platform fail that one
    const char* statusSent;          // by the last step
};

class PlaybackStatusTest : public SourceSwitchAccessTest, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(PlaybackStatusTest, StatusFollowsTheFlagsOfSuccessfulOperations) {
    const std::map<std::string, std::function<bool(Service&)>> operations = {
        {"pausePSIAV", [](Service& s) { return s.pausePSIAV(); }},
        {"pausePSI", [](Service& s) { return s.pausePSI(); }},
        {"pauseAV", [](Service& s) { return s.pauseAV(); }},
        {"pauseVideo", [](Service& s) { return s.pauseVideo(); }},
        {"resumePSI", [](Service& s) { return s.resumePSI(); }},
        {"resumeAV", [](Service& s) { return s.resumeAV(); }},
        {"resumePSIAV", [](Service& s) { return s.resumePSIAV(); }},
        {"resumeVideo", [](Service& s) { return s.resumeVideo(); }},
    };
    for (const std::string& step : GetParam().steps) {
        const bool fails = step[0] == '!';
        if (fails) {
            script(tvsim::Reply::failure(9));
        }
        EXPECT_EQ(!fails, operations.at(fails ? step.substr(1) : step)(*service)) << step;
    }

    EXPECT_EQ(GetParam().statusSent, lastPlaybackStatusSent());
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, PlaybackStatusTest,
    ::testing::Values(FlagCase{"FreshResumeVideo", {"resumeVideo"}, "1"},
                      FlagCase{"FreshPauseVideo", {"pauseVideo"}, "1"},
                      FlagCase{"AVAndPSIResumed", {"resumeAV", "resumePSI", "pauseVideo"}, "7"},
                      FlagCase{"PSIPausedAgain", {"resumeAV", "resumePSI", "pausePSI", "pauseVideo"}, "3"},
                      FlagCase{"AVPausedKeepsPSI", {"resumePSIAV", "pauseAV", "resumeVideo"}, "5"},
                      FlagCase{"AVPausedAlone", {"resumeAV", "pauseAV", "resumeVideo"}, "1"},
                      FlagCase{"FailedPauseAVKeepsFlags", {"resumeAV", "!pauseAV", "pauseVideo"}, "3"},
                      FlagCase{"FailedResumePSIKeepsFlags", {"!resumePSI", "resumeVideo"}, "1"},
                      FlagCase{"FailedResumePSIAVKeepsFlags", {"!resumePSIAV", "pauseVideo"}, "1"},
                      FlagCase{"PausePSIAVClearsAll", {"resumePSIAV", "pausePSIAV", "pauseVideo"}, "1"},
                      FlagCase{"VideoOperationsLeaveAVAndPSI", {"resumePSI", "resumeVideo", "pauseVideo"}, "5"}),
    [](const ::testing::TestParamInfo<FlagCase>& testCase) { return testCase.param.name; });

// ---- Request tags ----

TEST_F(SourceSwitchAccessTest, FirstTagOfTheProcessEndsInOne) {
    ASSERT_TRUE(service->setChannelNext());
    rememberFirstTag();

    EXPECT_EQ(1, parseTag(g_firstTagOfProcess).sequence);
}

TEST_F(SourceSwitchAccessTest, EveryTagTakesTheNextNumberOnAnyThread) {
    long otherThread = 0;
    ASSERT_TRUE(service->setChannelNext());
    std::thread other([&] {
        otherThread = base::currentThread();
        EXPECT_TRUE(service->setChannelPrev());
    });
    other.join();
    ASSERT_TRUE(service->setChannelNext());

    const std::vector<tvsim::InvokeRecord> invokes = switchInvokes();
    ASSERT_EQ(3u, invokes.size());
    const Tag first = parseTag(invokes[0].arguments[0].value);
    const Tag second = parseTag(invokes[1].arguments[0].value);
    const Tag third = parseTag(invokes[2].arguments[0].value);
    EXPECT_EQ(base::currentThread(), first.thread);
    EXPECT_EQ(otherThread, second.thread);
    EXPECT_EQ(base::currentThread(), third.thread);
    EXPECT_EQ(first.sequence + 1, second.sequence);
    EXPECT_EQ(second.sequence + 1, third.sequence);
}

// ---- Waiting for outcomes ----

std::string passLine(int pass, unsigned int actionId) {
    char text[64];
    std::snprintf(text, sizeof(text), "waiting result ...  %03d   actionid: %u", pass, actionId);
    return logLine(kFile, "waitForResult", text);
}

std::string doneLine(unsigned int actionId, int outcome) {
    return logLine(kFile, "waitForResult",
                   "waiting done. " + std::to_string(actionId) + "  : err : " + std::to_string(outcome));
}

TEST_F(SourceSwitchAccessTest, OutcomeStoredBeforeTheWaitIsFoundOnTheFirstPass) {
    tvsim::Reply early = tvsim::Reply::withResults({});
    early.beforeInvokeReturns = true;
    script(early);

    EXPECT_TRUE(service->requestResourceFromSystem(Service::RESOURCE_TYPE_VIDEO));

    const unsigned int actionId = switchInvokes().at(0).actionId;
    EXPECT_EQ(1, countLines(capture, passLine(1, actionId), kWordAlways));
    EXPECT_EQ(0, countLines(capture, passLine(2, actionId)));
    EXPECT_TRUE(inOrder(
        capture, {logLine(kFile, "waitForResult", "waiting result ...  for  actionid: " + std::to_string(actionId)),
                  passLine(1, actionId), doneLine(actionId, 0)}));
}

TEST_F(SourceSwitchAccessTest, ReportedFailureCodeZeroCountsAsSuccess) {
    script(tvsim::Reply::failure(0));

    EXPECT_TRUE(service->releaseResourceToSystem(Service::RESOURCE_TYPE_PSI));

    EXPECT_EQ(1, countLines(capture, doneLine(switchInvokes().at(0).actionId, 0), kWordAlways));
}

TEST_F(SourceSwitchAccessTest, FailureCodeIsLoggedWhenTheWaitEnds) {
    script(tvsim::Reply::failure(-4));

    EXPECT_FALSE(service->releaseResourceToSystem(Service::RESOURCE_TYPE_PSI));

    EXPECT_EQ(1, countLines(capture, doneLine(switchInvokes().at(0).actionId, -4), kWordAlways));
}

TEST_F(SourceSwitchAccessTest, FirstOfTwoOutcomesStoredForOneIdWins) {
    // Both outcomes are delivered before invoke returns: a failure, then a success.
    sim.setResponder(kSwitch, [this](unsigned int actionId, const std::vector<lomodelapi::Argument>&) {
        sim.emitExecutionError(kSwitch, actionId, 12);
        sim.emitResult(kSwitch, actionId, {});
        sim.flush();
        return tvsim::Reply::none();
    });

    EXPECT_FALSE(service->setChannelNext());

    EXPECT_EQ(1, countLines(capture, doneLine(switchInvokes().at(0).actionId, 12)));
}

TEST_F(SourceSwitchAccessTest, TimeLimitEndsAWaitAndDiscardsItsLateOutcome) {
    script(tvsim::Reply::none());
    service->setResultTimeout(20);

    EXPECT_FALSE(service->resumeAV());

    const unsigned int actionId = switchInvokes().at(0).actionId;
    EXPECT_EQ(1, countLines(capture,
                            logLine(kFile, "waitForResult",
                                    "waiting timed out after 20 ms, actionid: " + std::to_string(actionId)),
                            kWordError));
    EXPECT_TRUE(service->resumeVideo());
    EXPECT_EQ("1", lastPlaybackStatusSent());  // the timed-out resumeAV left the AV flag clear
    // The late outcome is dropped, so a second wait for that id finds nothing.
    sim.emitResult(kSwitch, actionId, {});
    sim.flush();
    service->setResultTimeout(1);
    EXPECT_FALSE(service->waitForResult(actionId));
    EXPECT_EQ(0, countLines(capture, doneLine(actionId, 0)));
}

TEST_F(SourceSwitchAccessTest, OutcomeWithinTheTimeLimitIsDelivered) {
    service->setResultTimeout(60000);

    EXPECT_TRUE(service->pauseAV());
    EXPECT_EQ(tvsim::ResourceHolder::WEB_ENGINE, tv.holder(tvsim::SourceSwitchResponder::RESOURCE_AUDIO));
}

// ---- Connecting the action ----

TEST_F(SourceSwitchAccessTest, UnconnectableActionFailsWithoutInvokingAndIsRetriedWithAFreshAccessor) {
    sim.failNextConnects(kSwitch, 10, 9);

    EXPECT_FALSE(service->pauseAV());

    EXPECT_TRUE(sim.invokes().empty());
    EXPECT_EQ(10, testsupport::SleepCounter::count());
    EXPECT_EQ(1, countLines(
                     capture,
                     logLine(kFile, "connectToValue", std::string("Error connect value : ") + kSwitch + ",  status: 5"),
                     kWordError));
    EXPECT_TRUE(service->pauseAV());
    EXPECT_EQ(
        2, countLines(capture, logLine(kFile, "connectToValue", std::string("Connecting To Value: ") + kSwitch + "  "),
                      kWordInfo));
    EXPECT_EQ(11u, sim.connects().size());
    EXPECT_EQ(1, sim.connectedObservers(kSwitch));
}

TEST_F(SourceSwitchAccessTest, ConcurrentFirstRequestsConnectOnce) {
    std::vector<std::thread> clients;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([this] { EXPECT_TRUE(service->setChannelNext()); });
    }
    for (std::thread& client : clients) {
        client.join();
    }

    EXPECT_EQ(1u, sim.connects().size());
    EXPECT_EQ(1, countLines(capture,
                            logLine(kFile, "connectToValue", std::string("Connecting To Value: ") + kSwitch + "  ")));
    EXPECT_EQ(4u, tv.accepted().size());
    EXPECT_EQ(0, tv.currentChannelIndex());  // four steps around a list of four
}

TEST_F(SourceSwitchAccessTest, ConstructionAndDestructionAreTracedAndDestructionDisconnects) {
    ASSERT_TRUE(service->setChannelNext());
    const tvsim::ConnectRecord connected = sim.connects().at(0);

    service.reset();

    ASSERT_EQ(1u, sim.disconnects().size());
    EXPECT_EQ(connected.object, sim.disconnects()[0].object);
    EXPECT_EQ(connected.observer, sim.disconnects()[0].observer);
    EXPECT_EQ(0, sim.connectedObservers(kSwitch));
    EXPECT_TRUE(inOrder(capture, {traceIn(kFile, "SourceSwitchAccess"), traceOut(kFile, "SourceSwitchAccess"),
                                  traceIn(kFile, "~SourceSwitchAccess"), traceOut(kFile, "~SourceSwitchAccess")}));
}

// ---- The typical request ----

TEST_F(SourceSwitchAccessTest, PauseAVRequestsAudioAndVideoAndWaitsForTheOutcome) {
    capture.clear();

    EXPECT_TRUE(service->pauseAV());

    const unsigned int actionId = switchInvokes().at(0).actionId;
    const std::string id = std::to_string(actionId);
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
                             passLine(1, actionId),
                             doneLine(actionId, 0),
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
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "pauseAV", "enter"), kWordAlways));
    EXPECT_EQ(tvsim::ResourceHolder::WEB_ENGINE, tv.holder(tvsim::SourceSwitchResponder::RESOURCE_VIDEO));
    EXPECT_EQ(tvsim::ResourceHolder::WEB_ENGINE, tv.holder(tvsim::SourceSwitchResponder::RESOURCE_AUDIO));
    EXPECT_EQ(tvsim::ResourceHolder::SYSTEM, tv.holder(tvsim::SourceSwitchResponder::RESOURCE_PSI));
}

TEST_F(SourceSwitchAccessTest, ResumeAVWritesEnterButPausePSIDoesNot) {
    ASSERT_TRUE(service->resumeAV());
    ASSERT_TRUE(service->pausePSI());

    EXPECT_EQ(1, countLines(capture, logLine(kFile, "resumeAV", "enter"), kWordAlways));
    EXPECT_EQ(0, countLines(capture, logLine(kFile, "pausePSI", "enter")));
    EXPECT_EQ(0, countLines(capture, traceIn(kFile, "pausePSI")));
}

// ---- No-banner value ----

TEST_F(SourceSwitchAccessTest, QuietFlagIsWrittenThroughOneAccessorAndAnswersTheStatus) {
    sim.addInteger(kNoBanner, 0);

    EXPECT_EQ(0, service->setQuietFlag(1));
    EXPECT_EQ(1, sim.integer(kNoBanner));
    EXPECT_EQ(0, service->setQuietFlag(0));
    EXPECT_EQ(0, sim.integer(kNoBanner));

    EXPECT_EQ(1u, sim.connects().size());
    EXPECT_EQ(2, sim.setterCalls(kNoBanner));
}

TEST_F(SourceSwitchAccessTest, QuietFlagAnswersTheConnectStatus) {
    EXPECT_EQ(STATUS_ERR_CONNECT_FAILED, service->setQuietFlag(1));

    sim.addString(kNoBanner, "");
    EXPECT_EQ(STATUS_ERR_VALUE_TYPE_MISMATCH, service->setQuietFlag(1));
}

// ---- Channels on the simulated TV ----

TEST_F(SourceSwitchAccessTest, ChannelOperationsChangeTheTVChannel) {
    const std::vector<tvsim::Channel> channels = tvsim::SourceSwitchResponder::defaultChannels();

    EXPECT_TRUE(service->setChannelNext());
    EXPECT_EQ(1, tv.currentChannelIndex());
    EXPECT_TRUE(service->setChannelPrev());
    EXPECT_TRUE(service->setChannelPrev());
    EXPECT_EQ(3, tv.currentChannelIndex());
    EXPECT_TRUE(service->setChannelByURI(channels[2].uri, true));
    EXPECT_EQ(2, tv.currentChannelIndex());
    EXPECT_TRUE(tv.lastForceShowAV());
    EXPECT_TRUE(service->setChannelByUUIDs(channels[1].uuid, channels[1].folderUuid, false));
    EXPECT_EQ(1, tv.currentChannelIndex());
    EXPECT_FALSE(tv.lastForceShowAV());
    EXPECT_FALSE(service->setChannelByUUIDs("no-such-channel", channels[1].folderUuid, false));
    EXPECT_EQ(1, tv.currentChannelIndex());
}

TEST_F(SourceSwitchAccessTest, ChannelUUIDLineFollowsTheConnectAndPrecedesTheRequest) {
    EXPECT_TRUE(service->setChannelByUUIDs("c0a80001-0000-4000-8000-000000000001",
                                           "f0000001-0000-4000-8000-0000000000a1", true));

    const std::string line =
        "channelUUID:'c0a80001-0000-4000-8000-000000000001', "
        "folderUUID:'f0000001-0000-4000-8000-0000000000a1', forceShowAV:1.";
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "setChannelByUUIDs", line), kWordInfo));
    EXPECT_TRUE(inOrder(capture, {traceIn(kFile, "setChannelByUUIDs"), traceOut(kFile, "connectToValue"),
                                  logLine(kFile, "setChannelByUUIDs", line), traceIn(kFile, "waitForResult")}));
}

TEST_F(SourceSwitchAccessTest, ChannelUUIDLineIsNotWrittenWhenTheActionCannotBeConnected) {
    sim.failNextConnects(kSwitch, 10, 9);

    EXPECT_FALSE(service->setChannelByUUIDs("c", "f", false));

    EXPECT_EQ(0, countLines(capture, logLine(kFile, "setChannelByUUIDs",
                                             "channelUUID:'c', folderUUID:'f', "
                                             "forceShowAV:0.")));
    EXPECT_TRUE(sim.invokes().empty());
}

// ---- The process-wide instance ----

TEST(SourceSwitchSingletonTest, BothGettersAnswerTheSameInstanceOnEveryThread) {
    Service* mine = Service::getInstance();
    std::vector<Service*> seen(4, nullptr);
    std::vector<std::thread> threads;
    for (size_t index = 0; index < seen.size(); ++index) {
        threads.emplace_back(
            [&seen, index] { seen[index] = index % 2 ? Service::GetInstance() : Service::getInstance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    ASSERT_NE(nullptr, mine);
    EXPECT_EQ(mine, Service::GetInstance());
    for (Service* instance : seen) {
        EXPECT_EQ(mine, instance);
    }
}

// Outcomes nobody claims (unknown ids here) are kept up to the bound; one more
// drops the oldest with one error line. Those kept are claimed as before.
TEST_F(SourceSwitchAccessTest, UnclaimedOutcomesAreBoundedToTheMostRecent) {
    constexpr unsigned int kFirst = 1000000;  // ids the simulator never hands out
    constexpr unsigned int kLast = kFirst + static_cast<unsigned int>(Service::kMaxUnclaimedOutcomes);
    capture.clear();

    for (unsigned int id = kFirst; id <= kLast; ++id) {
        service->onActionFailed(static_cast<int>(id), id == kFirst ? 7 : 0);
    }

    EXPECT_EQ(
        1, countLines(capture, logLine(kFile, "storeOutcome", "unclaimed result dropped, actionid: 1000000  err : 7"),
                      kWordError));
    EXPECT_EQ(1, countLines(capture, R"([\s\S]*)", kWordError));
    EXPECT_TRUE(service->waitForResult(kFirst + 1));
    EXPECT_TRUE(service->waitForResult(kLast));
    service->setResultTimeout(1);
    EXPECT_FALSE(service->waitForResult(kFirst));
}

}  // namespace
}  // namespace velmora::system::access
