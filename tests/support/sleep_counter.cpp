#include "sleep_counter.h"

#include <unistd.h>
#include <mutex>

namespace {

std::mutex& sleepMutex() {
    static std::mutex mutex;
    return mutex;
}

std::vector<unsigned>& sleepLog() {
    static std::vector<unsigned> log;
    return log;
}

}  // namespace

// Interposes the C library's usleep for the whole test process.
extern "C" int usleep(useconds_t microseconds) {
    std::lock_guard<std::mutex> lock(sleepMutex());
    sleepLog().push_back(static_cast<unsigned>(microseconds));
    return 0;
}

namespace testsupport {

int SleepCounter::count() {
    std::lock_guard<std::mutex> lock(sleepMutex());
    return static_cast<int>(sleepLog().size());
}

std::vector<unsigned> SleepCounter::durations() {
    std::lock_guard<std::mutex> lock(sleepMutex());
    return sleepLog();
}

void SleepCounter::reset() {
    std::lock_guard<std::mutex> lock(sleepMutex());
    sleepLog().clear();
}

}  // namespace testsupport
