// The bus thread: the one thread that serves the bus. State kept without a
// lock, because only that thread may touch it, checks the rule here in every
// build: a call from another thread ends tvsimd with one line instead of racing.
#pragma once

#include <atomic>
#include <thread>

namespace tvsimd {

class BusThread {
public:
    // Called on the thread that is about to serve the bus.
    void claim() { m_id.store(std::this_thread::get_id(), std::memory_order_relaxed); }
    // Ends the program, naming `what`, unless called on the claimed thread
    // (or before any thread claimed it, while the service is made).
    void require(const char* what) const;

private:
    std::atomic<std::thread::id> m_id{};
};

}  // namespace tvsimd
