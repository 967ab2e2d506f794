// Answers io.sysaccess.TvSim.Control.Flush without blocking the bus thread:
// Simulator::flush() waits for delayed outcomes too, so it runs on a thread of
// its own, and the reply goes back to the bus thread through the notification
// queue, behind every signal the flushed notifications produced.
#pragma once

#include "notification_queue.h"

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <tvsim/simulator.h>

#include <deque>
#include <functional>
#include <thread>

namespace tvsimd {

class FlushWorker {
public:
    FlushWorker(tvsim::Simulator& simulator, NotificationQueue& queue);
    // NOLINTNEXTLINE(bugprone-exception-escape): see the definition.
    ~FlushWorker();  // finishes the flushes asked for, then joins

    FlushWorker(const FlushWorker&) = delete;
    FlushWorker& operator=(const FlushWorker&) = delete;

    // Any thread. Once everything the simulator queued before this call has
    // been delivered, done runs on the bus thread.
    void request(std::function<void()> done) SYSACCESS_EXCLUDES(m_mutex);

private:
    void run() SYSACCESS_EXCLUDES(m_mutex);  // the worker thread

    tvsim::Simulator& m_simulator;
    NotificationQueue& m_queue;
    velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_wake;
    std::deque<std::function<void()>> m_pending SYSACCESS_GUARDED_BY(m_mutex);
    bool m_stopping SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

}  // namespace tvsimd
