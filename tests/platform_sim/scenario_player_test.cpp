// Plays of scenarios on the in-process simulator, driven at chosen times: a
// client's requests meet expectations or miss them, and the report says which
// record came closest and why it did not count.
#include "recording_observers.h"

#include <tvsim/local_tv_control.h>
#include <tvsim/scenario_file.h>
#include <tvsim/scenario_player.h>

#include <gtest/gtest.h>

namespace {

using simtest::connect;
using std::chrono::milliseconds;
using Clock = tvsim::ScenarioPlayer::Clock;

struct LoggingHost : tvsim::ScenarioHost {
    void leaveBus() override { log += "leave "; }
    void returnToBus() override { log += "return "; }
    std::string log;
};

// A group met in another order than listed, a sequence that holds back a record that comes too soon, a step
// after an expectation answering the invoke that met it, windows missed early and late, a refused step, a
// platform-away, and an invoke nothing expected.
TEST(ScenarioPlayerTest, ReportTellsWhatMetEachExpectationAndWhyTheClosestRecordsMissed) {
    tvsim::Simulator sim;
    sim.addAction("test.switch", [](unsigned int, const auto&) { return tvsim::Reply::none(); });
    sim.addInteger("test.banner", 0);
    sim.addInteger("test.volume", 0);
    tvsim::LocalTvControl control(sim);
    LoggingHost host;
    tvsim::ScenarioPlayer player(control, host,
                                 tvsim::parseScenarioText(R"({"name": "in process",
      "steps": [{"id": "answer", "after": "took", "emit-result": {"path": "test.switch", "action-id": "took",
                 "results": ["done"]}},
                {"at-ms": 3000, "set-value": {"path": "test.volume", "value": 9}},
                {"at-ms": 3000, "set-value": {"path": "test.nothing", "value": 1}},
                {"at-ms": 3000, "platform-away": {"for-ms": 500}}],
      "expectations": [{"write": {"path": "test.banner", "value": 1}, "sequence": "s", "group": "g"},
        {"connect": {"path": "test.volume"}, "sequence": "s", "group": "g"},
        {"id": "took", "invoke": {"path": "test.switch", "arguments": {"0": {"regex": "t[0-9]+"}}}, "sequence": "s"},
        {"invoke": {"path": "test.switch", "arguments": {"0": "again"}}, "window": {"to-ms": 500}, "sequence": "a"},
        {"invoke": {"path": "test.switch", "arguments": {"0": {"regex": "t[0-9]+"}}}},
        {"write": {"path": "test.banner", "value": 2}, "window": {"after": "answer"}},
        {"write": {"path": "test.volume", "value": {"any": true}}, "sequence": "s"}],
      "nothing-else": ["test.switch"]})",
                                                          "s.json", ""));
    // The play started a second ago, so that every request comes after 1 s.
    const Clock::time_point start = Clock::now() - std::chrono::seconds(1);
    player.start(start);
    simtest::IntegerObserver watcher;
    simtest::ActionObserver switcher;
    auto* banner = connect<NumericIntegerObject>("test.banner", &watcher);
    auto* volume = connect<NumericIntegerObject>("test.volume", &watcher);
    auto* action = connect<ActionObject>("test.switch", &switcher);
    volume->setValue(7);
    unsigned int actionId = 0;
    action->invoke(actionId, simtest::arguments({{0, "t1"}}));
    banner->setValue(1);
    action->invoke(actionId, simtest::arguments({{0, "t2"}}));
    const unsigned int tookId = actionId;
    action->invoke(actionId, simtest::arguments({{0, "again"}}));
    banner->setValue(2);

    EXPECT_EQ(start + milliseconds(3000), player.advance(start + milliseconds(2000)));
    EXPECT_EQ(start + milliseconds(3500), player.advance(start + milliseconds(3000)));
    EXPECT_EQ("leave ", host.log);
    EXPECT_EQ(start + milliseconds(10000), player.advance(start + milliseconds(3500)));
    player.clientEnded(0, start + milliseconds(4000));
    EXPECT_EQ(std::nullopt, player.advance(start + milliseconds(4000)));
    sim.flush();
    EXPECT_EQ("result " + std::to_string(tookId), simtest::joined(switcher.log.take(), ";"));
    EXPECT_EQ("leave return ", host.log);
    EXPECT_EQ(9, sim.integer("test.volume"));

    const auto at = [&](Clock::time_point time) {
        return tvsim::secondsText(std::chrono::duration_cast<milliseconds>(time - start));
    };
    const std::vector<tvsim::InvokeRecord> invokes = control.invokes();
    const std::vector<tvsim::WriteRecord> writes = control.writes();
    const tvsim::ScenarioReport& report = player.report();
    EXPECT_EQ(2, report.exitCode());
    EXPECT_EQ(
        "scenario 'in process': a step was refused after 4.000 s\n"
        "step 1 (answer): emit-result test.switch id of 'took': ran at 2.000 s\n"
        "step 2: set-value test.volume = 9: ran at 3.000 s\n"
        "step 3: set-value test.nothing = 1: refused at 3.000 s: The model holds no object at 'test.nothing'.\n"
        "step 4: platform-away 500 ms: ran at 3.500 s\n"
        "expectation 1: write test.banner value=1: met at " +
            at(writes[1].at) +
            " by write #2 test.banner = 1\n"
            "expectation 2: connect test.volume: met at " +
            at(control.connects()[1].at) +
            " by connect #2 test.volume\n"
            "expectation 3 (took): invoke test.switch 0~t[0-9]+: met at " +
            at(invokes[1].invokedAt) +
            " by invoke #2 test.switch [t2]\n"
            "expectation 4: invoke test.switch 0=again: UNMET: the window ended at 0.500 s\n"
            "  closest: invoke #3 test.switch [again]: too late: at " +
            at(invokes[2].invokedAt) +
            ", the window ended at 0.500 s\n"
            "  closest: invoke #2 test.switch [t2]: position 0: 't2' is not 'again'\n"
            "  closest: invoke #1 test.switch [t1]: position 0: 't1' is not 'again'\n"
            "expectation 5: invoke test.switch 0~t[0-9]+: met at " +
            at(invokes[0].invokedAt) +
            " by invoke #1 test.switch [t1]\n"
            "expectation 6: write test.banner value=2: UNMET: the client ended at 4.000 s\n"
            "  closest: write #3 test.banner = 2: too early: at " +
            at(writes[2].at) +
            ", before 'answer' ran\n"
            "  closest: write #2 test.banner = 1: value: '1' is not '2'\n"
            "  closest: write #1 test.volume = 7: another path\n"
            "expectation 7: write test.volume value=*: UNMET: the client ended at 4.000 s\n"
            "  closest: write #1 test.volume = 7: out of order: before 'took' was met\n"
            "  closest: write #3 test.banner = 2: another path\n"
            "  closest: write #2 test.banner = 1: another path\n"
            "unexpected: invoke #3 test.switch [again]\n"
            "client: exited with status 0\n",
        tvsim::reportText(report));
    EXPECT_EQ(tvsim::reportJson(report), tvsim::reportJson(tvsim::parseReportJson(tvsim::reportJson(report))));
    EXPECT_NE(std::string::npos, tvsim::reportJUnit(report).find(R"(tests="9" failures="4" errors="1" time="4.000")"));
    for (auto [path, object] : {std::pair{"test.banner", banner}, {"test.volume", volume}}) {
        simtest::lookUpRoot()->disconnect(path, &watcher, object);
    }
    simtest::lookUpRoot()->disconnect("test.switch", &switcher, action);
}

}  // namespace
