// The simulated platform every benchmark runs against: one simulator for the
// whole process (the source-switch service is a singleton that stays connected
// to it), with logging off, holding the model objects the benchmarks use.
#pragma once

#include <tvsim/simulator.h>

namespace benchsupport {

constexpr char kIntegerPath[] = "bench.i32.value";
constexpr char kStringPath[] = "bench.string.value";
// The source-switch action, answered at once with success on the callback thread.
constexpr char kSourceSwitchPath[] = "orvik.sl2.action.source.switch";

// Turns every diagnostic line off: a benchmark measures the disabled checks only.
void quietLogs();

// Created on first use and never destroyed: the source-switch singleton keeps
// its connection to it until the process ends.
tvsim::Simulator& sharedSimulator();

}  // namespace benchsupport
