#include "sampler.h"

#include "log.h"

#include <base/synchronization/unique_lock.h>

#include <exception>

namespace tvsimd {

DashboardSampler::DashboardSampler(const TvReader& reader, ChangeFeed& feed, std::chrono::milliseconds period)
    : m_reader(reader), m_feed(feed), m_period(period) {
    {
        velmora::base::UniqueLock lock(&m_pictureMutex);
        m_reader.update(m_last);
    }
    m_thread = std::thread([this] { run(); });
}

// Locking and joining fail only on a programming error; ending the program then is right.
// NOLINTNEXTLINE(bugprone-exception-escape)
DashboardSampler::~DashboardSampler() {
    {
        velmora::base::UniqueLock lock(&m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void DashboardSampler::run() {
    for (;;) {
        // Measured from the end of the last sample, so a slow read never makes samples pile up.
        const auto next = std::chrono::steady_clock::now() + m_period;
        {
            velmora::base::UniqueLock lock(&m_mutex);
            while (!m_stopping && m_wake.wait_until(lock, next)) {
            }
            if (m_stopping) {
                return;
            }
        }
        try {
            velmora::base::UniqueLock lock(&m_pictureMutex);
            const nlohmann::json changes = m_reader.update(m_last);
            if (!changes.is_null()) {
                m_feed.publish(jsonText(changes));
                m_text.reset();
            }
        } catch (const std::exception& error) {
            // A failed sample leaves the page as it was; the next one tries again.
            logLine(kLogError, std::string("dashboard: cannot read the TV: ") + error.what());
        }
    }
}

std::pair<std::uint64_t, std::string> DashboardSampler::picture() const {
    velmora::base::UniqueLock lock(&m_pictureMutex);
    if (!m_text) {
        m_text.emplace(m_feed.lastSequence(), jsonText(wholePicture(m_last)));
    }
    return *m_text;
}

}  // namespace tvsimd
