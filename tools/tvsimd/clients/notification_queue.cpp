#include "notification_queue.h"

#include <base/synchronization/unique_lock.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace tvsimd {

NotificationQueue::NotificationQueue() : m_eventFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_eventFd < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

NotificationQueue::~NotificationQueue() {
    close(m_eventFd);
}

void NotificationQueue::post(Call call) {
    bool wasEmpty = false;
    {
        velmora::base::UniqueLock lock(&m_mutex);
        wasEmpty = m_calls.empty();
        m_calls.push_back(std::move(call));
    }
    // One wake-up per batch: the loop drains everything it finds.
    if (wasEmpty) {
        const std::uint64_t one = 1;
        // The counter cannot overflow at one increment per batch; EAGAIN would only mean it is already readable.
        [[maybe_unused]] const ssize_t written = write(m_eventFd, &one, sizeof one);
    }
}

void NotificationQueue::drain() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(m_eventFd, &count, sizeof count);
    std::deque<Call> batch;
    while (true) {
        {
            velmora::base::UniqueLock lock(&m_mutex);
            if (m_calls.empty()) {
                return;
            }
            batch.swap(m_calls);
        }
        for (Call& call : batch) {
            try {
                call();
            } catch (const std::exception&) {
                // A signal to a client that is gone cannot be sent; the others still go.
            }
        }
        batch.clear();
    }
}

}  // namespace tvsimd
