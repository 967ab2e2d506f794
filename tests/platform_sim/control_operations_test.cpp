// Control operations of the simulator that the library never calls: the
// iterator's own reading operations and the registration of the root
// interface. Listing and the control API's checks are exercised through sactl.
#include "recording_observers.h"

#include <gtest/gtest.h>

namespace {

using simtest::connect;
using simtest::lookUpRoot;

TEST(ControlOperationsTest, IteratorReadsMoveTheCursorAndReportTheRows) {
    tvsim::Simulator sim;
    sim.addTable("test.table", {"uuid", "name"}, {{"u1", "One"}, {"u2", "Two"}, {"u3", "Three"}});
    simtest::IteratorObserver observer;
    auto* table = connect<TableObject>("test.table", &observer);
    TableIteratorObject* object = table->createIterator(lomodelapi::ITERATOR_TYPE_DEFAULT, &observer, {}, {}, {});
    tvsim::SimIterator* iterator = tvsim::SimIterator::from(object);
    EXPECT_EQ(3, iterator->rowCount());

    // Step 1: seek, then read one row and the rest as a chunk; at the end a row is empty.
    iterator->seekToRow(1);
    iterator->readRow();
    EXPECT_EQ(2, iterator->cursor());
    iterator->readRows(5);
    EXPECT_EQ(3, iterator->cursor());
    iterator->readRow();
    // Step 2: out-of-range seeks leave the cursor; content searches; a commit; chunks from the start.
    iterator->seekToRow(7);
    iterator->seekToContent("Two");
    iterator->seekToContent("Nine");
    iterator->commit();
    iterator->seekToRow(0);
    iterator->readRows(2);
    iterator->readRows(0);
    // Step 3: new rows reach the iterator as an update.
    sim.setRows("test.table", {{"u9", "Nine"}});
    EXPECT_EQ(1, iterator->rowCount());
    sim.flush();

    EXPECT_EQ(
        "ready 0; total 3; seek 1; cursor 1; row u2,Two; cursor 2; chunk [u3,Three]; row ; cursor 3; "
        "seek -1; cursor 3; content 1; content -1; commit 0; seek 0; cursor 0; chunk [u1,One] [u2,Two]; "
        "chunk; update 1",
        testsupport::joined(observer.log.take(), "; "));
    EXPECT_EQ((std::vector<tvsim::Row>{{"u9", "Nine"}}), sim.rows("test.table"));
    EXPECT_EQ((std::vector<std::string>{"uuid", "name"}), sim.columns("test.table"));
    table->destroyIterator(object);
    lookUpRoot()->disconnect("test.table", &observer, table);
}

TEST(ControlOperationsTest, RootIsRegisteredWhileASimulatorLivesAndFaultsDoNotOutliveIt) {
    EXPECT_EQ(nullptr, lookUpRoot());
    {
        tvsim::Simulator sim;
        EXPECT_EQ(&sim, tvsim::Simulator::current());
        EXPECT_NE(nullptr, lookUpRoot());
        sim.refuseInterfaceReference(true, 9);
        sim.nullRootObject(true);
        EXPECT_EQ(nullptr, lookUpRoot());
    }
    EXPECT_EQ(nullptr, tvsim::Simulator::current());
    EXPECT_EQ(nullptr, lookUpRoot());
    tvsim::Simulator sim;
    EXPECT_NE(nullptr, lookUpRoot());
}

}  // namespace
