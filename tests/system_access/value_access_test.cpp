// The typed value accessors through the simulator: notifications become
// ValueObjects on the callback thread, destruction disconnects, and handlers
// may be replaced while values keep arriving.
#include <system_access/value_access.h>
#include <system_access/value_object.h>

#include <lomodelapi/model_objects.h>
#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "log_lines.h"
#include "sleep_counter.h"
#include "value_accessors.h"

namespace velmora::system::access {
namespace {

using namespace testsupport::accessors;
using testsupport::countLines;
using testsupport::traceIn;
using testsupport::traceOut;

// Keeps every value it is given, and on which thread it came.
class RecordingHandler : public ValueHandler {
public:
    void onNewValue(const ValueObject& value) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_values.push_back(value);
        m_onCallbackThread = m_onCallbackThread && tvsim::Simulator::current()->onCallbackThread();
    }

    std::vector<ValueObject> values() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_values;
    }

    bool allOnCallbackThread() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_onCallbackThread;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<ValueObject> m_values;
    bool m_onCallbackThread = true;
};

class ValueAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::SleepCounter::reset();
        sim.addInteger(kInteger, 0);
        sim.addInt64(kInt64, 0);
        sim.addString(kString, "");
        sim.addIntegerVector(kIntegerVector, {});
        sim.addStringVector(kStringVector, {});
    }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
    std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

TEST_F(ValueAccessTest, StringNotificationReachesTheHandlerBetweenItsTraceLines) {
    StringAccess access(kString, handler);
    ASSERT_EQ(access.connect(1000), 0);
    capture.clear();

    sim.setString(kString, "abc");
    sim.flush();

    const std::vector<ValueObject> values = handler->values();
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].type(), ValueObject::VALUE_TYPE_STRING);
    EXPECT_EQ(values[0].m_string, "abc");
    EXPECT_TRUE(handler->allOnCallbackThread());
    const std::vector<std::string> expected = {
        traceIn("value_access.cpp", "notifyNewValue"), traceIn("value_access_base.cpp", "onNewValue"),
        traceOut("value_access_base.cpp", "onNewValue"), traceOut("value_access.cpp", "notifyNewValue")};
    ASSERT_EQ(capture.lines().size(), expected.size());
    EXPECT_TRUE(testsupport::inOrder(capture, expected));
    for (const tvsim::CapturedLine& line : capture.lines()) {
        EXPECT_EQ(line.levelWord, testsupport::kWordTrace);
    }
}

TEST_F(ValueAccessTest, EveryTypeArrivesAsItsOwnKindOfValue) {
    IntegerAccess integer(kInteger, handler);
    Int64Access int64(kInt64, handler);
    IntegerVectorAccess integers(kIntegerVector, handler);
    StringVectorAccess texts(kStringVector, handler);
    for (ValueAccessBase* access : std::initializer_list<ValueAccessBase*>{&integer, &int64, &integers, &texts}) {
        ASSERT_EQ(access->connect(1000), 0);
    }

    sim.setInteger(kInteger, -3);
    sim.setInt64(kInt64, 1LL << 40);
    sim.setIntegerVector(kIntegerVector, {3, 1, 2});
    sim.setStringVector(kStringVector, {"eng", "fra"});
    sim.setIntegerVector(kIntegerVector, {});
    sim.flush();

    const std::vector<ValueObject> values = handler->values();
    ASSERT_EQ(values.size(), 5u);
    EXPECT_EQ(values[0].type(), ValueObject::VALUE_TYPE_INT);
    EXPECT_EQ(static_cast<int>(values[0]), -3);
    EXPECT_EQ(values[1].type(), ValueObject::VALUE_TYPE_INT64);
    EXPECT_EQ(static_cast<long long>(values[1]), 1LL << 40);
    EXPECT_EQ(values[2].type(), ValueObject::VALUE_TYPE_VECTOR);
    ASSERT_EQ(values[2].m_vector.size(), 3u);
    for (const ValueObject& element : values[2].m_vector) {
        EXPECT_EQ(element.type(), ValueObject::VALUE_TYPE_INT);
    }
    EXPECT_EQ(static_cast<std::vector<unsigned int>>(values[2]), (std::vector<unsigned int>{3, 1, 2}));
    EXPECT_EQ(values[3].type(), ValueObject::VALUE_TYPE_VECTOR);
    EXPECT_EQ(static_cast<std::vector<std::string>>(values[3]), (std::vector<std::string>{"eng", "fra"}));
    EXPECT_EQ(values[3].m_vector.at(0).type(), ValueObject::VALUE_TYPE_STRING);
    EXPECT_EQ(values[4].type(), ValueObject::VALUE_TYPE_VECTOR);
    EXPECT_TRUE(values[4].m_vector.empty());
}

TEST_F(ValueAccessTest, DirectCallsHandOverTheirOwnKindWithoutConversion) {
    IntegerAccess access(kInteger, handler);
    access.notifyNewValue(std::string("12"));
    access.notifyNewValue(5LL);
    access.notifyStringVector({"a"});

    const std::vector<ValueObject> values = handler->values();
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(values[0].type(), ValueObject::VALUE_TYPE_STRING);
    EXPECT_EQ(values[1].type(), ValueObject::VALUE_TYPE_INT64);
    EXPECT_EQ(values[2].type(), ValueObject::VALUE_TYPE_VECTOR);
}

TEST_F(ValueAccessTest, WithoutAHandlerANotificationWritesOnlyItsOwnTraceLines) {
    IntegerVectorAccess access(kIntegerVector);
    access.notifyIntegerVector({1, 2});
    EXPECT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(countLines(capture, traceIn("value_access.cpp", "notifyIntegerVector")), 1);
    EXPECT_EQ(countLines(capture, traceOut("value_access.cpp", "notifyIntegerVector")), 1);

    capture.clear();
    access.onNewValue(ValueObject(1));
    EXPECT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(countLines(capture, traceIn("value_access_base.cpp", "onNewValue")), 1);
}

TEST_F(ValueAccessTest, AClientWriteIsNotifiedToEveryConnectedAccessor) {
    auto other = std::make_shared<RecordingHandler>();
    IntegerAccess writer(kInteger, handler);
    IntegerAccess watcher(kInteger, other);
    ASSERT_EQ(watcher.connect(1000), 0);

    ASSERT_EQ(writer.setValue(42), 0);
    sim.flush();

    ASSERT_EQ(handler->values().size(), 1u);
    ASSERT_EQ(other->values().size(), 1u);
    EXPECT_EQ(static_cast<int>(other->values()[0]), 42);
}

TEST_F(ValueAccessTest, AHandlerMayReadThroughItsAccessorOnTheCallbackThread) {
    struct ReadingHandler : ValueHandler {
        void onNewValue(const ValueObject&) override { status = access->getValue(read); }
        IntegerAccess* access = nullptr;
        int status = -1;
        int read = 0;
    };
    auto reader = std::make_shared<ReadingHandler>();
    IntegerAccess access(kInteger, reader);
    reader->access = &access;
    ASSERT_EQ(access.connect(1000), 0);

    sim.setInteger(kInteger, 77);
    sim.flush();
    EXPECT_EQ(reader->status, 0);
    EXPECT_EQ(reader->read, 77);
}

TEST_F(ValueAccessTest, DestructionDisconnectsOnlyAConnectedAccessor) {
    { IntegerAccess never(kInteger, handler); }
    EXPECT_TRUE(sim.disconnects().empty());

    {
        IntegerAccess connected(kInteger, handler);
        ASSERT_EQ(connected.connect(1000), 0);
    }
    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].path, kInteger);
    EXPECT_EQ(sim.disconnects()[0].object, sim.connects().at(0).object);

    sim.setInteger(kInteger, 1);
    sim.flush();
    EXPECT_TRUE(handler->values().empty());
    EXPECT_EQ(sim.connectedObservers(kInteger), 0);
}

TEST_F(ValueAccessTest, ReadingAfterDisconnectConnectsAgain) {
    StringAccess access(kString);
    ASSERT_EQ(access.connect(1000), 0);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(sim.disconnects().size(), 1u);

    std::string out;
    EXPECT_EQ(access.getValue(out), 0);
    EXPECT_EQ(sim.connects().size(), 2u);
}

TEST_F(ValueAccessTest, DisconnectWithoutAnObjectStillTellsThePlatform) {
    StringAccess access(kString);
    EXPECT_EQ(access.disconnect(), 0);
    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].object, nullptr);

    sim.nullRootObject(true);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(sim.disconnects().size(), 1u);
    sim.nullRootObject(false);
}

// One thread replaces and clears the handler while thousands of values arrive:
// every delivered value reaches a live handler, and nothing races.
TEST_F(ValueAccessTest, HandlerReplacedWhileNotificationsArriveIsSafe) {
    tvsim::setLogThreshold(tvsim::kLevelNone);
    constexpr int kValues = 5000;
    auto first = std::make_shared<RecordingHandler>();
    auto second = std::make_shared<RecordingHandler>();
    IntegerAccess access(kInteger, first);
    ASSERT_EQ(access.connect(1000), 0);

    std::atomic<bool> done{false};
    std::thread replacer([&] {
        for (int round = 0; !done.load(); ++round) {
            switch (round % 3) {
                case 0:
                    access.setNewValueHandler(second);
                    break;
                case 1:
                    access.setNewValueHandler(nullptr);
                    break;
                default:
                    access.setNewValueHandler(std::make_shared<RecordingHandler>());
                    break;
            }
        }
    });
    for (int value = 0; value < kValues; ++value) {
        sim.setInteger(kInteger, value);
    }
    sim.flush();
    done = true;
    replacer.join();

    // Each handler saw an increasing subsequence of the values.
    for (const auto& seen : {first->values(), second->values()}) {
        for (size_t index = 1; index < seen.size(); ++index) {
            EXPECT_LT(static_cast<int>(seen[index - 1]), static_cast<int>(seen[index]));
        }
    }
}

// Accessors come and go while their value keeps changing on the callback thread.
TEST_F(ValueAccessTest, AccessorDestroyedWhileItsValueKeepsChangingIsSafe) {
    tvsim::setLogThreshold(tvsim::kLevelNone);
    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (int value = 0; !done.load(); ++value) {
            sim.setInteger(kInteger, value);
        }
    });
    for (int round = 0; round < 200; ++round) {
        auto counting = std::make_shared<RecordingHandler>();
        IntegerAccess access(kInteger, counting);
        ASSERT_EQ(access.connect(1000), 0);
    }
    done = true;
    changer.join();
    sim.flush();
    EXPECT_EQ(sim.connectedObservers(kInteger), 0);
}

}  // namespace
}  // namespace velmora::system::access
