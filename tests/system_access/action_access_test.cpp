// ActionAccess through the simulator: connecting, invoking, and outcomes that
// reach the handler on the callback thread as a position-ordered string list.
#include <system_access/action_access.h>
#include <system_access/value_object.h>

#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <mutex>
#include <regex>
#include <utility>

#include "log_lines.h"
#include "sleep_counter.h"

namespace velmora::system::access {
namespace {

using testsupport::countLines;
using testsupport::kWordAlways;
using testsupport::kWordError;
using testsupport::kWordInfo;
using testsupport::logLine;
using testsupport::traceIn;
using testsupport::traceOut;

constexpr char kAction[] = "test.action.tune";
constexpr char kFile[] = "action_access.cpp";

lomodelapi::Argument argument(int position, std::string value) {
    lomodelapi::Argument result;
    result.position = static_cast<std::int8_t>(position);
    result.value = std::move(value);
    return result;
}

// Keeps every outcome; runs on the callback thread, read by the test after flush().
class RecordingHandler final : public ActionHandler {
public:
    void onActionResult(unsigned int actionId, const ValueObject& result) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_results.emplace_back(actionId, result);
    }
    void onActionFailed(unsigned int actionId, int error) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_failures.emplace_back(actionId, error);
    }

    std::vector<std::pair<unsigned int, ValueObject>> results() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_results;
    }
    std::vector<std::pair<unsigned int, int>> failures() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_failures;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::pair<unsigned int, ValueObject>> m_results;
    std::vector<std::pair<unsigned int, int>> m_failures;
};

class ActionAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::SleepCounter::reset();
        sim.addAction(kAction, [this](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; });
    }

    // Invokes on a connected accessor and waits until the outcome has been delivered.
    unsigned int invokeAndFlush(ActionAccess& access) {
        unsigned int actionId = 0;
        EXPECT_EQ(0, access.invoke(actionId, {argument(0, "go")}));
        sim.flush();
        return actionId;
    }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
    tvsim::Reply reply;  // what the action answers; set before invoking
    std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

TEST_F(ActionAccessTest, ConnectBindsTheActionWithTheAccessorAsItsObserver) {
    ActionAccess access(kAction, handler);

    ASSERT_EQ(0, access.connect(1000));

    ASSERT_EQ(1u, sim.connects().size());
    EXPECT_EQ(static_cast<lomodelapi::Observer*>(static_cast<lomodelapi::ObserverAction*>(&access)),
              sim.connects()[0].observer);
    EXPECT_EQ(lomodelapi::OBJECT_TYPE_ACTION, access.getType());
    EXPECT_EQ(0, testsupport::SleepCounter::count());
}

TEST_F(ActionAccessTest, ConnectGivesUpWithStatus5AfterOneAttemptPer100ms) {
    sim.failNextConnects(kAction, 100, 9);
    ActionAccess access(kAction);

    EXPECT_EQ(STATUS_ERR_CONNECT_FAILED, access.connect(250));

    EXPECT_EQ(3u, sim.connects().size());
    EXPECT_EQ(std::vector<unsigned>(3, 100000u), testsupport::SleepCounter::durations());
    EXPECT_EQ(1, countLines(capture, logLine("value_access_base.cpp", "connect", "Failed 9"), kWordError));
}

TEST_F(ActionAccessTest, ObjectOfAnotherTypeIsGivenBackAndAnswers6) {
    sim.reportType(kAction, lomodelapi::OBJECT_TYPE_STRING);
    ActionAccess access(kAction);

    EXPECT_EQ(STATUS_ERR_VALUE_TYPE_MISMATCH, access.connect(1000));

    const std::string line = std::string("Observer Type not match for ") + kAction + ",( 2 ) vs ObserverAction ";
    EXPECT_EQ(1, countLines(capture, logLine("value_access_base.cpp", "connect", line), kWordError));
    ASSERT_EQ(1u, sim.disconnects().size());
    EXPECT_EQ(sim.connects()[0].object, sim.disconnects()[0].object);
    EXPECT_EQ(sim.connects()[0].observer, sim.disconnects()[0].observer);
    unsigned int actionId = 0;
    EXPECT_EQ(-1, access.invoke(actionId, {}));
}

TEST_F(ActionAccessTest, InvokeBeforeConnectAnswersMinusOneAndCallsNothing) {
    ActionAccess access(kAction);
    unsigned int actionId = 4711;

    EXPECT_EQ(-1, access.invoke(actionId, {argument(0, "x")}));

    EXPECT_EQ(4711u, actionId);
    EXPECT_TRUE(sim.invokes().empty());
    EXPECT_TRUE(sim.connects().empty());
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "invoke", "No Access yet."), kWordError));
}

TEST_F(ActionAccessTest, InvokeHandsTheListOverAndAnswersThePlatformStatus) {
    ActionAccess access(kAction);
    ASSERT_EQ(0, access.connect(1000));
    const std::vector<lomodelapi::Argument> arguments = {argument(2, "c"), argument(0, "a"), argument(2, "d")};

    unsigned int actionId = 0;
    ASSERT_EQ(0, access.invoke(actionId, arguments));
    sim.refuseNextInvokes(kAction, 1, 42);
    unsigned int refusedId = 77;
    EXPECT_EQ(42, access.invoke(refusedId, arguments));

    const std::vector<tvsim::InvokeRecord> invokes = sim.invokes();
    ASSERT_EQ(2u, invokes.size());
    EXPECT_EQ(actionId, invokes[0].actionId);
    EXPECT_NE(0u, actionId);
    ASSERT_EQ(3u, invokes[0].arguments.size());
    for (size_t index = 0; index < arguments.size(); ++index) {
        EXPECT_EQ(arguments[index].position, invokes[0].arguments[index].position);
        EXPECT_EQ(arguments[index].value, invokes[0].arguments[index].value);
    }
    EXPECT_EQ(42, invokes[1].status);
}

struct ResultCase {
    const char* name;
    std::vector<lomodelapi::Argument> results;
    std::vector<std::string> expected;
};

class ActionResultOrderTest : public ActionAccessTest, public ::testing::WithParamInterface<ResultCase> {};

TEST_P(ActionResultOrderTest, ResultsReachTheHandlerAsStringsInPositionOrder) {
    ActionAccess access(kAction, handler);
    ASSERT_EQ(0, access.connect(1000));
    reply = tvsim::Reply::withResults(GetParam().results);

    const unsigned int actionId = invokeAndFlush(access);

    const auto results = handler->results();
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ(actionId, results[0].first);
    const ValueObject& list = results[0].second;
    EXPECT_EQ(ValueObject::VALUE_TYPE_VECTOR, list.m_type);
    ASSERT_EQ(GetParam().expected.size(), list.m_vector.size());
    for (size_t index = 0; index < list.m_vector.size(); ++index) {
        EXPECT_EQ(ValueObject::VALUE_TYPE_STRING, list.m_vector[index].m_type);
        EXPECT_EQ(GetParam().expected[index], list.m_vector[index].m_string) << "index " << index;
    }
    const std::string line = std::string("Action Result: ") + kAction + ",  " + std::to_string(actionId) + ",  " +
                             std::to_string(GetParam().results.size()) + " ";
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "notifyResult", line), kWordInfo));
}

INSTANTIATE_TEST_SUITE_P(
    Positions, ActionResultOrderTest,
    ::testing::Values(ResultCase{"Reversed", {argument(1, "b"), argument(0, "a")}, {"a", "b"}},
                      ResultCase{"LaterDuplicateWins", {argument(0, "x"), argument(0, "y")}, {"y", ""}},
                      ResultCase{"Empty", {}, {}},
                      ResultCase{"OutOfRangeDropped",
                                 {argument(-1, "negative"), argument(2, "c"), argument(3, "too far")},
                                 {"", "", "c"}}),
    [](const ::testing::TestParamInfo<ResultCase>& testCase) { return testCase.param.name; });

TEST_F(ActionAccessTest, FailureReachesTheHandlerWithThePlatformCode) {
    ActionAccess access(kAction, handler);
    ASSERT_EQ(0, access.connect(1000));
    reply = tvsim::Reply::failure(-17);

    const unsigned int actionId = invokeAndFlush(access);

    ASSERT_EQ(1u, handler->failures().size());
    EXPECT_EQ(actionId, handler->failures()[0].first);
    EXPECT_EQ(-17, handler->failures()[0].second);
    EXPECT_TRUE(handler->results().empty());
    const std::string line = std::string("Action Failed : ") + kAction + ",  " + std::to_string(actionId) + ",  -17 ";
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "notifyExecutionError", line), kWordAlways));
}

TEST_F(ActionAccessTest, OutcomesWithoutHandlerWriteOnlyTheirTraceAndOutcomeLines) {
    ActionAccess access(kAction);
    ASSERT_EQ(0, access.connect(1000));
    capture.clear();

    sim.emitResult(kAction, 5, {argument(0, "a")});
    sim.emitExecutionError(kAction, 6, 3);
    sim.flush();

    const std::vector<tvsim::CapturedLine> lines = capture.lines();
    const std::vector<std::string> expected = {
        traceIn(kFile, "notifyResult"),
        logLine(kFile, "notifyResult", std::string("Action Result: ") + kAction + ",  5,  1 "),
        traceOut(kFile, "notifyResult"),
        traceIn(kFile, "notifyExecutionError"),
        logLine(kFile, "notifyExecutionError", std::string("Action Failed : ") + kAction + ",  6,  3 "),
        traceOut(kFile, "notifyExecutionError"),
    };
    testsupport::expectLines(capture, expected);
    ASSERT_EQ(expected.size(), lines.size());
    EXPECT_EQ("[%s] %s:%d:%s(): Action Result: %s,  %d,  %d \n", lines[1].format);
    EXPECT_EQ("[%s] %s:%d:%s(): Action Failed : %s,  %d,  %d \n", lines[4].format);
}

TEST_F(ActionAccessTest, EmptyHandlerStopsDeliveryAndReleasesTheFormerOne) {
    ActionAccess access(kAction, handler);
    EXPECT_EQ(2, handler.use_count());
    ASSERT_EQ(0, access.connect(1000));

    EXPECT_EQ(0, access.setActionResultHandler(nullptr));
    EXPECT_EQ(1, handler.use_count());
    reply = tvsim::Reply::withResults({argument(0, "a")});
    const unsigned int resultId = invokeAndFlush(access);
    reply = tvsim::Reply::failure(8);
    const unsigned int failureId = invokeAndFlush(access);

    EXPECT_TRUE(handler->results().empty());
    EXPECT_TRUE(handler->failures().empty());
    const std::string id = std::to_string(resultId);
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "notifyResult",
                                             std::string("Action Result: ") + kAction + ",  " + id + ",  1 ")));
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "notifyExecutionError",
                                             std::string("Action Failed : ") + kAction + ",  " +
                                                 std::to_string(failureId) + ",  8 ")));
}

TEST_F(ActionAccessTest, DestructorGivesTheObjectBackAndNothingArrivesAfterwards) {
    ModelObject* object = nullptr;
    {
        ActionAccess access(kAction, handler);
        ASSERT_EQ(0, access.connect(1000));
        object = sim.connects()[0].object;
    }

    ASSERT_EQ(1u, sim.disconnects().size());
    EXPECT_EQ(object, sim.disconnects()[0].object);
    EXPECT_EQ(0, sim.connectedObservers(kAction));
    sim.emitResult(kAction, 1, {});
    sim.flush();
    EXPECT_TRUE(handler->results().empty());
}

TEST_F(ActionAccessTest, DisconnectWithoutConnectionStillCallsThePlatformWithNull) {
    ActionAccess access(kAction);

    EXPECT_EQ(0, access.disconnect());

    ASSERT_EQ(1u, sim.disconnects().size());
    EXPECT_EQ(nullptr, sim.disconnects()[0].object);
    EXPECT_EQ(kAction, sim.disconnects()[0].path);
}

}  // namespace
}  // namespace velmora::system::access
