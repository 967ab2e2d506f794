// The dashboard's sampling thread: reads the TV every period, and publishes
// the picture and what changed to the feed. Sampling (rather than observing
// each path) leaves the simulator's connections and records exactly as
// clients made them; a value changed and changed back within one period is
// not seen. Started and stopped by the thread that owns it.
#pragma once

#include "feed.h"
#include "picture.h"

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <chrono>
#include <thread>

namespace tvsimd {

class DashboardSampler {
public:
    // Reads the first picture at once, so that the feed has one before any page asks.
    DashboardSampler(const TvReader& reader, ChangeFeed& feed, std::chrono::milliseconds period);
    // NOLINTNEXTLINE(bugprone-exception-escape): see the definition.
    ~DashboardSampler();  // stops and joins the thread

    DashboardSampler(const DashboardSampler&) = delete;
    DashboardSampler& operator=(const DashboardSampler&) = delete;

private:
    void run();  // the sampling thread

    const TvReader& m_reader;
    ChangeFeed& m_feed;
    const std::chrono::milliseconds m_period;
    TvPicture m_last;  // sampling thread only, after the constructor
    velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_wake;
    bool m_stopping SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

}  // namespace tvsimd
