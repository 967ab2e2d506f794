// Control operations of the simulator that the library never calls: the
// iterator's own reading operations, the registration of the root
// interface and waits on records. Listing and the control API's checks are exercised through sactl.
#include "recording_observers.h"

#include <tvsim/local_tv_control.h>

#include <gtest/gtest.h>

#include <thread>

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

// A wait answers the first record its pattern matches, or why the closest did not match; it wakes when the
// record comes, well before its time-out. A write matches by its value's text; recordsSince answers what came
// after a cursor, skipping what the limit dropped meanwhile.
TEST(ControlOperationsTest, RecordWaitsMatchByPositionAndTellWhyTheClosestDidNot) {
    using Kind = tvsim::ArgumentMatcher::Kind;
    tvsim::Simulator sim;
    sim.addAction("test.action", [](unsigned int, const auto&) { return tvsim::Reply(); });
    tvsim::LocalTvControl control(sim);
    simtest::ActionObserver observer;
    auto* action = connect<ActionObject>("test.action", &observer);
    const auto started = std::chrono::steady_clock::now();
    std::thread client([action] {
        unsigned int id = 0;
        action->invoke(id, {{0, 0, 0, "x"}, {0, 2, 0, "dvb://1.1.5"}});
    });
    const tvsim::RecordPattern awaited{tvsim::RecordPattern::Kind::Invoke, "test.action", {{2, Kind::Regex, "dvb:.*"}}};
    EXPECT_TRUE(control.waitForRecord(awaited, tvsim::RECORD_WAIT_LIMIT).found);
    EXPECT_LT(std::chrono::steady_clock::now() - started, tvsim::RECORD_WAIT_LIMIT / 2);
    client.join();

    const std::vector<std::pair<std::vector<tvsim::ArgumentMatcher>, std::string>> cases = {
        {{{2, Kind::Exact, "dvb://1.1.5"}, {0, Kind::Any, ""}}, ""},
        {{{2, Kind::Exact, "dvb://1.1.4"}}, "position 2: 'dvb://1.1.5' is not 'dvb://1.1.4'"},
        {{{2, Kind::Regex, "dvb://1"}}, "position 2: 'dvb://1.1.5' does not match /dvb://1/"},
        {{{2, Kind::Regex, "[a-z]{3}:/{2}1\\.{1}1.{1}5"}}, ""},  // counts after [...], a character, an escape, a '.'
        {{{3, Kind::Any, ""}}, "no argument at position 3"},
    };
    for (const auto& [matchers, why] : cases) {
        const tvsim::RecordWait wait = control.waitForRecord(
            {tvsim::RecordPattern::Kind::Invoke, "test.action", matchers}, std::chrono::milliseconds(0));
        EXPECT_EQ(why, wait.found ? "" : wait.reasons.at(0)) << why;
        EXPECT_EQ(1u, wait.invokes.size());
    }
    EXPECT_EQ("another path",
              control.findRecord({tvsim::RecordPattern::Kind::Connect, "other.action", {}}).reasons.at(0));
    EXPECT_THROW(control.waitForRecord(awaited, tvsim::RECORD_WAIT_LIMIT + std::chrono::milliseconds(1)),
                 tvsim::ControlError);
    // One that does not compile; a back-reference; counts of counts, whose compiling took over 20 s; too many counts.
    for (const char* refusedExpression : {"(", "(d)\\1", "((a{1,255}){1,255}){1,255}", "a{2}{3}", "a{1,600}b{401}"}) {
        EXPECT_THROW(control.waitForRecord(
                         {tvsim::RecordPattern::Kind::Invoke, "test.action", {{0, Kind::Regex, refusedExpression}}},
                         std::chrono::milliseconds(0)),
                     tvsim::ControlError)
            << refusedExpression;
    }

    const tvsim::RecordCursor cursor = control.recordsSince({}).next;
    sim.addValue("test.volume", 3);
    simtest::IntegerObserver volumeObserver;
    auto* volume = connect<NumericIntegerObject>("test.volume", &volumeObserver);
    volume->setValue(30);
    volume->setValue(31);
    using WriteKind = tvsim::RecordPattern::Kind;
    EXPECT_EQ("value: '31' is not '3'",
              control.findRecord({WriteKind::Write, "test.volume", {{0, Kind::Exact, "3"}}}).reasons.at(0));
    EXPECT_TRUE(control.findRecord({WriteKind::Write, "test.volume", {{0, Kind::Regex, "3[01]"}}}).found);
    sim.limitRecords(1);
    const tvsim::NewRecords since = control.recordsSince(cursor);
    ASSERT_EQ(1u, since.writes.size());
    EXPECT_EQ(tvsim::ModelValue(31), since.writes[0].value);
    EXPECT_EQ(1u, since.writes[0].sequence);
    EXPECT_EQ(1u, since.connects.size());
    EXPECT_TRUE(since.invokes.empty());
    EXPECT_EQ(2u, since.next.writes);
    EXPECT_EQ("[1,2]", tvsim::valueText(std::vector<int>{1, 2}));
    lookUpRoot()->disconnect("test.volume", &volumeObserver, volume);
    lookUpRoot()->disconnect("test.action", &observer, action);
}

}  // namespace
