// The typed value accessors through the simulator: notifications become
// ValueObjects of their own kind on the callback thread, disconnect and
// destruction give the object back, and handlers may be replaced while values
// keep arriving.
#include <system_access/value_access.h>
#include <system_access/value_object.h>

#include <atomic>
#include <thread>

#include "event_log.h"
#include "log_lines.h"
#include "sim_fixture.h"
#include "value_accessors.h"

namespace velmora::system::access {
namespace {

using namespace testsupport::accessors;

// "kind:text", and a list as its elements so described in brackets.
std::string describe(const ValueObject& value) {
    std::string text = value.type() == ValueObject::VALUE_TYPE_VECTOR ? "[" : std::to_string(value.type()) + ":";
    for (const ValueObject& element : value.m_vector) {
        text += (text.size() > 1 ? "," : "") + describe(element);
    }
    return value.type() == ValueObject::VALUE_TYPE_VECTOR ? text + "]" : text + value.convertToStringType();
}

// Keeps every value it is given, described.
struct RecordingHandler : ValueHandler {
    void onNewValue(const ValueObject& value) override { log.add(describe(value)); }
    testsupport::EventLog log;
};

class ValueAccessTest : public testsupport::SimTest {
protected:
    void SetUp() override {
        sim.addInteger(kInteger, 0);
        sim.addInt64(kInt64, 0);
        sim.addString(kString, "");
        sim.addIntegerVector(kIntegerVector, {});
        sim.addStringVector(kStringVector, {});
    }

    std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

TEST_F(ValueAccessTest, EveryTypeArrivesAsItsOwnKindOfValueBetweenTraceLines) {
    StringAccess text(kString, handler);
    IntegerAccess integer(kInteger, handler);
    IntegerAccess writer(kInteger);  // a client write reaches every connected accessor
    Int64Access int64(kInt64, handler);
    IntegerVectorAccess integers(kIntegerVector, handler);
    StringVectorAccess texts(kStringVector, handler);
    for (ValueAccessBase* access : {static_cast<ValueAccessBase*>(&text), static_cast<ValueAccessBase*>(&integer),
                                    static_cast<ValueAccessBase*>(&int64), static_cast<ValueAccessBase*>(&integers),
                                    static_cast<ValueAccessBase*>(&texts)}) {
        ASSERT_EQ(access->connect(1000), 0);
    }
    capture.clear();

    sim.setString(kString, "abc");
    sim.flush();
    testsupport::expectLines(capture, {testsupport::traceIn("value_access.cpp", "notifyNewValue"),
                                       testsupport::traceIn("value_access_base.cpp", "onNewValue"),
                                       testsupport::traceOut("value_access_base.cpp", "onNewValue"),
                                       testsupport::traceOut("value_access.cpp", "notifyNewValue")});
    EXPECT_EQ(capture.lines().at(0).levelWord, testsupport::kWordTrace);
    ASSERT_EQ(writer.setValue(-3), 0);
    sim.setInt64(kInt64, 1LL << 40);
    sim.setIntegerVector(kIntegerVector, {3, 1, 2});
    sim.setStringVector(kStringVector, {"eng", "fra"});
    sim.setIntegerVector(kIntegerVector, {});
    sim.flush();
    // Direct calls hand over their own kind, whatever the accessor's type.
    integer.notifyNewValue(std::string("12"));
    integer.notifyNewValue(5LL);

    // Kinds: 1 int, 3 int64, 8 string.
    EXPECT_EQ(handler->log.take(),
              (std::vector<std::string>{"8:abc", "1:-3", "3:1099511627776", "[1:3,1:1,1:2]", "[8:eng,8:fra]", "[]",
                                        "8:12 (off the callback thread)", "3:5 (off the callback thread)"}));
}

TEST_F(ValueAccessTest, DisconnectAndDestructionGiveTheObjectBack) {
    { IntegerAccess never(kInteger, handler); }
    EXPECT_TRUE(sim.disconnects().empty());
    {
        IntegerAccess connected(kInteger, handler);
        ASSERT_EQ(connected.connect(1000), 0);
    }
    EXPECT_EQ(sim.disconnects().at(0).object, sim.connects().at(0).object);
    sim.setInteger(kInteger, 1);
    sim.flush();
    EXPECT_TRUE(handler->log.take().empty());

    // Disconnect without an object still tells the platform; reading afterwards connects again.
    StringAccess access(kString);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(sim.disconnects().at(1).object, nullptr);
    ASSERT_EQ(access.connect(1000), 0);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(sim.connectedObservers(kString), 0);
    std::string out;
    EXPECT_EQ(access.getValue(out), 0);
    EXPECT_EQ(sim.connects().size(), 3u);
}

// Meaningful under ASan and TSan: one thread replaces and clears the handler while
// thousands of values arrive, and accessors come and go while their value changes.
TEST_F(ValueAccessTest, HandlersReplacedAndAccessorsDestroyedWhileNotificationsArriveAreSafe) {
    tvsim::setLogThreshold(tvsim::kLevelNone);
    auto second = std::make_shared<RecordingHandler>();
    IntegerAccess access(kInteger, handler);
    ASSERT_EQ(access.connect(1000), 0);
    std::atomic<bool> done{false};
    std::thread replacer([&] {
        for (int round = 0; !done; ++round) {
            access.setNewValueHandler(round % 3 == 0 ? second : round % 3 == 1 ? nullptr : handler);
        }
    });
    for (int value = 1; value <= 5000; ++value) {
        sim.setInteger(kInteger, value);
    }
    for (int round = 0; round < 200; ++round) {
        IntegerAccess passing(kInteger, std::make_shared<RecordingHandler>());
        ASSERT_EQ(passing.connect(1000), 0);
    }
    sim.flush();
    done = true;
    replacer.join();

    for (const std::vector<std::string>& seen : {handler->log.take(), second->log.take()}) {
        for (size_t index = 1; index < seen.size(); ++index) {  // increasing: in order, none twice
            EXPECT_LT(std::stoi(seen[index - 1].substr(2)), std::stoi(seen[index].substr(2)));
        }
    }
    EXPECT_EQ(sim.connectedObservers(kInteger), 1);
}

}  // namespace
}  // namespace velmora::system::access
