// What the dashboard's page streams: the numbered changes of the TV's picture,
// the latest of them kept for pages that fell behind. The sampling thread
// publishes; HTTP threads wait for changes. Nothing here touches the bus.
#pragma once

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace tvsimd {

class ChangeFeed {
public:
    struct Change {
        std::uint64_t sequence;
        std::string json;
    };
    enum class Wait { Changes, TooFarBehind, TimedOut, Closed };

    // The most changes kept, and the most bytes of them (the oldest go first; one
    // change larger than that is not kept at all, and readers behind it start over).
    static constexpr std::size_t kKeptChanges = 256;  // about 13 s of changes at the sampling rate
    static constexpr std::size_t kKeptBytes = std::size_t{4} * 1024 * 1024;

    // Sampling thread: the next change (its JSON).
    void publish(std::string change) SYSACCESS_EXCLUDES(m_mutex);

    // The sequence number of the last change.
    std::uint64_t lastSequence() const SYSACCESS_EXCLUDES(m_mutex);

    // Waits up to the timeout for changes after `sequence`. TooFarBehind: the
    // feed no longer keeps all of them, so the reader must take the picture again.
    Wait waitAfter(std::uint64_t sequence, std::chrono::milliseconds timeout, std::vector<Change>& changes)
        SYSACCESS_EXCLUDES(m_mutex);

    // Wakes every waiter with Closed, now and from now on.
    void close() SYSACCESS_EXCLUDES(m_mutex);

private:
    mutable velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_changed;
    std::deque<Change> m_changes SYSACCESS_GUARDED_BY(m_mutex);
    std::size_t m_keptBytes SYSACCESS_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_lastSequence SYSACCESS_GUARDED_BY(m_mutex) = 0;
    bool m_closed SYSACCESS_GUARDED_BY(m_mutex) = false;
};

}  // namespace tvsimd
