// TableAccess through the simulator: the table object it hands out, the
// connect failures and the refused object of another type, disconnect with and
// without an object, the traced update notification, and the disconnecting
// destructor.
#include <system_access/table_access.h>

#include <lomodelapi/model_objects.h>
#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <regex>

#include "log_lines.h"
#include "sleep_counter.h"

namespace velmora::system::access {
namespace {

using testsupport::countLines;
using testsupport::expectLines;
using testsupport::logLine;
using testsupport::traceIn;
using testsupport::traceOut;

constexpr char kTable[] = "test.table.channels";
constexpr char kString[] = "test.str.channel-name";
constexpr char kMissing[] = "test.table.missing";

lomodelapi::Observer* asObserver(TableAccess& access) {
    return static_cast<lomodelapi::ObserverTable*>(&access);
}

// A handler whose only observable is its own lifetime.
class PassiveTableHandler : public TableHandler {};

class TableAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::SleepCounter::reset();
        sim.addTable(kTable, {"name", "number"}, {{"One", "1"}, {"Two", "2"}});
        sim.addString(kString, "news");
    }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
};

TEST_F(TableAccessTest, NewAccessorsHoldNoTableAndConnectNothing) {
    TableAccess plain(kTable);
    TableAccess withHandler(kTable, std::make_shared<PassiveTableHandler>());

    EXPECT_EQ(plain.getAccess(), nullptr);
    EXPECT_EQ(withHandler.getAccess(), nullptr);
    EXPECT_TRUE(sim.connects().empty());
}

TEST_F(TableAccessTest, ConnectHandsOutTheObjectThePlatformGave) {
    TableAccess access(kTable);

    ASSERT_EQ(access.connect(1000), 0);

    const std::vector<tvsim::ConnectRecord> connects = sim.connects();
    ASSERT_EQ(connects.size(), 1u);
    EXPECT_EQ(connects[0].path, kTable);
    EXPECT_EQ(connects[0].observer, asObserver(access));
    ASSERT_NE(access.getAccess(), nullptr);
    EXPECT_EQ(static_cast<ModelObject*>(access.getAccess()), connects[0].object);
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_TABLE);
    EXPECT_EQ(testsupport::SleepCounter::count(), 0);

    // Already connected: the time-out is stored, nothing else happens.
    EXPECT_EQ(access.connect(500), 0);
    EXPECT_EQ(sim.connects().size(), 1u);
    EXPECT_EQ(static_cast<ModelObject*>(access.getAccess()), connects[0].object);
}

TEST_F(TableAccessTest, ConnectWithoutTimeToUnknownPathTriesOnceWithoutSleeping) {
    TableAccess access(kMissing);

    EXPECT_EQ(access.connect(0), STATUS_ERR_CONNECT_FAILED);

    const std::vector<tvsim::ConnectRecord> connects = sim.connects();
    ASSERT_EQ(connects.size(), 1u);
    EXPECT_EQ(testsupport::SleepCounter::count(), 0);
    expectLines(capture, {logLine("value_access_base.cpp", "connect", "Failed " + std::to_string(connects[0].status))});
    EXPECT_EQ(capture.lines()[0].levelWord, testsupport::kWordError);
    EXPECT_EQ(access.getAccess(), nullptr);
}

TEST_F(TableAccessTest, ObjectOfAnotherTypeIsGivenBackAndRefused) {
    TableAccess access(kString);

    EXPECT_EQ(access.connect(1000), STATUS_ERR_VALUE_TYPE_MISMATCH);

    const std::vector<tvsim::ConnectRecord> connects = sim.connects();
    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(connects.size(), 1u);
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].path, kString);
    EXPECT_EQ(disconnects[0].observer, asObserver(access));
    EXPECT_EQ(disconnects[0].object, connects[0].object);
    expectLines(capture, {logLine("value_access_base.cpp", "connect",
                                  std::string("Observer Type not match for ") + kString + ",( 2 ) vs ObserverTable ")});
    EXPECT_EQ(capture.lines()[0].levelWord, testsupport::kWordError);
    EXPECT_EQ(access.getAccess(), nullptr);
}

TEST_F(TableAccessTest, DisconnectGivesTheTableBackAndForgetsIt) {
    TableAccess access(kTable);
    ASSERT_EQ(access.connect(1000), 0);
    ModelObject* table = access.getAccess();

    EXPECT_EQ(access.disconnect(), 0);

    EXPECT_EQ(access.getAccess(), nullptr);
    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].path, kTable);
    EXPECT_EQ(disconnects[0].observer, asObserver(access));
    EXPECT_EQ(disconnects[0].object, table);
    EXPECT_EQ(sim.connectedObservers(kTable), 0);

    // The base's connection went too: the type is unknown again.
    capture.clear();
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NONE);
    EXPECT_EQ(countLines(capture, logLine("value_access_base.cpp", "getType",
                                          std::string("Unknown Type since value is not connected  : ") + kTable + ".")),
              1);
}

TEST_F(TableAccessTest, DisconnectWithoutTableStillCallsThePlatformWithNullObject) {
    TableAccess access(kTable);

    EXPECT_EQ(access.disconnect(), 0);

    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].path, kTable);
    EXPECT_EQ(disconnects[0].observer, asObserver(access));
    EXPECT_EQ(disconnects[0].object, nullptr);
}

TEST_F(TableAccessTest, UpdateNotificationWritesItsTraceLinesOnly) {
    auto handler = std::make_shared<PassiveTableHandler>();
    TableAccess access(kTable, handler);
    ASSERT_EQ(access.connect(1000), 0);
    capture.clear();

    access.notifyUpdate(3);

    expectLines(capture, {traceIn("table_access.cpp", "notifyUpdate"), traceOut("table_access.cpp", "notifyUpdate")});
    const std::vector<tvsim::CapturedLine> lines = capture.lines();
    const std::regex lineNumber(R"(table_access\.cpp:(\d+):)");
    std::smatch in, out;
    ASSERT_TRUE(std::regex_search(lines[0].text, in, lineNumber));
    ASSERT_TRUE(std::regex_search(lines[1].text, out, lineNumber));
    EXPECT_EQ(in[1], out[1]);
    EXPECT_EQ(lines[0].levelWord, testsupport::kWordTrace);
    EXPECT_EQ(lines[1].levelWord, testsupport::kWordTrace);
    EXPECT_EQ(handler.use_count(), 2);  // stored, never handed anywhere

    // The same two lines when the platform notifies a change of the rows.
    capture.clear();
    sim.setRows(kTable, {{"Three", "3"}});
    sim.flush();
    expectLines(capture, {traceIn("table_access.cpp", "notifyUpdate"), traceOut("table_access.cpp", "notifyUpdate")});
}

TEST_F(TableAccessTest, ReplacingTheHandlerReleasesTheOldOne) {
    auto handler = std::make_shared<PassiveTableHandler>();
    TableAccess access(kTable, handler);
    ASSERT_EQ(handler.use_count(), 2);

    EXPECT_EQ(access.setActionResultHandler(nullptr), 0);

    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(TableAccessTest, DestructorDisconnectsOnlyAConnectedAccessor) {
    ModelObject* table = nullptr;
    {
        TableAccess never(kTable);
        TableAccess connected(kTable);
        ASSERT_EQ(connected.connect(1000), 0);
        table = connected.getAccess();
    }

    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].path, kTable);
    EXPECT_EQ(disconnects[0].object, table);
    EXPECT_EQ(sim.connectedObservers(kTable), 0);
}

}  // namespace
}  // namespace velmora::system::access
