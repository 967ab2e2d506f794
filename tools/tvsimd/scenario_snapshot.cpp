#include "scenario_snapshot.h"

#include <base/synchronization/unique_lock.h>

namespace tvsimd {

void ScenarioSnapshot::publish(tvsim::ScenarioReport report) {
    // Made outside the lock, so that a reader waits for a pointer's swap only.
    Report shared = std::make_shared<const tvsim::ScenarioReport>(std::move(report));
    velmora::base::UniqueLock lock(&m_mutex);
    ++m_published;
    m_report.swap(shared);
}

std::pair<std::uint64_t, ScenarioSnapshot::Report> ScenarioSnapshot::latest() const {
    velmora::base::UniqueLock lock(&m_mutex);
    return {m_published, m_report};
}

}  // namespace tvsimd
