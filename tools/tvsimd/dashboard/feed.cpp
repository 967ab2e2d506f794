#include "feed.h"

#include <base/synchronization/unique_lock.h>

namespace tvsimd {

void ChangeFeed::start(std::string picture) {
    velmora::base::UniqueLock lock(&m_mutex);
    m_picture = std::move(picture);
}

void ChangeFeed::publish(std::string picture, std::string change) {
    {
        velmora::base::UniqueLock lock(&m_mutex);
        m_picture = std::move(picture);
        m_changes.push_back({++m_lastSequence, std::move(change)});
        if (m_changes.size() > kKeptChanges) {
            m_changes.pop_front();
        }
    }
    m_changed.notify_all();
}

std::pair<std::uint64_t, std::string> ChangeFeed::picture() const {
    velmora::base::UniqueLock lock(&m_mutex);
    return {m_lastSequence, m_picture};
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
