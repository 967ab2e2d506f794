// Sends each client what the notification queue holds for it, at the pace the
// client reads, in turns of the event loop, so that no client holds up the
// others. Bus thread only: every operation checks it runs there (BusThread),
// and the answers to its pings come back through sd-bus on that thread too.
// Tasks and messages run with no lock held; taking them holds the notification
// queue's lock only for the taking.
//
// How tvsimd knows what a client has read: dbus-daemon delivers a client's
// messages in the order tvsimd sent them, so when the client answers an
// org.freedesktop.DBus.Peer.Ping (every D-Bus library answers it by itself),
// it has read everything tvsimd sent it before that ping. tvsimd pings a
// client every kPingEvery messages and keeps at most kWindowMessages (and
// kWindowBytes) sent to it but not yet covered by an answer; the rest waits in
// the client's queue, whose bounds are the notification queue's. So neither
// dbus-daemon nor tvsimd's own socket holds much for a client that does not
// read, and a turn sends at most kTurnMessages, between which the loop serves
// the other clients' calls.
//
// A client is dropped (everything it holds given back, as when it leaves the
// bus, with one error line and a record) when its queue passes a bound, or
// when it leaves a ping unanswered for kPingTimeout while messages wait for it.
#pragma once

#include "bus_thread.h"
#include "clients.h"
#include "notification_queue.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace tvsimd {

struct DroppedClient {
    std::string client;  // its unique name
    std::string reason;
};

class Delivery {
public:
    // Enough for a client to read 80,000 signals a second while a ping takes 50 ms
    // to come back (a loaded machine), and little for dbus-daemon to hold for a client that does not read.
    static constexpr std::uint64_t kWindowMessages = 4096;
    static constexpr std::uint64_t kWindowBytes = std::uint64_t{4} << 20;
    static constexpr std::uint64_t kPingEvery = kWindowMessages / 8;
    static constexpr std::chrono::seconds kPingTimeout{30};
    static constexpr std::size_t kTurnMessages = 256;
    static constexpr std::size_t kMaxDropRecords = 100;  // the most recent are kept

    Delivery(NotificationQueue& queue, Clients& clients);
    ~Delivery();

    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    // On the bus thread, which every other operation must then be called on.
    void setBus(sd_bus* bus);

    // One turn, when the queue's eventfd is readable: runs the tasks posted for
    // the bus thread, drops the clients whose queue passed a bound, and sends
    // up to kTurnMessages, each client in turn as far as its window allows.
    // Wakes the loop again when more could be sent at once.
    void turn();
    // Sends everything queued for the client now, past its window, so that a
    // reply sent next follows it. The client is calling: it reads.
    void sendQueued(const std::string& client);

    // The client left the bus: what it held is given back, what waits for it discarded.
    void clientLeft(const std::string& client);
    // As clientLeft for every client: the service leaves the bus, and each client that comes back connects anew.
    void everyClientLeft();
    // Stops every ping; before the bus goes.
    void stop();

    const std::vector<DroppedClient>& dropped() const;
    void clearDropped();

private:
    struct Ping {
        std::uint64_t cookie;
        sd_bus_slot* slot;
        std::uint64_t messages;  // the client's sent messages and bytes that an answer acknowledges
        std::uint64_t bytes;
    };

    struct Window {
        Delivery* delivery;
        std::string client;
        std::uint64_t sentMessages = 0;  // since tvsimd first sent it one
        std::uint64_t sentBytes = 0;
        std::uint64_t readMessages = 0;  // of those, what an answered ping acknowledged
        std::uint64_t readBytes = 0;
        std::deque<Ping> pings;  // sent, not answered yet, oldest first
    };

    static int onPingAnswer(sd_bus_message* answer, void* window, sd_bus_error* error);

    Window& windowOf(const std::string& client);
    // How much more the window lets through now; 0 messages when it is full.
    void room(const Window& window, std::uint64_t& messages, std::uint64_t& bytes) const;
    void send(Window& window, std::vector<NotificationQueue::Outgoing>& messages);
    // Pings every kPingEvery messages, and whenever the window is full with nothing asked yet.
    void pingIfDue(Window& window);
    void ping(Window& window);
    void answered(Window& window, sd_bus_message* answer);
    void endPings(Window& window);
    void drop(std::string client, std::string reason);
    void forget(const std::string& client);

    NotificationQueue& m_queue;
    Clients& m_clients;
    BusThread m_busThread;
    sd_bus* m_bus = nullptr;
    std::unordered_map<std::string, std::unique_ptr<Window>> m_windows;
    std::string m_lastServed;  // the next turn starts after it
    std::vector<DroppedClient> m_dropped;
};

}  // namespace tvsimd
