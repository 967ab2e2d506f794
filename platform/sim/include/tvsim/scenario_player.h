// Playing a scenario against the TV's controls: the steps run when due, the
// records clients leave are matched against the expectations, and the report
// says what held.
#pragma once

#include <tvsim/model_control.h>
#include <tvsim/scenario.h>
#include <tvsim/scenario_report.h>
#include <tvsim/tv_control.h>

#include <chrono>
#include <memory>
#include <optional>

namespace tvsim {

// What a player needs beyond the TV's controls. Called on the thread that drives the player.
class ScenarioHost {
public:
    virtual void leaveBus() = 0;     // clients see the service lost (pending outcomes fail, connections end)
    virtual void returnToBus() = 0;  // clients see it back

protected:
    ~ScenarioHost() = default;
};

// One play of a scenario: a state machine one thread drives (not thread-safe): start(), then advance() whenever
// the records may have changed (the model's generation moved) or the time it asked for has come.
class ScenarioPlayer {
public:
    using Clock = std::chrono::steady_clock;

    // The scenario as the decoder gives it: its patterns pass checkPattern and its ids name its own steps and
    // expectations (a scenario built in code is written and read back with scenarioText first).
    ScenarioPlayer(TvControl& control, ScenarioHost& host, Scenario scenario);
    ~ScenarioPlayer();

    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    // Clears the records, loads the scenario's TV, starts the timeline at `now`. ControlError/ModelFileError when
    // the TV does not load.
    void start(Clock::time_point now);
    // Runs the steps due by `now`, reads the records since the last look (recordsSince), decides expectations.
    // Answers when it must run next even if nothing is recorded (a step's due time, a window's end, the time
    // limit); nullopt once finished.
    std::optional<Clock::time_point> advance(Clock::time_point now);
    // The client command ended with this exit status (or -signal). The next advance decides what is pending
    // (unmet: "the client ended at 1.234 s") and finishes.
    void clientEnded(int status, Clock::time_point now);
    void stop(Clock::time_point now);  // finishes now, as at the time limit
    bool finished() const;
    const ScenarioReport& report() const;  // the progress so far, the whole report once finished

private:
    class Play;

    std::unique_ptr<Play> m_play;
};

// Plays on the calling thread until finished, waiting on the simulator's changes between looks
// (in-process tests and tools): start, then advance / waitForChange until finished.
ScenarioReport playScenario(ScenarioPlayer& player, ModelControl& model);

}  // namespace tvsim
