// What the dashboard's page streams: the latest whole picture and the numbered
// changes that led to it. The sampling thread publishes; HTTP threads read the
// picture and wait for changes. Nothing here touches the bus.
#pragma once

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace tvsimd {

class ChangeFeed {
public:
    struct Change {
        std::uint64_t sequence;
        std::string json;
    };
    enum class Wait { Changes, TooFarBehind, TimedOut, Closed };

    // Sampling thread: the whole picture after the change (its JSON) and the change itself.
    void publish(std::string picture, std::string change) SYSACCESS_EXCLUDES(m_mutex);
    // The first picture, before any change.
    void start(std::string picture) SYSACCESS_EXCLUDES(m_mutex);

    // The latest picture and the sequence number of the last change in it.
    std::pair<std::uint64_t, std::string> picture() const SYSACCESS_EXCLUDES(m_mutex);

    // Waits up to the timeout for changes after `sequence`. TooFarBehind: the
    // feed no longer keeps all of them, so the reader must take the picture again.
    Wait waitAfter(std::uint64_t sequence, std::chrono::milliseconds timeout, std::vector<Change>& changes)
        SYSACCESS_EXCLUDES(m_mutex);

    // Wakes every waiter with Closed, now and from now on.
    void close() SYSACCESS_EXCLUDES(m_mutex);

private:
    static constexpr std::size_t kKeptChanges = 256;  // about 13 s of changes at the sampling rate

    mutable velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_changed;
    std::string m_picture SYSACCESS_GUARDED_BY(m_mutex);
    std::deque<Change> m_changes SYSACCESS_GUARDED_BY(m_mutex);
    std::uint64_t m_lastSequence SYSACCESS_GUARDED_BY(m_mutex) = 0;
    bool m_closed SYSACCESS_GUARDED_BY(m_mutex) = false;
};

}  // namespace tvsimd
