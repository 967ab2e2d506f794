// The simulated platform's process framework, model and callback thread, as a
// client sees them through the platform's headers.
#include "recording_observers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

namespace {

using simtest::EventLog;
using simtest::lookUpRoot;

constexpr const char* kRootName = "orvik.lm.interfaces.tvapi.RootInterface";

int lookUp(boost::shared_ptr<frame::Interface>& reference, const std::string& name = kRootName) {
    return frame::Process::getInstance().getInterfaceReference(reference, name);
}

class SimulatorTest : public ::testing::Test {
protected:
    ModelObject* connect(const std::string& path, lomodelapi::Observer* observer, int expectedStatus = 0) {
        ModelObject* object = nullptr;
        EXPECT_EQ(expectedStatus, lookUpRoot()->connect(path, observer, object));
        return object;
    }

    tvsim::Simulator m_sim;
};

// ---- Process framework ----

TEST(ProcessFrameworkTest, RootInterfaceIsRegisteredExactlyWhileASimulatorLives) {
    boost::shared_ptr<frame::Interface> reference;
    EXPECT_NE(0, lookUp(reference));
    {
        tvsim::Simulator sim;
        EXPECT_EQ(&sim, tvsim::Simulator::current());
        ASSERT_EQ(0, lookUp(reference));
        ASSERT_TRUE(reference);
        EXPECT_NE(nullptr, reference->getObject());
        reference.reset();
        EXPECT_EQ(tvsim::kStatusNoSuchInterface, lookUp(reference, "orvik.lm.interfaces.tvapi.Other"));
        EXPECT_FALSE(reference);
    }
    EXPECT_EQ(nullptr, tvsim::Simulator::current());
    EXPECT_NE(0, lookUp(reference));
}

TEST_F(SimulatorTest, RefusedReferenceAnswersTheStatusUntilHealed) {
    m_sim.refuseInterfaceReference(true, 42);
    boost::shared_ptr<frame::Interface> reference;
    EXPECT_EQ(42, lookUp(reference));
    EXPECT_FALSE(reference);
    m_sim.refuseInterfaceReference(false);
    EXPECT_EQ(0, lookUp(reference));
    EXPECT_TRUE(reference);
}

TEST_F(SimulatorTest, EmptyReferenceAnswersZeroAndLeavesTheReferenceEmpty) {
    m_sim.emptyInterfaceReference(true);
    boost::shared_ptr<frame::Interface> reference;
    EXPECT_EQ(0, lookUp(reference));
    EXPECT_FALSE(reference);
}

TEST_F(SimulatorTest, NullRootObjectKeepsTheReferenceButHandsOutNoObject) {
    m_sim.nullRootObject(true);
    boost::shared_ptr<frame::Interface> reference;
    ASSERT_EQ(0, lookUp(reference));
    EXPECT_EQ(nullptr, reference->getObject());
    m_sim.nullRootObject(false);
    EXPECT_NE(nullptr, reference->getObject());
}

TEST(ProcessFrameworkTest, FaultsDoNotOutliveTheirSimulator) {
    {
        tvsim::Simulator sim;
        sim.refuseInterfaceReference(true, 9);
        sim.emptyInterfaceReference(true);
    }
    tvsim::Simulator sim;
    EXPECT_NE(nullptr, lookUpRoot());
}

// ---- Connect and model objects ----

struct ConnectCase {
    const char* name;
    lomodelapi::ObjectTypeSpec type;
    std::function<void(tvsim::Simulator&, const std::string&)> add;
    std::function<bool(ModelObject*)> isOfClass;
};

class ConnectEachTypeTest : public SimulatorTest, public ::testing::WithParamInterface<ConnectCase> {};

TEST_P(ConnectEachTypeTest, HandsOutANewObjectOfTheEntrysClassPerConnect) {
    const ConnectCase& param = GetParam();
    param.add(m_sim, "test.path");
    simtest::IntegerObserver first;
    simtest::IntegerObserver second;

    ModelObject* one = connect("test.path", &first);
    ModelObject* other = connect("test.path", &second);

    ASSERT_NE(nullptr, one);
    ASSERT_NE(nullptr, other);
    EXPECT_NE(one, other);
    EXPECT_TRUE(param.isOfClass(one));
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    one->getType(type);
    EXPECT_EQ(param.type, type);
    EXPECT_EQ(2, m_sim.connectedObservers("test.path"));
    auto records = m_sim.connects();
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ("test.path", records[0].path);
    EXPECT_EQ(&first, records[0].observer);
    EXPECT_EQ(one, records[0].object);
    EXPECT_EQ(0, records[0].status);

    EXPECT_EQ(0, lookUpRoot()->disconnect("test.path", &first, one));
    EXPECT_EQ(1, m_sim.connectedObservers("test.path"));
}

template <typename T>
std::function<bool(ModelObject*)> isA() {
    return [](ModelObject* object) { return dynamic_cast<T*>(object) != nullptr; };
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, ConnectEachTypeTest,
    ::testing::Values(
        ConnectCase{"Integer", lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addInteger(path, 1); },
                    isA<NumericIntegerObject>()},
        ConnectCase{"String", lomodelapi::OBJECT_TYPE_STRING,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addString(path, "a"); },
                    isA<StringObject>()},
        ConnectCase{"IntegerVector", lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addIntegerVector(path, {1}); },
                    isA<VectorNumericIntegerObject>()},
        ConnectCase{"StringVector", lomodelapi::OBJECT_TYPE_VECTOR_STRING,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addStringVector(path, {"a"}); },
                    isA<VectorStringObject>()},
        ConnectCase{"Action", lomodelapi::OBJECT_TYPE_ACTION,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addAction(path, nullptr); },
                    isA<ActionObject>()},
        ConnectCase{"Table", lomodelapi::OBJECT_TYPE_TABLE,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addTable(path, {"name"}, {}); },
                    isA<TableObject>()},
        ConnectCase{"Int64", lomodelapi::OBJECT_TYPE_NUMERIC_INT64,
                    [](tvsim::Simulator& sim, const std::string& path) { sim.addInt64(path, 1); },
                    isA<NumericInt64Object>()}),
    [](const ::testing::TestParamInfo<ConnectCase>& test) { return std::string(test.param.name); });

TEST_F(SimulatorTest, UnknownPathAnswersItsStatusAndNoObject) {
    simtest::IntegerObserver observer;
    EXPECT_EQ(nullptr, connect("test.missing", &observer, tvsim::kStatusUnknownPath));
    ASSERT_EQ(1u, m_sim.connects().size());
    EXPECT_EQ(tvsim::kStatusUnknownPath, m_sim.connects()[0].status);
    EXPECT_EQ(nullptr, m_sim.connects()[0].object);
}

TEST_F(SimulatorTest, ConnectFaultsApplyToTheNextConnectsOnly) {
    m_sim.addInteger("test.value", 1);
    simtest::IntegerObserver observer;
    m_sim.failNextConnects("test.value", 2, 17);
    m_sim.nullObjectOnNextConnects("test.value", 1);

    // Step 1: the failing connects come first, then the one with a null object.
    EXPECT_EQ(nullptr, connect("test.value", &observer, 17));
    EXPECT_EQ(nullptr, connect("test.value", &observer, 17));
    EXPECT_EQ(nullptr, connect("test.value", &observer, 0));
    // Step 2: healed.
    EXPECT_NE(nullptr, connect("test.value", &observer, 0));

    auto records = m_sim.connects();
    ASSERT_EQ(4u, records.size());
    EXPECT_EQ(17, records[1].status);
    EXPECT_EQ(0, records[2].status);
    EXPECT_EQ(nullptr, records[2].object);
    EXPECT_EQ(1, m_sim.connectedObservers("test.value"));
}

TEST_F(SimulatorTest, ReportedTypeChangesGetTypeButNotTheClassOrTheNotifications) {
    m_sim.addInteger("test.value", 1);
    simtest::IntegerObserver observer;
    m_sim.reportType("test.value", lomodelapi::OBJECT_TYPE_STRING);
    ModelObject* object = connect("test.value", &observer);

    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    object->getType(type);
    EXPECT_EQ(lomodelapi::OBJECT_TYPE_STRING, type);
    EXPECT_NE(nullptr, dynamic_cast<NumericIntegerObject*>(object));
    m_sim.setInteger("test.value", 5);
    m_sim.flush();
    EXPECT_EQ(std::vector<std::string>{"int 5"}, observer.log.events());
}

TEST_F(SimulatorTest, ObserverOfAnotherClassIsNotNotified) {
    m_sim.addInteger("test.value", 1);
    simtest::StringObserver wrongKind;
    connect("test.value", &wrongKind);
    m_sim.setInteger("test.value", 2);
    m_sim.flush();
    EXPECT_TRUE(wrongKind.log.events().empty());
}

TEST_F(SimulatorTest, GettersAnswerTheStoredValues) {
    m_sim.addInteger("test.int", -4);
    m_sim.addInt64("test.int64", 1LL << 40);
    m_sim.addString("test.string", "text");
    m_sim.addIntegerVector("test.ints", {1, 2});
    m_sim.addStringVector("test.strings", {"a", "b"});
    simtest::IntegerObserver observer;

    EXPECT_EQ(-4, static_cast<NumericIntegerObject*>(connect("test.int", &observer))->getValue());
    EXPECT_EQ(1LL << 40, static_cast<NumericInt64Object*>(connect("test.int64", &observer))->getValue());
    std::string text;
    EXPECT_EQ(0, static_cast<StringObject*>(connect("test.string", &observer))->getValue(text));
    EXPECT_EQ("text", text);
    std::vector<int> ints;
    EXPECT_EQ(0, static_cast<VectorNumericIntegerObject*>(connect("test.ints", &observer))->getValue(ints));
    EXPECT_EQ((std::vector<int>{1, 2}), ints);
    std::vector<std::string> strings;
    EXPECT_EQ(0, static_cast<VectorStringObject*>(connect("test.strings", &observer))->getValue(strings));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), strings);
}

TEST_F(SimulatorTest, FailingGetterAnswersItsStatusAndLeavesTheOutputAlone) {
    m_sim.addString("test.string", "text");
    m_sim.addIntegerVector("test.ints", {1});
    simtest::IntegerObserver observer;
    auto* string = static_cast<StringObject*>(connect("test.string", &observer));
    auto* ints = static_cast<VectorNumericIntegerObject*>(connect("test.ints", &observer));
    m_sim.failGetter("test.string", 9);
    m_sim.failGetter("test.ints", 8);

    std::string text = "untouched";
    std::vector<int> values{7};
    EXPECT_EQ(9, string->getValue(text));
    EXPECT_EQ(8, ints->getValue(values));
    EXPECT_EQ("untouched", text);
    EXPECT_EQ(std::vector<int>{7}, values);

    m_sim.failGetter("test.string", 0);
    EXPECT_EQ(0, string->getValue(text));
    EXPECT_EQ("text", text);
}

TEST_F(SimulatorTest, ControlOperationsRejectUnknownPathsAndOtherTypes) {
    m_sim.addString("test.string", "text");
    EXPECT_THROW(m_sim.integer("test.missing"), std::invalid_argument);
    EXPECT_THROW(m_sim.integer("test.string"), std::invalid_argument);
    EXPECT_THROW(m_sim.setInteger("test.string", 1), std::invalid_argument);
    EXPECT_EQ("text", m_sim.string("test.string"));
}

TEST_F(SimulatorTest, ListIsSortedAndFilteredByPrefixAndRemoveForgets) {
    m_sim.addString("b.two", "x");
    m_sim.addInteger("a.one", 1);
    m_sim.addAction("b.action", nullptr);
    m_sim.addInteger("c.three", 3);

    auto entries = m_sim.list("b.");
    ASSERT_EQ(2u, entries.size());
    EXPECT_EQ("b.action", entries[0].path);
    EXPECT_EQ(lomodelapi::OBJECT_TYPE_ACTION, entries[0].type);
    EXPECT_EQ("b.two", entries[1].path);
    EXPECT_EQ(4u, m_sim.list().size());

    m_sim.remove("a.one");
    EXPECT_FALSE(m_sim.has("a.one"));
    EXPECT_EQ("b.action", m_sim.list().front().path);
}

// ---- Writes and notifications ----

TEST_F(SimulatorTest, EveryWriteReachesEveryConnectedObserverInOrderOnTheCallbackThread) {
    m_sim.addInteger("test.value", 0);
    simtest::IntegerObserver writer;
    simtest::IntegerObserver watcher;
    auto* object = static_cast<NumericIntegerObject*>(connect("test.value", &writer));
    connect("test.value", &watcher);

    // Step 1: platform-originated changes, then a client write through one connection.
    m_sim.setInteger("test.value", 1);
    m_sim.setInteger("test.value", 2);
    object->setValue(3);
    m_sim.flush();

    const std::vector<std::string> expected{"int 1", "int 2", "int 3"};
    EXPECT_EQ(expected, writer.log.events());
    EXPECT_EQ(expected, watcher.log.events());
    EXPECT_EQ(0, writer.log.offCallbackThread());
    EXPECT_EQ(0, watcher.log.offCallbackThread());
    EXPECT_EQ(3, m_sim.integer("test.value"));
    EXPECT_EQ(1, m_sim.setterCalls("test.value"));
}

TEST_F(SimulatorTest, ClientWritesOfEachKindStoreAndNotify) {
    m_sim.addInt64("test.int64", 0);
    m_sim.addString("test.string", "");
    simtest::Int64Observer int64Observer;
    simtest::StringObserver stringObserver;
    static_cast<NumericInt64Object*>(connect("test.int64", &int64Observer))->setValue(-(1LL << 40));
    static_cast<StringObject*>(connect("test.string", &stringObserver))->setValue("new");
    m_sim.flush();

    EXPECT_EQ(-(1LL << 40), m_sim.int64("test.int64"));
    EXPECT_EQ("new", m_sim.string("test.string"));
    EXPECT_EQ(std::vector<std::string>{"int64 -1099511627776"}, int64Observer.log.events());
    EXPECT_EQ(std::vector<std::string>{"string new"}, stringObserver.log.events());
}

TEST_F(SimulatorTest, VectorSetValuesStoresTheMapsValuesInIndexOrderAndKeepsTheMap) {
    m_sim.addIntegerVector("test.ints", {1, 2, 3});
    m_sim.addStringVector("test.strings", {"x"});
    simtest::IntegerVectorObserver intsObserver;
    simtest::StringVectorObserver stringsObserver;
    auto* ints = static_cast<VectorNumericIntegerObject*>(connect("test.ints", &intsObserver));
    auto* strings = static_cast<VectorStringObject*>(connect("test.strings", &stringsObserver));

    ints->setValues({{1, 8}, {0, 7}});
    strings->setValues({{0, "a"}, {1, "b"}});
    EXPECT_EQ((std::vector<int>{7, 8}), m_sim.integerVector("test.ints"));
    EXPECT_EQ((std::map<int, int>{{0, 7}, {1, 8}}), m_sim.lastIntegerMap("test.ints"));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), m_sim.stringVector("test.strings"));
    EXPECT_EQ((std::map<int, std::string>{{0, "a"}, {1, "b"}}), m_sim.lastStringMap("test.strings"));

    ints->setValues({});
    EXPECT_TRUE(m_sim.integerVector("test.ints").empty());
    m_sim.flush();
    EXPECT_EQ((std::vector<std::string>{"ints 7,8", "ints "}), intsObserver.log.events());
    EXPECT_EQ(std::vector<std::string>{"strings a,b"}, stringsObserver.log.events());
    EXPECT_EQ(2, m_sim.setterCalls("test.ints"));
}

TEST_F(SimulatorTest, ClearRecordsForgetsRecordsCountersAndMaps) {
    m_sim.addIntegerVector("test.ints", {});
    simtest::IntegerVectorObserver observer;
    ModelObject* object = connect("test.ints", &observer);
    static_cast<VectorNumericIntegerObject*>(object)->setValues({{0, 1}});
    lookUpRoot()->disconnect("test.ints", &observer, object);

    m_sim.clearRecords();
    EXPECT_TRUE(m_sim.connects().empty());
    EXPECT_TRUE(m_sim.disconnects().empty());
    EXPECT_EQ(0, m_sim.setterCalls("test.ints"));
    EXPECT_TRUE(m_sim.lastIntegerMap("test.ints").empty());
}

// ---- Disconnect ----

TEST_F(SimulatorTest, DisconnectIsRecordedEvenForObjectsItDoesNotKnow) {
    m_sim.addInteger("test.value", 0);
    simtest::IntegerObserver observer;
    ModelObject* object = connect("test.value", &observer);

    EXPECT_EQ(tvsim::kStatusUnknownObject, lookUpRoot()->disconnect("test.value", &observer, nullptr));
    EXPECT_EQ(tvsim::kStatusUnknownObject, lookUpRoot()->disconnect("test.other", &observer, object));
    EXPECT_EQ(0, lookUpRoot()->disconnect("test.value", &observer, object));
    EXPECT_EQ(tvsim::kStatusUnknownObject, lookUpRoot()->disconnect("test.value", &observer, object));

    auto records = m_sim.disconnects();
    ASSERT_EQ(4u, records.size());
    EXPECT_EQ(nullptr, records[0].object);
    EXPECT_EQ(object, records[2].object);
    EXPECT_EQ(&observer, records[2].observer);
}

TEST_F(SimulatorTest, NotificationsQueuedBeforeDisconnectAreDropped) {
    m_sim.addInteger("test.value", 0);
    simtest::IntegerObserver observer;
    ModelObject* object = connect("test.value", &observer);
    simtest::CallbackThreadBlocker blocker(m_sim);

    // Step 1: hold the callback thread and queue a change behind it.
    blocker.block();
    m_sim.setInteger("test.value", 1);
    // Step 2: disconnect while the change waits, then let the thread go.
    lookUpRoot()->disconnect("test.value", &observer, object);
    blocker.release();
    m_sim.flush();

    EXPECT_TRUE(observer.log.events().empty());
}

// An observer that reports whether one of its calls was still running, or
// started, after its disconnect had returned.
class DisconnectWitness : public lomodelapi::ObserverNumericInteger {
public:
    void notifyNewValue(int) override {
        calls.fetch_add(1);
        // Stay a little, so that a disconnect that does not wait would return meanwhile.
        for (int pass = 0; pass < 20; ++pass) {
            std::this_thread::yield();
        }
        if (disconnected.load()) {
            lateCalls.fetch_add(1);
        }
    }
    std::atomic<bool> disconnected{false};
    std::atomic<int> lateCalls{0};
    std::atomic<int> calls{0};
};

TEST_F(SimulatorTest, NoCallReachesAnObserverAfterItsDisconnectHasReturned) {
    m_sim.addInteger("test.value", 0);
    for (int round = 0; round < 20; ++round) {
        DisconnectWitness witness;
        ModelObject* object = connect("test.value", &witness);
        std::thread writer([&] {
            for (int value = 0; value < 300; ++value) {
                m_sim.setInteger("test.value", value);
            }
        });
        // Disconnect while notifications flow.
        while (witness.calls.load() < 20) {
            std::this_thread::yield();
        }
        lookUpRoot()->disconnect("test.value", &witness, object);
        witness.disconnected.store(true);
        writer.join();
        m_sim.flush();
        EXPECT_EQ(0, witness.lateCalls.load()) << "round " << round;
    }
}

// Disconnects a connection (its own or another's) from inside its first notification.
class DisconnectingObserver : public simtest::IntegerObserver {
public:
    void notifyNewValue(int value) override {
        simtest::IntegerObserver::notifyNewValue(value);
        if (target != nullptr) {
            lookUpRoot()->disconnect("test.value", target, targetObject);
            target = nullptr;
        }
    }
    lomodelapi::Observer* target = nullptr;
    ModelObject* targetObject = nullptr;
};

TEST_F(SimulatorTest, DisconnectFromInsideANotificationStopsLaterCalls) {
    m_sim.addInteger("test.value", 0);
    DisconnectingObserver self;
    DisconnectingObserver other;
    simtest::IntegerObserver victim;
    self.targetObject = connect("test.value", &self);
    self.target = &self;
    other.targetObject = nullptr;
    ModelObject* victimObject = connect("test.value", &victim);
    connect("test.value", &other);
    other.target = &victim;
    other.targetObject = victimObject;

    // Step 1: the first change is queued for all three; self and other disconnect during theirs.
    m_sim.setInteger("test.value", 1);
    m_sim.setInteger("test.value", 2);
    m_sim.flush();

    EXPECT_EQ(std::vector<std::string>{"int 1"}, self.log.events());
    EXPECT_EQ(std::vector<std::string>{"int 1"}, victim.log.events());
    EXPECT_EQ((std::vector<std::string>{"int 1", "int 2"}), other.log.events());
    EXPECT_EQ(1, m_sim.connectedObservers("test.value"));
}

// ---- Callback thread ----

// Calls back into the simulator from inside its notification.
class ReentrantObserver : public simtest::IntegerObserver {
public:
    void notifyNewValue(int value) override {
        simtest::IntegerObserver::notifyNewValue(value);
        tvsim::Simulator* sim = tvsim::Simulator::current();
        sim->flush();
        readBack = static_cast<NumericIntegerObject*>(object)->getValue();
        if (value == 1) {
            static_cast<NumericIntegerObject*>(object)->setValue(2);
        }
    }
    ModelObject* object = nullptr;
    int readBack = 0;
};

TEST_F(SimulatorTest, ObserversMayCallBackIntoTheSimulatorAndFlushThere) {
    m_sim.addInteger("test.value", 0);
    ReentrantObserver observer;
    observer.object = connect("test.value", &observer);

    m_sim.setInteger("test.value", 1);
    m_sim.flush();  // delivers 1, whose handler queues 2
    m_sim.flush();

    EXPECT_EQ((std::vector<std::string>{"int 1", "int 2"}), observer.log.events());
    EXPECT_EQ(2, observer.readBack);
}

TEST_F(SimulatorTest, FlushWaitsForDelayedItemsWhichGoWhenDue) {
    m_sim.addAction("test.action", [](unsigned int, const std::vector<lomodelapi::Argument>&) {
        tvsim::Reply reply;
        reply.delay = std::chrono::milliseconds(20);
        return reply;
    });
    m_sim.addInteger("test.value", 0);
    simtest::ActionObserver actionObserver;
    simtest::IntegerObserver valueObserver;
    auto* action = static_cast<ActionObject*>(connect("test.action", &actionObserver));
    connect("test.value", &valueObserver);
    EventLog order;
    actionObserver.also = &order;
    valueObserver.also = &order;

    unsigned int id = 0;
    action->invoke(id, {});
    m_sim.setInteger("test.value", 1);
    m_sim.flush();

    // The later immediate change went first; the delayed outcome still arrived before flush returned.
    EXPECT_EQ((std::vector<std::string>{"int 1", "result 1 "}), order.events());
}

}  // namespace
