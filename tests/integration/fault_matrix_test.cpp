// The fault matrix: every fault the simulated platform can inject, driven
// through the library's public API. This is the one home of these faults; the
// unit suites test the behaviour around them. Each row puts one fault in
// place, makes one call under it and checks (a) the call's answer, (b) the
// exact log lines (format text, level, file, function and message; no other
// error line), the counted connect sleeps and the lines on standard output,
// then (c) takes the fault away and checks that the next operation works again.
// docs/reliability.md lists the same rows with what each one guarantees.
#include <system_access/action_access.h>
#include <system_access/iterator_access.h>
#include <system_access/source_switch_access.h>
#include <system_access/value_access.h>

#include <base/singleton.h>
#include <tvsim/source_switch.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "log_lines.h"
#include "sim_fixture.h"

namespace velmora::system::access {
namespace {

using testsupport::kWordAlways;
using testsupport::kWordError;
using testsupport::kWordInfo;
using testsupport::SleepCounter;
using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;
using StringAccess = ValueAccessT<lomodelapi::ObserverString>;

constexpr char kInteger[] = "fm.i32.volume";
constexpr char kString[] = "fm.str.channel-name";
constexpr char kAction[] = "fm.action.tune";
constexpr char kTable[] = "fm.table.channels";
constexpr char kSwitch[] = "orvik.sl2.action.source.switch";
constexpr char kBase[] = "value_access_base.cpp";
constexpr char kActionFile[] = "action_access.cpp";
constexpr char kIteratorFile[] = "iterator_access.cpp";
constexpr char kSwitchFile[] = "source_switch_access.cpp";
constexpr unsigned int kUntouchedId = 0xABCD;

// One expected log line. `format` is the message part of the statement's format
// ("Failed %d"); `message` the text it must produce, where "{id}" stands for
// the action id of the row's request.
struct Line {
    const char* file;
    const char* function;
    const char* format;
    std::string message;
    std::uint32_t level;
    int count = 1;
};

class FaultMatrix;
using Step = std::function<void(FaultMatrix&)>;
using Call = std::function<long long(FaultMatrix&)>;  // an int status, or a bool as 0/1

struct FaultRow {
    const char* name;
    Step inject;
    Call act;
    long long answer;
    int sleeps;                 // counted connect sleeps during the call
    int refusedReferenceLines;  // "get interface Reference failed." on standard output
    std::vector<Line> lines;
    Step verify;  // further checks right after the call; may be empty
    Step heal;    // takes the fault away; empty for faults that wear off by themselves
    Call next;
    long long recovered;
};

class FaultMatrix : public testsupport::SimTest, public ::testing::WithParamInterface<FaultRow> {
public:
    void SetUp() override {
        sim.addInteger(kInteger, 7);
        sim.addString(kString, "News One");
        sim.addTable(kTable, {"name"}, {{"News One"}, {"Sport Two"}});
        sim.addAction(kAction, std::ref(actionReplies));
        sim.addAction(kSwitch, std::ref(switchReplies));
        ASSERT_EQ(0, string.connect(0));
        ASSERT_EQ(0, action.connect(0));
        iterator = makeIterator();
        service.reset(base::DefaultSingletonTraits<SourceSwitchAccess>::New());
        sim.clearRecords();
        capture.clear();
        SleepCounter::reset();
    }

    void TearDown() override { iterator->destroy(); }

    static std::unique_ptr<IteratorAccess> makeIterator() {
        return std::make_unique<IteratorAccess>(kTable, nullptr, lomodelapi::ITERATOR_TYPE_SNAPSHOT,
                                                std::vector<lomodelapi::TableSelection>{}, std::vector<int>{0},
                                                std::vector<lomodelapi::TableOrder>{});
    }

    unsigned int lastActionId() const {
        const std::vector<tvsim::InvokeRecord> invokes = sim.invokes();
        return invokes.empty() ? 0 : invokes.back().actionId;
    }

    std::string pattern(const Line& line) const {
        const std::string message =
            std::regex_replace(line.message, std::regex(R"(\{id\})"), std::to_string(lastActionId()));
        return testsupport::logLine(line.file, line.function, message);
    }

    int count(const Line& line) const {
        const std::string format = std::string("[%s] %s:%d:%s(): ") + line.format + "\n";
        const std::regex expected(pattern(line));
        int matching = 0;
        for (const tvsim::CapturedLine& captured : capture.lines()) {
            matching += captured.format == format && captured.levelWord == line.level &&
                        std::regex_match(captured.text, expected);
        }
        return matching;
    }

    tvsim::SourceSwitchResponder tv;
    testsupport::ScriptedReplies actionReplies{
        [](unsigned int, const std::vector<lomodelapi::Argument>&) { return tvsim::Reply::withResults({}); }};
    testsupport::ScriptedReplies switchReplies{std::ref(tv)};
    IntegerAccess integer{kInteger};
    StringAccess string{kString};
    std::shared_ptr<testsupport::RecordingActionHandler> handler =
        std::make_shared<testsupport::RecordingActionHandler>();
    ActionAccess action{kAction, handler};
    std::unique_ptr<IteratorAccess> iterator;
    std::unique_ptr<SourceSwitchAccess> service;
    std::string readText = "untouched";  // output of string reads
    int readNumber = -1;                 // output of integer reads
    unsigned int invokedId = kUntouchedId;
};

TEST_P(FaultMatrix, AnswersLogsAndRecovers) {
    const FaultRow& row = GetParam();
    row.inject(*this);

    testing::internal::CaptureStdout();
    EXPECT_EQ(row.answer, row.act(*this));
    std::fflush(stdout);
    const std::string printed = testing::internal::GetCapturedStdout();
    sim.flush();  // outcomes still queued (duplicates, late copies) reach the library before the checks

    EXPECT_EQ(std::vector<unsigned>(row.sleeps, 100000u), SleepCounter::durations());
    std::string refusals;
    for (int line = 0; line < row.refusedReferenceLines; ++line) {
        refusals += "get interface Reference failed.\n";
    }
    EXPECT_EQ(refusals, printed);
    int errorLines = 0;  // expected; no other error line may appear
    for (const Line& line : row.lines) {
        EXPECT_EQ(line.count, count(line)) << line.function << ": " << line.message;
        errorLines += line.level == kWordError ? line.count : 0;
    }
    EXPECT_EQ(errorLines, testsupport::countLines(capture, ".*\n", kWordError))
        << testing::PrintToString(capture.texts());
    if (row.verify) {
        row.verify(*this);
    }

    if (row.heal) {
        row.heal(*this);
    }
    EXPECT_EQ(row.recovered, row.next(*this));
}

const std::vector<lomodelapi::Argument> kArguments{{0, 0, 0, "go"}};

// The calls the rows share.
long long pauseAV(FaultMatrix& m) {
    return m.service->pauseAV();
}
long long readInteger(FaultMatrix& m) {
    const int status = m.integer.getValue(m.readNumber);
    EXPECT_EQ(status == 0 ? 7 : -1, m.readNumber);  // written only by a successful read
    return status;
}
long long readString(FaultMatrix& m) {
    const int status = m.string.getValue(m.readText);
    EXPECT_EQ(status == 0 ? "News One" : "untouched", m.readText);
    return status;
}
long long createIterator(FaultMatrix& m) {
    const int status = m.iterator->create();
    EXPECT_EQ(status == 0, m.iterator->getIterator() != nullptr);
    return status;
}
long long invokeAction(FaultMatrix& m) {
    const int status = m.action.invoke(m.invokedId, kArguments);
    m.sim.flush();
    const std::vector<testsupport::RecordingActionHandler::Outcome> outcomes = m.handler->outcomes();
    EXPECT_EQ(status == 0 ? 1u : 0u, outcomes.size());
    EXPECT_EQ(status == 0 ? m.lastActionId() : kUntouchedId, m.invokedId);
    return status;
}

// The lines several rows expect.
Line connectFailed(const std::string& status) {
    return {kBase, "connect", "Failed %d", "Failed " + status, kWordError};
}
Line onDemandConnectFailed(const char* path) {
    return {kBase, "tryConnectIfNeeded", "BizValue connect failed:'%s', ret: %d",
            std::string("BizValue connect failed:'") + path + "', ret: 5", kWordError};
}
Line typeMismatch(const char* path, const char* observer) {
    return {kBase, "connect", "Observer Type not match for %s,( %d ) vs %s ",
            std::string("Observer Type not match for ") + path + ",( 2 ) vs " + observer + " ", kWordError};
}
Line tableNotConnected(int status) {
    return {kIteratorFile, "create", "Error connect name : %s,  status: %d",
            std::string("Error connect name : ") + kTable + ",  status: " + std::to_string(status), kWordError};
}
Line passLine(const std::string& pass) {
    return {kSwitchFile, "waitForResult", "waiting result ...  %03d   actionid: %d",
            "waiting result ...  " + pass + "   actionid: {id}", kWordAlways};
}
Line waitDone(const std::string& outcome) {
    return {kSwitchFile, "waitForResult", "waiting done. %d  : err : %d", "waiting done. {id}  : err : " + outcome,
            kWordAlways};
}
Line actionFailed(const std::string& error) {
    return {kActionFile, "notifyExecutionError", "Action Failed : %s,  %d,  %d ",
            std::string("Action Failed : ") + kSwitch + ",  {id},  " + error + " ", kWordAlways};
}

// The object is given back at once, to the observer it was handed to.
void givenBack(FaultMatrix& m) {
    ASSERT_EQ(1u, m.sim.disconnects().size());
    EXPECT_EQ(m.sim.connects().at(0).object, m.sim.disconnects()[0].object);
    EXPECT_EQ(m.sim.connects().at(0).observer, m.sim.disconnects()[0].observer);
}

// A success with no results, shaped by the row.
tvsim::Reply success(const std::function<void(tvsim::Reply&)>& shape) {
    tvsim::Reply reply = tvsim::Reply::withResults({});
    shape(reply);
    return reply;
}

// Columns: name; inject; act, its answer, counted sleeps, refused-reference lines on standard output, the lines;
// verify (after the call); heal (empty: the fault wears off by itself); the next operation and its answer.
// clang-format off
const FaultRow kRows[] = {
    // ---- Finding the platform: a missing root interface is a failed attempt with status -1 ----
    {"RefusedInterfaceReference", [](FaultMatrix& m) { m.sim.refuseInterfaceReference(true); },
     [](FaultMatrix& m) -> long long { return m.integer.connect(300); }, STATUS_ERR_CONNECT_FAILED, 3, 3,
     {connectFailed("-1")}, nullptr, [](FaultMatrix& m) { m.sim.refuseInterfaceReference(false); }, readInteger, 0},
    {"EmptyInterfaceReference", [](FaultMatrix& m) { m.sim.emptyInterfaceReference(true); },
     [](FaultMatrix& m) -> long long { return m.integer.connect(200); }, STATUS_ERR_CONNECT_FAILED, 2, 0,
     {connectFailed("-1")}, nullptr, [](FaultMatrix& m) { m.sim.emptyInterfaceReference(false); }, readInteger, 0},
    {"NullRootObject", [](FaultMatrix& m) { m.sim.nullRootObject(true); },
     [](FaultMatrix& m) -> long long { return m.integer.connect(100); }, STATUS_ERR_CONNECT_FAILED, 1, 0,
     {connectFailed("-1")}, nullptr, [](FaultMatrix& m) { m.sim.nullRootObject(false); }, readInteger, 0},
    {"UnknownPath", [](FaultMatrix& m) { m.sim.remove(kInteger); },
     readInteger, STATUS_ERR_CONNECT_FAILED, 10, 0,
     {connectFailed(std::to_string(tvsim::kStatusUnknownPath)), onDemandConnectFailed(kInteger)},
     nullptr, [](FaultMatrix& m) { m.sim.addInteger(kInteger, 7); }, readInteger, 0},
    {"ConnectFailsFewerTimesThanAttempts", [](FaultMatrix& m) { m.sim.failNextConnects(kInteger, 3, 9); },
     readInteger, 0, 3, 0,
     {{kBase, "tryConnectIfNeeded", "BizValue connect successfully:'%s'.",
       std::string("BizValue connect successfully:'") + kInteger + "'.", kWordInfo}},
     nullptr, nullptr, [](FaultMatrix& m) -> long long { return m.integer.setValue(8); }, 0},
    {"ConnectFailsAsOftenAsAttempts", [](FaultMatrix& m) { m.sim.failNextConnects(kInteger, 10, 9); },
     readInteger, STATUS_ERR_CONNECT_FAILED, 10, 0, {connectFailed("9"), onDemandConnectFailed(kInteger)},
     nullptr, nullptr, readInteger, 0},
    {"NullObjectWithStatusZero", [](FaultMatrix& m) { m.sim.nullObjectOnNextConnects(kInteger, 2); },
     [](FaultMatrix& m) -> long long { return m.integer.connect(200); }, STATUS_ERR_CONNECT_FAILED, 2, 0,
     {connectFailed("0")}, nullptr, nullptr, readInteger, 0},
    {"WrongType", [](FaultMatrix& m) { m.sim.reportType(kInteger, lomodelapi::OBJECT_TYPE_STRING); },
     [](FaultMatrix& m) -> long long { return m.integer.connect(1000); }, STATUS_ERR_VALUE_TYPE_MISMATCH, 0, 0,
     {typeMismatch(kInteger, "ObserverNumericInteger")}, givenBack,
     [](FaultMatrix& m) { m.sim.reportType(kInteger, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER); }, readInteger, 0},
    {"PlatformGetterFails", [](FaultMatrix& m) { m.sim.failGetter(kString, 17); }, readString, 17, 0, 0, {},
     nullptr, [](FaultMatrix& m) { m.sim.failGetter(kString, 0); }, readString, 0},

    // ---- Invoking ----
    {"ActionInvokeRefused", [](FaultMatrix& m) { m.sim.refuseNextInvokes(kAction, 1, 33); },
     invokeAction, 33, 0, 0, {}, nullptr, nullptr, invokeAction, 0},
    {"SourceSwitchActionUnconnectable", [](FaultMatrix& m) { m.sim.failNextConnects(kSwitch, 10, 9); },
     [](FaultMatrix& m) -> long long { return m.service->setChannelByUUIDs("c", "f", false); }, false, 10, 0,
     {connectFailed("9"), {kSwitchFile, "connectToValue", "Error connect value : %s,  status: %d",
                           std::string("Error connect value : ") + kSwitch + ",  status: 5", kWordError}},
     [](FaultMatrix& m) {  // nothing sent, and no channel line for a request that was not made
         EXPECT_TRUE(m.sim.invokes().empty());
         EXPECT_EQ(0, testsupport::countLines(m.capture, ".*channelUUID.*\n"));
     },
     nullptr,
     [](FaultMatrix& m) -> long long {  // a fresh accessor connects
         const bool succeeded = m.service->pauseAV();
         EXPECT_EQ(1, m.sim.connectedObservers(kSwitch));
         return succeeded;
     }, true},

    // ---- Outcomes of the source-switch action ----
    {"OutcomeDropped",
     [](FaultMatrix& m) {
         m.switchReplies.push(tvsim::Reply::none());
         m.service->setResultTimeout(5);
     },
     [](FaultMatrix& m) -> long long { return m.service->resumeAV(); }, false, 0, 0,
     {{kSwitchFile, "waitForResult", "waiting timed out after %d ms, actionid: %d",
       "waiting timed out after 5 ms, actionid: {id}", kWordError}},
     nullptr, [](FaultMatrix& m) { m.service->setResultTimeout(0); },
     [](FaultMatrix& m) -> long long {
         // The outcome turns up late: it is discarded, and the next request waits for its own.
         const unsigned int dropped = m.lastActionId();
         m.sim.emitResult(kSwitch, dropped, {});
         m.sim.flush();
         const bool succeeded = m.service->resumeVideo();
         EXPECT_EQ("1", m.sim.invokes().back().arguments.at(3).value);  // the timed-out resumeAV set no flag
         EXPECT_EQ(1, m.count(waitDone("0")));
         m.service->setResultTimeout(1);
         EXPECT_FALSE(m.service->waitForResult(dropped));  // nothing was kept for the late one
         return succeeded;
     }, true},
    {"OutcomeDelayed",
     [](FaultMatrix& m) { m.switchReplies.push(success([](tvsim::Reply& r) { r.delay = std::chrono::milliseconds(3); })); },
     [](FaultMatrix& m) -> long long {
         m.service->setResultTimeout(60000);  // a limit that is not reached changes nothing
         return m.service->pauseAV();
     }, true, 0, 0, {waitDone("0")}, nullptr, nullptr, pauseAV, true},
    {"OutcomeDuplicated", [](FaultMatrix& m) { m.switchReplies.push(success([](tvsim::Reply& r) { r.copies = 2; })); },
     pauseAV, true, 0, 0,
     {waitDone("0"), {kActionFile, "notifyResult", "Action Result: %s,  %d,  %d ",
                      std::string("Action Result: ") + kSwitch + ",  {id},  0 ", kWordInfo, 2}},
     nullptr, nullptr,
     [](FaultMatrix& m) -> long long {
         // The stray copy must not answer the next request, which fails on its own.
         m.switchReplies.push(tvsim::Reply::failure(7));
         const bool succeeded = m.service->pauseAV();
         EXPECT_EQ(1, m.count(waitDone("7")));
         return succeeded;
     }, false},
    {"TwoOutcomesBeforeInvokeReturns",  // the first one stored wins
     [](FaultMatrix& m) {
         m.sim.setResponder(kSwitch, [&m](unsigned int actionId, const std::vector<lomodelapi::Argument>&) {
             m.sim.emitExecutionError(kSwitch, actionId, 12);
             m.sim.emitResult(kSwitch, actionId, {});
             m.sim.flush();
             return tvsim::Reply::none();
         });
     },
     pauseAV, false, 0, 0, {actionFailed("12"), waitDone("12")}, nullptr,
     [](FaultMatrix& m) { m.sim.setResponder(kSwitch, std::ref(m.switchReplies)); }, pauseAV, true},
    {"OutcomeBeforeInvokeReturns",
     [](FaultMatrix& m) { m.switchReplies.push(success([](tvsim::Reply& r) { r.beforeInvokeReturns = true; })); },
     pauseAV, true, 0, 0, {passLine("001"), waitDone("0")},
     [](FaultMatrix& m) { EXPECT_EQ(0, m.count(passLine("002"))); }, nullptr, pauseAV, true},
    {"FailureCodeZero", [](FaultMatrix& m) { m.switchReplies.push(tvsim::Reply::failure(0)); },
     pauseAV, true, 0, 0, {actionFailed("0"), waitDone("0")}, nullptr, nullptr, pauseAV, true},
    {"FailureCodeNonZero", [](FaultMatrix& m) { m.switchReplies.push(tvsim::Reply::failure(-4)); },
     pauseAV, false, 0, 0, {actionFailed("-4"), waitDone("-4")}, nullptr, nullptr, pauseAV, true},

    // ---- Tables and iterators ----
    {"NullIterator", [](FaultMatrix& m) { m.sim.failNextCreateIterators(kTable, 1); },
     [](FaultMatrix& m) -> long long { return m.iterator->create(); }, 0, 0, 0,
     {{kIteratorFile, "create", "Table iterator %p is created.", "Table iterator (nil) is created.", kWordInfo}},
     [](FaultMatrix& m) {
         EXPECT_EQ(nullptr, m.iterator->getIterator());
         EXPECT_EQ(0, m.iterator->destroy());  // nothing to give back
         EXPECT_TRUE(m.sim.destroyIterators().empty());
     }, nullptr,
     [](FaultMatrix& m) -> long long {
         // This accessor keeps its table and refuses a second create(); a new one gets a real iterator.
         EXPECT_EQ(IteratorAccess::STATUS_ERR_ALREADY_CREATED, m.iterator->create());
         m.iterator = FaultMatrix::makeIterator();
         return createIterator(m);
     }, 0},
    {"TableConnectFails", [](FaultMatrix& m) { m.sim.failNextConnects(kTable, 10, 8); },
     createIterator, IteratorAccess::STATUS_ERR_TABLE_CONNECT, 10, 0, {connectFailed("8"), tableNotConnected(5)},
     [](FaultMatrix& m) { EXPECT_TRUE(m.sim.createIterators().empty()); }, nullptr, createIterator, 0},
    {"TableOfWrongType", [](FaultMatrix& m) { m.sim.reportType(kTable, lomodelapi::OBJECT_TYPE_STRING); },
     createIterator, IteratorAccess::STATUS_ERR_TABLE_CONNECT, 0, 0,
     {typeMismatch(kTable, "ObserverTable"), tableNotConnected(6)},
     givenBack, [](FaultMatrix& m) { m.sim.reportType(kTable, lomodelapi::OBJECT_TYPE_TABLE); }, createIterator, 0},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<FaultRow>& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace velmora::system::access
