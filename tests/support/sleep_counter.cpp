#include "sleep_counter.h"

#include <unistd.h>
#include <mutex>

namespace {

struct SleepState {
    std::mutex mutex;
    std::vector<unsigned> durations;
    std::function<void()> hook;
};

SleepState& state() {
    static SleepState instance;
    return instance;
}

}  // namespace

// Interposes the C library's usleep for the whole test process.
extern "C" int usleep(useconds_t microseconds) {
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        state().durations.push_back(static_cast<unsigned>(microseconds));
        hook = state().hook;
    }
    if (hook) {
        hook();
    }
    return 0;
}

namespace testsupport {

int SleepCounter::count() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return static_cast<int>(state().durations.size());
}

std::vector<unsigned> SleepCounter::durations() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().durations;
}

void SleepCounter::reset() {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().durations.clear();
    state().hook = nullptr;
}

void SleepCounter::onSleep(std::function<void()> hook) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().hook = std::move(hook);
}

}  // namespace testsupport
