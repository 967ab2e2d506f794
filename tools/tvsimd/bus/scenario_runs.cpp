#include "scenario_runs.h"

#include "bus_error.h"
#include "log.h"
#include "method_support.h"

#include <tvsim/scenario_file.h>

#include <base/log_text.h>

#include <algorithm>
#include <ctime>
#include <exception>

namespace tvsimd {

using namespace tvsim::bus;  // the service's errors and message codec
namespace {

std::uint64_t monotonicUsec(ScenarioRuns::Clock::time_point at) {
    // steady_clock is CLOCK_MONOTONIC, the clock sd-event's timers run on.
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(at.time_since_epoch()).count());
}

// Replies (b finished, s report); a report too long for one message is an error instead.
int replyReport(sd_bus_message* call, bool finished, const std::string& report) {
    ReplyArraySize("report text").add(report.size());
    return reply(call, [&](sd_bus_message* answer) {
        check(sd_bus_message_append(answer, "bs", finished, report.c_str()), "append the play's report");
    });
}

// Counts what the dashboard shows of a report: whether it finished, the steps and the expectations in each
// state, the unexpected requests, whether the client ended.
std::array<std::size_t, 10> progressOf(const tvsim::ScenarioReport& report) {
    std::array<std::size_t, 10> progress{};
    progress[0] = report.finished ? 1 : 0;
    for (const tvsim::StepReport& step : report.steps) {
        ++progress[1 + static_cast<std::size_t>(step.state)];  // four states
    }
    for (const tvsim::ExpectationReport& expectation : report.expectations) {
        ++progress[5 + static_cast<std::size_t>(expectation.state)];  // three states
    }
    progress[8] = report.unexpected.size();
    progress[9] = report.clientStatus ? 1 : 0;
    return progress;
}

}  // namespace

ScenarioRuns::ScenarioRuns(tvsim::Simulator& simulator, tvsim::JournalingTvControl& control, tvsim::ScenarioHost& host,
                           ScenarioSnapshot& snapshot, tvsim::ScenarioTv recordedTv)
    : m_simulator(simulator),
      m_control(control),
      m_host(host),
      m_snapshot(snapshot),
      m_recordedTv(std::move(recordedTv)) {}

ScenarioRuns::~ScenarioRuns() {
    while (!m_waits.empty()) {
        drop(m_waits.begin());
    }
    sd_event_source_disable_unref(m_timer);
    sd_event_source_unref(m_post);
}

void ScenarioRuns::attach(sd_event* event) {
    m_event = event;
    check(sd_event_add_post(event, &m_post, &ScenarioRuns::onPost, this), "add the scenario's post source");
    // Armed while a play waits for a time. Accurate to the microsecond: sd-event lets a timer of 1 ms accuracy
    // fire anywhere in the millisecond after it is due (0 would mean 250 ms), and a step late by that much was
    // most of the time from its due time to the client's handler.
    check(sd_event_add_time(event, &m_timer, CLOCK_MONOTONIC, 0, 1, &ScenarioRuns::onTimer, this),
          "add the scenario's timer");
    check(sd_event_source_set_enabled(m_timer, SD_EVENT_OFF), "disarm the scenario's timer");
}

bool ScenarioRuns::playing() const {
    return m_player != nullptr && !m_player->finished();
}

void ScenarioRuns::refuseIfBusy() const {
    if (playing()) {
        throw BusError(kErrorBusy, "A scenario play started by " + m_playOwner + " is in progress.");
    }
    if (!m_recordingOwner.empty()) {
        throw BusError(kErrorBusy, "A recording started by " + m_recordingOwner + " is in progress.");
    }
}

void ScenarioRuns::requireOwner(const std::string& caller, const std::string& owner, const char* what) {
    if (caller != owner) {
        throw BusError(SD_BUS_ERROR_ACCESS_DENIED,
                       "Only " + owner + ", which started the " + what + ", may end it or tell it of its client.");
    }
}

void ScenarioRuns::play(const std::string& caller, tvsim::Scenario scenario) {
    refuseIfBusy();
    auto player = std::make_unique<tvsim::ScenarioPlayer>(m_control, m_host, std::move(scenario));
    player->start(Clock::now());
    m_player = std::move(player);
    m_playOwner = caller;
    m_published.reset();
    m_seen = m_simulator.generation();
    advance();
}

void ScenarioRuns::clientEnded(const std::string& caller, int status) {
    if (!playing()) {
        return;
    }
    requireOwner(caller, m_playOwner, "play");
    m_player->clientEnded(status, Clock::now());
    advance();
}

void ScenarioRuns::stop(const std::string& caller) {
    if (!playing()) {
        return;
    }
    requireOwner(caller, m_playOwner, "play");
    m_player->stop(Clock::now());
    afterLook(std::nullopt);
}

std::string ScenarioRuns::report() const {
    return m_player == nullptr ? "" : tvsim::reportJson(m_player->report());
}

void ScenarioRuns::advance() {
    std::optional<Clock::time_point> next;
    try {
        next = m_player->advance(Clock::now());
    } catch (const std::exception& error) {
        // What the TV refuses is in the report; anything else ends the play rather than the service.
        logLine(kLogError, std::string("scenario: ") + error.what());
        m_player->stop(Clock::now());
    }
    afterLook(next);
}

void ScenarioRuns::publish() {
    const std::array<std::size_t, 10> progress = progressOf(m_player->report());
    if (progress != m_published) {
        m_published = progress;
        m_snapshot.publish(m_player->report());
    }
}

void ScenarioRuns::afterLook(std::optional<Clock::time_point> next) {
    publish();
    if (next && !m_player->finished()) {
        check(sd_event_source_set_time(m_timer, monotonicUsec(*next)), "set the scenario's timer");
        check(sd_event_source_set_enabled(m_timer, SD_EVENT_ONESHOT), "arm the scenario's timer");
        return;
    }
    sd_event_source_set_enabled(m_timer, SD_EVENT_OFF);
    const tvsim::ScenarioReport& report = m_player->report();
    logLine(kLogInfo, "scenario '" + std::string(velmora::base::blog::LoggedText(report.name.c_str()).c_str()) +
                          "' finished with exit code " + std::to_string(report.exitCode()));
    while (!m_waits.empty()) {
        answer(m_waits.begin());
    }
}

int ScenarioRuns::onPost(sd_event_source*, void* runs) {
    auto& self = *static_cast<ScenarioRuns*>(runs);
    const std::uint64_t generation = self.m_simulator.generation();
    if (self.playing() && generation != self.m_seen) {
        self.m_seen = generation;
        self.advanceFromLoop();
    }
    return 0;
}

int ScenarioRuns::onTimer(sd_event_source*, std::uint64_t, void* runs) {
    auto& self = *static_cast<ScenarioRuns*>(runs);
    if (self.playing()) {
        self.advanceFromLoop();
    }
    return 0;
}

void ScenarioRuns::advanceFromLoop() {
    try {
        advance();
    } catch (const std::exception& error) {
        // Nothing of it may reach sd-event; the next turn or change looks again.
        logLine(kLogError, std::string("scenario: ") + error.what());
    }
}

int ScenarioRuns::wait(sd_bus_message* call, std::chrono::milliseconds timeout) {
    if (timeout < std::chrono::milliseconds(0) || timeout > kMaxScenarioWait) {
        throw tvsim::ControlError(tvsim::ControlErrorKind::OUT_OF_RANGE,
                                  "A wait on a play lasts at most " + std::to_string(kMaxScenarioWait.count()) +
                                      " ms; got " + std::to_string(timeout.count()) + ".");
    }
    if (!playing() || timeout.count() == 0) {
        return replyReport(call, m_player != nullptr && m_player->finished(), report());
    }
    if (m_waits.size() >= kMaxScenarioWaits) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED,
                       "The service holds " + std::to_string(kMaxScenarioWaits) + " waits on the play already.");
    }
    auto wait = m_waits.insert(m_waits.end(), Wait{sd_bus_message_ref(call), senderOf(call)});
    const auto usec = static_cast<std::uint64_t>(std::chrono::microseconds(timeout).count());
    const int added = sd_event_add_time_relative(m_event, &wait->timer, CLOCK_MONOTONIC, usec, 1000,
                                                 &ScenarioRuns::onWaitTimeout, this);
    if (added < 0) {
        drop(wait);
        check(added, "add a play wait's timer");
    }
    return 1;
}

int ScenarioRuns::onWaitTimeout(sd_event_source* source, std::uint64_t, void* runs) {
    auto& self = *static_cast<ScenarioRuns*>(runs);
    const auto wait = std::find_if(self.m_waits.begin(), self.m_waits.end(),
                                   [source](const Wait& each) { return each.timer == source; });
    if (wait != self.m_waits.end()) {
        self.answer(wait);
    }
    return 0;
}

void ScenarioRuns::answer(std::list<Wait>::iterator wait) {
    replyKeptCall(wait->call, [&] { return replyReport(wait->call, m_player->finished(), report()); });
    drop(wait);
}

void ScenarioRuns::drop(std::list<Wait>::iterator wait) {
    sd_event_source_disable_unref(wait->timer);
    sd_bus_message_unref(wait->call);
    m_waits.erase(wait);
}

void ScenarioRuns::startRecording(const std::string& caller) {
    refuseIfBusy();
    m_recordingStart = Clock::now();
    m_control.startJournal(m_recordingStart);
    m_recordingOwner = caller;
}

std::string ScenarioRuns::stopRecording(const std::string& caller) {
    if (m_recordingOwner.empty()) {
        throw BusError(SD_BUS_ERROR_FAILED, "No recording is in progress.");
    }
    requireOwner(caller, m_recordingOwner, "recording");
    m_recordingOwner.clear();
    const Clock::time_point now = Clock::now();
    const std::vector<tvsim::JournalingTvControl::Entry> journal = m_control.takeJournal();
    const tvsim::NewRecords records = m_control.recordsSince(tvsim::RecordCursor{});
    return tvsim::scenarioText(
        tvsim::recordedScenario(m_recordedTv, m_recordingStart, journal, records,
                                std::chrono::duration_cast<std::chrono::milliseconds>(now - m_recordingStart)));
}

void ScenarioRuns::clientLeft(const std::string& client) {
    for (auto wait = m_waits.begin(); wait != m_waits.end();) {
        auto next = std::next(wait);
        if (wait->client == client) {
            drop(wait);
        }
        wait = next;
    }
    if (!m_recordingOwner.empty() && m_recordingOwner == client) {
        m_recordingOwner.clear();
        m_control.takeJournal();
    }
}

}  // namespace tvsimd
