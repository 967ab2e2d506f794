// Observers and handlers in tests write what they are told as lines of text in
// an EventLog; the test reads them after the simulator's flush().
#pragma once

#include <tvsim/simulator.h>

#include <mutex>
#include <string>
#include <vector>

namespace testsupport {

// Added to on any thread; each event is marked " (off the callback thread)"
// when it did not arrive on the simulator's callback thread.
class EventLog {
public:
    void add(const std::string& event) {
        const tvsim::Simulator* simulator = tvsim::Simulator::current();
        const bool onCallbackThread = simulator != nullptr && simulator->onCallbackThread();
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(event + (onCallbackThread ? "" : " (off the callback thread)"));
    }
    // Answers the events so far and forgets them.
    std::vector<std::string> take() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::move(m_events);
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_events;  // guarded by m_mutex
};

inline std::string joined(const std::vector<std::string>& values, const std::string& separator = ",") {
    std::string text;
    for (std::size_t index = 0; index < values.size(); ++index) {
        text += (index == 0 ? "" : separator) + values[index];
    }
    return text;
}

}  // namespace testsupport
