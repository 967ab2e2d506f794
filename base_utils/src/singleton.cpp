#include <base/singleton.h>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <chrono>
#include <thread>

namespace velmora::base {

namespace internal {

std::intptr_t WaitForInstance(std::atomic<std::intptr_t>* instance) {
    // Construction is normally short: yield a few times before sleeping.
    constexpr int kYieldsBeforeSleeping = 64;
    for (int round = 0;; ++round) {
        std::intptr_t value = instance->load(std::memory_order_acquire);
        if (value != 1) {
            return value;
        }
        if (round < kYieldsBeforeSleeping) {
            sched_yield();
        } else {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
}

}  // namespace internal

long currentThread() {
    thread_local const long id = static_cast<long>(syscall(SYS_gettid));
    return id;
}

}  // namespace velmora::base
