// A scoped lock on a Mutex. Lock and unlock failures are logged, never
// thrown: the guarded code is not told (there is no "held" flag).
#pragma once

#include <base/blog.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <cerrno>
#include <stdexcept>

namespace velmora::base {

class ConditionVariable;

class SYSACCESS_SCOPED_CAPABILITY UniqueLock {
public:
    explicit UniqueLock(Mutex* mutex) SYSACCESS_ACQUIRE(mutex) : m_mutex(mutex) {
        try {
            if (m_mutex == nullptr) {
                throw std::runtime_error(makeErrorMessage("UniqueLock lock error: ", errno));
            }
            m_mutex->lock();
        } catch (const std::runtime_error& error) {
            BLOG_ERROR("An runtime_error has been caught:%s.", error.what());
        }
    }

    // A non-runtime_error escaping unlock() ends the process: nothing may leave a destructor.
    ~UniqueLock() SYSACCESS_RELEASE() {
        if (m_mutex == nullptr) {
            return;
        }
        try {
            m_mutex->unlock();
        } catch (const std::runtime_error& error) {
            BLOG_ERROR("An runtime_error has been caught:%s.", error.what());
        }
    }

    UniqueLock(const UniqueLock&) = delete;
    UniqueLock& operator=(const UniqueLock&) = delete;

private:
    friend class ConditionVariable;
    Mutex* m_mutex;
};

}  // namespace velmora::base
