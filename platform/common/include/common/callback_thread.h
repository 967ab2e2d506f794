// A platform host's callback thread: one dispatcher that delivers
// every notification in the order it was posted, except delayed items, which
// join the queue when they fall due.
#pragma once

#include <common/mutex.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <thread>
#include <utility>

namespace tvsim::common {

// One observer's right to be called: a connection or an iterator. Once ended,
// nothing posted for it is delivered any more.
class Subscription {
private:
    friend class CallbackThread;
    bool m_ended = false;  // guarded by the CallbackThread's mutex
};

using SubscriptionPtr = std::shared_ptr<Subscription>;

class CallbackThread {
public:
    using Call = std::function<void()>;
    using Ticket = std::uint64_t;  // 0 stands for "nothing was queued"

    CallbackThread();
    ~CallbackThread();  // shutdown()

    CallbackThread(const CallbackThread&) = delete;
    CallbackThread& operator=(const CallbackThread&) = delete;

    // Queues a call for the subscription; it runs on the callback thread with
    // no lock of the host held, unless the subscription has ended by then.
    Ticket post(const SubscriptionPtr& subscription, Call call,
                std::chrono::milliseconds delay = std::chrono::milliseconds(0));

    // Waits until everything posted before this call has been delivered (or
    // skipped). Returns at once on the callback thread, which cannot wait for itself.
    void flush();
    // Waits until that one item has been delivered or skipped; returns at once
    // on the callback thread.
    void waitFor(Ticket ticket);

    // No further call of the subscription starts; its delayed items are dropped.
    // Off the callback thread it also waits for a call of it in progress to return.
    void end(const SubscriptionPtr& subscription);

    bool onCallbackThread() const;

    // Drops the delayed items that are not due yet, delivers everything else
    // still queued (and items that observers post meanwhile, delayed ones
    // excepted), then joins the thread. Later posts are dropped. Must not run on
    // the callback thread.
    void shutdown();

private:
    using Clock = std::chrono::steady_clock;

    struct Item {
        Ticket ticket = 0;
        SubscriptionPtr subscription;
        Call call;
    };

    void run();
    void promoteDueItems(Clock::time_point now) SYSACCESS_REQUIRES(m_mutex);
    // Releases the mutex while the call runs.
    void deliver(Item item) SYSACCESS_REQUIRES(m_mutex);
    template <typename Predicate>
    void dropDelayed(Predicate drop) SYSACCESS_REQUIRES(m_mutex);
    bool isPending(Ticket ticket) const SYSACCESS_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::condition_variable m_workArrived;  // the dispatcher waits on it
    std::condition_variable m_delivered;    // flush, waitFor and end wait on it
    std::deque<Item> m_ready SYSACCESS_GUARDED_BY(m_mutex);
    std::map<std::pair<Clock::time_point, Ticket>, Item> m_delayed SYSACCESS_GUARDED_BY(m_mutex);
    std::set<Ticket> m_pending SYSACCESS_GUARDED_BY(m_mutex);  // posted, not yet delivered or skipped
    Ticket m_nextTicket SYSACCESS_GUARDED_BY(m_mutex) = 1;
    const Subscription* m_delivering SYSACCESS_GUARDED_BY(m_mutex) = nullptr;
    bool m_stopping SYSACCESS_GUARDED_BY(m_mutex) = false;
    bool m_stopped SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

}  // namespace tvsim::common
