// The value access base through the simulator: root interface lookup, the
// shared connect loop and its time-out table, on-demand connection, and the
// typed reads and writes with their type checks and lines.
#include <system_access/value_access.h>

#include <lomodelapi/model_objects.h>
#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>

#include "log_lines.h"
#include "sleep_counter.h"
#include "value_accessors.h"

namespace velmora::system::access {
namespace {

using namespace testsupport::accessors;
using testsupport::countLines;
using testsupport::kWordError;
using testsupport::kWordInfo;
using testsupport::logLine;
using testsupport::SleepCounter;

constexpr char kBase[] = "value_access_base.cpp";

class ValueAccessBaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        SleepCounter::reset();
        sim.addInteger(kInteger, 7);
        sim.addInt64(kInt64, 1LL << 40);
        sim.addString(kString, "News 24");
        sim.addIntegerVector(kIntegerVector, {1, 2, 3});
        sim.addStringVector(kStringVector, {"eng", "fra"});
    }

    int connectAttempts(const std::string& path) const {
        int attempts = 0;
        for (const tvsim::ConnectRecord& record : sim.connects()) {
            attempts += record.path == path ? 1 : 0;
        }
        return attempts;
    }

    int log(const std::string& function, const std::string& message, std::uint32_t level = kWordError) const {
        return countLines(capture, logLine(kBase, function, message), level);
    }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
};

TEST_F(ValueAccessBaseTest, AccessTypeNameCoversEveryCodeAndFallsBackToNone) {
    const std::pair<int, const char*> table[] = {
        {0, "OBJECT_TYPE_NONE"},          {1, "OBJECT_TYPE_NUMERIC_INTEGER"},
        {2, "OBJECT_TYPE_STRING"},        {3, "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER"},
        {4, "OBJECT_TYPE_VECTOR_STRING"}, {5, "OBJECT_TYPE_ACTION"},
        {6, "OBJECT_TYPE_TABLE"},         {7, "OBJECT_TYPE_VECTOR_INTEGER"},
        {8, "OBJECT_TYPE_NUMERIC_INT64"}, {9, "OBJECT_TYPE_NONE"},
        {-1, "OBJECT_TYPE_NONE"},
    };
    for (const auto& [code, name] : table) {
        EXPECT_STREQ(ValueAccessBase::accessTypeName(static_cast<lomodelapi::ObjectTypeSpec>(code)), name) << code;
    }
}

TEST_F(ValueAccessBaseTest, RootInterfaceIsLookedUpOnEveryCallAndRefusalsGiveNull) {
    EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr);

    // A refused reference prints its line on standard output, not through the debug service.
    sim.refuseInterfaceReference(true, 3);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "get interface Reference failed.\n");
    EXPECT_EQ(capture.outputCalls(), 0);
    sim.refuseInterfaceReference(false);

    sim.emptyInterfaceReference(true);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    sim.emptyInterfaceReference(false);

    sim.nullRootObject(true);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    sim.nullRootObject(false);

    EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr);
}

struct TimeoutRow {
    int timeoutMs;
    int attempts;
    int sleeps;
};

class ConnectTimeoutTest : public ValueAccessBaseTest, public ::testing::WithParamInterface<TimeoutRow> {};

TEST_P(ConnectTimeoutTest, FailingConnectMakesTheTableCountOfAttemptsAndSleeps) {
    const TimeoutRow row = GetParam();
    sim.failNextConnects(kInteger, 1000, 7);
    IntegerAccess access(kInteger);

    EXPECT_EQ(access.connect(row.timeoutMs), STATUS_ERR_CONNECT_FAILED);

    EXPECT_EQ(connectAttempts(kInteger), row.attempts);
    EXPECT_EQ(SleepCounter::durations(), std::vector<unsigned>(row.sleeps, 100000u));
    EXPECT_EQ(log("connect", "Failed 7"), 1);
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NONE);
}

INSTANTIATE_TEST_SUITE_P(TimeoutTable, ConnectTimeoutTest,
                         ::testing::Values(TimeoutRow{0, 1, 0}, TimeoutRow{-50, 1, 0}, TimeoutRow{1, 1, 1},
                                           TimeoutRow{100, 1, 1}, TimeoutRow{101, 2, 2}, TimeoutRow{250, 3, 3},
                                           TimeoutRow{1000, 10, 10}));

TEST_F(ValueAccessBaseTest, ConnectSucceedingOnAttemptNHasSleptNMinusOneTimes) {
    for (int attempt = 1; attempt <= 10; ++attempt) {
        SleepCounter::reset();
        sim.clearRecords();
        sim.failNextConnects(kInteger, attempt - 1, 4);
        IntegerAccess access(kInteger);
        EXPECT_EQ(access.connect(1000), 0) << attempt;
        EXPECT_EQ(connectAttempts(kInteger), attempt);
        EXPECT_EQ(SleepCounter::count(), attempt - 1);
    }
}

TEST_F(ValueAccessBaseTest, SuccessWithoutAnObjectCountsAsAFailedAttemptReportingStatusZero) {
    sim.nullObjectOnNextConnects(kInteger, 1000);
    IntegerAccess access(kInteger);

    EXPECT_EQ(access.connect(250), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(connectAttempts(kInteger), 3);
    EXPECT_EQ(log("connect", "Failed 0"), 1);
}

TEST_F(ValueAccessBaseTest, MissingRootInterfaceIsAFailedAttemptAndTheNextAttemptLooksAgain) {
    sim.nullRootObject(true);
    SleepCounter::onSleep([this] { sim.nullRootObject(false); });
    IntegerAccess access(kInteger);

    EXPECT_EQ(access.connect(1000), 0);
    EXPECT_EQ(SleepCounter::count(), 1);
    EXPECT_EQ(connectAttempts(kInteger), 1);

    SleepCounter::reset();
    sim.nullRootObject(true);
    IntegerAccess other(kInteger);
    EXPECT_EQ(other.connect(250), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(SleepCounter::count(), 3);
    EXPECT_EQ(log("connect", "Failed -1"), 1);
    sim.nullRootObject(false);
}

TEST_F(ValueAccessBaseTest, WrongObjectTypeIsGivenBackAndRefused) {
    IntegerAccess access(kString);

    EXPECT_EQ(access.connect(1000), STATUS_ERR_VALUE_TYPE_MISMATCH);

    EXPECT_EQ(log("connect", "Observer Type not match for test.str.channel-name,( 2 ) vs ObserverNumericInteger "), 1);
    ASSERT_EQ(sim.connects().size(), 1u);
    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].object, sim.connects()[0].object);
    EXPECT_EQ(sim.disconnects()[0].path, kString);
    EXPECT_EQ(sim.disconnects()[0].observer, static_cast<lomodelapi::Observer*>(&access));
    EXPECT_EQ(SleepCounter::count(), 0);

    // Still unconnected: the next operation repeats the whole connect and fails the same way.
    int out = 42;
    EXPECT_EQ(access.getValue(out), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(out, 42);
    EXPECT_EQ(sim.connects().size(), 2u);
    EXPECT_EQ(log("tryConnectIfNeeded", "BizValue connect failed:'test.str.channel-name', ret: 6"), 1);
}

TEST_F(ValueAccessBaseTest, ConnectOnAConnectedAccessorOnlyStoresTheTimeOut) {
    IntegerAccess access(kInteger);
    ASSERT_EQ(access.connect(1000), 0);

    EXPECT_EQ(access.connect(500), 0);
    EXPECT_EQ(connectAttempts(kInteger), 1);

    // The stored 500 ms show in the next on-demand connection: five attempts.
    access.disconnect();
    sim.failNextConnects(kInteger, 1000, 2);
    int out = 0;
    EXPECT_EQ(access.getValue(out), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(connectAttempts(kInteger), 6);
}

TEST_F(ValueAccessBaseTest, OnDemandConnectionUsesTheStoredTimeOutOnEveryCall) {
    sim.failNextConnects(kInteger, 1000, 2);
    IntegerAccess access(kInteger);
    int out = 5;

    EXPECT_EQ(access.getValue(out), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(connectAttempts(kInteger), 10);
    EXPECT_EQ(log("tryConnectIfNeeded", "BizValue connect failed:'test.volume', ret: 5"), 0);
    EXPECT_EQ(log("tryConnectIfNeeded", "BizValue connect failed:'test.i32.volume', ret: 5"), 1);

    EXPECT_EQ(access.connect(0), STATUS_ERR_CONNECT_FAILED);
    sim.clearRecords();
    SleepCounter::reset();
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(access.getValue(out), STATUS_ERR_CONNECT_FAILED);
    }
    EXPECT_EQ(connectAttempts(kInteger), 3);
    EXPECT_EQ(SleepCounter::count(), 0);
    EXPECT_EQ(out, 5);
}

TEST_F(ValueAccessBaseTest, FirstReadConnectsAndSaysSoOnce) {
    IntegerAccess access(kInteger);
    int out = 0;
    EXPECT_EQ(access.getValue(out), 0);
    EXPECT_EQ(access.getValue(out), 0);
    EXPECT_EQ(out, 7);
    EXPECT_EQ(log("tryConnectIfNeeded", "BizValue connect successfully:'test.i32.volume'.", kWordInfo), 1);
    EXPECT_EQ(connectAttempts(kInteger), 1);
}

TEST_F(ValueAccessBaseTest, GetTypeOfANewAccessorDoesNotConnect) {
    StringAccess access(kString);
    EXPECT_STREQ(ValueAccessBase::accessTypeName(access.getType()), "OBJECT_TYPE_NONE");
    EXPECT_EQ(log("getType", "Unknown Type since value is not connected  : test.str.channel-name."), 1);
    EXPECT_TRUE(sim.connects().empty());
}

// Every getter against every object type: the accessor matches the object, so
// it connects; the getter accepts only its own type.
enum class Getter { String, Integer, Int64, StringVector, IntegerVector };

struct Outputs {
    std::string text = "untouched";
    int integer = -99;
    long long int64 = -99;
    std::vector<std::string> texts{"untouched"};
    std::vector<int> integers{-99};
};

int callGetter(ValueAccessBase& access, Getter getter, Outputs& out) {
    switch (getter) {
        case Getter::String:
            return access.getValue(out.text);
        case Getter::Integer:
            return access.getValue(out.integer);
        case Getter::Int64:
            return access.getValue(out.int64);
        case Getter::StringVector:
            return access.getValue(out.texts);
        case Getter::IntegerVector:
            return access.getValue(out.integers);
    }
    return -1;
}

struct Path {
    const char* path;
    const char* typeName;
    Getter accepted;
    std::function<std::unique_ptr<ValueAccessBase>()> make;
};

std::vector<Path> allPaths() {
    return {
        {kString, "OBJECT_TYPE_STRING", Getter::String, [] { return std::make_unique<StringAccess>(kString); }},
        {kInteger, "OBJECT_TYPE_NUMERIC_INTEGER", Getter::Integer,
         [] { return std::make_unique<IntegerAccess>(kInteger); }},
        {kInt64, "OBJECT_TYPE_NUMERIC_INT64", Getter::Int64, [] { return std::make_unique<Int64Access>(kInt64); }},
        {kStringVector, "OBJECT_TYPE_VECTOR_STRING", Getter::StringVector,
         [] { return std::make_unique<StringVectorAccess>(kStringVector); }},
        {kIntegerVector, "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER", Getter::IntegerVector,
         [] { return std::make_unique<IntegerVectorAccess>(kIntegerVector); }},
    };
}

TEST_F(ValueAccessBaseTest, EveryGetterAcceptsOnlyItsOwnTypeAndLeavesTheOutputOtherwise) {
    const Getter getters[] = {Getter::String, Getter::Integer, Getter::Int64, Getter::StringVector,
                              Getter::IntegerVector};
    for (const Path& path : allPaths()) {
        std::unique_ptr<ValueAccessBase> access = path.make();
        for (Getter getter : getters) {
            capture.clear();
            Outputs out;
            const int status = callGetter(*access, getter, out);
            SCOPED_TRACE(std::string(path.path) + " getter " + std::to_string(static_cast<int>(getter)));
            if (getter == path.accepted) {
                EXPECT_EQ(status, 0);
                EXPECT_EQ(countLines(capture, ".*Object Type mismatch.*\n"), 0);
            } else {
                EXPECT_EQ(status, STATUS_ERR_VALUE_TYPE_MISMATCH);
                EXPECT_EQ(log("getValue", std::string("Object Type mismatch:  ") + path.typeName), 1);
                const Outputs untouched;
                EXPECT_EQ(out.text, untouched.text);
                EXPECT_EQ(out.integer, untouched.integer);
                EXPECT_EQ(out.int64, untouched.int64);
                EXPECT_EQ(out.texts, untouched.texts);
                EXPECT_EQ(out.integers, untouched.integers);
            }
        }
    }
}

TEST_F(ValueAccessBaseTest, GettersReadWhatThePlatformHolds) {
    Outputs out;
    EXPECT_EQ(StringAccess(kString).getValue(out.text), 0);
    EXPECT_EQ(IntegerAccess(kInteger).getValue(out.integer), 0);
    EXPECT_EQ(Int64Access(kInt64).getValue(out.int64), 0);
    EXPECT_EQ(StringVectorAccess(kStringVector).getValue(out.texts), 0);
    EXPECT_EQ(IntegerVectorAccess(kIntegerVector).getValue(out.integers), 0);
    EXPECT_EQ(out.text, "News 24");
    EXPECT_EQ(out.integer, 7);
    EXPECT_EQ(out.int64, 1LL << 40);
    EXPECT_EQ(out.texts, (std::vector<std::string>{"eng", "fra"}));
    EXPECT_EQ(out.integers, (std::vector<int>{1, 2, 3}));
}

TEST_F(ValueAccessBaseTest, AFailingPlatformGetterPassesItsStatusAndLeavesTheOutput) {
    sim.failGetter(kString, 9);
    sim.failGetter(kStringVector, 11);
    Outputs out;
    EXPECT_EQ(StringAccess(kString).getValue(out.text), 9);
    EXPECT_EQ(StringVectorAccess(kStringVector).getValue(out.texts), 11);
    EXPECT_EQ(out.text, "untouched");
    EXPECT_EQ(out.texts, std::vector<std::string>{"untouched"});
    EXPECT_EQ(log("getValue", "Object Type mismatch:  OBJECT_TYPE_STRING"), 0);
}

TEST_F(ValueAccessBaseTest, IntegerSettersWriteIntegerAndInt64ObjectsOnly) {
    IntegerAccess integer(kInteger);
    Int64Access int64(kInt64);
    StringAccess text(kString);

    EXPECT_EQ(integer.setValue(-12), 0);
    EXPECT_EQ(sim.integer(kInteger), -12);
    EXPECT_EQ(int64.setValue(-12), 0);  // widened with its sign
    EXPECT_EQ(sim.int64(kInt64), -12LL);
    EXPECT_EQ(int64.setValue(1LL << 50), 0);
    EXPECT_EQ(sim.int64(kInt64), 1LL << 50);

    capture.clear();
    EXPECT_EQ(text.setValue(1), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(text.setValue(1LL), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(log("setValue", "STATUS_ERR_VALUE_TYPE_MISMATCH"), 2);
    EXPECT_EQ(sim.string(kString), "News 24");
}

TEST_F(ValueAccessBaseTest, SixtyFourBitWritesToAnIntegerObjectAreRangeChecked) {
    IntegerAccess access(kInteger);
    const struct {
        long long value;
        int status;
    } table[] = {{2147483647LL, 0}, {-2147483648LL, 0}, {2147483648LL, 6}, {-2147483649LL, 6}, {LLONG_MIN, 6}};
    for (const auto& row : table) {
        capture.clear();
        sim.setInteger(kInteger, 1);
        const int writesBefore = sim.setterCalls(kInteger);
        EXPECT_EQ(access.setValue(row.value), row.status) << row.value;
        if (row.status == 0) {
            EXPECT_EQ(sim.integer(kInteger), row.value);
        } else {
            EXPECT_EQ(sim.setterCalls(kInteger), writesBefore) << row.value;
            EXPECT_EQ(sim.integer(kInteger), 1);
            EXPECT_EQ(log("setValue", "Value is too large for int32 value:  [" + std::to_string(row.value) + "] "), 1);
        }
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

    capture.clear();
    EXPECT_EQ(texts.setValue(std::string("x")), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(texts.setValue(std::vector<int>{1}), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(integers.setValue(std::vector<std::string>{"a"}), STATUS_ERR_VALUE_TYPE_MISMATCH);
    EXPECT_EQ(log("setValue", "Object Type mismatch:  OBJECT_TYPE_VECTOR_STRING"), 2);
    EXPECT_EQ(log("setValue", "Object Type mismatch:  OBJECT_TYPE_VECTOR_NUMERIC_INTEGER"), 1);
}

TEST_F(ValueAccessBaseTest, SettersAreTracedEvenWhenTheyFail) {
    sim.failNextConnects(kInteger, 1000, 2);
    IntegerAccess access(kInteger);
    ASSERT_EQ(access.connect(0), STATUS_ERR_CONNECT_FAILED);
    capture.clear();

    EXPECT_EQ(access.setValue(1), STATUS_ERR_CONNECT_FAILED);
    EXPECT_TRUE(testsupport::inOrder(
        capture, {testsupport::traceIn(kBase, "setValue"), logLine("value_access_base.cpp", "connect", "Failed 2"),
                  testsupport::traceOut(kBase, "setValue")}));
}

}  // namespace
}  // namespace velmora::system::access
