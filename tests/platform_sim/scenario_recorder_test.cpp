// Recording: the journaling control notes the changes the TV took, and a
// journal with the records becomes the scenario that replays the session.
#include "recording_observers.h"

#include <tvsim/local_tv_control.h>
#include <tvsim/scenario_file.h>
#include <tvsim/scenario_player.h>
#include <tvsim/scenario_recorder.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

struct NoHost : tvsim::ScenarioHost {
    void leaveBus() override {}
    void returnToBus() override {}
};

// Steps follow the request before them; a tag made afresh each run becomes a pattern; an outcome answers the
// invoke that meets the recorded invoke's expectation.
TEST(ScenarioRecorderTest, JournalAndRecordsBecomeStepsAfterTheRequestsTheyFollowed) {
    tvsim::Simulator sim;
    sim.addAction("test.switch", [](unsigned int, const auto&) { return tvsim::Reply::none(); });
    sim.addInteger("test.banner", 0);
    tvsim::LocalTvControl local(sim);
    tvsim::JournalingTvControl control(local);
    control.setValue("test.banner", 1);
    const Clock::time_point start = Clock::now();
    control.startJournal(start);
    control.setValue("test.banner", 5);
    EXPECT_THROW(control.setValue("test.nothing", 1), tvsim::ControlError);
    control.setReply("test.switch", tvsim::Reply::failure(7));
    control.emitResult("test.switch", 42, simtest::arguments({{0, "done"}}));
    std::vector<tvsim::JournalingTvControl::Entry> journal = control.takeJournal();
    EXPECT_FALSE(control.journaling());
    ASSERT_EQ(3u, journal.size());
    for (std::size_t entry = 0; entry < journal.size(); ++entry) {
        journal[entry].at = start + milliseconds(std::vector<int>{100, 300, 450}[entry]);
    }
    tvsim::NewRecords records;
    records.connects.push_back({"test.switch", "c", 0, true, start + milliseconds(150), 0});
    records.invokes.push_back({"test.switch",
                               42,
                               simtest::arguments({{0, "ss_access_timercontrol12_3"}, {1, "2"}}),
                               0,
                               start + milliseconds(200),
                               {},
                               0});
    records.writes.push_back({"test.banner", 6, "c", start + milliseconds(400), 0});
    EXPECT_EQ(nlohmann::json::parse(R"({"name": "recorded", "time-limit-ms": 10000, "client-must-succeed": false,
      "steps": [{"at-ms": 100, "set-value": {"path": "test.banner", "value": 5}},
        {"after": "request-2", "delay-ms": 100, "set-reply": {"path": "test.switch", "reply": {"error": 7}}},
        {"after": "request-3", "delay-ms": 50, "emit-result": {"path": "test.switch", "action-id": "request-2",
         "results": ["done"]}}],
      "expectations": [{"connect": {"path": "test.switch"}, "sequence": "test.switch"},
        {"id": "request-2", "invoke": {"path": "test.switch", "arguments": {"0": {"regex":
         "ss_access_timercontrol[0-9]+_[0-9]+"}, "1": "2"}}, "sequence": "test.switch"},
        {"id": "request-3", "write": {"path": "test.banner", "value": 6}, "sequence": "test.banner"}]})"),
              nlohmann::json::parse(
                  tvsim::scenarioText(tvsim::recordedScenario({}, start, journal, records, std::chrono::seconds(1)))));

    // A play on the calling thread ends once nothing is left to wait for.
    NoHost host;
    tvsim::ScenarioPlayer player(
        control, host,
        tvsim::parseScenarioText(R"({"steps": [{"at-ms": 0, "set-value": {"path": "test.banner", "value": 3}}]})",
                                 "s.json", ""));
    EXPECT_EQ(0, tvsim::playScenario(player, sim).exitCode());
    EXPECT_EQ(3, sim.integer("test.banner"));
}

}  // namespace
