// The simulator's callback thread where the library's suites do not reach it:
// observers calling back into the simulator, work queued before a disconnect
// (or an iterator's destruction) or made unreachable by shutdown, and no call
// after a disconnect has returned. Delivery in queue order to every connection
// is what the value and action suites observe through the library.
#include "recording_observers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>

namespace {

using simtest::connect;
using simtest::lookUpRoot;

class CallbackThreadTest : public ::testing::Test {
protected:
    CallbackThreadTest() { m_sim.addInteger("test.value", 0); }
    tvsim::Simulator m_sim;
};

tvsim::Reply delayedBy(int milliseconds, bool beforeInvokeReturns = false) {
    tvsim::Reply reply;
    reply.delay = std::chrono::milliseconds(milliseconds);
    reply.beforeInvokeReturns = beforeInvokeReturns;
    return reply;
}

// Calls back into the simulator from inside its notification: a flush there, a read, a write, an invoke.
class ReentrantObserver : public simtest::IntegerObserver {
public:
    void notifyNewValue(int value) override {
        simtest::IntegerObserver::notifyNewValue(value);
        tvsim::Simulator::current()->flush();
        readBack = object->getValue();
        if (value == 1) {
            object->setValue(2);
            invokeStatus = action->invoke(actionId, {});
        }
    }
    NumericIntegerObject* object = nullptr;
    ActionObject* action = nullptr;
    unsigned int actionId = 0;
    int readBack = 0;
    int invokeStatus = -1;
};

TEST_F(CallbackThreadTest, ObserversMayCallBackIntoTheSimulatorWhatTheyQueueComesLater) {
    simtest::ActionObserver actions;
    m_sim.addAction("test.action", [](unsigned int, const auto&) { return delayedBy(0, true); });
    ReentrantObserver observer;
    observer.object = connect<NumericIntegerObject>("test.value", &observer);
    observer.action = connect<ActionObject>("test.action", &actions);

    m_sim.setInteger("test.value", 1);
    m_sim.flush();  // delivers 1, whose handler queues 2 and an outcome meant before its invoke returns
    m_sim.flush();

    EXPECT_EQ((std::vector<std::string>{"int 1", "int 2"}), observer.log.take());
    EXPECT_EQ(2, observer.readBack);
    EXPECT_EQ(0, observer.invokeStatus);
    EXPECT_EQ(std::vector<std::string>{"result " + std::to_string(observer.actionId)}, actions.log.take());
}

TEST_F(CallbackThreadTest, WorkQueuedBeforeADisconnectOrAnIteratorsDestructionIsDropped) {
    simtest::IntegerObserver observer;
    simtest::ActionObserver actions;
    simtest::IteratorObserver rows;
    m_sim.addAction("test.action", [](unsigned int, const auto&) { return delayedBy(5); });
    m_sim.addTable("test.table", {"name"}, {{"one"}});
    ModelObject* object = connect("test.value", &observer);
    ModelObject* action = connect("test.action", &actions);
    auto* table = connect<TableObject>("test.table", &rows);
    TableIteratorObject* iterator = table->createIterator(lomodelapi::ITERATOR_TYPE_DEFAULT, &rows, {}, {}, {});
    m_sim.flush();
    rows.log.take();
    simtest::CallbackThreadBlocker blocker(m_sim);

    // Step 1: hold the callback thread and queue work for each observer behind it.
    blocker.block();
    m_sim.setInteger("test.value", 1);
    unsigned int id = 0;
    static_cast<ActionObject*>(action)->invoke(id, {});
    tvsim::SimIterator::from(iterator)->commit();
    // Step 2: disconnect and destroy while the work waits, then let the thread go.
    lookUpRoot()->disconnect("test.value", &observer, object);
    lookUpRoot()->disconnect("test.action", &actions, action);
    EXPECT_EQ(0, table->destroyIterator(iterator));
    blocker.release();
    m_sim.setRows("test.table", {});
    m_sim.flush();

    EXPECT_TRUE(observer.log.take().empty());
    EXPECT_TRUE(actions.log.take().empty());
    EXPECT_TRUE(rows.log.take().empty());
    EXPECT_EQ(tvsim::kStatusUnknownObject, table->destroyIterator(iterator));
    lookUpRoot()->disconnect("test.table", &rows, table);
}

// Disconnects the given connections, its own among them, from inside its first notification.
class DisconnectingObserver : public simtest::IntegerObserver {
public:
    void notifyNewValue(int value) override {
        simtest::IntegerObserver::notifyNewValue(value);
        for (const auto& [observer, object] : std::exchange(targets, {})) {
            lookUpRoot()->disconnect("test.value", observer, object);
        }
    }
    std::vector<std::pair<lomodelapi::Observer*, ModelObject*>> targets;
};

TEST_F(CallbackThreadTest, DisconnectFromInsideANotificationDropsWhatIsStillQueued) {
    DisconnectingObserver leaving;
    simtest::IntegerObserver later;
    leaving.targets = {{&leaving, connect("test.value", &leaving)}, {&later, connect("test.value", &later)}};

    m_sim.setInteger("test.value", 1);  // queued for both; the second delivery is dropped
    m_sim.setInteger("test.value", 2);
    m_sim.flush();

    EXPECT_EQ(std::vector<std::string>{"int 1"}, leaving.log.take());
    EXPECT_TRUE(later.log.take().empty());
    EXPECT_EQ(0, m_sim.connectedObservers("test.value"));
}

// Reports whether one of its calls was still running, or started, after its disconnect had returned.
class DisconnectWitness : public lomodelapi::ObserverNumericInteger {
public:
    void notifyNewValue(int) override {
        calls.fetch_add(1);
        // Stay a little, so that a disconnect that does not wait would return meanwhile.
        for (int pass = 0; pass < 10; ++pass) {
            std::this_thread::yield();
        }
        lateCalls.fetch_add(disconnected.load() ? 1 : 0);
    }
    std::atomic<bool> disconnected{false};
    std::atomic<int> lateCalls{0};
    std::atomic<int> calls{0};
};

TEST_F(CallbackThreadTest, NoCallReachesAnObserverAfterItsDisconnectHasReturned) {
    for (int round = 0; round < 10; ++round) {
        DisconnectWitness witness;
        ModelObject* object = connect("test.value", &witness);
        std::thread writer([&] {
            for (int value = 0; value < 200; ++value) {
                m_sim.setInteger("test.value", value);
            }
        });
        while (witness.calls.load() < 10) {
            std::this_thread::yield();
        }
        lookUpRoot()->disconnect("test.value", &witness, object);
        witness.disconnected.store(true);
        writer.join();
        m_sim.flush();
        EXPECT_EQ(0, witness.lateCalls.load()) << "round " << round;
    }
}

}  // namespace

// Delayed outcomes nobody can receive are not waited for: a disconnected
// observer's go at once, and shutting down drops the rest. Waiting for them
// would take the hour (and end in ctest's time-out).
TEST(CallbackThreadShutdownTest, DelayedOutcomesGoWithTheirObserverAndWithTheSimulator) {
    auto sim = std::make_unique<tvsim::Simulator>();
    sim->addAction("test.action", [](unsigned int, const auto&) { return delayedBy(3600 * 1000); });
    simtest::ActionObserver leaving;
    simtest::ActionObserver staying;
    unsigned int id = 0;
    ModelObject* left = connect("test.action", &leaving);
    static_cast<ActionObject*>(left)->invoke(id, {});
    lookUpRoot()->disconnect("test.action", &leaving, left);
    sim->flush();
    static_cast<ActionObject*>(connect("test.action", &staying))->invoke(id, {});
    sim.reset();

    EXPECT_TRUE(leaving.log.take().empty());
    EXPECT_TRUE(staying.log.take().empty());
}
