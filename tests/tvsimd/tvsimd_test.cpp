// tvsimd as its clients see it: a private dbus-daemon and tvsimd run as real
// processes, sd-bus clients call the model's objects, and the controls are
// driven through the proxy the tools use. Each test is one life cycle.
#include "bus_processes.h"

#include <tv_control_proxy.h>
#include <tvsim/input_limits.h>
#include <tvsim/scenario_file.h>
#include <tvsim/scenario_report.h>
#include <value_codec.h>

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace tvsimd_test {
namespace {

using tvsim::ModelValue;
using tvsim::bus::Message;

constexpr const char* kControl = "io.sysaccess.TvSim.Control";
constexpr const char* kResponders = "io.sysaccess.TvSim.Control.Responders";
constexpr const char* kRecords = "io.sysaccess.TvSim.Control.Records";
constexpr const char* kPlatform = "io.sysaccess.TvSim.Platform";
constexpr const char* kAction = "io.sysaccess.TvSim.Action";
constexpr const char* kScenario = "io.sysaccess.TvSim.Scenario";
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kVolumeObject = "/io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume";
constexpr const char* kSwitch = "orvik.sl2.action.source.switch";
constexpr const char* kSwitchObject = "/io/sysaccess/TvSim/model/orvik/sl2/action/source/switch";
constexpr const char* kChannels = "orvik.sl2.table.channels";
constexpr const char* kChannelsObject = "/io/sysaccess/TvSim/model/orvik/sl2/table/channels";

using Clock = std::chrono::steady_clock;

long millisecondsSince(Clock::time_point start) {
    return static_cast<long>(std::chrono::duration_cast<milliseconds>(Clock::now() - start).count());
}

int observersOf(BusClient& client, const char* path) {
    int count = -1;
    const Message reply(client.call(kControlPath, kRecords, "ConnectedObservers", "s", path));
    sd_bus_message_read_basic(reply.get(), 'i', &count);
    return count;
}

class TvsimdTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tvsimd.ready()) << "tvsimd did not print ready"; }

    PrivateDbusDaemon bus;
    Tvsimd tvsimd{bus.address()};
    BusClient control{bus.address()};
    tvsim::bus::TvControlProxy tv{bus.address(), milliseconds(5000)};
};

// Control.Set takes a variant of the value's own type; an integer takes any integer type in range.
TEST_F(TvsimdTest, SetTakesAVariantOfEveryValueType) {
    const auto expectSet = [&](sd_bus_message* answer, const char* path, const ModelValue& expected) {
        SCOPED_TRACE(path);
        const Message reply(answer);
        ASSERT_TRUE(reply) << control.errorMessage();
        EXPECT_EQ(tv.value(path), expected);
    };
    expectSet(control.call(kControlPath, kControl, "Set", "sv", kVolume, "i", 42), kVolume, 42);
    expectSet(control.call(kControlPath, kControl, "Set", "sv", kVolume, "x", int64_t{-7}), kVolume, -7);
    const char* uptime = "orvik.sl2.i64.system.uptime-ms";
    expectSet(control.call(kControlPath, kControl, "Set", "sv", uptime, "x", int64_t{5000000000}), uptime,
              5000000000LL);
    const char* name = "orvik.sl2.str.tvservice.channel-name";
    expectSet(control.call(kControlPath, kControl, "Set", "sv", name, "s", "Sport"), name, std::string("Sport"));
    const char* favourites = "orvik.sl2.vi32.tvservice.favourite-channels";
    expectSet(control.call(kControlPath, kControl, "Set", "sv", favourites, "ai", 3, 1, 2, 3), favourites,
              std::vector<int>{1, 2, 3});
    const char* languages = "orvik.sl2.vstr.audio.languages";
    expectSet(control.call(kControlPath, kControl, "Set", "sv", languages, "as", 2, "eng", "fra"), languages,
              std::vector<std::string>{"eng", "fra"});
}

TEST_F(TvsimdTest, BadInputGetsOneClearErrorAndTheDaemonServesOn) {
    const std::string badModel = ::testing::TempDir() + "tvsimd_bad_model_" + std::to_string(getpid()) + ".json";
    std::ofstream(badModel) << "{\"values\": [";
    struct Case {
        const char* name;
        std::function<sd_bus_message*(BusClient&)> call;
        const char* error;
        const char* message;  // found in the error's message
    };
    const std::vector<Case> cases = {
        {"wrong value type",
         [](BusClient& c) { return c.call(kControlPath, kControl, "Set", "sv", kVolume, "s", "loud"); },
         "io.sysaccess.TvSim.Error.WrongType", "orvik.sl2.i32.audio.volume holds an integer, not a string."},
        {"out of range",
         [](BusClient& c) {
             return c.call(kControlPath, kControl, "Set", "sv", kVolume, "x", static_cast<int64_t>(3000000000));
         },
         "io.sysaccess.TvSim.Error.OutOfRange", "3000000000 is out of the range of a 32-bit integer"},
        {"malformed model file",
         [&](BusClient& c) { return c.call(kControlPath, kControl, "LoadModel", "s", badModel.c_str()); },
         "io.sysaccess.TvSim.Error.BadModelFile", "invalid JSON"},
        {"model text beyond a file's bound",
         [](BusClient& c) {
             return c.call(kControlPath, kControl, "LoadModelText", "ss", "big",
                           std::string((std::size_t{4} << 20) + 1, ' ').c_str());
         },
         "io.sysaccess.TvSim.Error.BadModelFile", "big: it is larger than 4 MiB, the most a model file may hold"},
        {"unknown reply kind",
         [](BusClient& c) {
             return c.call(kControlPath, kResponders, "SetReply", "ssiuiba(nnns)", kSwitch, "maybe", 0, 0u, 1, 0, 0);
         },
         "io.sysaccess.TvSim.Error.InvalidArgument", "results, failure or none"},
        {"connection of nobody",
         [](BusClient& c) {
             return c.call(kVolumeObject, "io.sysaccess.TvSim.Value", "GetValue", "t", static_cast<uint64_t>(99));
         },
         "io.sysaccess.TvSim.Error.UnknownConnection", "is not one this client holds"},
        {"object path that is no escaped model path",
         [](BusClient& c) {
             return c.call("/io/sysaccess/TvSim/model/orvik/_zz", "io.sysaccess.TvSim.Object", "GetType", "t",
                           static_cast<uint64_t>(1));
         },
         "org.freedesktop.DBus.Error.UnknownObject", ""},
        {"position beyond a byte",
         [](BusClient& c) {
             return c.call(kControlPath, kResponders, "EmitResult", "sua(nnns)", kSwitch, 1u, 1, 0, 300, 0, "x");
         },
         "io.sysaccess.TvSim.Error.OutOfRange", "signed byte"},
        {"path beyond the bound",
         [](BusClient& c) { return c.call(kControlPath, kPlatform, "Connect", "s", std::string(2048, 'a').c_str()); },
         "io.sysaccess.TvSim.Error.InvalidArgument", "A model path is at most 1024 bytes; got 2048."},
        {"results times copies beyond the budget",
         [](BusClient& c) {
             return c.call(kControlPath, kResponders, "SetReply", "ssiuiba(nnns)", kSwitch, "results", 0, 0u, 1000, 0,
                           1, 0, 0, 0, std::string(2000, 'r').c_str());
         },
         "io.sysaccess.TvSim.Error.InvalidArgument",
         "Results times copies are at most 1048576 bytes; got 2024 x 1000 = 2024000."},
        {"arguments beyond the bound",
         [](BusClient& c) {
             return c.call(kSwitchObject, kAction, "Invoke", "ta(nnns)", c.connect(kSwitch), 1, 0, 0, 0,
                           std::string(5000, 'x').c_str());
         },
         "io.sysaccess.TvSim.Error.InvalidArgument", "An invoke's arguments are at most 4096 bytes; got 5024."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_FALSE(Message(c.call(control)));
        EXPECT_EQ(control.errorName(), c.error);
        EXPECT_NE(control.errorMessage().find(c.message), std::string::npos) << control.errorMessage();
    }
    // The same file at the start: one line on standard error, exit code 1, nothing on standard output.
    ChildProcess refused({TVSIMD_PATH, "--address", bus.address(), "--model", badModel});
    EXPECT_EQ(refused.readLine(), "");
    EXPECT_EQ(refused.waitForExit(), 1);
    std::remove(badModel.c_str());
    EXPECT_EQ(tv.value(kVolume), ModelValue(12)) << "the daemon stopped serving";
}

// A watcher sees every change in order, its own writes included, and nothing after it disconnected. A wait
// on a client's write answers when the write comes.
TEST_F(TvsimdTest, ChangesReachTheConnectedClientInOrderUntilItDisconnects) {
    BusClient watcher(bus.address());
    const std::uint64_t id = watcher.connect(kVolume);
    ASSERT_NE(id, 0u);
    auto written = std::async(std::launch::async, [&] {
        tvsim::bus::TvControlProxy waiter(bus.address(), milliseconds(5000));
        return waiter.waitForRecord({tvsim::RecordPattern::Kind::Write, kVolume, {}}, milliseconds(20000));
    });
    std::vector<ModelValue> expected;
    for (int value = 1; value <= 50; ++value) {
        tv.setValue(kVolume, value);
        expected.emplace_back(value);
    }
    ASSERT_TRUE(Message(watcher.call(kVolumeObject, "io.sysaccess.TvSim.Value", "SetValue", "tv", id, "i", 77)))
        << watcher.errorMessage();
    expected.emplace_back(77);
    const tvsim::RecordWait wait = written.get();
    ASSERT_EQ(wait.writes.size(), 1u);
    EXPECT_EQ(wait.writes[0].value, ModelValue(77));
    EXPECT_EQ(wait.writes[0].client, watcher.uniqueName() + "#1");
    ASSERT_TRUE(watcher.waitForSignals(51));
    std::vector<ModelValue> seen;
    for (Signal& signal : watcher.signals()) {
        EXPECT_EQ(signal.path, kVolumeObject);
        EXPECT_EQ(signal.member, "Changed");
        std::uint64_t connection = 0;
        sd_bus_message_read_basic(signal.message, 't', &connection);
        EXPECT_EQ(connection, id);
        seen.push_back(tvsim::bus::readAnyValueVariant(signal.message, kVolume));
    }
    EXPECT_EQ(seen, expected);
    // Signals go to the client that connected only.
    control.settle(milliseconds(50));
    EXPECT_TRUE(control.signals().empty());

    ASSERT_TRUE(Message(watcher.call(kControlPath, "io.sysaccess.TvSim.Platform", "Disconnect", "st", kVolume, id)));
    tv.setValue(kVolume, 5);
    watcher.settle(milliseconds(200));
    EXPECT_EQ(watcher.signals().size(), 51u);
}

TEST_F(TvsimdTest, FaultsRespondersAndRecordsActOnRemoteClients) {
    BusClient client(bus.address());
    // Connects fail with the chosen status until the fault is cleared.
    tv.failNextConnects(kSwitch, 2, 7);
    int status = 0;
    EXPECT_EQ(client.connect(kSwitch, &status), 0u);
    EXPECT_EQ(status, 7);
    tv.clearFaults(kSwitch);
    const std::uint64_t id = client.connect(kSwitch, &status);
    ASSERT_NE(id, 0u);

    // A failure after a delay: the daemon answers others meanwhile, then the outcome arrives.
    tvsim::Reply late = tvsim::Reply::failure(105);
    late.delay = milliseconds(300);
    tv.setReply(kSwitch, late);
    const Message invoked(client.call(kSwitchObject, kAction, "Invoke", "ta(nnns)", id, 2, 1, 0, 0, "7", 1, 1, 0, "2"));
    ASSERT_TRUE(invoked) << client.errorMessage();
    int invokeStatus = -1;
    std::uint32_t actionId = 0;
    sd_bus_message_read(invoked.get(), "iu", &invokeStatus, &actionId);
    EXPECT_EQ(invokeStatus, 0);
    EXPECT_NE(actionId, 0u);
    EXPECT_EQ(tv.value(kVolume), ModelValue(12));
    EXPECT_TRUE(client.signals().empty()) << "the delayed outcome came before the delay";
    // Flush answers once the delayed outcome has been sent: it is already here.
    ASSERT_TRUE(Message(client.call(kControlPath, kControl, "Flush", nullptr)));
    ASSERT_TRUE(client.waitForSignals(1, milliseconds(0)));
    EXPECT_EQ(client.signals()[0].member, "ExecutionError");
    std::uint64_t connection = 0;
    std::uint32_t outcomeId = 0;
    int error = 0;
    sd_bus_message_read(client.signals()[0].message, "tui", &connection, &outcomeId, &error);
    EXPECT_EQ(connection, id);
    EXPECT_EQ(outcomeId, actionId);
    EXPECT_EQ(error, 105);

    // Refused invokes answer the status and no id.
    tv.refuseNextInvokes(kSwitch, 1, 9);
    const Message refused(client.call(kSwitchObject, kAction, "Invoke", "ta(nnns)", id, 0));
    ASSERT_TRUE(refused);
    sd_bus_message_read(refused.get(), "iu", &invokeStatus, &actionId);
    EXPECT_EQ(invokeStatus, 9);
    EXPECT_EQ(actionId, 0u);

    // The records name the client's connections and hold the arguments by position.
    const std::string name = client.uniqueName();
    std::vector<std::string> connects;
    for (const tvsim::ClientConnect& record : tv.connects()) {
        connects.push_back(record.path + " " + record.client + " " + std::to_string(record.status) + " " +
                           std::to_string(record.object));
    }
    EXPECT_EQ(connects, (std::vector<std::string>{std::string(kSwitch) + " " + name + "#1 7 0",
                                                  std::string(kSwitch) + " " + name + "#2 0 1"}));
    std::vector<std::string> invokes;
    for (const tvsim::InvokeRecord& record : tv.invokes()) {
        std::string line = record.path + " " + std::to_string(record.actionId) + " " + std::to_string(record.status);
        for (const lomodelapi::Argument& argument : record.arguments) {
            line += " " + std::to_string(argument.position) + "=" + argument.value;
        }
        invokes.push_back(line);
    }
    EXPECT_EQ(invokes,
              (std::vector<std::string>{std::string(kSwitch) + " 1 0 0=7 1=2", std::string(kSwitch) + " 0 9"}));
    const tvsim::NewRecords since = tv.recordsSince({1, 1, 0});
    ASSERT_EQ(since.connects.size(), 1u);
    EXPECT_EQ(since.connects[0].sequence, 1u);
    ASSERT_EQ(since.invokes.size(), 1u);
    EXPECT_EQ(since.invokes[0].status, 9);
    EXPECT_EQ(since.next.invokes, 2u);
    tv.clearRecords();
    EXPECT_TRUE(tv.invokes().empty());
    tv.loadModelText(R"({"values": [{"path": "test.loaded", "type": "integer", "value": 5}]})", "inline");
    EXPECT_EQ(tv.value("test.loaded"), ModelValue(5));
}

TEST_F(TvsimdTest, IteratorEventsReachTheirClientInOrder) {
    BusClient client(bus.address());
    const std::uint64_t id = client.connect(kChannels);
    ASSERT_NE(id, 0u);
    const Message made(
        client.call(kChannelsObject, "io.sysaccess.TvSim.Table", "CreateIterator", "tia(iis)aia(ii)", id, 0, 0, 0, 0));
    ASSERT_TRUE(made) << client.errorMessage();
    const char* iterator = nullptr;
    sd_bus_message_read_basic(made.get(), 'o', &iterator);
    const std::string iteratorPath = iterator;
    ASSERT_NE(iteratorPath, "/");
    ASSERT_TRUE(Message(client.call(iteratorPath.c_str(), "io.sysaccess.TvSim.Iterator", "SeekToRow", "i", 1)));
    ASSERT_TRUE(Message(client.call(iteratorPath.c_str(), "io.sysaccess.TvSim.Iterator", "ReadRow", nullptr)));
    ASSERT_TRUE(client.waitForSignals(5));
    std::vector<std::string> events;
    for (const Signal& signal : client.signals()) {
        EXPECT_EQ(signal.path, iteratorPath);
        events.push_back(signal.member);
    }
    EXPECT_EQ(events,
              (std::vector<std::string>{"IteratorReady", "TotalCount", "SeekToRow", "CursorPosition", "ReadRow"}));
    // Another client cannot drive it.
    EXPECT_FALSE(Message(control.call(iteratorPath.c_str(), "io.sysaccess.TvSim.Iterator", "ReadRow", nullptr)));
    EXPECT_EQ(control.errorName(), "io.sysaccess.TvSim.Error.UnknownConnection");
}

// A client that vanishes gives back what it held; SIGTERM ends the daemon with 0, the name released.
TEST_F(TvsimdTest, ClientsThatLeaveAreDisconnectedAndSigtermReleasesTheName) {
    {
        BusClient leaving(bus.address());
        ASSERT_NE(leaving.connect(kVolume), 0u);
        EXPECT_EQ(observersOf(control, kVolume), 1);
    }
    for (int attempt = 0; attempt < 100 && observersOf(control, kVolume) != 0; ++attempt) {
        control.settle(milliseconds(20));
    }
    EXPECT_EQ(observersOf(control, kVolume), 0);

    EXPECT_EQ(tvsimd.process().stop(SIGTERM), 0);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    ASSERT_GE(sd_bus_call_method(control.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                 "NameHasOwner", &error, &reply, "s", kService),
              0);
    int owned = 1;
    sd_bus_message_read_basic(reply, 'b', &owned);
    EXPECT_EQ(owned, 0);
    sd_bus_message_unref(reply);
}

// A client that leaves holding 10,000 connections, beside another's 10,000 iterators, is given back in
// time linear in what it held (a pass over every iterator for each connection took 2.5 s).
TEST_F(TvsimdTest, AClientWithThousandsOfConnectionsIsGivenBackInLinearTime) {
    constexpr std::size_t kMany = 10000;
    BusClient tables(bus.address());
    const std::uint64_t table = tables.connect(kChannels);
    tables.sendAll(kMany, kChannelsObject, "io.sysaccess.TvSim.Table", "CreateIterator",
                   [&](sd_bus_message* call) { sd_bus_message_append(call, "tia(iis)aia(ii)", table, 0, 0, 0, 0); });
    ASSERT_TRUE(Message(tables.call(kControlPath, kControl, "Get", "s", kVolume)));
    {
        BusClient leaving(bus.address());
        leaving.sendAll(kMany, kControlPath, "io.sysaccess.TvSim.Platform", "Connect",
                        [](sd_bus_message* call) { sd_bus_message_append(call, "s", kVolume); });
        ASSERT_TRUE(Message(leaving.call(kControlPath, kControl, "Get", "s", kVolume)));
        ASSERT_EQ(observersOf(control, kVolume), static_cast<int>(kMany));
    }
    const auto left = Clock::now();
    while (observersOf(control, kVolume) != 0 && Clock::now() - left < std::chrono::seconds(30)) {
    }
    EXPECT_LT(millisecondsSince(left), 1000);
}

// Once a long series is set, its signals go to a watcher that reads in turns, between which the other
// clients' calls are served (they waited for the whole series: 100,000 changes took 2.5 s).
TEST_F(TvsimdTest, OthersAreServedWhileALongSeriesReachesItsWatcher) {
    constexpr std::size_t kChanges = 100000;
    std::promise<void> connected;
    bool allArrived = false;
    std::thread watching([&] {
        BusClient watcher(bus.address());
        watcher.connect(kVolume);
        connected.set_value();
        allArrived = watcher.waitForSignals(kChanges, milliseconds(60000));
    });
    connected.get_future().wait();
    std::vector<ModelValue> series;
    for (std::size_t index = 0; index < kChanges; ++index) {
        series.emplace_back(static_cast<int>(index % 100));
    }
    tvsim::bus::TvControlProxy{bus.address(), milliseconds(60000)}.setValues(kVolume, series);
    const auto asked = Clock::now();
    EXPECT_TRUE(Message(control.call(kControlPath, kControl, "Get", "s", kVolume)));
    EXPECT_LT(millisecondsSince(asked), 1000);
    watching.join();
    EXPECT_TRUE(allArrived);
}

// A client that reads nothing: what waits for it stays in tvsimd, not in dbus-daemon, up to the bound of its
// queue (64 MiB), where tvsimd drops it with one line and a record, as if it had left.
TEST(TvsimdSlowClient, OneThatReadsNothingIsDroppedAtItsQueuesBound) {
    PrivateDbusDaemon bus;
    Tvsimd tvsimd(bus.address(), {"--log-level", "error"}, true);
    ASSERT_TRUE(tvsimd.ready());
    tvsim::bus::TvControlProxy tv{bus.address(), milliseconds(60000)};
    const char* name = "orvik.sl2.str.tvservice.channel-name";
    BusClient stopped(bus.address());
    ASSERT_NE(stopped.connect(name), 0u);
    const std::vector<ModelValue> series(1500, ModelValue(std::string(8192, 'x')));  // 12 MiB, within a series' bound
    for (int round = 0; round < 6; ++round) {
        tv.setValues(name, series);
    }
    const std::string line = tvsimd.process().readLine();
    EXPECT_EQ(line.rfind("tvsimd: dropped client " + stopped.uniqueName() + ": ", 0), 0u) << line;
    EXPECT_NE(line.find("past the bound of 67108864 bytes"), std::string::npos) << line;
    EXPECT_LT(bus.process().residentKiB(), 64 * 1024) << "dbus-daemon holds what the client did not read";
    BusClient control(bus.address());
    const Message dropped(control.call(kControlPath, kRecords, "DroppedClients", nullptr));
    const char* client = "";
    const char* reason = "";
    ASSERT_GT(sd_bus_message_read(dropped.get(), "a(ss)", 1, &client, &reason), 0);
    EXPECT_EQ(line, "tvsimd: dropped client " + std::string(client) + ": " + reason);
    EXPECT_EQ(observersOf(control, name), 0);
}

TEST(TvsimdPrivateBus, PrintsTheExportLineServesAndStopsItsBus) {
    ChildProcess tvsimd({TVSIMD_PATH, "--private-bus"});
    const std::string exportLine = tvsimd.readLine();
    const std::string prefix = "export DBUS_SESSION_BUS_ADDRESS='";
    ASSERT_EQ(exportLine.compare(0, prefix.size(), prefix), 0) << exportLine;
    ASSERT_EQ(tvsimd.readLine(), "ready");
    const std::string address = exportLine.substr(prefix.size(), exportLine.size() - prefix.size() - 1);
    {
        BusClient client(address);
        EXPECT_TRUE(Message(client.call(kControlPath, kControl, "Get", "s", kVolume))) << client.errorMessage();
    }
    EXPECT_EQ(tvsimd.stop(SIGINT), 0);
    EXPECT_THROW(BusClient{address}, std::runtime_error);
}

// Connect cycles leave the service's memory flat: it keeps the newest records
// only, and no observer of a connection that ended.
TEST(TvsimdLimits, ConnectCyclesLeaveTheServiceFlat) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer keeps freed memory for its own checks";
#endif
    PrivateDbusDaemon bus;
    Tvsimd tvsimd(bus.address(), {"--max-records", "100"});
    ASSERT_TRUE(tvsimd.ready());
    BusClient client(bus.address());
    const auto cycles = [&](int count) {
        for (int cycle = 0; cycle < count; ++cycle) {
            const std::uint64_t id = client.connect(kVolume);
            ASSERT_TRUE(Message(client.call(kControlPath, kPlatform, "Disconnect", "st", kVolume, id)));
        }
    };
    cycles(1000);  // beyond the limit, where every cycle drops the oldest records
    const long before = tvsimd.process().residentKiB();
    cycles(10000);
    EXPECT_LT(tvsimd.process().residentKiB() - before, 1024) << "KiB grown over 10,000 cycles";
}

// Records too many for one D-Bus message are refused with an error, not sent
// in a message the bus daemon would drop the service for.
TEST(TvsimdLimits, ARecordsReplyBeyondOneMessageIsAnError) {
    PrivateDbusDaemon bus;
    Tvsimd tvsimd(bus.address(), {"--max-records", "20000"});
    ASSERT_TRUE(tvsimd.ready());
    tvsim::bus::TvControlProxy tv(bus.address(), milliseconds(5000));
    tv.refuseNextInvokes(kSwitch, 1000000, 9);
    BusClient client(bus.address());
    const std::uint64_t id = client.connect(kSwitch);
    const std::string argument(tvsim::kMaxRequestBytes - 24, 'x');
    for (int invoke = 0; invoke < 16000; ++invoke) {  // about 4 KiB each: 61 MiB of invoke records
        ASSERT_TRUE(
            Message(client.call(kSwitchObject, kAction, "Invoke", "ta(nnns)", id, 1, 0, 0, 0, argument.c_str())));
    }
    EXPECT_FALSE(Message(client.call(kControlPath, kRecords, "Invokes", nullptr)));
    EXPECT_EQ(client.errorName(), "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(tv.value(kVolume), ModelValue(12)) << "the daemon stopped serving";
}

// Records.Wait keeps at most 64 calls in progress and refuses one more at once: waits hold up no other call.
// A client's waits end when it leaves the bus.
TEST_F(TvsimdTest, RecordWaitsAreBoundedHoldUpNoCallAndEndWithTheirClient) {
    const tvsim::RecordPattern nowhere{tvsim::RecordPattern::Kind::Connect, kVolume, {}};
    std::string leftName;
    {
        BusClient leaving(bus.address());
        leftName = leaving.uniqueName();
        leaving.sendAll(64, kControlPath, kRecords, "Wait", [](sd_bus_message* wait) {
            sd_bus_message_append(wait, "ssa(iss)u", "connect", kVolume, 0, 20000U);
        });
        EXPECT_FALSE(Message(leaving.call(kControlPath, kRecords, "Wait", "ssa(iss)u", "connect", kVolume, 0, 20000U)));
        EXPECT_EQ(leaving.errorName(), "org.freedesktop.DBus.Error.LimitsExceeded");
        EXPECT_EQ(tv.value(kVolume), ModelValue(12));
    }
    // Once the bus driver no longer knows the name, it has told the service, before any later call.
    for (int attempt = 0;
         attempt < 1000 &&
         sd_bus_call_method(control.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                            "GetNameOwner", nullptr, nullptr, "s", leftName.c_str()) >= 0;
         ++attempt) {
    }
    EXPECT_FALSE(tv.waitForRecord(nowhere, milliseconds(1)).found);
}

// A play over the bus: the platform-away step lets the connected client see the service go and come back
// (its connection ended), the client's connects meet the expectations, and Wait answers with the report once
// the starter tells the client ended. One play at a time, at most 16 waits on it; only its starter may end it.
// A recording then journals a change made over the bus.
TEST(TvsimdScenario, APlayMeetsAClientsRequestsAcrossPlatformAwayAndBelongsToItsStarter) {
    PrivateDbusDaemon bus;
    Tvsimd tvsimd(bus.address(), {"--log-level", "info"}, true);
    ASSERT_TRUE(tvsimd.ready());
    BusClient starter(bus.address());
    BusClient other(bus.address());
    BusClient watcher(bus.address());
    watcher.watchServiceOwner();
    const std::string text = R"({"name": "away and back", "steps": [
        {"id": "away", "after": "watched", "platform-away": {"for-ms": 200}}], "expectations": [
        {"id": "watched", "connect": {"path": "orvik.sl2.i32.audio.volume"}},
        {"connect": {"path": "orvik.sl2.i32.audio.volume"}, "window": {"after": "away"}}]})";
    ASSERT_TRUE(Message(starter.call(kControlPath, kScenario, "Play", "ss", text.c_str(), "")))
        << starter.errorMessage();
    EXPECT_FALSE(Message(other.call(kControlPath, kScenario, "Play", "ss", text.c_str(), "")));
    EXPECT_EQ(other.errorName(), "io.sysaccess.TvSim.Error.Busy");
    EXPECT_FALSE(Message(other.call(kControlPath, kScenario, "Stop", nullptr)));
    EXPECT_EQ(other.errorName(), "org.freedesktop.DBus.Error.AccessDenied");
    other.sendAll(16, kControlPath, kScenario, "Wait",
                  [](sd_bus_message* wait) { sd_bus_message_append(wait, "u", 60000U); });
    EXPECT_FALSE(Message(other.call(kControlPath, kScenario, "Wait", "u", 60000U)));
    EXPECT_EQ(other.errorName(), "org.freedesktop.DBus.Error.LimitsExceeded");

    ASSERT_NE(watcher.connect(kVolume), 0u);
    ASSERT_TRUE(watcher.waitForSignals(2));
    std::vector<bool> owned;
    for (const Signal& signal : watcher.signals()) {
        const char* name = nullptr;
        const char* oldOwner = nullptr;
        const char* newOwner = nullptr;
        sd_bus_message_read(signal.message, "sss", &name, &oldOwner, &newOwner);
        owned.push_back(*newOwner != '\0');
    }
    EXPECT_EQ(owned, (std::vector<bool>{false, true}));
    EXPECT_EQ(observersOf(other, kVolume), 0) << "the connection outlived the service's leaving";
    ASSERT_NE(watcher.connect(kVolume), 0u);

    ASSERT_TRUE(Message(starter.call(kControlPath, kScenario, "ClientEnded", "i", 0)));
    const Message waited(starter.call(kControlPath, kScenario, "Wait", "u", 5000U));
    int finished = 0;
    const char* json = "";
    ASSERT_GE(sd_bus_message_read(waited.get(), "bs", &finished, &json), 0) << starter.errorMessage();
    EXPECT_TRUE(finished);
    const tvsim::ScenarioReport report = tvsim::parseReportJson(json);
    EXPECT_EQ(report.exitCode(), 0) << tvsim::reportText(report);
    std::string line;
    while (!(line = tvsimd.process().readLine()).empty() && line.rfind("tvsimd: scenario", 0) != 0) {
    }
    EXPECT_EQ(line, "tvsimd: scenario 'away and back' finished with exit code 0");

    // A recording notes another peer's change made through the Control interface.
    ASSERT_TRUE(Message(starter.call(kControlPath, kScenario, "StartRecording", nullptr)));
    ASSERT_TRUE(Message(other.call(kControlPath, kControl, "Set", "sv", kVolume, "i", 30)));
    const Message recorded(starter.call(kControlPath, kScenario, "StopRecording", nullptr));
    const char* scenario = "";
    ASSERT_GE(sd_bus_message_read_basic(recorded.get(), 's', &scenario), 0) << starter.errorMessage();
    EXPECT_EQ(tvsim::parseScenarioText(scenario, "recorded", "").steps.size(), 1u) << scenario;
}

// A daemon whose bus went away ends with status 1 instead of serving nobody.
TEST(TvsimdLostBus, EndsWithStatusOne) {
    PrivateDbusDaemon bus;
    Tvsimd tvsimd(bus.address());
    ASSERT_TRUE(tvsimd.ready());
    bus.process().stop(SIGKILL);
    EXPECT_EQ(tvsimd.process().waitForExit(), 1);
}

}  // namespace
}  // namespace tvsimd_test
