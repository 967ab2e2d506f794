// IteratorAccess through the simulator: every state of its life cycle
// (described, table not connected, iterating, iterator destroyed) with the
// platform calls and lines each step makes, the description handed to the
// platform, the nine events reaching their handler operations, and events
// racing with destroy() and with destruction.
#include <system_access/iterator_access.h>

#include <lomodelapi/model_objects.h>
#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <regex>
#include <thread>

#include "log_lines.h"
#include "sleep_counter.h"

// Member-wise equality of the platform's description records, for comparing what the platform received.
namespace lomodelapi {
bool operator==(const TableSelection& left, const TableSelection& right) {
    return left.column == right.column && left.comparison == right.comparison && left.value == right.value;
}
bool operator==(const TableOrder& left, const TableOrder& right) {
    return left.column == right.column && left.direction == right.direction;
}
}  // namespace lomodelapi

namespace velmora::system::access {
namespace {

using testsupport::countLines;
using testsupport::expectLines;
using testsupport::logLine;
using testsupport::traceIn;
using testsupport::traceOut;
using Row = std::vector<std::string>;
using Chunk = std::vector<const Row*>;

constexpr char kTable[] = "test.table.channels";
const std::vector<Row> kRows{{"One", "1"}, {"Two", "2"}, {"Three", "3"}};

struct Description {
    lomodelapi::IteratorType type = lomodelapi::ITERATOR_TYPE_SNAPSHOT;
    std::vector<lomodelapi::TableSelection> selections{{1, 2, "One"}, {-7, 65536, "two words"}};
    std::vector<int> columns{1, 0};
    std::vector<lomodelapi::TableOrder> orders{{0, 1}, {1, -1}};
};

std::string cells(const Row& row) {
    std::string text;
    for (const std::string& cell : row) {
        text += (text.empty() ? "" : "|") + cell;
    }
    return text;
}

std::string pointerText(const void* pointer) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%p", pointer);
    return buffer;
}

// The destructor's entry and exit lines, at the trace level, both naming the guard's line, and nothing else.
void expectDestructorTraceLines(const tvsim::DebugCapture& capture) {
    expectLines(capture, {traceIn("iterator_access.cpp", "~IteratorAccess"),
                          traceOut("iterator_access.cpp", "~IteratorAccess")});
    const std::vector<tvsim::CapturedLine> lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    const std::regex lineNumber(R"(iterator_access\.cpp:(\d+):)");
    std::smatch in, out;
    ASSERT_TRUE(std::regex_search(lines[0].text, in, lineNumber));
    ASSERT_TRUE(std::regex_search(lines[1].text, out, lineNumber));
    EXPECT_EQ(in[1], out[1]);
    EXPECT_EQ(lines[0].levelWord, testsupport::kWordTrace);
    EXPECT_EQ(lines[1].levelWord, testsupport::kWordTrace);
}

// Keeps every event as text, the address of the last row or chunk object, and
// whether all events came on the callback thread.
class RecordingHandler : public IteratorHandler {
public:
    void onCommit(int status) override { record("onCommit", status); }
    void onTotalCount(int count) override { record("onTotalCount", count); }
    void onSeekToRow(int row) override { record("onSeekToRow", row); }
    void onSeekToContent(int row) override { record("onSeekToContent", row); }
    void onCursorPosition(int row) override { record("onCursorPosition", row); }
    void onReadRow(const Row& row) override { record("onReadRow(" + cells(row) + ")", &row); }
    void onReadRowChunk(const Chunk& rows) override {
        std::string text;
        for (const Row* row : rows) {
            text += "[" + cells(*row) + "]";
        }
        record("onReadRowChunk(" + text + ")", &rows);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lastChunk = rows;
    }
    void onIteratorReady(int status) override { record("onIteratorReady", status); }
    void onUpdate(int change) override { record("onUpdate", change); }

    std::vector<std::string> events() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    int count() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int>(m_events.size());
    }
    const void* lastObject() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastObject;
    }
    Chunk lastChunk() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastChunk;
    }
    bool allOnCallbackThread() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_allOnCallbackThread;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.clear();
        m_allOnCallbackThread = true;
    }
    void waitForEvents(int count) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_arrived.wait(lock, [&] { return static_cast<int>(m_events.size()) >= count; });
    }

private:
    void record(const char* operation, int value) {
        record(std::string(operation) + "(" + std::to_string(value) + ")");
    }
    void record(std::string event, const void* object = nullptr) {
        const bool onCallbackThread = tvsim::Simulator::current()->onCallbackThread();
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(std::move(event));
        m_lastObject = object;
        m_allOnCallbackThread = m_allOnCallbackThread && onCallbackThread;
        m_arrived.notify_all();
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::vector<std::string> m_events;
    const void* m_lastObject = nullptr;
    Chunk m_lastChunk;
    bool m_allOnCallbackThread = true;
};

class IteratorAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::SleepCounter::reset();
        sim.addTable(kTable, {"name", "number"}, kRows);
    }

    std::unique_ptr<IteratorAccess> makeAccess(std::shared_ptr<IteratorHandler> withHandler,
                                               const Description& description = Description()) {
        return std::make_unique<IteratorAccess>(kTable, std::move(withHandler), description.type,
                                                description.selections, description.columns, description.orders);
    }

    static lomodelapi::ObserverTableIterator* asObserver(IteratorAccess& access) { return &access; }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
    std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

// ---- Described ----

TEST_F(IteratorAccessTest, DescribedAccessorCallsNothingAndItsDestructionOnlyTraces) {
    auto access = makeAccess(handler);

    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(access->destroy(), 0);
    access.reset();

    expectDestructorTraceLines(capture);
    EXPECT_TRUE(sim.connects().empty());
    EXPECT_TRUE(sim.disconnects().empty());
    EXPECT_TRUE(sim.createIterators().empty());
    EXPECT_TRUE(sim.destroyIterators().empty());
}

// ---- Table not connected ----

TEST_F(IteratorAccessTest, CreateThatCannotConnectTheTableAnswersFourAfterTenCountedAttempts) {
    sim.failNextConnects(kTable, 10, 7);
    auto access = makeAccess(handler);

    EXPECT_EQ(access->create(), IteratorAccess::STATUS_ERR_TABLE_CONNECT);
    EXPECT_EQ(IteratorAccess::STATUS_ERR_TABLE_CONNECT, 4);

    const std::vector<tvsim::ConnectRecord> connects = sim.connects();
    ASSERT_EQ(connects.size(), 10u);
    for (const tvsim::ConnectRecord& attempt : connects) {
        EXPECT_EQ(attempt.path, kTable);
        EXPECT_EQ(attempt.status, 7);
    }
    EXPECT_EQ(testsupport::SleepCounter::durations(), std::vector<unsigned>(10, 100000));
    expectLines(capture, {logLine("value_access_base.cpp", "connect", "Failed 7"),
                          logLine("iterator_access.cpp", "create",
                                  std::string("Error connect name : ") + kTable + ",  status: 5")});
    EXPECT_EQ(capture.lines()[1].levelWord, testsupport::kWordError);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_TRUE(sim.createIterators().empty());

    EXPECT_EQ(access->destroy(), 0);
    EXPECT_TRUE(sim.destroyIterators().empty());

    // Its table access is held though not connected: destruction disconnects it, with no object.
    capture.clear();
    access.reset();
    expectDestructorTraceLines(capture);
    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].path, kTable);
    EXPECT_EQ(disconnects[0].object, nullptr);
    EXPECT_TRUE(sim.destroyIterators().empty());
}

TEST_F(IteratorAccessTest, CreateMayBeRepeatedAfterItFailed) {
    sim.failNextConnects(kTable, 10, 7);
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), IteratorAccess::STATUS_ERR_TABLE_CONNECT);

    EXPECT_EQ(access->create(), 0);

    EXPECT_NE(access->getIterator(), nullptr);
    EXPECT_EQ(sim.connects().size(), 11u);
    ASSERT_EQ(sim.createIterators().size(), 1u);
    EXPECT_TRUE(sim.disconnects().empty());  // the table access that failed was never connected

    access->destroy();
    access.reset();
    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].object, sim.connects().back().object);
}

// ---- Iterating ----

TEST_F(IteratorAccessTest, CreateHandsTheDescriptionCopiedAtConstructionToThePlatform) {
    Description description;
    auto access = makeAccess(handler, description);
    // The accessor copied the description: later changes of the caller's lists do not reach the platform.
    const Description original = description;
    description.selections[0].value = "changed";
    description.columns.push_back(99);
    description.orders.clear();

    ASSERT_EQ(access->create(), 0);

    ASSERT_EQ(sim.connects().size(), 1u);
    EXPECT_EQ(sim.connects()[0].status, 0);
    const std::vector<tvsim::CreateIteratorRecord> created = sim.createIterators();
    ASSERT_EQ(created.size(), 1u);
    EXPECT_EQ(created[0].path, kTable);
    EXPECT_EQ(created[0].type, original.type);
    EXPECT_EQ(created[0].observer, asObserver(*access));
    EXPECT_EQ(created[0].selections, original.selections);
    EXPECT_EQ(created[0].columns, original.columns);
    EXPECT_EQ(created[0].orders, original.orders);

    ASSERT_NE(access->getIterator(), nullptr);
    EXPECT_EQ(access->getIterator(), created[0].iterator);
    EXPECT_NE(tvsim::SimIterator::from(access->getIterator()), nullptr);
    expectLines(capture, {logLine("iterator_access.cpp", "create",
                                  "Table iterator " + pointerText(access->getIterator()) + " is created.")});
    EXPECT_EQ(capture.lines()[0].levelWord, testsupport::kWordInfo);

    // The new iterator's first events reach the handler.
    sim.flush();
    EXPECT_EQ(handler->events(), (std::vector<std::string>{"onIteratorReady(0)", "onTotalCount(3)"}));
    access->destroy();
}

TEST_F(IteratorAccessTest, SecondCreateIsRefusedAndTheFirstIteratorStays) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    TableIteratorObject* first = access->getIterator();
    capture.clear();

    EXPECT_EQ(access->create(), IteratorAccess::STATUS_ERR_ALREADY_CREATED);
    EXPECT_EQ(IteratorAccess::STATUS_ERR_ALREADY_CREATED, -1);

    EXPECT_EQ(access->getIterator(), first);
    EXPECT_EQ(sim.connects().size(), 1u);
    EXPECT_EQ(sim.createIterators().size(), 1u);
    EXPECT_TRUE(sim.disconnects().empty());
    EXPECT_TRUE(capture.texts().empty());

    // With the iterator destroyed the table is still held: still refused.
    access->destroy();
    EXPECT_EQ(access->create(), IteratorAccess::STATUS_ERR_ALREADY_CREATED);
    EXPECT_EQ(sim.createIterators().size(), 1u);
}

TEST_F(IteratorAccessTest, NullIteratorFromThePlatformIsKeptAndPrinted) {
    sim.failNextCreateIterators(kTable, 1);
    auto access = makeAccess(handler);

    EXPECT_EQ(access->create(), 0);

    EXPECT_EQ(access->getIterator(), nullptr);
    ASSERT_EQ(sim.createIterators().size(), 1u);
    EXPECT_EQ(sim.createIterators()[0].iterator, nullptr);
    expectLines(capture,
                {logLine("iterator_access.cpp", "create", "Table iterator " + pointerText(nullptr) + " is created.")});
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_TRUE(sim.destroyIterators().empty());
}

// ---- Iterator destroyed ----

TEST_F(IteratorAccessTest, DestroyGivesTheIteratorBackOnceAndKeepsTheTable) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    TableIteratorObject* iterator = access->getIterator();

    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(sim.destroyIterators(), std::vector<TableIteratorObject*>{iterator});

    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(sim.destroyIterators().size(), 1u);
    EXPECT_TRUE(sim.disconnects().empty());
    EXPECT_EQ(sim.connectedObservers(kTable), 1);
}

TEST_F(IteratorAccessTest, DestructionAfterDestroyDisconnectsTheTableOnce) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    access->destroy();
    const tvsim::ConnectRecord connected = sim.connects()[0];
    capture.clear();

    access.reset();

    expectDestructorTraceLines(capture);
    const std::vector<tvsim::DisconnectRecord> disconnects = sim.disconnects();
    ASSERT_EQ(disconnects.size(), 1u);
    EXPECT_EQ(disconnects[0].path, kTable);
    EXPECT_EQ(disconnects[0].observer, connected.observer);
    EXPECT_EQ(disconnects[0].object, connected.object);
    EXPECT_EQ(sim.connectedObservers(kTable), 0);
    EXPECT_EQ(sim.destroyIterators().size(), 1u);
}

// ---- The accessor's own connection ----

TEST_F(IteratorAccessTest, ConnectAndDisconnectAnswerZeroAndCallNothing) {
    auto access = makeAccess(handler);
    EXPECT_EQ(access->connect(500), 0);
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_TRUE(sim.connects().empty());
    EXPECT_TRUE(sim.disconnects().empty());

    ASSERT_EQ(access->create(), 0);
    TableIteratorObject* iterator = access->getIterator();
    EXPECT_EQ(access->connect(500), 0);
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(sim.connects().size(), 1u);
    EXPECT_TRUE(sim.disconnects().empty());
    EXPECT_EQ(access->getIterator(), iterator);
    access->destroy();
}

TEST_F(IteratorAccessTest, ValueOperationsAnswerConnectFailedAndLeaveOutputsAlone) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    const size_t connectsAfterCreate = sim.connects().size();
    capture.clear();

    int integer = 17;
    long long int64 = 18;
    std::string text = "kept";
    std::vector<int> integers{1};
    std::vector<std::string> texts{"kept"};
    EXPECT_EQ(access->getValue(integer), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->getValue(int64), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->getValue(text), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->getValue(integers), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->getValue(texts), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->setValue(1), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->setValue(2LL), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->setValue(std::string("x")), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->setValue(std::vector<int>{3}), STATUS_ERR_CONNECT_FAILED);
    EXPECT_EQ(access->setValue(std::vector<std::string>{"y"}), STATUS_ERR_CONNECT_FAILED);

    EXPECT_EQ(integer, 17);
    EXPECT_EQ(int64, 18);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(integers, std::vector<int>{1});
    EXPECT_EQ(texts, std::vector<std::string>{"kept"});
    EXPECT_EQ(sim.connects().size(), connectsAfterCreate);
    EXPECT_EQ(sim.setterCalls(kTable), 0);
    EXPECT_EQ(countLines(capture,
                         logLine("value_access_base.cpp", "tryConnectIfNeeded",
                                 std::string("BizValue connect failed:'") + kTable + "', ret: 5"),
                         testsupport::kWordError),
              10);
    EXPECT_EQ(testsupport::SleepCounter::count(), 0);
    access->destroy();
}

// ---- Events ----

const Row kRowA{"a", "b", "c"};
const Row kRowB{"d", "e"};

struct EventCase {
    const char* name;
    void (*notify)(IteratorAccess&);    // the platform's call, made directly
    void (*emit)(tvsim::SimIterator&);  // the same event raised by the simulator
    const char* expected;
};

const EventCase kEventCases[] = {
    {"Commit", [](IteratorAccess& a) { a.notifyCommit(7); }, [](tvsim::SimIterator& i) { i.emitCommit(7); },
     "onCommit(7)"},
    {"TotalCount", [](IteratorAccess& a) { a.notifyTotalCount(42); },
     [](tvsim::SimIterator& i) { i.emitTotalCount(42); }, "onTotalCount(42)"},
    {"SeekToRow", [](IteratorAccess& a) { a.notifySeekToRow(3); }, [](tvsim::SimIterator& i) { i.emitSeekToRow(3); },
     "onSeekToRow(3)"},
    {"SeekToContent", [](IteratorAccess& a) { a.notifySeekToContent(-1); },
     [](tvsim::SimIterator& i) { i.emitSeekToContent(-1); }, "onSeekToContent(-1)"},
    {"CursorPosition", [](IteratorAccess& a) { a.notifyCursorPosition(2); },
     [](tvsim::SimIterator& i) { i.emitCursorPosition(2); }, "onCursorPosition(2)"},
    {"ReadRow", [](IteratorAccess& a) { a.notifyReadRow(kRowA); }, [](tvsim::SimIterator& i) { i.emitReadRow(kRowA); },
     "onReadRow(a|b|c)"},
    {"ReadRowChunk",
     [](IteratorAccess& a) {
         a.notifyReadRowChunk(Chunk{&kRowA, &kRowB});
     },
     [](tvsim::SimIterator& i) {
         i.emitReadRowChunk({kRowA, kRowB});
     },
     "onReadRowChunk([a|b|c][d|e])"},
    {"IteratorReady", [](IteratorAccess& a) { a.notifyIteratorReady(5); },
     [](tvsim::SimIterator& i) { i.emitIteratorReady(5); }, "onIteratorReady(5)"},
    {"Update", [](IteratorAccess& a) { a.notifyUpdate(9); }, [](tvsim::SimIterator& i) { i.emitUpdate(9); },
     "onUpdate(9)"},
};

class IteratorEventTest : public IteratorAccessTest, public ::testing::WithParamInterface<EventCase> {};

TEST_P(IteratorEventTest, NotificationReachesItsOwnHandlerOperation) {
    auto access = makeAccess(handler);

    GetParam().notify(*access);

    EXPECT_EQ(handler->events(), std::vector<std::string>{GetParam().expected});
    EXPECT_TRUE(capture.texts().empty());  // events log nothing
}

TEST_P(IteratorEventTest, PlatformEventReachesItsHandlerOperationOnTheCallbackThread) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    sim.flush();
    handler->clear();

    GetParam().emit(*tvsim::SimIterator::from(access->getIterator()));
    sim.flush();

    EXPECT_EQ(handler->events(), std::vector<std::string>{GetParam().expected});
    EXPECT_TRUE(handler->allOnCallbackThread());
    access->destroy();
}

TEST_P(IteratorEventTest, NotificationWithoutHandlerDoesNothing) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);

    GetParam().notify(*access);

    EXPECT_TRUE(handler->events().empty());
}

INSTANTIATE_TEST_SUITE_P(NineEvents, IteratorEventTest, ::testing::ValuesIn(kEventCases),
                         [](const ::testing::TestParamInfo<EventCase>& event) { return event.param.name; });

TEST_F(IteratorAccessTest, RowAndChunkArriveAsTheSameObjects) {
    auto access = makeAccess(handler);
    const Row row{"x", "y", "z"};
    const Chunk chunk{&kRowA, &row};

    access->notifyReadRow(row);
    EXPECT_EQ(handler->lastObject(), &row);

    access->notifyReadRowChunk(chunk);
    EXPECT_EQ(handler->lastObject(), &chunk);
    EXPECT_EQ(handler->lastChunk(), chunk);  // the same row objects, by address
}

TEST_F(IteratorAccessTest, AccessorWithoutHandlerStartsDeliveringOnceOneIsSet) {
    auto access = makeAccess(nullptr);
    for (const EventCase& event : kEventCases) {
        event.notify(*access);
    }

    ASSERT_EQ(access->setActionResultHandler(handler), 0);
    access->notifyTotalCount(42);

    EXPECT_EQ(handler->events(), std::vector<std::string>{"onTotalCount(42)"});
}

TEST_F(IteratorAccessTest, HandlerReplacedBeforeCreateReceivesTheIteratorsEvents) {
    auto replacement = std::make_shared<RecordingHandler>();
    auto access = makeAccess(handler);
    ASSERT_EQ(access->setActionResultHandler(replacement), 0);

    ASSERT_EQ(access->create(), 0);
    tvsim::SimIterator::from(access->getIterator())->readRow();
    sim.flush();

    EXPECT_TRUE(handler->events().empty());
    EXPECT_EQ(replacement->events(), (std::vector<std::string>{"onIteratorReady(0)", "onTotalCount(3)",
                                                               "onReadRow(One|1)", "onCursorPosition(1)"}));
    EXPECT_TRUE(replacement->allOnCallbackThread());
    access->destroy();
}

// ---- Races (meaningful under ASan and TSan) ----

// Raises events through the simulator's iterator until told to stop. The
// iterator object belongs to the simulator and dies in destroyIterator, so
// stopping and destroying happen under one lock.
class EventPump {
public:
    explicit EventPump(tvsim::SimIterator& iterator)
        : m_thread([this, &iterator] {
              for (int round = 0; round < 100000; ++round) {
                  std::lock_guard<std::mutex> lock(m_mutex);
                  if (m_stopped) {
                      return;
                  }
                  iterator.emitReadRow(kRowA);
                  iterator.emitReadRowChunk({kRowA, kRowB});
                  iterator.emitTotalCount(round);
              }
          }) {}

    ~EventPump() { m_thread.join(); }

    // Runs `last` with the pump stopped for good.
    void stopWith(const std::function<void()>& last) {
        std::lock_guard<std::mutex> lock(m_mutex);
        last();
        m_stopped = true;
    }

private:
    std::mutex m_mutex;
    bool m_stopped = false;
    std::thread m_thread;
};

TEST_F(IteratorAccessTest, NoEventArrivesOnceDestroyHasReturned) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    {
        EventPump pump(*tvsim::SimIterator::from(access->getIterator()));
        handler->waitForEvents(300);

        pump.stopWith([&] { access->destroy(); });
        const int delivered = handler->count();
        sim.flush();
        EXPECT_EQ(handler->count(), delivered);
    }
    access.reset();
    EXPECT_EQ(sim.destroyIterators().size(), 1u);
}

TEST_F(IteratorAccessTest, AccessorDestroyedWhileTableUpdatesAndHandlerChangesRace) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    std::atomic<bool> stop{false};
    // Table updates reach both the private table accessor and the iterator's handler.
    std::thread updater([&] {
        while (!stop.load()) {
            sim.setRows(kTable, kRows);
        }
    });
    {
        EventPump pump(*tvsim::SimIterator::from(access->getIterator()));
        handler->waitForEvents(100);
        for (int round = 0; round < 200; ++round) {
            access->setActionResultHandler(round % 2 == 0 ? nullptr : handler);
        }
        access->setActionResultHandler(handler);
        pump.stopWith([&] { access->destroy(); });
    }
    access.reset();  // the table is disconnected while updates keep coming
    const int delivered = handler->count();
    stop = true;
    updater.join();
    sim.flush();

    EXPECT_EQ(handler->count(), delivered);
    EXPECT_EQ(sim.connectedObservers(kTable), 0);
}

// A page torn down without destroy(): the destructor destroys the iterator
// with one error line before it disconnects the table, so the row changes
// that follow reach nothing (before, they reached the freed accessor).
TEST_F(IteratorAccessTest, DestructionWhileIteratingDestroysTheIteratorFirstWithAnErrorLine) {
    auto access = makeAccess(handler);
    ASSERT_EQ(access->create(), 0);
    TableIteratorObject* iterator = access->getIterator();
    ModelObject* table = sim.connects()[0].object;
    sim.flush();
    const int delivered = handler->count();
    capture.clear();

    access.reset();
    sim.setRows(kTable, kRows);
    sim.flush();

    expectLines(capture, {traceIn("iterator_access.cpp", "~IteratorAccess"),
                          logLine("iterator_access.cpp", "~IteratorAccess",
                                  "Table iterator " + pointerText(iterator) + " was not destroyed by its owner."),
                          traceOut("iterator_access.cpp", "~IteratorAccess")});
    EXPECT_EQ(capture.lines()[1].levelWord, testsupport::kWordError);
    EXPECT_EQ(sim.destroyIterators(), std::vector<TableIteratorObject*>{iterator});
    ASSERT_EQ(sim.disconnects().size(), 1u);
    EXPECT_EQ(sim.disconnects()[0].object, table);
    EXPECT_EQ(handler->count(), delivered);
}

}  // namespace
}  // namespace velmora::system::access
