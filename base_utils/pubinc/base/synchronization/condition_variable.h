// A POSIX condition variable with default attributes. wait() and wait_until()
// wait once and have no predicate: the caller loops. Failures throw
// std::runtime_error.
#pragma once

#include <base/synchronization/error_message.h>
#include <base/synchronization/unique_lock.h>

#include <pthread.h>
#include <time.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace velmora::base {

class ConditionVariable {
public:
    ConditionVariable() {
        std::memset(&m_condition, 0, sizeof(m_condition));
        if (int error = pthread_cond_init(&m_condition, nullptr)) {
            throw std::runtime_error(makeErrorMessage("ConditionVariable init error: ", error));
        }
    }
    ~ConditionVariable() { pthread_cond_destroy(&m_condition); }

    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    void notify_all() {
        if (int error = pthread_cond_broadcast(&m_condition)) {
            throw std::runtime_error(makeErrorMessage("ConditionVariable notify_all error: ", error));
        }
    }

    // Releases the lock's mutex while asleep and holds it again on return.
    void wait(UniqueLock& lock) {
        if (lock.m_mutex == nullptr) {
            throw std::runtime_error(makeErrorMessage("ConditionVariable wait error: ", errno));
        }
        if (int error = pthread_cond_wait(&m_condition, lock.m_mutex->native_handle())) {
            throw std::runtime_error(makeErrorMessage("ConditionVariable cond_wait error: ", error));
        }
    }

    // As wait(), but gives up at `deadline`: false when it passed before a wake-up.
    // The deadline is taken on the monotonic clock (steady_clock's on Linux), so
    // setting the wall clock neither shortens nor stretches the wait.
    bool wait_until(UniqueLock& lock, std::chrono::steady_clock::time_point deadline) {
        if (lock.m_mutex == nullptr) {
            throw std::runtime_error(makeErrorMessage("ConditionVariable wait error: ", errno));
        }
        const auto sinceEpoch = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline.time_since_epoch());
        timespec until{};
        until.tv_sec = static_cast<time_t>(sinceEpoch.count() / 1000000000);
        until.tv_nsec = static_cast<long>(sinceEpoch.count() % 1000000000);
        int error = pthread_cond_clockwait(&m_condition, lock.m_mutex->native_handle(), CLOCK_MONOTONIC, &until);
        if (error == ETIMEDOUT) {
            return false;
        }
        if (error != 0) {
            throw std::runtime_error(makeErrorMessage("ConditionVariable cond_wait error: ", error));
        }
        return true;
    }

private:
    pthread_cond_t m_condition;
};

}  // namespace velmora::base
