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

void NotificationQueue::wakeLocked() {
    // One write per turn: the loop takes everything it finds.
    if (!m_woken) {
        m_woken = true;
        const std::uint64_t one = 1;
        // The counter cannot overflow at one increment per turn; EAGAIN would only mean it is already readable.
        [[maybe_unused]] const ssize_t written = write(m_eventFd, &one, sizeof one);
    }
}

void NotificationQueue::wake() {
    velmora::base::UniqueLock lock(&m_mutex);
    wakeLocked();
}

void NotificationQueue::beginTurn() {
    velmora::base::UniqueLock lock(&m_mutex);
    m_woken = false;
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(m_eventFd, &count, sizeof count);
}

void NotificationQueue::post(Call task) {
    velmora::base::UniqueLock lock(&m_mutex);
    m_tasks.push_back(std::move(task));
    wakeLocked();
}

void NotificationQueue::postTo(const std::string& client, Call send, std::size_t payloadBytes) {
    std::deque<Outgoing> discarded;  // freed after the lock is released
    velmora::base::UniqueLock lock(&m_mutex);
    ClientQueue& queue = m_clients[client];
    if (queue.overflowed) {
        return;
    }
    const std::size_t bytes = payloadBytes + kOverheadBytes;
    queue.messages.push_back({std::move(send), bytes});
    queue.bytes += bytes;
    m_totalBytes += bytes;
    wakeLocked();
    if (queue.bytes > kClientBytes) {
        overflow(client, queue,
                 std::to_string(queue.messages.size()) + " notifications (" + std::to_string(queue.bytes) +
                     " bytes) waited for it, past the bound of " + std::to_string(kClientBytes) + " bytes",
                 discarded);
    } else if (m_totalBytes > kTotalBytes) {
        auto largest = m_clients.begin();
        for (auto it = m_clients.begin(); it != m_clients.end(); ++it) {
            if (it->second.bytes > largest->second.bytes) {
                largest = it;
            }
        }
        overflow(largest->first, largest->second,
                 "it held the most (" + std::to_string(largest->second.bytes) + " bytes) of the " +
                     std::to_string(m_totalBytes) +
                     " bytes of notifications waiting for all clients, past the bound of " +
                     std::to_string(kTotalBytes) + " bytes",
                 discarded);
    }
}

void NotificationQueue::overflow(const std::string& client, ClientQueue& queue, std::string reason,
                                 std::deque<Outgoing>& discarded) {
    queue.overflowed = true;
    m_totalBytes -= queue.bytes;
    queue.bytes = 0;
    discarded.swap(queue.messages);
    m_overflowed.push_back({client, std::move(reason)});
}

std::deque<NotificationQueue::Call> NotificationQueue::takeTasks() {
    velmora::base::UniqueLock lock(&m_mutex);
    std::deque<Call> tasks;
    tasks.swap(m_tasks);
    return tasks;
}

std::vector<NotificationQueue::Overflow> NotificationQueue::takeOverflowed() {
    velmora::base::UniqueLock lock(&m_mutex);
    std::vector<Overflow> overflowed;
    overflowed.swap(m_overflowed);
    return overflowed;
}

std::vector<std::string> NotificationQueue::waitingClients(const std::string& after) const {
    velmora::base::UniqueLock lock(&m_mutex);
    std::vector<std::string> names;
    names.reserve(m_clients.size());
    const auto first = m_clients.upper_bound(after);
    for (auto it = first; it != m_clients.end(); ++it) {
        if (!it->second.messages.empty()) {
            names.push_back(it->first);
        }
    }
    for (auto it = m_clients.begin(); it != first; ++it) {
        if (!it->second.messages.empty()) {
            names.push_back(it->first);
        }
    }
    return names;
}

std::size_t NotificationQueue::waitingCount(const std::string& client) const {
    velmora::base::UniqueLock lock(&m_mutex);
    auto found = m_clients.find(client);
    return found == m_clients.end() ? 0 : found->second.messages.size();
}

void NotificationQueue::take(const std::string& client, std::size_t count, std::size_t bytes,
                             std::vector<Outgoing>& out) {
    velmora::base::UniqueLock lock(&m_mutex);
    auto found = m_clients.find(client);
    if (found == m_clients.end()) {
        return;
    }
    ClientQueue& queue = found->second;
    std::size_t taken = 0;
    std::size_t takenBytes = 0;
    while (!queue.messages.empty() && taken < count &&
           (taken == 0 || takenBytes + queue.messages.front().bytes <= bytes)) {
        Outgoing& next = queue.messages.front();
        ++taken;
        takenBytes += next.bytes;
        queue.bytes -= next.bytes;
        m_totalBytes -= next.bytes;
        out.push_back(std::move(next));
        queue.messages.pop_front();
    }
    if (queue.messages.empty() && !queue.overflowed) {
        m_clients.erase(found);
    }
}

void NotificationQueue::forget(const std::string& client) {
    std::deque<Outgoing> discarded;  // freed after the lock is released
    velmora::base::UniqueLock lock(&m_mutex);
    auto found = m_clients.find(client);
    if (found != m_clients.end()) {
        m_totalBytes -= found->second.bytes;
        discarded.swap(found->second.messages);
        m_clients.erase(found);
    }
}

}  // namespace tvsimd
