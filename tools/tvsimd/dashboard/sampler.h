// The dashboard's sampling thread: brings its picture of the TV up to date
// every period and publishes what changed to the feed. A sample costs what
// changed, not the TV's size: nothing is read while the simulator's
// generation stands still, and only the objects whose stamps moved are read
// again. Sampling (rather than observing each path) leaves the simulator's
// connections and records exactly as clients made them. Started and stopped
// by the thread that owns it; picture() may be called from any thread.
#pragma once

#include "feed.h"
#include "picture.h"

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace tvsimd {

class DashboardSampler {
public:
    // Reads the first picture at once, so that the feed has one before any page asks.
    DashboardSampler(const TvReader& reader, ChangeFeed& feed, std::chrono::milliseconds period);
    // NOLINTNEXTLINE(bugprone-exception-escape): see the definition.
    ~DashboardSampler();  // stops and joins the thread

    DashboardSampler(const DashboardSampler&) = delete;
    DashboardSampler& operator=(const DashboardSampler&) = delete;

    // The whole picture as JSON, and the sequence number of the feed's last change in it. Made when a page
    // asks for it (and kept until the next change), so that changes cost no more than their own size.
    std::pair<std::uint64_t, std::string> picture() const SYSACCESS_EXCLUDES(m_pictureMutex);

private:
    void run();  // the sampling thread

    const TvReader& m_reader;
    ChangeFeed& m_feed;
    const std::chrono::milliseconds m_period;
    mutable velmora::base::Mutex m_pictureMutex;  // taken before the feed's
    TvPicture m_last SYSACCESS_GUARDED_BY(m_pictureMutex);
    mutable std::optional<std::pair<std::uint64_t, std::string>> m_text SYSACCESS_GUARDED_BY(m_pictureMutex);
    velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_wake;
    bool m_stopping SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

}  // namespace tvsimd
