#include <common/callback_thread.h>

#include <cassert>

namespace tvsim::common {
namespace {

// Set on the dispatcher thread for its whole life, so the question "am I the
// callback thread?" needs no shared state.
thread_local const CallbackThread* t_dispatcherOf = nullptr;

}  // namespace

CallbackThread::CallbackThread() : m_thread([this] { run(); }) {}

CallbackThread::~CallbackThread() {
    shutdown();
}

CallbackThread::Ticket CallbackThread::post(const SubscriptionPtr& subscription, Call call,
                                            std::chrono::milliseconds delay) {
    Ticket ticket = 0;
    {
        Lock lock(m_mutex);
        if (m_stopped || (m_stopping && delay.count() > 0)) {
            return 0;
        }
        Item item{m_nextTicket++, subscription, std::move(call)};
        ticket = item.ticket;
        m_pending.insert(ticket);
        if (delay.count() > 0) {
            m_delayed.emplace(std::make_pair(Clock::now() + delay, ticket), std::move(item));
        } else {
            m_ready.push_back(std::move(item));
        }
    }
    // Once the mutex is free: the dispatcher woken would otherwise wake only to wait for it, a second wake-up.
    m_workArrived.notify_one();
    return ticket;
}

void CallbackThread::flush() {
    if (onCallbackThread()) {
        return;
    }
    Lock lock(m_mutex);
    const Ticket end = m_nextTicket;
    while (!m_pending.empty() && *m_pending.begin() < end) {
        lock.wait(m_delivered);
    }
}

void CallbackThread::waitFor(Ticket ticket) {
    if (ticket == 0 || onCallbackThread()) {
        return;
    }
    Lock lock(m_mutex);
    while (isPending(ticket)) {
        lock.wait(m_delivered);
    }
}

void CallbackThread::end(const SubscriptionPtr& subscription) {
    Lock lock(m_mutex);
    subscription->m_ended = true;
    // Its delayed items could only be skipped when due: drop them now, so that
    // neither memory nor shutdown waits for them.
    dropDelayed([&](const Item& item) { return item.subscription == subscription; });
    if (!onCallbackThread()) {
        while (m_delivering == subscription.get()) {
            lock.wait(m_delivered);
        }
    }
}

bool CallbackThread::onCallbackThread() const {
    return t_dispatcherOf == this;
}

void CallbackThread::shutdown() {
    // The dispatcher cannot join itself.
    assert(!onCallbackThread());
    {
        Lock lock(m_mutex);
        m_stopping = true;
        // Nobody is left to receive what falls due later; waiting for it could take a minute.
        dropDelayed([](const Item&) { return true; });
    }
    m_workArrived.notify_one();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

template <typename Predicate>
void CallbackThread::dropDelayed(Predicate drop) {
    for (auto item = m_delayed.begin(); item != m_delayed.end();) {
        if (drop(item->second)) {
            m_pending.erase(item->second.ticket);
            item = m_delayed.erase(item);
        } else {
            ++item;
        }
    }
    m_delivered.notify_all();
}

bool CallbackThread::isPending(Ticket ticket) const {
    return m_pending.count(ticket) != 0;
}

void CallbackThread::promoteDueItems(Clock::time_point now) {
    while (!m_delayed.empty() && m_delayed.begin()->first.first <= now) {
        m_ready.push_back(std::move(m_delayed.begin()->second));
        m_delayed.erase(m_delayed.begin());
    }
}

void CallbackThread::deliver(Item item) {
    const bool skipped = item.subscription->m_ended;
    if (!skipped) {
        m_delivering = item.subscription.get();
        m_mutex.unlock();
        item.call();
        // The call's captured values are released before the lock is taken again.
        item.call = nullptr;
        m_mutex.lock();
        m_delivering = nullptr;
    }
    m_pending.erase(item.ticket);
    // Waiters hear once at the end of a run of skipped items, not after each: an
    // ended subscription may leave a long run, and waking the waiters for each
    // kept the one that ended it (in end()) from the lock until the run was over.
    if (!skipped || m_ready.empty() || !m_ready.front().subscription->m_ended) {
        m_delivered.notify_all();
    }
}

void CallbackThread::run() {
    t_dispatcherOf = this;
    Lock lock(m_mutex);
    for (;;) {
        promoteDueItems(Clock::now());
        if (!m_ready.empty()) {
            Item item = std::move(m_ready.front());
            m_ready.pop_front();
            deliver(std::move(item));
        } else if (!m_delayed.empty()) {
            // A copy: a disconnect may drop that item (and its key) while this thread waits.
            const Clock::time_point due = m_delayed.begin()->first.first;
            lock.waitUntil(m_workArrived, due);
        } else if (m_stopping) {
            break;
        } else {
            lock.wait(m_workArrived);
        }
    }
    m_stopped = true;
    m_delivered.notify_all();
}

}  // namespace tvsim::common
