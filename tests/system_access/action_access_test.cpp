// ActionAccess through the simulator: connecting, invoking, and outcomes that
// reach the handler on the callback thread as a position-ordered string list.
// Refused invokes and objects of another type live in the fault matrix.
#include <system_access/action_access.h>
#include <system_access/value_object.h>

#include "log_lines.h"
#include "sim_fixture.h"

namespace velmora::system::access {
namespace {

using testsupport::countLines;
using testsupport::logLine;
using testsupport::traceIn;
using testsupport::traceOut;
using Outcome = testsupport::RecordingActionHandler::Outcome;

constexpr char kAction[] = "test.action.tune";
constexpr char kFile[] = "action_access.cpp";

lomodelapi::Argument argument(int position, std::string value) {
    return {0, static_cast<std::int8_t>(position), 0, std::move(value)};
}

// "Action Result: <path>,  <id>,  <count> " or "Action Failed : <path>,  <id>,  <error> ".
std::string outcomeLine(bool failed, unsigned int actionId, long long number) {
    return logLine(kFile, failed ? "notifyExecutionError" : "notifyResult",
                   std::string(failed ? "Action Failed : " : "Action Result: ") + kAction + ",  " +
                       std::to_string(actionId) + ",  " + std::to_string(number) + " ");
}

class ActionAccessTest : public testsupport::SimTest {
protected:
    void SetUp() override {
        sim.addAction(kAction, [this](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; });
        ASSERT_EQ(0, access.connect(1000));
    }

    // Invokes and waits until the outcome has been delivered.
    unsigned int invokeAndFlush() {
        unsigned int actionId = 0;
        EXPECT_EQ(0, access.invoke(actionId, {argument(0, "go")}));
        sim.flush();
        return actionId;
    }

    tvsim::Reply reply;  // what the action answers; set before invoking
    std::shared_ptr<testsupport::RecordingActionHandler> handler =
        std::make_shared<testsupport::RecordingActionHandler>();
    ActionAccess access{kAction, handler};
};

// A failure (error set) or results, and what reaches the handler: the list's string form, or the error.
struct OutcomeCase {
    const char* name;
    tvsim::Reply reply;
    const char* list;
};

class ActionOutcomeTest : public ActionAccessTest, public ::testing::WithParamInterface<OutcomeCase> {};

TEST_P(ActionOutcomeTest, ReachesTheHandlerOnceWithItsLine) {
    reply = GetParam().reply;

    const unsigned int actionId = invokeAndFlush();

    const std::vector<Outcome> outcomes = handler->outcomes();
    ASSERT_EQ(1u, outcomes.size());
    EXPECT_EQ(actionId, outcomes[0].actionId);
    EXPECT_EQ(reply.error, outcomes[0].error);
    EXPECT_EQ(GetParam().list, outcomes[0].results.convertToStringType());
    for (const ValueObject& element : outcomes[0].results.m_vector) {
        EXPECT_EQ(ValueObject::VALUE_TYPE_STRING, element.m_type);
    }
    const bool failed = reply.kind == tvsim::Reply::Kind::Failure;
    EXPECT_EQ(1, countLines(
                     capture,
                     outcomeLine(failed, actionId, failed ? reply.error : static_cast<long long>(reply.results.size())),
                     failed ? testsupport::kWordAlways : testsupport::kWordInfo));
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, ActionOutcomeTest,
    ::testing::Values(
        OutcomeCase{"Reversed", tvsim::Reply::withResults({argument(1, "b"), argument(0, "a")}), "[a,b]"},
        OutcomeCase{"LaterDuplicateWins", tvsim::Reply::withResults({argument(0, "x"), argument(0, "y")}), "[y,]"},
        OutcomeCase{"Empty", tvsim::Reply::withResults({}), "[]"},
        OutcomeCase{"OutOfRangeDropped",
                    tvsim::Reply::withResults({argument(-1, "negative"), argument(2, "c"), argument(3, "too far")}),
                    "[,,c]"},
        OutcomeCase{"Failure", tvsim::Reply::failure(-17), "Undefined"}),
    [](const ::testing::TestParamInfo<OutcomeCase>& testCase) { return testCase.param.name; });

TEST_F(ActionAccessTest, WithoutHandlerOutcomesWriteOnlyTheirTraceAndOutcomeLines) {
    EXPECT_EQ(0, access.setActionResultHandler(nullptr));
    EXPECT_EQ(1, handler.use_count());  // the former one is released
    capture.clear();

    sim.emitResult(kAction, 5, {argument(0, "a")});
    sim.emitExecutionError(kAction, 6, 3);
    sim.flush();

    EXPECT_TRUE(handler->outcomes().empty());
    testsupport::expectLines(capture, {traceIn(kFile, "notifyResult"), outcomeLine(false, 5, 1),
                                       traceOut(kFile, "notifyResult"), traceIn(kFile, "notifyExecutionError"),
                                       outcomeLine(true, 6, 3), traceOut(kFile, "notifyExecutionError")});
    EXPECT_EQ("[%s] %s:%d:%s(): Action Result: %s,  %d,  %d \n", capture.lines().at(1).format);
    EXPECT_EQ("[%s] %s:%d:%s(): Action Failed : %s,  %d,  %d \n", capture.lines().at(4).format);
}

TEST_F(ActionAccessTest, ConnectBindsTheAccessorAndDestructionGivesTheObjectBack) {
    EXPECT_EQ(static_cast<lomodelapi::ObserverAction*>(&access), sim.connects().at(0).observer);
    EXPECT_EQ(lomodelapi::OBJECT_TYPE_ACTION, access.getType());
    auto other = std::make_shared<testsupport::RecordingActionHandler>();
    {
        const ActionAccess never(kAction, other);  // never connected: nothing to give back
        ActionAccess connected(kAction, other);
        ASSERT_EQ(0, connected.connect(1000));
    }
    ASSERT_EQ(1u, sim.disconnects().size());
    EXPECT_EQ(sim.connects().at(1).object, sim.disconnects()[0].object);
    sim.emitResult(kAction, 1, {});
    sim.flush();
    EXPECT_TRUE(other->outcomes().empty());

    // Unconnected (here: refused for its type), an accessor invokes nothing and says so.
    sim.reportType(kAction, lomodelapi::OBJECT_TYPE_STRING);
    ActionAccess refused(kAction);
    EXPECT_EQ(STATUS_ERR_VALUE_TYPE_MISMATCH, refused.connect(0));
    unsigned int actionId = 4711;
    EXPECT_EQ(-1, refused.invoke(actionId, {argument(0, "go")}));
    EXPECT_EQ(4711u, actionId);
    EXPECT_EQ(1, countLines(capture, logLine(kFile, "invoke", "No Access yet."), testsupport::kWordError));
    EXPECT_TRUE(sim.invokes().empty());

    // Disconnect without an object still calls the platform, with null.
    EXPECT_EQ(0, ActionAccess(kAction).disconnect());
    EXPECT_EQ(nullptr, sim.disconnects().back().object);
}

}  // namespace
}  // namespace velmora::system::access
