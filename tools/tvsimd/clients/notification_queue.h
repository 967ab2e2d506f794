// Hands work from any thread to the bus thread. sd-bus objects belong to the
// thread that runs the event loop; the simulator's callback thread therefore
// never touches the bus: it posts here, an eventfd wakes the loop, and the bus
// thread takes the work in turns (Delivery).
//
// Two kinds of work: tasks for the bus thread itself, run in the order they
// were posted, and messages for one client, kept in one queue per client and
// sent in the order they were posted. A client's queue is bounded (its bytes,
// and all queues together): a post that would pass a bound never blocks and
// never waits for the bus; it empties that client's queue, discards what is
// posted for it from then on, and names it for the bus thread to drop
// (takeOverflowed).
#pragma once

#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tvsimd {

class NotificationQueue {
public:
    using Call = std::function<void()>;

    // A message for one client: send builds and sends it on the bus thread.
    struct Outgoing {
        Call send;
        std::size_t bytes = 0;  // as counted against the bounds
    };

    // What a queued message counts besides its payload: the queued call and the
    // signal's header. So a client holds at most kClientBytes / kOverheadBytes messages.
    static constexpr std::size_t kOverheadBytes = 128;
    static constexpr std::size_t kClientBytes = std::size_t{64} << 20;  // one client's queue
    static constexpr std::size_t kTotalBytes = std::size_t{256} << 20;  // every client's queue together

    struct Overflow {
        std::string client;
        std::string reason;  // one sentence fragment, for the log line and the record
    };

    NotificationQueue();  // throws std::system_error when no eventfd can be made
    ~NotificationQueue();

    NotificationQueue(const NotificationQueue&) = delete;
    NotificationQueue& operator=(const NotificationQueue&) = delete;

    // The eventfd that becomes readable when there is work for the bus thread.
    int fd() const { return m_eventFd; }

    // Any thread; never blocks on the bus.
    void post(Call task) SYSACCESS_EXCLUDES(m_mutex);
    // Any thread; never blocks on the bus. payloadBytes: what the message carries.
    void postTo(const std::string& client, Call send, std::size_t payloadBytes) SYSACCESS_EXCLUDES(m_mutex);

    // The rest is for the bus thread only.

    // Starts a turn: the eventfd is read, so that only work posted from now on wakes the loop again.
    void beginTurn() SYSACCESS_EXCLUDES(m_mutex);
    // Asks for another turn although nothing new was posted.
    void wake() SYSACCESS_EXCLUDES(m_mutex);

    std::deque<Call> takeTasks() SYSACCESS_EXCLUDES(m_mutex);
    // The clients whose queue passed a bound since the last call.
    std::vector<Overflow> takeOverflowed() SYSACCESS_EXCLUDES(m_mutex);
    // The clients with messages queued, in the order of their names, the first
    // after `after` first and wrapping round: so each turn can start where the last one stopped.
    std::vector<std::string> waitingClients(const std::string& after) const SYSACCESS_EXCLUDES(m_mutex);
    std::size_t waitingCount(const std::string& client) const SYSACCESS_EXCLUDES(m_mutex);
    // Moves the client's oldest messages to `out`: at most `count`, and no more
    // than `bytes` unless the first alone is bigger.
    void take(const std::string& client, std::size_t count, std::size_t bytes, std::vector<Outgoing>& out)
        SYSACCESS_EXCLUDES(m_mutex);
    // Discards the client's queue and its overflow; called once nothing can post for it any more.
    void forget(const std::string& client) SYSACCESS_EXCLUDES(m_mutex);

private:
    struct ClientQueue {
        std::deque<Outgoing> messages;
        std::size_t bytes = 0;
        bool overflowed = false;  // discards every post until forget
    };

    void wakeLocked() SYSACCESS_REQUIRES(m_mutex);
    // Empties the client's queue into `discarded` (freed by the caller, after the lock) and names it for
    // takeOverflowed.
    void overflow(const std::string& client, ClientQueue& queue, std::string reason, std::deque<Outgoing>& discarded)
        SYSACCESS_REQUIRES(m_mutex);

    mutable velmora::base::Mutex m_mutex;
    std::deque<Call> m_tasks SYSACCESS_GUARDED_BY(m_mutex);
    // Only queues that hold messages or overflowed: a client's entry goes when its queue empties.
    std::map<std::string, ClientQueue> m_clients SYSACCESS_GUARDED_BY(m_mutex);
    std::size_t m_totalBytes SYSACCESS_GUARDED_BY(m_mutex) = 0;
    std::vector<Overflow> m_overflowed SYSACCESS_GUARDED_BY(m_mutex);
    bool m_woken SYSACCESS_GUARDED_BY(m_mutex) = false;
    int m_eventFd;
};

}  // namespace tvsimd
