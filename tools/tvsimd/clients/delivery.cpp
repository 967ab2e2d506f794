#include "delivery.h"

#include "log.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

namespace tvsimd {

Delivery::Delivery(NotificationQueue& queue, Clients& clients) : m_queue(queue), m_clients(clients) {}

Delivery::~Delivery() {
    stop();
}

void Delivery::setBus(sd_bus* bus) {
    m_busThread.claim();
    m_bus = bus;
}

void Delivery::turn() {
    m_busThread.require("Delivery");
    m_queue.beginTurn();
    for (NotificationQueue::Call& task : m_queue.takeTasks()) {
        try {
            task();
        } catch (const std::exception&) {
            // A reply to a caller that is gone cannot be sent; the other tasks still run.
        }
    }
    for (const NotificationQueue::Overflow& overflow : m_queue.takeOverflowed()) {
        drop(overflow.client, overflow.reason);
    }
    std::size_t budget = kTurnMessages;
    std::vector<NotificationQueue::Outgoing> batch;
    for (const std::string& client : m_queue.waitingClients(m_lastServed)) {
        if (budget == 0) {
            break;
        }
        Window& window = windowOf(client);
        std::uint64_t messages = 0;
        std::uint64_t bytes = 0;
        room(window, messages, bytes);
        if (messages == 0) {
            pingIfDue(window);
            continue;
        }
        batch.clear();
        m_queue.take(client, std::min<std::uint64_t>(messages, budget), bytes, batch);
        budget -= batch.size();
        send(window, batch);
        m_lastServed = client;
    }
    if (budget == 0) {
        // More may be sendable now; the loop serves one incoming call before the next turn.
        m_queue.wake();
    }
}

void Delivery::sendQueued(const std::string& client) {
    m_busThread.require("Delivery");
    std::vector<NotificationQueue::Outgoing> batch;
    m_queue.take(client, std::numeric_limits<std::size_t>::max(), std::numeric_limits<std::size_t>::max(), batch);
    if (!batch.empty()) {
        send(windowOf(client), batch);
    }
}

Delivery::Window& Delivery::windowOf(const std::string& client) {
    std::unique_ptr<Window>& window = m_windows[client];
    if (window == nullptr) {
        window = std::make_unique<Window>();
        window->delivery = this;
        window->client = client;
    }
    return *window;
}

void Delivery::room(const Window& window, std::uint64_t& messages, std::uint64_t& bytes) const {
    const std::uint64_t unreadMessages = window.sentMessages - window.readMessages;
    const std::uint64_t unreadBytes = window.sentBytes - window.readBytes;
    const bool full = unreadMessages >= kWindowMessages || unreadBytes >= kWindowBytes;
    messages = full ? 0 : kWindowMessages - unreadMessages;
    bytes = full ? 0 : kWindowBytes - unreadBytes;
}

void Delivery::send(Window& window, std::vector<NotificationQueue::Outgoing>& messages) {
    for (NotificationQueue::Outgoing& message : messages) {
        try {
            message.send();
        } catch (const std::exception&) {
            // A signal to a client that is gone cannot be sent; the others still go.
        }
        ++window.sentMessages;
        window.sentBytes += message.bytes;
    }
    messages.clear();
    pingIfDue(window);
}

void Delivery::pingIfDue(Window& window) {
    const std::uint64_t asked = window.pings.empty() ? window.readMessages : window.pings.back().messages;
    if (window.sentMessages == asked) {
        return;
    }
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
    room(window, messages, bytes);
    if (window.sentMessages - asked >= kPingEvery || messages == 0) {
        ping(window);
    }
}

void Delivery::ping(Window& window) {
    sd_bus_message* call = nullptr;
    if (sd_bus_message_new_method_call(m_bus, &call, window.client.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping") <
        0) {
        return;
    }
    sd_bus_slot* slot = nullptr;
    const auto timeout = std::chrono::duration_cast<std::chrono::microseconds>(kPingTimeout).count();
    const int sent = sd_bus_call_async(m_bus, &slot, call, &Delivery::onPingAnswer, &window, timeout);
    std::uint64_t cookie = 0;
    sd_bus_message_get_cookie(call, &cookie);
    sd_bus_message_unref(call);
    // Not sent (out of memory): the next message or turn for the client asks again.
    if (sent >= 0) {
        window.pings.push_back({cookie, slot, window.sentMessages, window.sentBytes});
    }
}

int Delivery::onPingAnswer(sd_bus_message* answer, void* window, sd_bus_error*) {
    auto& asked = *static_cast<Window*>(window);
    asked.delivery->answered(asked, answer);
    return 0;
}

void Delivery::answered(Window& window, sd_bus_message* answer) {
    std::uint64_t cookie = 0;
    sd_bus_message_get_reply_cookie(answer, &cookie);
    auto ping = std::find_if(window.pings.begin(), window.pings.end(),
                             [cookie](const Ping& asked) { return asked.cookie == cookie; });
    if (ping == window.pings.end()) {
        return;
    }
    const char* sender = sd_bus_message_get_sender(answer);
    if (sender != nullptr && window.client == sender) {
        // Any answer of the client's own, an error too, comes after everything sent before the ping.
        window.readMessages = ping->messages;
        window.readBytes = ping->bytes;
        for (auto older = window.pings.begin(); older != std::next(ping); ++older) {
            sd_bus_slot_unref(older->slot);
        }
        window.pings.erase(window.pings.begin(), std::next(ping));
        if (m_queue.waitingCount(window.client) != 0) {
            m_queue.wake();
        }
        return;
    }
    // Timed out, or the client is gone (its departure comes as NameOwnerChanged, and drops it).
    sd_bus_slot_unref(ping->slot);
    window.pings.erase(ping);
    const std::size_t waiting = m_queue.waitingCount(window.client);
    if (waiting != 0 && sd_bus_message_is_method_error(answer, SD_BUS_ERROR_NO_REPLY) > 0) {
        drop(window.client, "it answered no ping in " + std::to_string(kPingTimeout.count()) + " s while " +
                                std::to_string(waiting) + " notifications waited for it");
    }
}

void Delivery::endPings(Window& window) {
    for (Ping& ping : window.pings) {
        sd_bus_slot_unref(ping.slot);
    }
    window.pings.clear();
}

// By value: the name may be the window's own, which forget frees.
void Delivery::drop(std::string client, std::string reason) {
    m_clients.dropClient(client);
    forget(client);
    logLine(kLogError, "dropped client " + client + ": " + reason);
    m_dropped.push_back({std::move(client), std::move(reason)});
    if (m_dropped.size() > kMaxDropRecords) {
        m_dropped.erase(m_dropped.begin());
    }
}

void Delivery::clientLeft(const std::string& client) {
    m_busThread.require("Delivery");
    m_clients.dropClient(client);
    forget(client);
}

void Delivery::everyClientLeft() {
    m_busThread.require("Delivery");
    m_clients.dropAll();
    for (const std::string& client : m_queue.waitingClients("")) {
        forget(client);
    }
    while (!m_windows.empty()) {
        forget(std::string(m_windows.begin()->first));  // a copy: forget erases the key
    }
}

void Delivery::forget(const std::string& client) {
    // After dropClient: no observer of the client is left to post for it.
    m_queue.forget(client);
    auto found = m_windows.find(client);
    if (found != m_windows.end()) {
        endPings(*found->second);
        m_windows.erase(found);
    }
}

void Delivery::stop() {
    m_busThread.require("Delivery");
    for (auto& [client, window] : m_windows) {
        endPings(*window);
    }
    m_windows.clear();
}

const std::vector<DroppedClient>& Delivery::dropped() const {
    m_busThread.require("Delivery");
    return m_dropped;
}

void Delivery::clearDropped() {
    m_busThread.require("Delivery");
    m_dropped.clear();
}

}  // namespace tvsimd
