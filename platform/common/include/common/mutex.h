// The platform hosts' mutex and scoped lock: thin wrappers over std::mutex that
// carry clang's thread-safety annotations, so that the tsa preset checks every
// access to a member marked SYSACCESS_GUARDED_BY, as it does in the library.
// The annotations compile away on other compilers.
#pragma once

#include <base/thread_annotations.h>

#include <condition_variable>
#include <mutex>

namespace tvsim::common {

class SYSACCESS_CAPABILITY("mutex") Mutex {
public:
    void lock() SYSACCESS_ACQUIRE() { m_mutex.lock(); }
    void unlock() SYSACCESS_RELEASE() { m_mutex.unlock(); }

private:
    friend class Lock;
    std::mutex m_mutex;
};

// Holds a Mutex from construction to the end of its scope. wait() and
// waitUntil() give it up while they wait and hold it again when they return,
// so what the analysis sees (held throughout) is what the guarded code relies on.
class SYSACCESS_SCOPED_CAPABILITY Lock {
public:
    explicit Lock(Mutex& mutex) SYSACCESS_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~Lock() SYSACCESS_RELEASE() {}

    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void wait(std::condition_variable& condition) { condition.wait(m_lock); }
    template <typename TimePoint>
    void waitUntil(std::condition_variable& condition, const TimePoint& deadline) {
        condition.wait_until(m_lock, deadline);
    }

private:
    std::unique_lock<std::mutex> m_lock;
};

}  // namespace tvsim::common
