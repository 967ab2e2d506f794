// Counts heap allocations. This benchmark binary replaces the global operator
// new, so every allocation of the library, the simulator and the standard
// library is seen. Counts are per thread: a benchmark sees only what its own
// thread allocated, not what the callback thread does meanwhile.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

namespace benchsupport {

std::uint64_t allocationsOnThisThread();

// Counts the allocations the calling thread makes between construction and
// report(), and reports them per iteration as the counter "allocs", beside
// "allocs_bar", the most that the figure may make ("allocs_bar" is left out
// when the figure has no bar).
class AllocationCount {
public:
    AllocationCount() : m_start(allocationsOnThisThread()) {}

    void report(benchmark::State& state) const;
    void report(benchmark::State& state, std::uint64_t allowedPerIteration) const;

private:
    std::uint64_t m_start;
};

}  // namespace benchsupport
