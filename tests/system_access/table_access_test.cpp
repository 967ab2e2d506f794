// TableAccess through the simulator: the table it hands out and gives back, the
// traced update notification, and the disconnecting destructor. Connect
// failures and objects of another type live in the fault matrix; the
// iterator suite connects tables through it.
#include <system_access/table_access.h>

#include <lomodelapi/model_objects.h>

#include "log_lines.h"
#include "sim_fixture.h"

namespace velmora::system::access {
namespace {

constexpr char kTable[] = "test.table.channels";

class PassiveTableHandler : public TableHandler {};  // its only observable is its own lifetime

using TableAccessTest = testsupport::SimTest;

TEST_F(TableAccessTest, HandsOutTheTableTracesUpdatesAndGivesTheTableBack) {
    sim.addTable(kTable, {"name"}, {{"One"}});
    auto handler = std::make_shared<PassiveTableHandler>();
    ModelObject* table = nullptr;
    {
        const TableAccess never(kTable);
        TableAccess access(kTable, handler);
        ASSERT_EQ(access.connect(1000), 0);
        EXPECT_EQ(sim.connects().at(0).observer, static_cast<lomodelapi::ObserverTable*>(&access));
        table = access.getAccess();
        EXPECT_EQ(static_cast<ModelObject*>(table), sim.connects()[0].object);
        EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_TABLE);

        capture.clear();
        sim.setRows(kTable, {{"Two"}});
        sim.flush();
        testsupport::expectLines(capture, {testsupport::traceIn("table_access.cpp", "notifyUpdate"),
                                           testsupport::traceOut("table_access.cpp", "notifyUpdate")});
        EXPECT_EQ(handler.use_count(), 2);  // stored, never handed anywhere
        EXPECT_EQ(access.setActionResultHandler(nullptr), 0);
        EXPECT_EQ(handler.use_count(), 1);
    }
    // Only the connected accessor gave its table back, on destruction.
    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].object, table);

    TableAccess access(kTable);
    ASSERT_EQ(access.connect(1000), 0);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(access.getAccess(), nullptr);
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NONE);  // the base's connection went too
    EXPECT_EQ(access.disconnect(), 0);                          // without a table: the platform gets null
    EXPECT_EQ(sim.disconnects().at(2).object, nullptr);
}

}  // namespace
}  // namespace velmora::system::access
