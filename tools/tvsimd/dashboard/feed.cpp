#include "feed.h"

#include <base/synchronization/unique_lock.h>

namespace tvsimd {

void ChangeFeed::publish(std::string change) {
    {
        velmora::base::UniqueLock lock(&m_mutex);
        m_keptBytes += change.size();
        m_changes.push_back({++m_lastSequence, std::move(change)});
        while (!m_changes.empty() && (m_changes.size() > kKeptChanges || m_keptBytes > kKeptBytes)) {
            m_keptBytes -= m_changes.front().json.size();
            m_changes.pop_front();
        }
    }
    m_changed.notify_all();
}

std::uint64_t ChangeFeed::lastSequence() const {
    velmora::base::UniqueLock lock(&m_mutex);
    return m_lastSequence;
}

ChangeFeed::Wait ChangeFeed::waitAfter(std::uint64_t sequence, std::chrono::milliseconds timeout,
                                       std::vector<Change>& changes) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    velmora::base::UniqueLock lock(&m_mutex);
    while (!m_closed && m_lastSequence <= sequence && m_changed.wait_until(lock, deadline)) {
    }
    if (m_closed) {
        return Wait::Closed;
    }
    if (m_lastSequence <= sequence) {
        return Wait::TimedOut;
    }
    if (m_changes.empty() || m_changes.front().sequence > sequence + 1) {
        return Wait::TooFarBehind;
    }
    for (const Change& change : m_changes) {
        if (change.sequence > sequence) {
            changes.push_back(change);
        }
    }
    return Wait::Changes;
}

void ChangeFeed::close() {
    {
        velmora::base::UniqueLock lock(&m_mutex);
        m_closed = true;
    }
    m_changed.notify_all();
}

}  // namespace tvsimd
