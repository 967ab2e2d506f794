// A POSIX condition variable with default attributes. wait() waits once and
// has no predicate: the caller loops. Failures throw std::runtime_error.
#pragma once

#include <base/synchronization/error_message.h>
#include <base/synchronization/unique_lock.h>

#include <pthread.h>
#include <cerrno>
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

private:
    pthread_cond_t m_condition;
};

}  // namespace velmora::base
