// HandlerSlot<Handler>: how an accessor holds its client's handler. The handler
// may be replaced or cleared from any thread while the platform's callback
// thread delivers notifications, so each notification takes its own reference
// (which keeps the handler alive for the call) under a short spin lock, and a
// lock-free raw-pointer mirror answers "is a handler set?" without touching the
// reference count. No lock is held while the handler runs.
#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <utility>

namespace velmora::system::access {

template <typename Handler>
class HandlerSlot {
public:
    HandlerSlot() = default;
    explicit HandlerSlot(std::shared_ptr<Handler> handler) : m_raw(handler.get()), m_handler(std::move(handler)) {}

    HandlerSlot(const HandlerSlot&) = delete;
    HandlerSlot& operator=(const HandlerSlot&) = delete;

    // A reference of the caller's own.
    std::shared_ptr<Handler> load() const {
        lock();
        std::shared_ptr<Handler> handler = m_handler;
        unlock();
        return handler;
    }

    // The former handler is released after the lock: its destructor may be heavy.
    void store(std::shared_ptr<Handler> handler) {
        Handler* raw = handler.get();
        lock();
        m_handler.swap(handler);
        m_raw.store(raw, std::memory_order_release);
        unlock();
    }

    bool isSet() const { return m_raw.load(std::memory_order_acquire) != nullptr; }

    // Calls `operation` on the handler held now, if any, through a reference of its own.
    template <typename... Params, typename... Args>
    void forward(void (Handler::*operation)(Params...), Args&&... args) const {
        if (!isSet()) {
            return;
        }
        if (std::shared_ptr<Handler> handler = load()) {
            ((*handler).*operation)(std::forward<Args>(args)...);
        }
    }

private:
    void lock() const {
        while (m_busy.test_and_set(std::memory_order_acquire)) {
            std::this_thread::yield();
        }
    }
    void unlock() const { m_busy.clear(std::memory_order_release); }

    mutable std::atomic_flag m_busy = ATOMIC_FLAG_INIT;
    std::atomic<Handler*> m_raw{nullptr};
    std::shared_ptr<Handler> m_handler;
};

}  // namespace velmora::system::access
