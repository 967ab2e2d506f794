// The report of the scenario play in progress (or the last one), as the bus
// thread last published it, for the dashboard's sampling thread to show. The
// bus thread publishes a copy after each look of the player; readers share it.
#pragma once

#include <tvsim/scenario_report.h>

#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <cstdint>
#include <memory>
#include <utility>

namespace tvsimd {

class ScenarioSnapshot {
public:
    using Report = std::shared_ptr<const tvsim::ScenarioReport>;

    // Bus thread.
    void publish(tvsim::ScenarioReport report) SYSACCESS_EXCLUDES(m_mutex);
    // Any thread: how many reports were published so far, and the last (null before the first).
    std::pair<std::uint64_t, Report> latest() const SYSACCESS_EXCLUDES(m_mutex);

private:
    mutable velmora::base::Mutex m_mutex;
    std::uint64_t m_published SYSACCESS_GUARDED_BY(m_mutex) = 0;
    Report m_report SYSACCESS_GUARDED_BY(m_mutex);
};

}  // namespace tvsimd
