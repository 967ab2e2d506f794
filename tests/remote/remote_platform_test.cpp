// The remote platform end to end: a private dbus-daemon, tvsimd and client
// processes (remote_client) that use libsystem_access with TVSIM_BUS set, or
// with the bus chosen by a call, so everything they do crosses the process
// boundary. Each test is one life cycle.
#include "bus_processes.h"

#include <tv_control_proxy.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tvsimd_test {
namespace {

constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kVersion = "orvik.sl2.action.system.get-version";
constexpr const char* kSwitch = "orvik.sl2.action.source.switch";

// A client process; every command answers one line, events come as lines too.
class Client {
public:
    Client() : m_process({REMOTE_CLIENT_PATH}) {}
    // The platform chosen by tvsim::usePlatformOnBus instead of TVSIM_BUS.
    explicit Client(const std::string& bus) : m_process({REMOTE_CLIENT_PATH, "--bus", bus}) {}
    ~Client() { m_process.writeLine("quit"); }

    void send(const std::string& command) { m_process.writeLine(command); }
    // The next line that starts with the prefix; lines skipped on the way are kept for later.
    std::string next(const std::string& prefix, milliseconds timeout = milliseconds(10000)) {
        for (auto line = m_skipped.begin(); line != m_skipped.end(); ++line) {
            if (line->rfind(prefix, 0) == 0) {
                std::string found = *line;
                m_skipped.erase(line);
                return found;
            }
        }
        for (std::string line; !(line = m_process.readLine(timeout)).empty();) {
            if (line.rfind(prefix, 0) == 0) {
                return line;
            }
            m_skipped.push_back(line);
        }
        return "(nothing)";
    }
    std::string ask(const std::string& command, const std::string& answerPrefix) {
        send(command);
        return next(answerPrefix);
    }

private:
    ChildProcess m_process;
    std::vector<std::string> m_skipped;
};

class RemotePlatformTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { setenv("TVSIM_BUS", s_bus->address().c_str(), 1); }
    void SetUp() override { ASSERT_TRUE(tvsimd->ready()); }

    static std::unique_ptr<PrivateDbusDaemon> s_bus;
    std::unique_ptr<Tvsimd> tvsimd = std::make_unique<Tvsimd>(s_bus->address());
    tvsim::bus::TvControlProxy tv{s_bus->address(), milliseconds(5000)};
};

std::unique_ptr<PrivateDbusDaemon> RemotePlatformTest::s_bus = std::make_unique<PrivateDbusDaemon>();

TEST_F(RemotePlatformTest, ValuesAndWatchesCrossProcesses) {
    Client watcher;
    Client writer;
    EXPECT_EQ(watcher.ask(std::string("watch ") + kVolume, "connect"), "connect 0");
    // A write in one process reaches the watcher in another, and the model.
    EXPECT_EQ(writer.ask(std::string("set ") + kVolume + " 31", "set"), "set 0");
    EXPECT_EQ(watcher.next("changed"), std::string("changed ") + kVolume + " 31");
    EXPECT_EQ(writer.ask(std::string("get ") + kVolume, "get"), "get 0 31");
    // A platform-originated change reaches it too, in order after the first.
    tv.setValue(kVolume, 40);
    EXPECT_EQ(watcher.next("changed"), std::string("changed ") + kVolume + " 40");
    // A path the TV does not have: the accessor's connect-failed status.
    EXPECT_EQ(writer.ask("get orvik.sl2.i32.no.such", "get"), "get 5 0");
    // And one that is no text sd-bus can send (not UTF-8): the same answer, nothing thrown out of the platform.
    EXPECT_EQ(writer.ask("get orvik.sl2.i32.\xff", "get"), "get 5 0");
}

// Any peer on the bus can send a client, or tvsimd, a signal of any name: a
// forged change, a forged loss of the service, a forged departure of a client.
// Only the service's own signals and the bus driver's are believed.
TEST_F(RemotePlatformTest, SignalsFromOtherPeersAreNotBelieved) {
    Client victim;
    ASSERT_EQ(victim.ask(std::string("watch ") + kVolume, "connect"), "connect 0");
    const std::string label = tv.connects().back().client;  // "<unique name>#<connection id>"
    const std::string victimName = label.substr(0, label.find('#'));
    const std::uint64_t id = std::stoull(label.substr(label.find('#') + 1));

    BusClient attacker(s_bus->address());
    sd_bus_message* owner = nullptr;
    ASSERT_GE(sd_bus_call_method(attacker.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "GetNameOwner", nullptr, &owner, "s", "io.sysaccess.TvSim"),
              0);
    const char* serviceName = nullptr;
    ASSERT_GE(sd_bus_message_read(owner, "s", &serviceName), 0);
    const std::string service = serviceName;
    sd_bus_message_unref(owner);
    const auto forge = [&](const std::string& to, const char* path, const char* interface, const char* member,
                           const std::function<void(sd_bus_message*)>& append) {
        sd_bus_message* signal = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(attacker.bus(), &signal, path, interface, member), 0);
        ASSERT_GE(sd_bus_message_set_destination(signal, to.c_str()), 0);
        append(signal);
        EXPECT_GE(sd_bus_send(attacker.bus(), signal, nullptr), 0);
        sd_bus_message_unref(signal);
    };
    forge(victimName, "/io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume", "io.sysaccess.TvSim.Value", "Changed",
          [&](sd_bus_message* m) { sd_bus_message_append(m, "tv", id, "i", 666); });
    forge(victimName, "/io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume", "io.sysaccess.TvSim.Object",
          "TypeChanged", [&](sd_bus_message* m) { sd_bus_message_append(m, "ti", id, 2); });
    forge(victimName, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged",
          [&](sd_bus_message* m) { sd_bus_message_append(m, "sss", "io.sysaccess.TvSim", service.c_str(), ""); });
    forge(service, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged",
          [&](sd_bus_message* m) { sd_bus_message_append(m, "sss", victimName.c_str(), victimName.c_str(), ""); });
    sd_bus_flush(attacker.bus());

    // The victim's watch still stands at the service, the next change it hears
    // is the service's, and its reads still check the type the service reports.
    tv.setValue(kVolume, 77);
    EXPECT_EQ(victim.next("changed"), std::string("changed ") + kVolume + " 77");
    EXPECT_EQ(victim.ask(std::string("get ") + kVolume, "get"), "get 0 77");
}

// A client keeps the type its reads check from its connect on, and the service
// sends each change of it: a type fault injected and flushed is seen by the next read.
TEST_F(RemotePlatformTest, ATypeFaultIsSeenByTheNextReadAfterAFlush) {
    Client reader;
    ASSERT_EQ(reader.ask(std::string("get ") + kVolume, "get"), "get 0 12");
    for (const auto type : {lomodelapi::OBJECT_TYPE_STRING, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER}) {
        tv.reportType(kVolume, type);
        EXPECT_EQ(reader.ask("flush", "flush"), "flush 1");
        EXPECT_EQ(reader.ask(std::string("get ") + kVolume, "get"),
                  type == lomodelapi::OBJECT_TYPE_STRING ? "get 6 0" : "get 0 12");
    }
}

TEST_F(RemotePlatformTest, VectorWritesReachTheService) {
    struct Case {
        const char* command;
        const char* path;
        const char* elements;
        tvsim::ModelValue expected;  // what the TV holds afterwards
    };
    const Case cases[] = {
        {"setints", "orvik.sl2.vi32.tvservice.favourite-channels", "9 -8 2147483647",
         std::vector<int>{9, -8, 2147483647}},
        {"setstrings", "orvik.sl2.vstr.audio.languages", "spa ita por", std::vector<std::string>{"spa", "ita", "por"}},
    };
    Client writer;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(writer.ask(std::string(c.command) + " " + c.path + " " + c.elements, c.command),
                  std::string(c.command) + " 0");
        EXPECT_EQ(tv.value(c.path), c.expected);
    }
}

TEST_F(RemotePlatformTest, ActionOutcomesReachEveryObserverAsTheResponderAnswers) {
    Client invoker;
    Client observer;
    ASSERT_EQ(invoker.ask(std::string("action ") + kVersion, "connect"), "connect 0");
    ASSERT_EQ(observer.ask(std::string("action ") + kVersion, "connect"), "connect 0");
    struct Case {
        const char* kind;
        int error;
        unsigned delayMs;
        int copies;
        const char* outcome;  // the handler's line without the id; a result carries no values here
    };
    const Case cases[] = {
        {"results", 0, 0, 1, "result 0"},   {"results", 0, 150, 1, "result 0"}, {"results", 0, 0, 2, "result 0"},
        {"failure", 42, 0, 1, "failed 42"}, {"failure", 0, 20, 1, "failed 0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.kind) + " delay " + std::to_string(c.delayMs) + " copies " +
                     std::to_string(c.copies));
        tvsim::Reply reply =
            c.kind == std::string("results") ? tvsim::Reply::withResults({}) : tvsim::Reply::failure(c.error);
        reply.delay = milliseconds(c.delayMs);
        reply.copies = c.copies;
        tv.setReply(kVersion, reply);
        const std::string invoked = invoker.ask(std::string("invoke ") + kVersion + " x", "invoke");
        ASSERT_EQ(invoked.rfind("invoke 0 ", 0), 0u) << invoked;
        const std::string word = std::string(c.outcome).substr(0, std::string(c.outcome).find(' '));
        const std::string expected = word + " " + invoked.substr(9) + std::string(c.outcome).substr(word.size());
        for (int copy = 0; copy < c.copies; ++copy) {
            EXPECT_EQ(invoker.next(word), expected);
            EXPECT_EQ(observer.next(word), expected);
        }
    }
    // A missing outcome never shows: the next invoke's outcome is the next line.
    tv.setReply(kVersion, tvsim::Reply::none());
    ASSERT_EQ(invoker.ask(std::string("invoke ") + kVersion, "invoke").rfind("invoke 0 ", 0), 0u);
    tv.setReply(kVersion, tvsim::Reply::failure(9));
    const std::string last = invoker.ask(std::string("invoke ") + kVersion, "invoke");
    EXPECT_EQ(invoker.next("failed"), "failed " + last.substr(9) + " 9");
}

TEST_F(RemotePlatformTest, IteratorEventsArriveInOrder) {
    Client client;
    client.send("iterate orvik.sl2.table.channels");
    // The service's first events may overtake the create answer; their own order holds.
    EXPECT_EQ(client.next("create"), "create 0");
    EXPECT_EQ(client.next("iterator"), "iterator ready 0");
    EXPECT_EQ(client.next("iterator"), "iterator total 12");
    tv.setRows("orvik.sl2.table.channels", {{"u", "d", "n", "1", "f"}});
    EXPECT_EQ(client.next("iterator"), "iterator update 1");
}

TEST_F(RemotePlatformTest, DaemonLossNeverHangsAndARestartIsPickedUp) {
    Client engine;
    ASSERT_EQ(engine.ask(std::string("watch ") + kVolume, "connect"), "connect 0");
    tv.setReply(kSwitch, tvsim::Reply::none());
    engine.send("source pauseAV");
    // The request waits for an outcome that will never come, until the service dies.
    EXPECT_EQ(engine.next("source", milliseconds(300)), "(nothing)");
    tvsimd->process().stop(SIGKILL);
    EXPECT_EQ(engine.next("source"), "source 0");
    // The type check before the read finds no service to connect anew with: the accessor's type-mismatch status.
    EXPECT_EQ(engine.ask(std::string("get ") + kVolume, "get"), "get 6 0");

    tvsimd = std::make_unique<Tvsimd>(s_bus->address());
    ASSERT_TRUE(tvsimd->ready());
    // The accessor made before works again, and its watch fires again.
    EXPECT_EQ(engine.ask(std::string("get ") + kVolume, "get"), "get 0 12");
    tv.setValue(kVolume, 77);
    EXPECT_EQ(engine.next("changed"), std::string("changed ") + kVolume + " 77");
}

TEST_F(RemotePlatformTest, AWatchAloneRecoversWhenItsBusComesBack) {
    // A bus at a fixed place, given without its guid so that a new bus there is the same address.
    const std::string socket = ::testing::TempDir() + "tvsim_bus_" + std::to_string(getpid());
    const std::string address = "unix:path=" + socket;
    auto bus = std::make_unique<PrivateDbusDaemon>(address);
    auto service = std::make_unique<Tvsimd>(address);
    ASSERT_TRUE(service->ready());
    // The call wins over TVSIM_BUS, which names the suite's bus.
    Client watcher(address);
    ASSERT_EQ(watcher.ask(std::string("watch ") + kVolume, "connect"), "connect 0");

    service.reset();
    bus.reset();
    std::remove(socket.c_str());
    bus = std::make_unique<PrivateDbusDaemon>(address);
    service = std::make_unique<Tvsimd>(address);
    ASSERT_TRUE(service->ready());
    // The watcher makes no call: its bus thread finds the bus again and connects anew by itself.
    tvsim::bus::TvControlProxy poker(address, milliseconds(5000));
    for (int attempt = 0; attempt < 50; ++attempt) {
        poker.setValue(kVolume, 50 + attempt);
        const std::string changed = watcher.next("changed", milliseconds(200));
        if (changed != "(nothing)") {
            EXPECT_EQ(changed.rfind(std::string("changed ") + kVolume + " ", 0), 0u) << changed;
            return;
        }
    }
    ADD_FAILURE() << "the watch never fired on the bus that came back";
}

}  // namespace
}  // namespace tvsimd_test
