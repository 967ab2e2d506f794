// A scenario's steps against tvsimd on a private dbus-daemon: a set-value step
// timed from its due time until a ValueHandler of the library in this process
// has the value, beside a plain Control.Set of the same path to the same
// handler in the same run, sent in the gap after each step.
// A step is due at the play's start plus its at-ms. The start lies between the
// Play call's sending and its reply, so the step is timed from both ends: from
// the sending (p50_us, p99_us: the true figure is at most this) and from the
// reply (reply_p50_us, reply_p99_us: at least this); the Play call's round
// trip is beside them (play_p50_us).
// Every process is started and stopped by this binary.
#include "remote_service.h"

#include <nlohmann/json.hpp>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace {

using remote_bench::Clock;
using remote_bench::microsBetween;
using remote_bench::percentileUs;

constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kScenarioInterface = "io.sysaccess.TvSim.Scenario";
constexpr int kPlays = 10;
constexpr int kStepsPerPlay = 100;
constexpr int kFirstStepMs = 50;
constexpr int kStepGapMs = 10;  // far more than a step and a plain Set take together

// Steps that set the volume to first, first + 1, ... every kStepGapMs.
std::string scenarioText(int first) {
    nlohmann::json steps = nlohmann::json::array();
    for (int step = 0; step < kStepsPerPlay; ++step) {
        steps.push_back(
            {{"at-ms", kFirstStepMs + step * kStepGapMs}, {"set-value", {{"path", kVolume}, {"value", first + step}}}});
    }
    return nlohmann::json{
        {"name", "volume steps"}, {"time-limit-ms", kFirstStepMs + kStepsPerPlay * kStepGapMs + 1000}, {"steps", steps}}
        .dump();
}

// Counters PREFIXp50_us and PREFIXp99_us.
void report(benchmark::State& state, const std::string& prefix, std::vector<double>& samples) {
    state.counters[prefix + "p50_us"] = percentileUs(samples, 0.5);
    state.counters[prefix + "p99_us"] = percentileUs(samples, 0.99);
}

void stepToHandler(benchmark::State& state) {
    remote_bench::Arrivals arrivals;
    remote_bench::service();
    remote_bench::access::ValueAccessT<lomodelapi::ObserverNumericInteger> watcher(
        kVolume, std::make_shared<remote_bench::ArrivalHandler>(arrivals));
    tvsimd_test::BusClient control(remote_bench::service().bus.address());
    if (watcher.connect(1000) != 0) {
        state.SkipWithError("no connection");
        return;
    }
    std::vector<double> fromSending;
    std::vector<double> fromReply;
    std::vector<double> plays;
    std::vector<double> plainSets;
    int plainValue = 1000000;  // beyond every step's value
    for (auto _ : state) {
        for (int play = 0; play < kPlays; ++play) {
            const int first = play * kStepsPerPlay + 1;
            const std::string text = scenarioText(first);
            const auto sent = Clock::now();
            sd_bus_message* reply =
                control.call(tvsimd_test::kControlPath, kScenarioInterface, "Play", "ss", text.c_str(), "");
            const auto answered = Clock::now();
            if (reply == nullptr) {
                state.SkipWithError(("Play: " + control.errorMessage()).c_str());
                return;
            }
            sd_bus_message_unref(reply);
            plays.push_back(microsBetween(sent, answered));
            for (int step = 0; step < kStepsPerPlay; ++step) {
                const auto due = std::chrono::milliseconds(kFirstStepMs + step * kStepGapMs);
                Clock::time_point arrived;
                if (!arrivals.waitFor(first + step, arrived)) {
                    state.SkipWithError("a step's value did not reach the handler within 5 s");
                    return;
                }
                fromSending.push_back(microsBetween(sent + due, arrived));
                fromReply.push_back(microsBetween(answered + due, arrived));
                const int value = ++plainValue;
                const auto setSent = Clock::now();
                if (!remote_bench::sendSet(control, kVolume, value) || !arrivals.waitFor(value, arrived)) {
                    state.SkipWithError("a plain Set did not reach the handler within 5 s");
                    return;
                }
                plainSets.push_back(microsBetween(setSent, arrived));
            }
            sd_bus_message_unref(control.call(tvsimd_test::kControlPath, kScenarioInterface, "Stop", nullptr));
        }
    }
    report(state, "", fromSending);
    report(state, "reply_", fromReply);
    report(state, "set_", plainSets);
    state.counters["play_p50_us"] = percentileUs(plays, 0.5);
}

BENCHMARK(stepToHandler)->Name("Scenario/step_to_handler")->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
