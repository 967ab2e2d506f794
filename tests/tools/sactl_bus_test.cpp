// sactl against the TV service: a private dbus-daemon and tvsimd as real
// processes, sactl run with --bus=ADDRESS (or TVSIM_BUS), and a bus client
// standing in for a client process of the library. Every sactl run is
// bounded by `timeout`; the fixtures stop their processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <future>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "bus_processes.h"
#include "run_process.h"

namespace {

using tvsim::bus::Message;
using tvsimd_test::BusClient;

constexpr const char* kSwitch = "orvik.sl2.action.source.switch";
constexpr const char* kSwitchObject = "/io/sysaccess/TvSim/model/orvik/sl2/action/source/switch";
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kVolumeObject = "/io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume";

testsupport::ProcessRun runSactl(const std::string& arguments) {
    return testsupport::runShellCommand("timeout 20 " + testsupport::shellQuoted(SACTL_PATH) + " " + arguments);
}

class SactlBusTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tvsimd.ready()) << "tvsimd did not print ready"; }

    // sactl --bus=ADDRESS ARGUMENTS; a failure shows its standard error.
    testsupport::ProcessRun sactl(const std::string& arguments) {
        testsupport::ProcessRun run = runSactl("--bus=" + testsupport::shellQuoted(bus.address()) + " " + arguments);
        EXPECT_EQ(0, run.exitCode) << arguments << "\n" << run.err;
        return run;
    }

    tvsimd_test::PrivateDbusDaemon bus;
    tvsimd_test::Tvsimd tvsimd{bus.address(), {"--max-records", "2"}};
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

// The served model is the in-process TV's default one, whether the bus is named by the option or the variable.
TEST_F(SactlBusTest, ListsTheServedModelThroughTheOptionOrTheVariable) {
    EXPECT_EQ(sactl("list orvik.sl2.vstr.").out, runSactl("list orvik.sl2.vstr.").out);
    const testsupport::ProcessRun viaVariable =
        testsupport::runShellCommand("TVSIM_BUS=" + testsupport::shellQuoted(bus.address()) + " timeout 20 " +
                                     testsupport::shellQuoted(SACTL_PATH) + " --json list orvik.sl2.i32.audio.v");
    ASSERT_EQ(0, viaVariable.exitCode) << viaVariable.err;
    EXPECT_EQ(jsonLines(viaVariable.out), std::vector<nlohmann::json>({{{"path", kVolume}, {"type", "integer"}}}));
}

// responders set makes the client's invoke fail with the code; records shows
// how many the service dropped beyond its limit, then the client's connects and
// invoke with its arguments and its write; records wait write matches the
// value's text; --clear forgets them.
TEST_F(SactlBusTest, RespondersAndRecordsRoundTrip) {
    EXPECT_EQ(sactl("responders set " + std::string(kSwitch) + " --failure 42").out,
              std::string(kSwitch) + " answers failure 42 delay-ms=0 copies=1\n");
    BusClient client(bus.address());
    client.connect(kVolume);
    const std::uint64_t volume = client.connect(kVolume);
    const std::uint64_t id = client.connect(kSwitch);
    ASSERT_TRUE(
        Message(client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 1, 0, 2, 0, "hbbtv")))
        << client.errorMessage();
    ASSERT_TRUE(client.waitForSignals(1));
    EXPECT_EQ("ExecutionError", client.signals()[0].member);
    ASSERT_TRUE(Message(client.call(kVolumeObject, "io.sysaccess.TvSim.Value", "SetValue", "tv", volume, "i", 30)));

    EXPECT_EQ(sactl("records wait write " + std::string(kVolume) + " '0~3.'").out,
              "write " + std::string(kVolume) + " = 30 client=" + client.uniqueName() + "#2\n");
    const testsupport::ProcessRun missed = runSactl("--bus=" + testsupport::shellQuoted(bus.address()) +
                                                    " records wait write " + kVolume + " 0=3 --timeout 100");
    EXPECT_EQ(1, missed.exitCode);
    EXPECT_THAT(missed.out, ::testing::EndsWith(": value: '30' is not '3'\n"));

    const std::vector<nlohmann::json> records = jsonLines(sactl("--json records --clear").out);
    ASSERT_EQ(5u, records.size());
    EXPECT_EQ(records[0], nlohmann::json({{"record", "dropped"}, {"connects", 1}, {"invokes", 0}, {"writes", 0}}));
    EXPECT_EQ(records[1]["path"], kVolume);
    EXPECT_EQ(records[2]["record"], "connect");
    EXPECT_EQ(records[2]["path"], kSwitch);
    EXPECT_EQ(records[2]["client"], client.uniqueName() + "#3");
    EXPECT_EQ(records[3]["record"], "invoke");
    EXPECT_EQ(records[3]["arguments"], nlohmann::json::parse(R"([{"position": 2, "value": "hbbtv"}])"));
    EXPECT_EQ(records[4]["value"], 30);
    EXPECT_EQ(sactl("records").out, "");
    EXPECT_EQ(sactl("responders clear " + std::string(kSwitch)).out,
              std::string(kSwitch) + " answers as its model says\n");
}

// records wait answers once the client's invoke comes, while the service answers other calls; one that times
// out prints the closest record with why it did not match, and fails.
TEST_F(SactlBusTest, RecordsWaitAnswersOnArrivalOrTellsTheClosestAtItsTimeout) {
    tvsimd_test::ChildProcess waiter(
        {SACTL_PATH, "--bus=" + bus.address(), "records", "wait", "invoke", kSwitch, "2~hb.*", "--timeout", "20000"});
    EXPECT_EQ(sactl("records").out, "");
    BusClient client(bus.address());
    const std::uint64_t id = client.connect(kSwitch);
    ASSERT_TRUE(
        Message(client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 1, 0, 2, 0, "hbbtv")))
        << client.errorMessage();
    EXPECT_THAT(waiter.readLine(), ::testing::StartsWith("invoke " + std::string(kSwitch) + " status=0 id=1 [2]="));
    EXPECT_EQ(0, waiter.waitForExit());

    const testsupport::ProcessRun missed = runSactl("--bus=" + testsupport::shellQuoted(bus.address()) +
                                                    " records wait invoke " + kSwitch + " 2=dvb --timeout 100");
    EXPECT_EQ(1, missed.exitCode);
    EXPECT_THAT(missed.out, ::testing::EndsWith(": position 2: 'hbbtv' is not 'dvb'\n"));
    EXPECT_EQ(missed.err, "sactl: no invoke of " + std::string(kSwitch) + " matched within 100 ms\n");
}

// sactl processes and one TV: a watcher sees the set made by another process
// and its own, pauseAV reports the service's source-switch state, and a table
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

    const std::string table = sactl("table orvik.sl2.table.channels").out;
    EXPECT_EQ(table, runSactl("table orvik.sl2.table.channels").out);
    EXPECT_THAT(table, ::testing::HasSubstr("dvb://1.1.101  News One"));
}

// The service going away during an operation: the operation's result line
// still comes, then one line saying the service went away.
TEST_F(SactlBusTest, ServiceGoneDuringASourceOperationLeavesTheResultLineAndOneReason) {
    sactl("responders set " + std::string(kSwitch) + " --no-reply");
    auto operation = std::async(std::launch::async, [&] {
        return runSactl("--bus=" + testsupport::shellQuoted(bus.address()) + " --timeout 10000 source pauseAV");
    });
    BusClient records(bus.address());  // not sactl: runShellCommand is one at a time in a process
    const auto invoked = [&] {
        Message reply(records.call(tvsimd_test::kControlPath, "io.sysaccess.TvSim.Control.Records", "Invokes", ""));
        return reply && sd_bus_message_enter_container(reply.get(), 'a', "(suia(nnns))") > 0 &&
               sd_bus_message_at_end(reply.get(), 0) == 0;
    };
    for (int attempt = 0; attempt < 200 && !invoked(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    tvsimd.process().stop(SIGKILL);
    const testsupport::ProcessRun run = operation.get();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("pauseAV() -> false\n", run.out);
    EXPECT_TRUE(std::regex_match(run.err, std::regex("sactl: the TV service at '.+' went away \\(.+\\)\n"))) << run.err;
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
         R"(no TV service answers at 'unix:.*' \(.*io\.sysaccess\.TvSim.*\))"},
        {"NothingListensThere", "--bus=tcp:host=127.0.0.1,port=1 list",
         R"(no TV service answers at 'tcp:host=127\.0\.0\.1,port=1' \(.+\))"},
        // The bus carries UTF-8 only; the TV in process answers the same line for the path.
        {"PathThatIsNotUtf8", "--bus=" + testsupport::shellQuoted(bus.address()) + " get 'orvik.\xff'",
         "The model holds no object at 'orvik\\.\xff'\\."},
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
