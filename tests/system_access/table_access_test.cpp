// TableAccess through the simulator: the table object it hands out and gives
// back, the traced update notification, and the disconnecting destructor.
// Connect failures and objects of another type live in the fault matrix.
#include <system_access/table_access.h>

#include <lomodelapi/model_objects.h>

#include "log_lines.h"
#include "sim_fixture.h"

namespace velmora::system::access {
namespace {

constexpr char kTable[] = "test.table.channels";

// A handler whose only observable is its own lifetime.
class PassiveTableHandler : public TableHandler {};

class TableAccessTest : public testsupport::SimTest {
protected:
    void SetUp() override { sim.addTable(kTable, {"name", "number"}, {{"One", "1"}, {"Two", "2"}}); }
};

TEST_F(TableAccessTest, ConnectHandsOutTheTableAndDisconnectGivesItBack) {
    TableAccess access(kTable);
    EXPECT_EQ(access.getAccess(), nullptr);
    EXPECT_TRUE(sim.connects().empty());

    ASSERT_EQ(access.connect(1000), 0);
    ASSERT_EQ(sim.connects().size(), 1u);
    const tvsim::ConnectRecord connected = sim.connects()[0];
    EXPECT_EQ(connected.observer, static_cast<lomodelapi::ObserverTable*>(&access));
    EXPECT_EQ(static_cast<ModelObject*>(access.getAccess()), connected.object);
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_TABLE);

    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(access.getAccess(), nullptr);
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NONE);  // the base's connection went too
    EXPECT_EQ(access.disconnect(), 0);                          // without a table: the platform gets null
    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 2u);
    EXPECT_EQ(disconnects[0].observer, connected.observer);
    EXPECT_EQ(disconnects[0].object, connected.object);
    EXPECT_EQ(disconnects[1].object, nullptr);
}

TEST_F(TableAccessTest, UpdateNotificationWritesItsTraceLinesOnlyAndKeepsTheHandler) {
    auto handler = std::make_shared<PassiveTableHandler>();
    TableAccess access(kTable, handler);
    ASSERT_EQ(access.connect(1000), 0);
    capture.clear();

    sim.setRows(kTable, {{"Three", "3"}});
    sim.flush();

    testsupport::expectLines(capture, {testsupport::traceIn("table_access.cpp", "notifyUpdate"),
                                       testsupport::traceOut("table_access.cpp", "notifyUpdate")});
    EXPECT_EQ(handler.use_count(), 2);  // stored, never handed anywhere
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

    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].object, table);
    EXPECT_EQ(sim.connectedObservers(kTable), 0);
}

}  // namespace
}  // namespace velmora::system::access
