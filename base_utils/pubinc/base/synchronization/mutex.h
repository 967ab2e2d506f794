// A POSIX mutex with default attributes. Every failed call throws
// std::runtime_error carrying the strerror text of the returned error number.
#pragma once

#include <base/synchronization/error_message.h>
#include <base/thread_annotations.h>

#include <pthread.h>
#include <stdexcept>

namespace velmora::base {

class SYSACCESS_CAPABILITY("mutex") Mutex {
public:
    Mutex() {
        if (int error = pthread_mutex_init(&m_mutex, nullptr)) {
            throw std::runtime_error(makeErrorMessage("Mutex init error: ", error));
        }
    }
    ~Mutex() { pthread_mutex_destroy(&m_mutex); }

    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() SYSACCESS_ACQUIRE() {
        if (int error = pthread_mutex_lock(&m_mutex)) {
            throw std::runtime_error(makeErrorMessage("Mutex lock error: ", error));
        }
    }

    void unlock() SYSACCESS_RELEASE() {
        if (int error = pthread_mutex_unlock(&m_mutex)) {
            throw std::runtime_error(makeErrorMessage("Mutex unlock error: ", error));
        }
    }

    pthread_mutex_t* native_handle() { return &m_mutex; }

private:
    pthread_mutex_t m_mutex;
};

}  // namespace velmora::base
