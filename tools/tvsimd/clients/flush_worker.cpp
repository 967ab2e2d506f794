#include "flush_worker.h"

#include <base/synchronization/unique_lock.h>

namespace tvsimd {

FlushWorker::FlushWorker(tvsim::Simulator& simulator, NotificationQueue& queue)
    : m_simulator(simulator), m_queue(queue), m_thread([this] { run(); }) {}

// Locking and joining fail only on a programming error; ending the program then is right.
// NOLINTNEXTLINE(bugprone-exception-escape)
FlushWorker::~FlushWorker() {
    {
        velmora::base::UniqueLock lock(&m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void FlushWorker::request(std::function<void()> done) {
    {
        velmora::base::UniqueLock lock(&m_mutex);
        m_pending.push_back(std::move(done));
    }
    m_wake.notify_all();
}

void FlushWorker::run() {
    while (true) {
        std::deque<std::function<void()>> batch;
        {
            velmora::base::UniqueLock lock(&m_mutex);
            while (m_pending.empty() && !m_stopping) {
                m_wake.wait(lock);
            }
            if (m_pending.empty()) {
                return;
            }
            batch.swap(m_pending);
        }
        // One flush answers every request made before it started.
        m_simulator.flush();
        for (auto& done : batch) {
            m_queue.post(std::move(done));
        }
    }
}

}  // namespace tvsimd
