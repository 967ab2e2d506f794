// Test binaries replace usleep: the call is recorded and returns at once, so
// the connect loop's 100 ms pauses are counted, never slept.
#pragma once

#include <functional>
#include <vector>

namespace testsupport {

class SleepCounter {
public:
    static int count();
    static std::vector<unsigned> durations();  // microseconds, in call order
    // Clears the record and the hook.
    static void reset();
    // Runs on the sleeping thread at every usleep, after it is recorded: lets a
    // test change the platform between two attempts of one connect.
    static void onSleep(std::function<void()> hook);
};

}  // namespace testsupport
