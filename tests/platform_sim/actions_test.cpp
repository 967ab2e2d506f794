// Actions of the simulated platform: ids, refusals, replies and their delivery.
#include "recording_observers.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using simtest::lookUpRoot;

constexpr const char* kAction = "test.action";

lomodelapi::Argument argument(int position, const std::string& value) {
    lomodelapi::Argument result;
    result.position = static_cast<std::int8_t>(position);
    result.value = value;
    return result;
}

class ActionTest : public ::testing::Test {
protected:
    ActionTest() {
        m_sim.addAction(kAction, nullptr);
        m_object = connectAction(m_observer);
    }
    ~ActionTest() override { lookUpRoot()->disconnect(kAction, &m_observer, m_object); }

    ActionObject* connectAction(lomodelapi::Observer& observer) {
        ModelObject* object = nullptr;
        EXPECT_EQ(0, lookUpRoot()->connect(kAction, &observer, object));
        return static_cast<ActionObject*>(object);
    }

    void answerWith(const tvsim::Reply& reply) {
        m_sim.setResponder(kAction, [reply](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; });
    }

    unsigned int invoke(const std::vector<lomodelapi::Argument>& arguments = {}) {
        unsigned int id = 0;
        EXPECT_EQ(0, m_object->invoke(id, arguments));
        return id;
    }

    tvsim::Simulator m_sim;
    simtest::ActionObserver m_observer;
    ActionObject* m_object = nullptr;
};

TEST_F(ActionTest, InvokeAnswersFreshIncreasingIdsAndRecordsTheArguments) {
    const unsigned int first = invoke({argument(0, "a")});
    const unsigned int second = invoke();
    const unsigned int third = invoke();

    EXPECT_NE(0u, first);
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
    auto records = m_sim.invokes();
    ASSERT_EQ(3u, records.size());
    EXPECT_EQ(kAction, records[0].path);
    EXPECT_EQ(first, records[0].actionId);
    EXPECT_EQ("0=a", simtest::joined(records[0].arguments));
    EXPECT_EQ(0, records[0].status);
}

TEST_F(ActionTest, WithoutAResponderEveryInvokeSucceedsWithNoResults) {
    const unsigned int id = invoke();
    m_sim.flush();
    EXPECT_EQ(std::vector<std::string>{"result " + std::to_string(id) + " "}, m_observer.log.events());
    EXPECT_EQ(0, m_observer.log.offCallbackThread());
}

TEST_F(ActionTest, RefusedInvokeAnswersTheStatusLeavesTheIdAndDeliversNothing) {
    m_sim.refuseNextInvokes(kAction, 1, 7);
    unsigned int id = 0xFFFFFFFFu;

    EXPECT_EQ(7, m_object->invoke(id, {argument(0, "x")}));
    EXPECT_EQ(0xFFFFFFFFu, id);
    EXPECT_NE(0u, invoke());  // healed after one
    m_sim.flush();

    auto records = m_sim.invokes();
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(0u, records[0].actionId);
    EXPECT_EQ(7, records[0].status);
    EXPECT_EQ(1u, m_observer.log.events().size());
}

struct ReplyCase {
    const char* name;
    tvsim::Reply reply;
    std::vector<std::string> expected;  // with "#" standing for the action id
};

class ActionReplyTest : public ActionTest, public ::testing::WithParamInterface<ReplyCase> {};

TEST_P(ActionReplyTest, ReplyReachesTheObserverAsDescribed) {
    answerWith(GetParam().reply);
    const std::string id = std::to_string(invoke());
    m_sim.flush();

    std::vector<std::string> expected;
    for (std::string line : GetParam().expected) {
        line.replace(line.find('#'), 1, id);
        expected.push_back(line);
    }
    EXPECT_EQ(expected, m_observer.log.events());
}

tvsim::Reply withCopies(tvsim::Reply reply, int copies) {
    reply.copies = copies;
    return reply;
}

tvsim::Reply withDelay(tvsim::Reply reply, int milliseconds) {
    reply.delay = std::chrono::milliseconds(milliseconds);
    return reply;
}

INSTANTIATE_TEST_SUITE_P(
    Replies, ActionReplyTest,
    ::testing::Values(
        ReplyCase{"Results", tvsim::Reply::withResults({argument(1, "b"), argument(0, "a")}), {"result # 1=b,0=a"}},
        ReplyCase{"Failure", tvsim::Reply::failure(12), {"error # 12"}},
        ReplyCase{"FailureCodeZero", tvsim::Reply::failure(0), {"error # 0"}},
        ReplyCase{"NoReply", tvsim::Reply::none(), {}},
        ReplyCase{"Duplicated", withCopies(tvsim::Reply::failure(3), 3), {"error # 3", "error # 3", "error # 3"}},
        ReplyCase{"Delayed", withDelay(tvsim::Reply::withResults({argument(0, "late")}), 10), {"result # 0=late"}}),
    [](const ::testing::TestParamInfo<ReplyCase>& test) { return std::string(test.param.name); });

TEST_F(ActionTest, BeforeInvokeReturnsDeliversTheOutcomeBeforeInvokeReturns) {
    tvsim::Reply reply = withDelay(tvsim::Reply::failure(5), 5);
    reply.beforeInvokeReturns = true;
    answerWith(reply);

    const unsigned int id = invoke();

    EXPECT_EQ(std::vector<std::string>{"error " + std::to_string(id) + " 5"}, m_observer.log.events());
}

TEST_F(ActionTest, OutcomesReachEveryObserverConnectedToTheAction) {
    simtest::ActionObserver other;
    ActionObject* otherObject = connectAction(other);
    const unsigned int id = invoke();
    m_sim.emitExecutionError(kAction, 99, 4);
    m_sim.emitResult(kAction, 98, {argument(0, "r")});
    m_sim.flush();

    const std::vector<std::string> expected{"result " + std::to_string(id) + " ", "error 99 4", "result 98 0=r"};
    EXPECT_EQ(expected, m_observer.log.events());
    EXPECT_EQ(expected, other.log.events());
    lookUpRoot()->disconnect(kAction, &other, otherObject);
}

TEST_F(ActionTest, ResponderRunsOnTheInvokingThreadWithTheRecordedIdAndMayUseTheSimulator) {
    m_sim.addInteger("test.value", 3);
    unsigned int seenId = 0;
    bool onCallbackThread = true;
    m_sim.setResponder(kAction, [&](unsigned int actionId, const std::vector<lomodelapi::Argument>&) {
        seenId = actionId;
        onCallbackThread = m_sim.onCallbackThread();
        return tvsim::Reply::withResults({argument(0, std::to_string(m_sim.integer("test.value")))});
    });

    const unsigned int id = invoke();
    m_sim.flush();

    EXPECT_EQ(id, seenId);
    EXPECT_FALSE(onCallbackThread);
    EXPECT_EQ(std::vector<std::string>{"result " + std::to_string(id) + " 0=3"}, m_observer.log.events());
}

// Invokes the action from inside a value notification, as a client reacting to a change might.
class InvokingObserver : public lomodelapi::ObserverNumericInteger {
public:
    void notifyNewValue(int) override { status = action->invoke(id, {}); }
    ActionObject* action = nullptr;
    unsigned int id = 0;
    int status = -1;
};

TEST_F(ActionTest, InvokeOnTheCallbackThreadQueuesAnOutcomeMeantBeforeReturn) {
    tvsim::Reply reply;
    reply.beforeInvokeReturns = true;
    answerWith(reply);
    m_sim.addInteger("test.value", 0);
    InvokingObserver invoker;
    invoker.action = m_object;
    ModelObject* valueObject = nullptr;
    lookUpRoot()->connect("test.value", &invoker, valueObject);

    m_sim.setInteger("test.value", 1);
    m_sim.flush();
    m_sim.flush();  // the outcome was queued during the first delivery

    EXPECT_EQ(0, invoker.status);
    EXPECT_EQ(std::vector<std::string>{"result " + std::to_string(invoker.id) + " "}, m_observer.log.events());
    lookUpRoot()->disconnect("test.value", &invoker, valueObject);
}

TEST_F(ActionTest, DelayedOutcomeIsDroppedWhenTheObserverDisconnectsFirst) {
    answerWith(withDelay(tvsim::Reply(), 10));
    simtest::ActionObserver leaving;
    ActionObject* leavingObject = connectAction(leaving);

    invoke();
    lookUpRoot()->disconnect(kAction, &leaving, leavingObject);
    m_sim.flush();

    EXPECT_TRUE(leaving.log.events().empty());
    EXPECT_EQ(1u, m_observer.log.events().size());
}

// Delayed outcomes nobody can receive are not waited for: a disconnected
// observer's go at once, and shutting down drops the rest. Waiting for them
// would take the hour (and end in ctest's time-out).
TEST(ActionShutdownTest, DelayedOutcomesGoWithTheirObserverAndWithTheSimulator) {
    auto sim = std::make_unique<tvsim::Simulator>();
    sim->addAction(kAction, [](unsigned int, const std::vector<lomodelapi::Argument>&) {
        tvsim::Reply reply;
        reply.delay = std::chrono::hours(1);
        return reply;
    });
    auto invokeThrough = [](lomodelapi::Observer& observer) {
        ModelObject* object = nullptr;
        EXPECT_EQ(0, lookUpRoot()->connect(kAction, &observer, object));
        unsigned int id = 0;
        EXPECT_EQ(0, static_cast<ActionObject*>(object)->invoke(id, {}));
        return object;
    };
    simtest::ActionObserver leaving;
    simtest::ActionObserver staying;

    lookUpRoot()->disconnect(kAction, &leaving, invokeThrough(leaving));
    sim->flush();
    invokeThrough(staying);
    sim.reset();

    EXPECT_TRUE(leaving.log.events().empty());
    EXPECT_TRUE(staying.log.events().empty());
}

}  // namespace
