// sactl against the TV service: a private dbus-daemon and tvsimd as real
// processes, sactl run with --bus=ADDRESS (or TVSIM_BUS), and a bus client
// standing in for a client process of the library. Every sactl run is
// bounded by `timeout`; the fixtures stop their processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <regex>
#include <sstream>
#include <string>

#include "bus_processes.h"
#include "run_process.h"

namespace {

using tvsimd_test::BusClient;
using tvsimd_test::kControlPath;

constexpr const char* kSwitch = "orvik.sl2.action.source.switch";
constexpr const char* kSwitchObject = "/io/sysaccess/TvSim/model/orvik/sl2/action/source/switch";
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";

testsupport::ProcessRun runSactl(const std::string& arguments) {
    return testsupport::runShellCommand("timeout 20 " + testsupport::shellQuoted(SACTL_PATH) + " " + arguments);
}

// Frees a reply at the end of a step.
struct Reply {
    explicit Reply(sd_bus_message* message) : m(message) {}
    ~Reply() { sd_bus_message_unref(m); }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;
    sd_bus_message* m;
};

class SactlBusTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tvsimd.ready()) << "tvsimd did not print ready"; }

    // sactl --bus=ADDRESS ARGUMENTS; a failure shows its standard error.
    testsupport::ProcessRun sactl(const std::string& arguments, int exitCode = 0) {
        testsupport::ProcessRun run = runSactl("--bus=" + testsupport::shellQuoted(bus.address()) + " " + arguments);
        EXPECT_EQ(exitCode, run.exitCode) << arguments << "\n" << run.err;
        return run;
    }

    // Platform.Connect for the client: the status, and the connection id in `id`.
    int connect(BusClient& client, const char* path, std::uint64_t& id) {
        Reply reply(client.call(kControlPath, "io.sysaccess.TvSim.Platform", "Connect", "s", path));
        int status = -1;
        const char* object = nullptr;
        int type = 0;
        EXPECT_NE(reply.m, nullptr) << client.errorMessage();
        if (reply.m != nullptr) {
            EXPECT_GE(sd_bus_message_read(reply.m, "itoi", &status, &id, &object, &type), 0);
        }
        return status;
    }

    tvsimd_test::PrivateDbusDaemon bus;
    tvsimd_test::Tvsimd tvsimd{bus.address()};
};

// Each line of --json output is one JSON object.
std::vector<nlohmann::json> jsonLines(const std::string& out) {
    std::vector<nlohmann::json> lines;
    std::istringstream stream(out);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
}

TEST_F(SactlBusTest, ListsTheServedModelThroughTheOptionOrTheVariable) {
    EXPECT_EQ(sactl("list orvik.sl2.vstr.").out,
              "orvik.sl2.vstr.audio.languages     string-vector\n"
              "orvik.sl2.vstr.subtitle.languages  string-vector\n");
    const testsupport::ProcessRun inProcess = runSactl("--json list orvik.sl2.i32.audio.v");
    const testsupport::ProcessRun viaVariable =
        testsupport::runShellCommand("TVSIM_BUS=" + testsupport::shellQuoted(bus.address()) + " timeout 20 " +
                                     testsupport::shellQuoted(SACTL_PATH) + " --json list orvik.sl2.i32.audio.v");
    ASSERT_EQ(0, viaVariable.exitCode) << viaVariable.err;
    EXPECT_EQ(jsonLines(viaVariable.out), std::vector<nlohmann::json>({{{"path", kVolume}, {"type", "integer"}}}));
    EXPECT_EQ(inProcess.out, viaVariable.out) << "the in-process TV has the same default model";
}

// A fault injected with sactl applies to the next client of the service,
// in another process; clearing it lets the next connect through.
TEST_F(SactlBusTest, FaultsReachTheNextClientAndClearTakesThemBack) {
    const testsupport::ProcessRun injected =
        sactl("--json faults fail-connects " + std::string(kVolume) + " 7 --count 2");
    EXPECT_EQ(
        jsonLines(injected.out),
        std::vector<nlohmann::json>({{{"fault", "fail-connects"}, {"path", kVolume}, {"count", 2}, {"status", 7}}}));
    BusClient client(bus.address());
    std::uint64_t id = 0;
    EXPECT_EQ(7, connect(client, kVolume, id));
    sactl("faults clear " + std::string(kVolume));
    EXPECT_EQ(0, connect(client, kVolume, id));
    EXPECT_NE(0u, id);
}

// responders set makes the client's invoke fail with the code; records shows
// the client's connect and invoke with its arguments; --clear forgets them.
TEST_F(SactlBusTest, RespondersAndRecordsRoundTrip) {
    EXPECT_EQ(sactl("responders set " + std::string(kSwitch) + " --failure 42").out,
              std::string(kSwitch) + " answers failure 42 delay-ms=0 copies=1\n");
    BusClient client(bus.address());
    std::uint64_t id = 0;
    ASSERT_EQ(0, connect(client, kSwitch, id));
    Reply invoked(
        client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 1, 0, 2, 0, "hbbtv"));
    ASSERT_NE(invoked.m, nullptr) << client.errorMessage();
    ASSERT_TRUE(client.waitForSignals(1));
    EXPECT_EQ("ExecutionError", client.signals()[0].member);

    const std::vector<nlohmann::json> records = jsonLines(sactl("--json records --clear").out);
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(records[0]["record"], "connect");
    EXPECT_EQ(records[0]["path"], kSwitch);
    EXPECT_EQ(records[0]["client"].get<std::string>().rfind(client.uniqueName(), 0), 0u) << records[0];
    EXPECT_EQ(records[1]["record"], "invoke");
    EXPECT_EQ(records[1]["arguments"], nlohmann::json::parse(R"([{"position": 2, "value": "hbbtv"}])"));
    EXPECT_EQ(sactl("records").out, "");
    EXPECT_EQ(sactl("responders clear " + std::string(kSwitch)).out,
              std::string(kSwitch) + " answers as its model says\n");
}

// sactl processes and one TV: a watcher sees the set made by another process
// and its own, a library client's pauseAV shows in the records, and a table
// reads through an iterator of the service as it does in process.
TEST_F(SactlBusTest, ProcessesShareOneTv) {
    tvsimd_test::ChildProcess watcher(
        {SACTL_PATH, "--bus=" + bus.address(), "watch", kVolume, "--count", "1", "--for", "15"});
    EXPECT_THAT(watcher.readLine(), ::testing::EndsWith(" initial " + std::string(kVolume) + " = 12"));
    EXPECT_EQ(sactl("set " + std::string(kVolume) + " 30").out, std::string(kVolume) + " = 30\n");
    EXPECT_THAT(watcher.readLine(), ::testing::EndsWith(" changed " + std::string(kVolume) + " = 30"));
    EXPECT_EQ(0, watcher.waitForExit());
    // A watch that makes the change itself ends once the change came back over the bus.
    EXPECT_THAT(sactl("watch " + std::string(kVolume) + " --then 'set " + kVolume + " 31'").out,
                ::testing::HasSubstr(" changed " + std::string(kVolume) + " = 31\n"));

    const std::string paused = sactl("source pauseAV").out;
    EXPECT_THAT(paused, ::testing::StartsWith("pauseAV() -> true\n"));
    EXPECT_THAT(paused, ::testing::HasSubstr("TV now: video=web-engine audio=web-engine psi=system playback-status=0 "
                                             "channel-index=0 \"News One\" dvb://1.1.101 no-banner=0\n"));
    const std::vector<nlohmann::json> records = jsonLines(sactl("--json records").out);
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back()["record"], "invoke");
    EXPECT_EQ(records.back()["path"], kSwitch);
    EXPECT_EQ(records.back()["arguments"][1], nlohmann::json::parse(R"({"position": 1, "value": "2"})"));

    const std::string table = sactl("table orvik.sl2.table.channels").out;
    EXPECT_EQ(table, runSactl("table orvik.sl2.table.channels").out);
    EXPECT_THAT(table, ::testing::HasSubstr("dvb://1.1.101  News One"));
}

struct BadBusCase {
    const char* name;
    std::string arguments;
    std::string error;  // a regular expression for the one line after "sactl: "
};

// What sactl cannot do on the bus ends in one line and a non-zero exit.
TEST_F(SactlBusTest, BadBusesAndRefusalsAreOneLineErrors) {
    tvsimd_test::PrivateDbusDaemon emptyBus;  // no TV service on it
    const BadBusCase cases[] = {
        {"NoBusThere", "--bus=unix:path=/nonexistent/bus list",
         R"(cannot reach the bus at 'unix:path=/nonexistent/bus': .+)"},
        {"NoServiceOnTheBus", "--bus=" + testsupport::shellQuoted(emptyBus.address()) + " list",
         R"(List on the TV service: .*io\.sysaccess\.TvSim.*)"},
        {"ModelFileGoesToTheService", "--bus=" + testsupport::shellQuoted(bus.address()) + " --model x.json list",
         R"(--model loads the TV in this process; .+)"},
    };
    for (const BadBusCase& badCase : cases) {
        SCOPED_TRACE(badCase.name);
        const testsupport::ProcessRun run = runSactl(badCase.arguments);
        EXPECT_NE(0, run.exitCode);
        EXPECT_EQ("", run.out);
        EXPECT_TRUE(std::regex_match(run.err, std::regex("sactl: " + badCase.error + "\n"))) << run.err;
    }
}

}  // namespace
