// Hands work from any thread to the bus thread, in the order it was posted.
// sd-bus objects belong to the thread that runs the event loop; the
// simulator's callback thread therefore never touches the bus: it posts a
// call here, an eventfd wakes the loop, and drain() runs the calls there.
#pragma once

#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <deque>
#include <functional>

namespace tvsimd {

class NotificationQueue {
public:
    using Call = std::function<void()>;

    NotificationQueue();  // throws std::system_error when no eventfd can be made
    ~NotificationQueue();

    NotificationQueue(const NotificationQueue&) = delete;
    NotificationQueue& operator=(const NotificationQueue&) = delete;

    // The eventfd that becomes readable when calls are waiting.
    int fd() const { return m_eventFd; }

    // Any thread. Never blocks on the bus.
    void post(Call call) SYSACCESS_EXCLUDES(m_mutex);

    // Bus thread only: runs every call posted so far, oldest first, with no lock
    // held; calls posted meanwhile run too. Calls that throw are dropped.
    void drain() SYSACCESS_EXCLUDES(m_mutex);

private:
    velmora::base::Mutex m_mutex;
    std::deque<Call> m_calls SYSACCESS_GUARDED_BY(m_mutex);
    int m_eventFd;
};

}  // namespace tvsimd
