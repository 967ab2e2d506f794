// Tables of the simulated platform: iterator creation and destruction, the
// simulator's reading operations, raw iterator events and table updates.
#include "recording_observers.h"

#include <gtest/gtest.h>

namespace {

using simtest::lookUpRoot;

constexpr const char* kTable = "test.channels";

class TableTest : public ::testing::Test {
protected:
    TableTest() {
        m_sim.addTable(kTable, {"uuid", "name"}, {{"u1", "One"}, {"u2", "Two"}, {"u3", "Three"}});
        ModelObject* object = nullptr;
        EXPECT_EQ(0, lookUpRoot()->connect(kTable, &m_tableObserver, object));
        m_table = static_cast<TableObject*>(object);
    }
    // The observers die before the simulator: nothing may stay queued for them.
    ~TableTest() override {
        if (m_iterator != nullptr) {
            m_table->destroyIterator(m_iterator);
        }
        lookUpRoot()->disconnect(kTable, &m_tableObserver, m_table);
    }

    // A fresh iterator whose ready and total count events have been delivered and forgotten.
    tvsim::SimIterator* createReadyIterator() {
        m_iterator = m_table->createIterator(lomodelapi::ITERATOR_TYPE_DEFAULT, &m_observer, {}, {}, {});
        m_sim.flush();
        m_observer.log.clear();
        return tvsim::SimIterator::from(m_iterator);
    }

    std::vector<std::string> deliveredEvents() {
        m_sim.flush();
        return m_observer.log.events();
    }

    tvsim::Simulator m_sim;
    simtest::TableObserver m_tableObserver;
    TableObject* m_table = nullptr;
    simtest::IteratorObserver m_observer;
    TableIteratorObject* m_iterator = nullptr;
};

TEST_F(TableTest, CreateIteratorRecordsItsDescriptionAndReportsReadyThenTotalCount) {
    lomodelapi::TableSelection selection;
    selection.column = 1;
    selection.comparison = 2;
    selection.value = "One";
    lomodelapi::TableOrder order;
    order.column = 0;
    order.direction = 1;

    m_iterator = m_table->createIterator(lomodelapi::ITERATOR_TYPE_LIVE, &m_observer, {selection}, {0, 1}, {order});
    TableIteratorObject* iterator = m_iterator;

    ASSERT_NE(nullptr, iterator);
    EXPECT_NE(nullptr, tvsim::SimIterator::from(iterator));
    auto records = m_sim.createIterators();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(kTable, records[0].path);
    EXPECT_EQ(lomodelapi::ITERATOR_TYPE_LIVE, records[0].type);
    EXPECT_EQ(&m_observer, records[0].observer);
    ASSERT_EQ(1u, records[0].selections.size());
    EXPECT_EQ(2, records[0].selections[0].comparison);
    EXPECT_EQ("One", records[0].selections[0].value);
    EXPECT_EQ((std::vector<int>{0, 1}), records[0].columns);
    ASSERT_EQ(1u, records[0].orders.size());
    EXPECT_EQ(1, records[0].orders[0].direction);
    EXPECT_EQ(iterator, records[0].iterator);
    EXPECT_EQ((std::vector<std::string>{"ready 0", "total 3"}), deliveredEvents());
    EXPECT_EQ(0, m_observer.log.offCallbackThread());
}

TEST_F(TableTest, FailingCreateIteratorAnswersNullAndIsRecorded) {
    m_sim.failNextCreateIterators(kTable, 1);

    EXPECT_EQ(nullptr, m_table->createIterator(lomodelapi::ITERATOR_TYPE_DEFAULT, &m_observer, {}, {}, {}));
    EXPECT_EQ(nullptr, tvsim::SimIterator::from(nullptr));
    EXPECT_TRUE(deliveredEvents().empty());
    m_iterator = m_table->createIterator(lomodelapi::ITERATOR_TYPE_DEFAULT, &m_observer, {}, {}, {});
    EXPECT_NE(nullptr, m_iterator);
    auto records = m_sim.createIterators();
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(nullptr, records[0].iterator);
}

TEST_F(TableTest, ReadingOperationsMoveTheCursorAndReportTheRows) {
    tvsim::SimIterator* iterator = createReadyIterator();
    EXPECT_EQ(3, iterator->rowCount());

    // Step 1: seek, then read one row and the rest as a chunk.
    iterator->seekToRow(1);
    iterator->readRow();
    EXPECT_EQ(2, iterator->cursor());
    iterator->readRows(5);
    EXPECT_EQ(3, iterator->cursor());
    // Step 2: at the end a row is empty; out-of-range seeks leave the cursor.
    iterator->readRow();
    iterator->seekToRow(7);
    // Step 3: content search and commit.
    iterator->seekToContent("Two");
    iterator->seekToContent("Nine");
    iterator->commit();

    const std::vector<std::string> expected{"seek 1",           "cursor 1",  "row u2,Two", "cursor 2",
                                            "chunk [u3,Three]", "row ",      "cursor 3",   "seek -1",
                                            "cursor 3",         "content 1", "content -1", "commit 0"};
    EXPECT_EQ(expected, deliveredEvents());
    EXPECT_EQ(1, iterator->cursor());
}

TEST_F(TableTest, ReadRowsDeliversAChunkOfValidRows) {
    tvsim::SimIterator* iterator = createReadyIterator();
    iterator->readRows(2);
    iterator->readRows(0);
    EXPECT_EQ((std::vector<std::string>{"chunk [u1,One] [u2,Two]", "chunk"}), deliveredEvents());
}

TEST_F(TableTest, RawEventsReachTheObserverAsGiven) {
    tvsim::SimIterator* iterator = createReadyIterator();
    iterator->emitCommit(-3);
    iterator->emitTotalCount(42);
    iterator->emitSeekToRow(9);
    iterator->emitSeekToContent(8);
    iterator->emitCursorPosition(-1);
    iterator->emitReadRow({"a", "b", "c"});
    iterator->emitReadRowChunk({{"x"}, {"y", "z"}});
    iterator->emitIteratorReady(2);
    iterator->emitUpdate(6);

    const std::vector<std::string> expected{"commit -3", "total 42",        "seek 9",  "content 8", "cursor -1",
                                            "row a,b,c", "chunk [x] [y,z]", "ready 2", "update 6"};
    EXPECT_EQ(expected, deliveredEvents());
}

TEST_F(TableTest, SetRowsUpdatesTableAndIteratorObservers) {
    tvsim::SimIterator* iterator = createReadyIterator();
    m_sim.setRows(kTable, {{"u9", "Nine"}});
    EXPECT_EQ(1, iterator->rowCount());
    EXPECT_EQ((std::vector<tvsim::Row>{{"u9", "Nine"}}), m_sim.rows(kTable));
    EXPECT_EQ((std::vector<std::string>{"uuid", "name"}), m_sim.columns(kTable));
    EXPECT_EQ(std::vector<std::string>{"update 1"}, deliveredEvents());
    EXPECT_EQ(std::vector<std::string>{"update 1"}, m_tableObserver.log.events());
}

TEST_F(TableTest, DestroyedIteratorDeliversNothingMore) {
    tvsim::SimIterator* iterator = createReadyIterator();
    simtest::CallbackThreadBlocker blocker(m_sim);

    // Step 1: queue an event behind a held callback thread, then destroy the iterator.
    blocker.block();
    iterator->commit();
    EXPECT_EQ(0, m_table->destroyIterator(m_iterator));
    TableIteratorObject* destroyed = m_iterator;
    m_iterator = nullptr;
    blocker.release();
    // Step 2: later table updates do not reach it either.
    m_sim.setRows(kTable, {});

    EXPECT_TRUE(deliveredEvents().empty());
    EXPECT_EQ(std::vector<TableIteratorObject*>{destroyed}, m_sim.destroyIterators());
    EXPECT_EQ(tvsim::kStatusUnknownObject, m_table->destroyIterator(destroyed));
}

}  // namespace
