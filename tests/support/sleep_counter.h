// Test binaries replace usleep: the call is recorded and returns at once, so
// the connect loop's 100 ms pauses are counted, never slept.
#pragma once

#include <vector>

namespace testsupport {

class SleepCounter {
public:
    static int count();
    static std::vector<unsigned> durations();  // microseconds, in call order
    static void reset();
};

}  // namespace testsupport
