#include "allocation_counter.h"

#include <cstdlib>
#include <new>

namespace {

// Trivially initialised, so it is usable from the first allocation of a thread on.
thread_local std::uint64_t t_allocations = 0;

void* allocate(std::size_t size) {
    ++t_allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace benchsupport {

std::uint64_t allocationsOnThisThread() {
    return t_allocations;
}

void AllocationCount::report(benchmark::State& state) const {
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(allocationsOnThisThread() - m_start),
                                                  benchmark::Counter::kAvgIterations);
}

void AllocationCount::report(benchmark::State& state, std::uint64_t allowedPerIteration) const {
    report(state);
    state.counters["allocs_bar"] = static_cast<double>(allowedPerIteration);
}

}  // namespace benchsupport
