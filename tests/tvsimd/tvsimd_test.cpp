// tvsimd as its clients see it: a private dbus-daemon and tvsimd run as real
// processes, and sd-bus clients call them. Each test is one life cycle.
#include "bus_processes.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace tvsimd_test {
namespace {

constexpr const char* kControl = "io.sysaccess.TvSim.Control";
constexpr const char* kFaults = "io.sysaccess.TvSim.Control.Faults";
constexpr const char* kResponders = "io.sysaccess.TvSim.Control.Responders";
constexpr const char* kRecords = "io.sysaccess.TvSim.Control.Records";
constexpr const char* kPlatform = "io.sysaccess.TvSim.Platform";
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kVolumeObject = "/io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume";
constexpr const char* kSwitch = "orvik.sl2.action.source.switch";
constexpr const char* kSwitchObject = "/io/sysaccess/TvSim/model/orvik/sl2/action/source/switch";
constexpr const char* kChannels = "orvik.sl2.table.channels";
constexpr const char* kChannelsObject = "/io/sysaccess/TvSim/model/orvik/sl2/table/channels";

// Frees the reply at the end of a step.
struct Reply {
    explicit Reply(sd_bus_message* message) : m(message) {}
    ~Reply() { sd_bus_message_unref(m); }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;
    explicit operator bool() const { return m != nullptr; }
    sd_bus_message* m;
};

class TvsimdTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tvsimd.ready()) << "tvsimd did not print ready"; }

    // Platform.Connect for the client; the connection id (0 when refused) and the status.
    std::uint64_t connect(BusClient& client, const char* path, int* statusOut = nullptr) {
        Reply reply(client.call(kControlPath, kPlatform, "Connect", "s", path));
        int status = -1;
        std::uint64_t id = 0;
        const char* object = nullptr;
        int type = 0;
        EXPECT_TRUE(reply) << client.errorMessage();
        if (reply) {
            EXPECT_GE(sd_bus_message_read(reply.m, "itoi", &status, &id, &object, &type), 0);
        }
        if (statusOut != nullptr) {
            *statusOut = status;
        }
        return id;
    }

    // Control.Set of an integer, from the control client.
    void setInteger(const char* path, int value) {
        Reply reply(control.call(kControlPath, kControl, "Set", "sv", path, "i", value));
        ASSERT_TRUE(reply) << control.errorMessage();
    }

    PrivateDbusDaemon bus;
    Tvsimd tvsimd{bus.address()};
    BusClient control{bus.address()};
};

TEST_F(TvsimdTest, SetValuesOfEveryTypeReadBackWithTheirTypes) {
    struct Case {
        const char* path;
        std::function<sd_bus_message*(BusClient&, const char*)> set;
        const char* expected;
    };
    const std::vector<Case> cases = {
        {kVolume, [](BusClient& c, const char* p) { return c.call(kControlPath, kControl, "Set", "sv", p, "i", 42); },
         "i:42"},
        {kVolume,  // any integer type in range fits
         [](BusClient& c, const char* p) {
             return c.call(kControlPath, kControl, "Set", "sv", p, "x", static_cast<int64_t>(-7));
         },
         "i:-7"},
        {"orvik.sl2.i64.system.uptime-ms",
         [](BusClient& c, const char* p) {
             return c.call(kControlPath, kControl, "Set", "sv", p, "x", static_cast<int64_t>(5000000000));
         },
         "x:5000000000"},
        {"orvik.sl2.str.tvservice.channel-name",
         [](BusClient& c, const char* p) { return c.call(kControlPath, kControl, "Set", "sv", p, "s", "Sport"); },
         "s:Sport"},
        {"orvik.sl2.vi32.tvservice.favourite-channels",
         [](BusClient& c, const char* p) { return c.call(kControlPath, kControl, "Set", "sv", p, "ai", 3, 1, 2, 3); },
         "ai:1,2,3"},
        {"orvik.sl2.vstr.audio.languages",
         [](BusClient& c, const char* p) {
             return c.call(kControlPath, kControl, "Set", "sv", p, "as", 2, "eng", "fra");
         },
         "as:eng,fra"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        Reply set(c.set(control, c.path));
        ASSERT_TRUE(set) << control.errorMessage();
        Reply got(control.call(kControlPath, kControl, "Get", "s", c.path));
        ASSERT_TRUE(got) << control.errorMessage();
        EXPECT_EQ(variantText(got.m), c.expected);
    }
    // The model's listing: sorted, with type names.
    Reply list(control.call(kControlPath, kControl, "List", "s", "orvik.sl2.i"));
    ASSERT_TRUE(list);
    std::vector<std::string> entries;
    const char* path = nullptr;
    const char* type = nullptr;
    sd_bus_message_enter_container(list.m, 'a', "(ss)");
    while (sd_bus_message_read(list.m, "(ss)", &path, &type) > 0) {
        entries.push_back(std::string(path) + " " + type);
    }
    EXPECT_EQ(entries, (std::vector<std::string>{
                           "orvik.sl2.i32.audio.mute integer", "orvik.sl2.i32.audio.volume integer",
                           "orvik.sl2.i32.tvservice.no-banner integer", "orvik.sl2.i64.epg.last-update int64",
                           "orvik.sl2.i64.system.uptime-ms int64"}));
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
        {"wrong signature", [](BusClient& c) { return c.call(kControlPath, kControl, "Set", "ss", kVolume, "1"); },
         "org.freedesktop.DBus.Error.InvalidArgs", ""},
        {"object path that is no escaped model path",
         [](BusClient& c) {
             return c.call("/io/sysaccess/TvSim/model/orvik/_zz", "io.sysaccess.TvSim.Object", "GetType", "t",
                           static_cast<uint64_t>(1));
         },
         "org.freedesktop.DBus.Error.UnknownObject", ""},
        {"missing argument", [](BusClient& c) { return c.call(kControlPath, kControl, "Get", nullptr); },
         "org.freedesktop.DBus.Error.InvalidArgs", ""},
        {"position beyond a byte",
         [](BusClient& c) {
             return c.call(kControlPath, kResponders, "EmitResult", "sua(nnns)", kSwitch, 1u, 1, 0, 300, 0, "x");
         },
         "io.sysaccess.TvSim.Error.OutOfRange", "signed byte"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Reply reply(c.call(control));
        EXPECT_FALSE(reply);
        EXPECT_EQ(control.errorName(), c.error);
        EXPECT_NE(control.errorMessage().find(c.message), std::string::npos) << control.errorMessage();
    }
    // The same file at the start: one line on standard error, exit code 1, nothing on standard output.
    ChildProcess refused({TVSIMD_PATH, "--address", bus.address(), "--model", badModel});
    EXPECT_EQ(refused.readLine(), "");
    EXPECT_EQ(refused.waitForExit(), 1);
    std::remove(badModel.c_str());
    Reply still(control.call(kControlPath, kControl, "Get", "s", kVolume));
    EXPECT_TRUE(still) << "the daemon stopped serving: " << control.errorMessage();
}

// A watcher sees every change in order, its own writes included, and nothing after it disconnected.
TEST_F(TvsimdTest, ChangesReachTheConnectedClientInOrderUntilItDisconnects) {
    BusClient watcher(bus.address());
    const std::uint64_t id = connect(watcher, kVolume);
    ASSERT_NE(id, 0u);
    for (int value = 1; value <= 50; ++value) {
        setInteger(kVolume, value);
    }
    Reply own(watcher.call(kVolumeObject, "io.sysaccess.TvSim.Value", "SetValue", "tv", id, "i", 77));
    ASSERT_TRUE(own) << watcher.errorMessage();
    ASSERT_TRUE(watcher.waitForSignals(51));
    std::vector<std::string> seen;
    for (Signal& signal : watcher.signals()) {
        EXPECT_EQ(signal.path, kVolumeObject);
        EXPECT_EQ(signal.member, "Changed");
        std::uint64_t connection = 0;
        sd_bus_message_read_basic(signal.message, 't', &connection);
        EXPECT_EQ(connection, id);
        seen.push_back(variantText(signal.message));
    }
    std::vector<std::string> expected;
    for (int value = 1; value <= 50; ++value) {
        expected.push_back("i:" + std::to_string(value));
    }
    expected.push_back("i:77");
    EXPECT_EQ(seen, expected);
    // Signals go to the client that connected only.
    control.settle(milliseconds(50));
    EXPECT_TRUE(control.signals().empty());

    Reply gone(watcher.call(kControlPath, kPlatform, "Disconnect", "st", kVolume, id));
    ASSERT_TRUE(gone);
    setInteger(kVolume, 5);
    watcher.settle(milliseconds(200));
    EXPECT_EQ(watcher.signals().size(), 51u);
}

TEST_F(TvsimdTest, FaultsRespondersAndRecordsActOnRemoteClients) {
    BusClient client(bus.address());
    // The next connect fails with the chosen status, then connects work again.
    ASSERT_TRUE(Reply(control.call(kControlPath, kFaults, "FailNextConnects", "sii", kSwitch, 1, 7)));
    int status = 0;
    EXPECT_EQ(connect(client, kSwitch, &status), 0u);
    EXPECT_EQ(status, 7);
    const std::uint64_t id = connect(client, kSwitch, &status);
    ASSERT_NE(id, 0u);

    // A failure after a delay: the daemon answers others meanwhile, then the outcome arrives.
    ASSERT_TRUE(Reply(
        control.call(kControlPath, kResponders, "SetReply", "ssiuiba(nnns)", kSwitch, "failure", 105, 300u, 1, 0, 0)));
    Reply invoked(client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 2, 1, 0, 0, "7", 1,
                              1, 0, "2"));
    ASSERT_TRUE(invoked) << client.errorMessage();
    int invokeStatus = -1;
    std::uint32_t actionId = 0;
    sd_bus_message_read(invoked.m, "iu", &invokeStatus, &actionId);
    EXPECT_EQ(invokeStatus, 0);
    EXPECT_NE(actionId, 0u);
    EXPECT_TRUE(Reply(control.call(kControlPath, kControl, "Get", "s", kVolume)));
    EXPECT_TRUE(client.signals().empty()) << "the delayed outcome came before the delay";
    // Flush answers once the delayed outcome has been sent: it is already here.
    ASSERT_TRUE(Reply(client.call(kControlPath, kControl, "Flush", nullptr)));
    ASSERT_TRUE(client.waitForSignals(1, milliseconds(0)));
    EXPECT_EQ(client.signals()[0].member, "ExecutionError");
    std::uint64_t connection = 0;
    std::uint32_t outcomeId = 0;
    int error = 0;
    sd_bus_message_read(client.signals()[0].message, "tui", &connection, &outcomeId, &error);
    EXPECT_EQ(connection, id);
    EXPECT_EQ(outcomeId, actionId);
    EXPECT_EQ(error, 105);

    // Results, duplicated.
    ASSERT_TRUE(Reply(control.call(kControlPath, kResponders, "SetReply", "ssiuiba(nnns)", kSwitch, "results", 0, 0u, 2,
                                   0, 1, 4, 0, 0, "done")));
    Reply again(client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 0));
    ASSERT_TRUE(again);
    ASSERT_TRUE(client.waitForSignals(3));
    EXPECT_EQ(client.signals()[1].member, "Result");
    EXPECT_EQ(client.signals()[2].member, "Result");

    // Refused invokes answer the status and no id.
    ASSERT_TRUE(Reply(control.call(kControlPath, kFaults, "RefuseNextInvokes", "sii", kSwitch, 1, 9)));
    Reply refused(client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 0));
    ASSERT_TRUE(refused);
    sd_bus_message_read(refused.m, "iu", &invokeStatus, &actionId);
    EXPECT_EQ(invokeStatus, 9);
    EXPECT_EQ(actionId, 0u);

    // The records name the client and hold the arguments by position.
    Reply connects(control.call(kControlPath, kRecords, "Connects", nullptr));
    ASSERT_TRUE(connects);
    std::vector<std::string> connectLines;
    const char* path = nullptr;
    const char* who = nullptr;
    int hasObject = 0;
    sd_bus_message_enter_container(connects.m, 'a', "(ssib)");
    while (sd_bus_message_read(connects.m, "(ssib)", &path, &who, &status, &hasObject) > 0) {
        connectLines.push_back(std::string(path) + " " + who + " " + std::to_string(status) + " " +
                               std::to_string(hasObject));
    }
    const std::string name = client.uniqueName();
    EXPECT_EQ(connectLines, (std::vector<std::string>{std::string(kSwitch) + " " + name + "#1 7 0",
                                                      std::string(kSwitch) + " " + name + "#2 0 1"}));
    Reply invokes(control.call(kControlPath, kRecords, "Invokes", nullptr));
    ASSERT_TRUE(invokes);
    sd_bus_message_enter_container(invokes.m, 'a', "(suia(nnns))");
    std::vector<std::string> invokeLines;
    while (sd_bus_message_enter_container(invokes.m, 'r', "suia(nnns)") > 0) {
        std::uint32_t recordId = 0;
        sd_bus_message_read(invokes.m, "sui", &path, &recordId, &status);
        std::string line = std::to_string(recordId) + " " + std::to_string(status);
        sd_bus_message_enter_container(invokes.m, 'a', "(nnns)");
        int16_t tag = 0, position = 0, subtag = 0;
        const char* value = nullptr;
        while (sd_bus_message_read(invokes.m, "(nnns)", &tag, &position, &subtag, &value) > 0) {
            line += " " + std::to_string(position) + "=" + value;
        }
        sd_bus_message_exit_container(invokes.m);
        sd_bus_message_exit_container(invokes.m);
        invokeLines.push_back(line);
    }
    EXPECT_EQ(invokeLines, (std::vector<std::string>{"1 0 0=7 1=2", "2 0", "0 9"}));

    ASSERT_TRUE(Reply(control.call(kControlPath, kRecords, "Clear", nullptr)));
    Reply cleared(control.call(kControlPath, kRecords, "Invokes", nullptr));
    ASSERT_TRUE(cleared);
    EXPECT_EQ(sd_bus_message_enter_container(cleared.m, 'a', "(suia(nnns))"), 1);
    EXPECT_EQ(sd_bus_message_at_end(cleared.m, 0), 1);
}

TEST_F(TvsimdTest, IteratorEventsReachTheirClientInOrder) {
    BusClient client(bus.address());
    const std::uint64_t id = connect(client, kChannels);
    ASSERT_NE(id, 0u);
    Reply made(
        client.call(kChannelsObject, "io.sysaccess.TvSim.Table", "CreateIterator", "tia(iis)aia(ii)", id, 0, 0, 0, 0));
    ASSERT_TRUE(made) << client.errorMessage();
    const char* iterator = nullptr;
    sd_bus_message_read_basic(made.m, 'o', &iterator);
    const std::string iteratorPath = iterator;
    ASSERT_NE(iteratorPath, "/");
    ASSERT_TRUE(Reply(client.call(iteratorPath.c_str(), "io.sysaccess.TvSim.Iterator", "SeekToRow", "i", 1)));
    ASSERT_TRUE(Reply(client.call(iteratorPath.c_str(), "io.sysaccess.TvSim.Iterator", "ReadRow", nullptr)));
    ASSERT_TRUE(client.waitForSignals(5));
    std::vector<std::string> events;
    for (const Signal& signal : client.signals()) {
        EXPECT_EQ(signal.path, iteratorPath);
        events.push_back(signal.member);
    }
    EXPECT_EQ(events,
              (std::vector<std::string>{"IteratorReady", "TotalCount", "SeekToRow", "CursorPosition", "ReadRow"}));
    // Another client cannot drive it.
    EXPECT_FALSE(Reply(control.call(iteratorPath.c_str(), "io.sysaccess.TvSim.Iterator", "ReadRow", nullptr)));
    EXPECT_EQ(control.errorName(), "io.sysaccess.TvSim.Error.UnknownConnection");
}

// A client that vanishes gives back what it held; SIGTERM ends the daemon with 0, the name released.
TEST_F(TvsimdTest, ClientsThatLeaveAreDisconnectedAndSigtermReleasesTheName) {
    {
        BusClient leaving(bus.address());
        ASSERT_NE(connect(leaving, kVolume), 0u);
        Reply count(control.call(kControlPath, kRecords, "ConnectedObservers", "s", kVolume));
        int observers = 0;
        sd_bus_message_read_basic(count.m, 'i', &observers);
        EXPECT_EQ(observers, 1);
    }
    int observers = -1;
    for (int attempt = 0; attempt < 100 && observers != 0; ++attempt) {
        control.settle(milliseconds(20));
        Reply count(control.call(kControlPath, kRecords, "ConnectedObservers", "s", kVolume));
        sd_bus_message_read_basic(count.m, 'i', &observers);
    }
    EXPECT_EQ(observers, 0);

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

TEST(TvsimdPrivateBus, PrintsTheExportLineServesAndStopsItsBus) {
    ChildProcess tvsimd({TVSIMD_PATH, "--private-bus"});
    const std::string exportLine = tvsimd.readLine();
    const std::string prefix = "export DBUS_SESSION_BUS_ADDRESS='";
    ASSERT_EQ(exportLine.compare(0, prefix.size(), prefix), 0) << exportLine;
    ASSERT_EQ(tvsimd.readLine(), "ready");
    const std::string address = exportLine.substr(prefix.size(), exportLine.size() - prefix.size() - 1);
    {
        BusClient client(address);
        EXPECT_TRUE(Reply(client.call(kControlPath, kControl, "Get", "s", kVolume))) << client.errorMessage();
    }
    EXPECT_EQ(tvsimd.stop(SIGINT), 0);
    EXPECT_THROW(BusClient{address}, std::runtime_error);
}

}  // namespace
}  // namespace tvsimd_test
