// The Scenario interface's plays and recordings, one at a time, driven on the
// bus thread (bus thread only, no lock). A play's player looks again after
// every turn of the event loop in which the simulator's generation moved (an
// sd-event post source, as RecordWaits looks), so it sees a request in the
// turn that recorded it, and at the time it asked for (a timer), for steps
// and windows that fall due with nothing recorded. Scenario.Wait calls are
// kept and answered from here when the play finishes or at their time-out.
//
// A play or recording belongs to the peer that started it: only that peer may
// stop it, end its client or take the recording. A play whose peer left the
// bus runs on to its end (its time limit at most); a recording, which has no
// end of its own, ends unread when its peer leaves.
#pragma once

#include "scenario_snapshot.h"

#include <tvsim/scenario.h>
#include <tvsim/scenario_player.h>
#include <tvsim/scenario_recorder.h>
#include <tvsim/simulator.h>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace tvsimd {

// How many Scenario.Wait calls the service keeps in progress at once, over every client; one more is refused
// (org.freedesktop.DBus.Error.LimitsExceeded). The longest a wait may last is the longest play.
constexpr std::size_t kMaxScenarioWaits = 16;
constexpr std::chrono::milliseconds kMaxScenarioWait = tvsim::kMaxScenarioTimeLimit;

class ScenarioRuns {
public:
    using Clock = std::chrono::steady_clock;

    // recordedTv is the TV a recorded scenario starts with: the service's own model.
    ScenarioRuns(tvsim::Simulator& simulator, tvsim::JournalingTvControl& control, tvsim::ScenarioHost& host,
                 ScenarioSnapshot& snapshot, tvsim::ScenarioTv recordedTv);
    ~ScenarioRuns();  // drops every wait unanswered

    ScenarioRuns(const ScenarioRuns&) = delete;
    ScenarioRuns& operator=(const ScenarioRuns&) = delete;

    void attach(sd_event* event);  // before the first play

    // Starts the play for the caller: Busy while a play or recording runs; the TV's error when its TV does
    // not load.
    void play(const std::string& caller, tvsim::Scenario scenario);
    // The play's client command ended (with its exit status, or -signal); nothing when no play runs.
    void clientEnded(const std::string& caller, int status);
    void stop(const std::string& caller);  // ends the play now; nothing when no play runs
    // reportJson of the play in progress or the last one; "" before the first.
    std::string report() const;
    // Answers (b finished, s report) when the play finishes, or at the time-out (0 to kMaxScenarioWait).
    int wait(sd_bus_message* call, std::chrono::milliseconds timeout);

    void startRecording(const std::string& caller);        // Busy while a play or recording runs
    std::string stopRecording(const std::string& caller);  // the recorded scenario's file text

    void clientLeft(const std::string& client);  // its waits end, its recording too

private:
    struct Wait {
        sd_bus_message* call;
        std::string client;
        sd_event_source* timer = nullptr;
    };

    static int onPost(sd_event_source* source, void* runs);
    static int onTimer(sd_event_source* source, std::uint64_t usec, void* runs);
    static int onWaitTimeout(sd_event_source* source, std::uint64_t usec, void* runs);

    bool playing() const;
    void refuseIfBusy() const;
    // Refuses a caller other than the owner of what `what` names ("play", "recording").
    static void requireOwner(const std::string& caller, const std::string& owner, const char* what);
    // Lets the player look now, then waits for the time it asks for, or answers the waits once it finished.
    void advance();
    void advanceFromLoop();  // advance() from an event source: what it throws is logged
    void afterLook(std::optional<Clock::time_point> next);
    // Publishes the report when what the dashboard shows of it moved.
    void publish();
    void answer(std::list<Wait>::iterator wait);
    void drop(std::list<Wait>::iterator wait);

    tvsim::Simulator& m_simulator;
    tvsim::JournalingTvControl& m_control;
    tvsim::ScenarioHost& m_host;
    ScenarioSnapshot& m_snapshot;
    const tvsim::ScenarioTv m_recordedTv;
    sd_event* m_event = nullptr;
    sd_event_source* m_post = nullptr;
    sd_event_source* m_timer = nullptr;
    std::unique_ptr<tvsim::ScenarioPlayer> m_player;  // the play in progress, or the last one
    std::string m_playOwner;
    std::uint64_t m_seen = 0;  // the generation the player last looked at
    // How many steps and expectations are in each state, and more, when the report was last published: a
    // client that moves the generation thousands of times a second makes as many looks, not copies.
    std::optional<std::array<std::size_t, 10>> m_published;
    std::string m_recordingOwner;  // "" when no recording runs
    Clock::time_point m_recordingStart;
    std::list<Wait> m_waits;
};

}  // namespace tvsimd
