// The value access base through the simulator: the connect loop and its
// time-out table, the time-out stored for on-demand connection, and the typed
// reads and writes with their type checks and lines. Platform faults while
// connecting (missing root interface, unknown path, null object, wrong type)
// live in the fault matrix.
#include <system_access/value_access.h>

#include <climits>
#include <functional>
#include <memory>
#include <tuple>

#include "log_lines.h"
#include "sim_fixture.h"
#include "value_accessors.h"

namespace velmora::system::access {
namespace {

using namespace testsupport::accessors;
using testsupport::SleepCounter;

constexpr char kBase[] = "value_access_base.cpp";

class ValueAccessBaseTest : public testsupport::SimTest {
protected:
    void SetUp() override {
        sim.addInteger(kInteger, 7);
        sim.addInt64(kInt64, 1LL << 40);
        sim.addString(kString, "News 24");
        sim.addIntegerVector(kIntegerVector, {1, 2, 3});
        sim.addStringVector(kStringVector, {"eng", "fra"});
    }

    int errors(const std::string& function, const std::string& message) const {
        return testsupport::countLines(capture, testsupport::logLine(kBase, function, message),
                                       testsupport::kWordError);
    }
};

// The time-out counts 100 ms per pause; every failed attempt made while time remained is followed by one.
struct TimeoutRow {
    int timeoutMs;
    int failures;  // connects the platform fails before one succeeds
    int answer;
    int attempts;
    int sleeps;
};

class ConnectTimeoutTest : public ValueAccessBaseTest, public ::testing::WithParamInterface<TimeoutRow> {};

TEST_P(ConnectTimeoutTest, AttemptsAndCountedSleepsFollowTheTimeOut) {
    const TimeoutRow row = GetParam();
    sim.failNextConnects(kInteger, row.failures, 7);
    IntegerAccess access(kInteger);

    EXPECT_EQ(access.connect(row.timeoutMs), row.answer);

    EXPECT_EQ(sim.connects().size(), static_cast<size_t>(row.attempts));
    EXPECT_EQ(SleepCounter::durations(), std::vector<unsigned>(row.sleeps, 100000u));
    EXPECT_EQ(errors("connect", "Failed 7"), row.answer == 0 ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(TimeoutTable, ConnectTimeoutTest,
                         ::testing::Values(TimeoutRow{0, 1000, 5, 1, 0}, TimeoutRow{-50, 1000, 5, 1, 0},
                                           TimeoutRow{1, 1000, 5, 1, 1}, TimeoutRow{100, 1000, 5, 1, 1},
                                           TimeoutRow{101, 1000, 5, 2, 2}, TimeoutRow{250, 1000, 5, 3, 3},
                                           TimeoutRow{1000, 1000, 5, 10, 10}, TimeoutRow{0, 0, 0, 1, 0},
                                           TimeoutRow{1000, 3, 0, 4, 3}, TimeoutRow{1000, 9, 0, 10, 9}));

TEST_F(ValueAccessBaseTest, MissingRootInterfaceIsLookedUpAgainOnTheNextAttempt) {
    sim.nullRootObject(true);
    SleepCounter::onSleep([this] { sim.nullRootObject(false); });
    IntegerAccess access(kInteger);

    EXPECT_EQ(access.connect(1000), 0);
    EXPECT_EQ(SleepCounter::count(), 1);
    EXPECT_EQ(sim.connects().size(), 1u);
}

TEST_F(ValueAccessBaseTest, ConnectStoresTheTimeOutThatOnDemandConnectionUses) {
    IntegerAccess access(kInteger);
    EXPECT_STREQ(ValueAccessBase::accessTypeName(access.getType()), "OBJECT_TYPE_NONE");  // does not connect
    EXPECT_EQ(errors("getType", "Unknown Type since value is not connected  : test.i32.volume."), 1);
    ASSERT_EQ(access.connect(1000), 0);
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER);
    EXPECT_EQ(access.connect(500), 0);  // connected: only the time-out is stored
    EXPECT_EQ(sim.connects().size(), 1u);

    access.disconnect();
    sim.failNextConnects(kInteger, 1000, 2);
    int out = 5;
    EXPECT_EQ(access.getValue(out), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(sim.connects().size(), 6u);  // 500 ms: five attempts

    EXPECT_EQ(access.connect(0), STATUS_ERR_CONNECT_FAILED);
    sim.clearRecords();
    SleepCounter::reset();
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(access.getValue(out), STATUS_ERR_CONNECT_FAILED);
    }
    EXPECT_EQ(sim.connects().size(), 3u);
    EXPECT_EQ(SleepCounter::count(), 0);
    EXPECT_EQ(out, 5);

    // Setters are traced even when they fail.
    capture.clear();
    EXPECT_EQ(access.setValue(1), STATUS_ERR_CONNECT_FAILED);
    EXPECT_TRUE(testsupport::inOrder(
        capture, {testsupport::traceIn(kBase, "setValue"), testsupport::logLine(kBase, "connect", "Failed 2"),
                  testsupport::traceOut(kBase, "setValue")}));
}

// Every getter against every object type: the accessor matches the object, so
// it connects; the getter accepts only its own type and otherwise leaves every output.
struct Outputs {
    std::string text = "untouched";
    int integer = -99;
    long long int64 = -99;
    std::vector<std::string> texts{"untouched"};
    std::vector<int> integers{-99};

    std::string dump() const {
        std::string all = text + "|" + std::to_string(integer) + "|" + std::to_string(int64) + "|";
        for (const std::string& each : texts) {
            all += each + ",";
        }
        for (int each : integers) {
            all += "|" + std::to_string(each);
        }
        return all;
    }
};

TEST_F(ValueAccessBaseTest, EveryGetterReadsOnlyItsOwnTypeAndLeavesTheOutputOtherwise) {
    const std::function<int(ValueAccessBase&, Outputs&)> getters[] = {
        [](ValueAccessBase& a, Outputs& o) { return a.getValue(o.text); },
        [](ValueAccessBase& a, Outputs& o) { return a.getValue(o.integer); },
        [](ValueAccessBase& a, Outputs& o) { return a.getValue(o.int64); },
        [](ValueAccessBase& a, Outputs& o) { return a.getValue(o.texts); },
        [](ValueAccessBase& a, Outputs& o) { return a.getValue(o.integers); }};
    StringAccess text(kString);
    IntegerAccess integer(kInteger);
    Int64Access int64(kInt64);
    StringVectorAccess texts(kStringVector);
    IntegerVectorAccess integers(kIntegerVector);
    const std::tuple<ValueAccessBase*, const char*, const char*> types[] = {
        {&text, "STRING", "News 24|-99|-99|untouched,|-99"},
        {&integer, "NUMERIC_INTEGER", "untouched|7|-99|untouched,|-99"},
        {&int64, "NUMERIC_INT64", "untouched|-99|1099511627776|untouched,|-99"},
        {&texts, "VECTOR_STRING", "untouched|-99|-99|eng,fra,|-99"},
        {&integers, "VECTOR_NUMERIC_INTEGER", "untouched|-99|-99|untouched,|1|2|3"}};
    for (size_t type = 0; type < std::size(types); ++type) {
        const auto [access, typeName, read] = types[type];
        for (size_t getter = 0; getter < std::size(getters); ++getter) {
            Outputs out;
            EXPECT_EQ(getters[getter](*access, out), getter == type ? 0 : STATUS_ERR_VALUE_TYPE_MISMATCH);
            EXPECT_EQ(out.dump(), getter == type ? read : Outputs().dump()) << typeName << " getter " << getter;
        }
        EXPECT_EQ(errors("getValue", std::string("Object Type mismatch:  OBJECT_TYPE_") + typeName), 4);
    }
}

TEST_F(ValueAccessBaseTest, IntegerSettersWriteIntegerAndInt64ObjectsOnly) {
    Int64Access int64(kInt64);
    EXPECT_EQ(int64.setValue(-12), 0);  // widened with its sign
    EXPECT_EQ(sim.int64(kInt64), -12LL);
    EXPECT_EQ(int64.setValue(1LL << 50), 0);
    EXPECT_EQ(sim.int64(kInt64), 1LL << 50);

    StringAccess text(kString);
    EXPECT_EQ(text.setValue(1), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(text.setValue(1LL), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(errors("setValue", "STATUS_ERR_VALUE_TYPE_MISMATCH"), 2);
    EXPECT_EQ(sim.string(kString), "News 24");

    // 64-bit values must fit an integer object.
    IntegerAccess integer(kInteger);
    EXPECT_EQ(integer.setValue(-12), 0);
    EXPECT_EQ(sim.integer(kInteger), -12);
    const std::pair<long long, int> table[] = {
        {2147483647LL, 0}, {-2147483648LL, 0}, {2147483648LL, 6}, {-2147483649LL, 6}, {LLONG_MIN, 6}};
    for (const auto& [value, status] : table) {
        sim.setInteger(kInteger, 1);
        EXPECT_EQ(integer.setValue(value), status) << value;
        EXPECT_EQ(sim.integer(kInteger), status == 0 ? value : 1);
        EXPECT_EQ(errors("setValue", "Value is too large for int32 value:  [" + std::to_string(value) + "] "),
                  status == 0 ? 0 : 1);
    }
}

TEST_F(ValueAccessBaseTest, StringAndVectorSettersCheckTheTypeAndHandOverIndexMaps) {
    EXPECT_EQ(StringAccess(kString).setValue(std::string("Arte")), 0);
    EXPECT_EQ(sim.string(kString), "Arte");

    IntegerVectorAccess integers(kIntegerVector);
    EXPECT_EQ(integers.setValue(std::vector<int>{7, 8, 9}), 0);
    EXPECT_EQ(sim.lastIntegerMap(kIntegerVector), (std::map<int, int>{{0, 7}, {1, 8}, {2, 9}}));
    EXPECT_EQ(integers.setValue(std::vector<int>{}), 0);
    EXPECT_TRUE(sim.lastIntegerMap(kIntegerVector).empty());
    EXPECT_EQ(sim.setterCalls(kIntegerVector), 2);

    StringVectorAccess texts(kStringVector);
    EXPECT_EQ(texts.setValue(std::vector<std::string>{"deu", "", "ita"}), 0);
    EXPECT_EQ(sim.lastStringMap(kStringVector), (std::map<int, std::string>{{0, "deu"}, {1, ""}, {2, "ita"}}));

    EXPECT_EQ(texts.setValue(std::string("x")), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(texts.setValue(std::vector<int>{1}), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(integers.setValue(std::vector<std::string>{"a"}), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(errors("setValue", "Object Type mismatch:  OBJECT_TYPE_VECTOR_STRING"), 2);
    EXPECT_EQ(errors("setValue", "Object Type mismatch:  OBJECT_TYPE_VECTOR_NUMERIC_INTEGER"), 1);
    EXPECT_EQ(sim.setterCalls(kStringVector), 1);
}

}  // namespace
}  // namespace velmora::system::access
