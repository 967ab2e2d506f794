// IteratorAccess through the simulator: one scenario walks the life cycle
// (described, iterating, refused second create, iterator destroyed, destroyed
// accessor) with the platform calls and lines of each step; the nine events
// reach their handler operations.
// Platform faults (table not connectable or of another type, null iterator)
// live in the fault matrix.
#include <system_access/iterator_access.h>

#include <lomodelapi/model_objects.h>

#include <atomic>
#include <cstdio>

#include "event_log.h"
#include "log_lines.h"
#include "sim_fixture.h"

namespace velmora::system::access {
namespace {

using testsupport::expectLines;
using testsupport::logLine;
using Row = std::vector<std::string>;
using Chunk = std::vector<const Row*>;

constexpr char kTable[] = "test.table.channels";
constexpr char kFile[] = "iterator_access.cpp";
const Row kRowA{"a", "b"};

// Keeps every event as "operation(argument)" with rows as their first cells, and the
// address of the last row or chunk.
struct RecordingHandler : IteratorHandler {
    void onCommit(int status) override { log.add("onCommit(" + std::to_string(status) + ")"); }
    void onTotalCount(int count) override { log.add("onTotalCount(" + std::to_string(count) + ")"); }
    void onSeekToRow(int row) override { log.add("onSeekToRow(" + std::to_string(row) + ")"); }
    void onSeekToContent(int row) override { log.add("onSeekToContent(" + std::to_string(row) + ")"); }
    void onCursorPosition(int row) override { log.add("onCursorPosition(" + std::to_string(row) + ")"); }
    void onReadRow(const Row& row) override {
        lastObject = &row;
        log.add("onReadRow(" + row.at(0) + ")");
    }
    void onReadRowChunk(const Chunk& rows) override {
        lastObject = &rows;
        log.add("onReadRowChunk(" + rows.back()->at(0) + ")");
    }
    void onIteratorReady(int status) override { log.add("onIteratorReady(" + std::to_string(status) + ")"); }
    void onUpdate(int change) override { log.add("onUpdate(" + std::to_string(change) + ")"); }

    testsupport::EventLog log;
    std::atomic<const void*> lastObject{nullptr};
};

class IteratorAccessTest : public testsupport::SimTest {
protected:
    void SetUp() override { sim.addTable(kTable, {"name", "number"}, {{"One", "1"}, {"Two", "2"}, {"Three", "3"}}); }

    std::unique_ptr<IteratorAccess> makeAccess(std::shared_ptr<IteratorHandler> withHandler) {
        return std::make_unique<IteratorAccess>(kTable, std::move(withHandler), lomodelapi::ITERATOR_TYPE_SNAPSHOT,
                                                selections, columns, orders);
    }

    // The destructor writes its entry and exit lines, both naming the guard's line, and nothing else.
    void expectDestructorTraceLines() {
        expectLines(capture,
                    {testsupport::traceIn(kFile, "~IteratorAccess"), testsupport::traceOut(kFile, "~IteratorAccess")});
        const std::vector<tvsim::CapturedLine> lines = capture.lines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].text.substr(lines[0].text.find(']')), lines[1].text.substr(lines[1].text.find(']')));
        EXPECT_EQ(lines[1].levelWord, testsupport::kWordTrace);
    }

    std::vector<lomodelapi::TableSelection> selections{{1, 2, "One"}, {-7, 65536, "two words"}};
    std::vector<int> columns{1, 0};
    std::vector<lomodelapi::TableOrder> orders{{0, 1}, {1, -1}};
    std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

TEST_F(IteratorAccessTest, LifeCycleFromDescriptionToDestruction) {
    // Described: connect, disconnect and destroy answer 0 and call nothing.
    auto access = makeAccess(handler);
    const lomodelapi::TableSelection firstSelection = selections[0];
    selections[0].value = "changed";  // the accessor copied the description
    columns.push_back(99);
    orders.clear();
    EXPECT_EQ(access->connect(500) + access->disconnect() + access->destroy(), 0);
    EXPECT_TRUE(sim.connects().empty() && sim.disconnects().empty());

    // Iterating: the table is connected once and the copied description handed over.
    ASSERT_EQ(access->create(), 0);
    ASSERT_EQ(sim.connects().size(), 1u);
    const tvsim::CreateIteratorRecord created = sim.createIterators().at(0);
    EXPECT_EQ(created.observer, static_cast<lomodelapi::ObserverTableIterator*>(access.get()));
    EXPECT_EQ(created.selections.at(0).value, firstSelection.value);
    EXPECT_EQ(created.selections.at(1).comparison, 65536);
    EXPECT_EQ(created.columns, (std::vector<int>{1, 0}));
    ASSERT_EQ(created.orders.size(), 2u);
    EXPECT_EQ(created.orders[1].direction, -1);
    TableIteratorObject* iterator = access->getIterator();
    ASSERT_NE(iterator, nullptr);
    EXPECT_EQ(iterator, created.iterator);
    char pointer[32];
    std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(iterator));
    expectLines(capture, {logLine(kFile, "create", std::string("Table iterator ") + pointer + " is created.")});
    EXPECT_EQ(capture.lines()[0].levelWord, testsupport::kWordInfo);
    sim.flush();
    EXPECT_EQ(handler->log.take(), (std::vector<std::string>{"onIteratorReady(0)", "onTotalCount(3)"}));

    // Value operations answer "connect failed" and leave their outputs alone.
    int integer = 17;
    EXPECT_EQ(access->getValue(integer), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->setValue(std::vector<std::string>{"y"}), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(integer, 17);

    // A second create is refused silently and the first iterator stays; connect and disconnect still do nothing.
    capture.clear();
    EXPECT_EQ(access->create(), IteratorAccess::STATUS_ERR_ALREADY_CREATED);
    EXPECT_EQ(access->connect(500) + access->disconnect(), 0);
    EXPECT_EQ(access->getIterator(), iterator);
    EXPECT_EQ(sim.connects().size() + sim.createIterators().size() + sim.disconnects().size(), 2u);
    EXPECT_TRUE(capture.texts().empty());

    // Iterator destroyed: given back once; the table is kept, so create is still refused.
    EXPECT_EQ(access->destroy() + access->destroy(), 0);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(sim.destroyIterators(), std::vector<TableIteratorObject*>{iterator});
    EXPECT_EQ(access->create(), IteratorAccess::STATUS_ERR_ALREADY_CREATED);
    EXPECT_EQ(sim.connectedObservers(kTable), 1);

    // Destruction disconnects the table once.
    capture.clear();
    access.reset();
    expectDestructorTraceLines();
    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].object, sim.connects()[0].object);
}

TEST_F(IteratorAccessTest, DestructionOnlyTracesUnlessATableWasAskedForAndDestroysALeftIterator) {
    makeAccess(handler).reset();
    expectDestructorTraceLines();
    EXPECT_TRUE(sim.disconnects().empty());

    // Destroyed while iterating (a page torn down without destroy()): the iterator
    // goes first, with one error line, then the table; later row changes reach nothing.
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    TableIteratorObject* iterator = access->getIterator();
    sim.flush();
    handler->log.take();
    capture.clear();
    access.reset();
    sim.setRows(kTable, {});
    sim.flush();
    char pointer[32];
    std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(iterator));
    expectLines(capture, {testsupport::traceIn(kFile, "~IteratorAccess"),
                          logLine(kFile, "~IteratorAccess",
                                  std::string("Table iterator ") + pointer + " was not destroyed by its owner."),
                          testsupport::traceOut(kFile, "~IteratorAccess")});
    EXPECT_EQ(capture.lines().at(1).levelWord, testsupport::kWordError);
    EXPECT_EQ(sim.destroyIterators(), std::vector<TableIteratorObject*>{iterator});
    EXPECT_EQ(sim.disconnects().at(0).object, sim.connects()[0].object);
    EXPECT_TRUE(handler->log.take().empty());

    // A create that failed may be repeated; the table it could not connect is disconnected without object.
    sim.failNextConnects(kTable, 10, 7);
    access = makeAccess(handler);
    ASSERT_EQ(access->create(), IteratorAccess::STATUS_ERR_TABLE_CONNECT);
    makeAccess(handler).swap(access);
    EXPECT_EQ(access->create(), 0);
    access->destroy();
    EXPECT_EQ(sim.disconnects().at(1).object, nullptr);
}

TEST_F(IteratorAccessTest, EachEventReachesItsOwnHandlerOperationOnTheCallbackThreadWhileOneIsSet) {
    auto access = makeAccess(nullptr);
    ASSERT_EQ(access->create(), 0);
    tvsim::SimIterator& events = *tvsim::SimIterator::from(access->getIterator());
    const auto emitAll = [&] {
        events.emitCommit(7);
        events.emitTotalCount(42);
        events.emitSeekToRow(3);
        events.emitSeekToContent(-1);
        events.emitCursorPosition(2);
        events.emitReadRow(kRowA);
        events.emitReadRowChunk(std::vector<Row>{Row{"x"}, kRowA});
        events.emitIteratorReady(5);
        events.emitUpdate(9);
        sim.flush();
    };
    emitAll();
    ASSERT_EQ(access->setActionResultHandler(handler), 0);
    emitAll();
    EXPECT_EQ(handler->log.take(),
              (std::vector<std::string>{"onCommit(7)", "onTotalCount(42)", "onSeekToRow(3)", "onSeekToContent(-1)",
                                        "onCursorPosition(2)", "onReadRow(a)", "onReadRowChunk(a)",
                                        "onIteratorReady(5)", "onUpdate(9)"}));
    EXPECT_EQ(capture.texts().size(), 1u);  // the create line: events log nothing
    access->destroy();

    // Rows and chunks are handed on as the platform's objects.
    const Chunk chunk{&kRowA};
    access->notifyReadRow(kRowA);
    EXPECT_EQ(handler->lastObject, &kRowA);
    access->notifyReadRowChunk(chunk);
    EXPECT_EQ(handler->lastObject, &chunk);
    ASSERT_EQ(access->setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
}

}  // namespace
}  // namespace velmora::system::access
