// What the library suites share: a fixture holding a fresh simulated platform,
// the debug-service capture and a cleared sleep record; replies scripted ahead
// of an action's usual responder; and an action handler that records outcomes.
#pragma once

#include <system_access/action_access.h>
#include <system_access/value_object.h>

#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "sleep_counter.h"

namespace testsupport {

class SimTest : public ::testing::Test {
public:
    SimTest() { SleepCounter::reset(); }

    tvsim::Simulator sim;
    tvsim::DebugCapture capture;
};

// An action responder: the scripted replies first, in order, then `usual`.
// Runs on the invoking thread, so the script is guarded.
class ScriptedReplies {
public:
    using Responder = std::function<tvsim::Reply(unsigned int, const std::vector<lomodelapi::Argument>&)>;

    explicit ScriptedReplies(Responder usual) : m_usual(std::move(usual)) {}

    void push(tvsim::Reply reply) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_script.push_back(std::move(reply));
    }

    tvsim::Reply operator()(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_script.empty()) {
            lock.unlock();
            return m_usual(actionId, arguments);
        }
        tvsim::Reply reply = std::move(m_script.front());
        m_script.pop_front();
        return reply;
    }

private:
    Responder m_usual;
    std::mutex m_mutex;
    std::deque<tvsim::Reply> m_script;
};

// Keeps every outcome with its id (error 0 with the result list for results);
// called on the callback thread, read by the test after flush().
class RecordingActionHandler final : public velmora::system::access::ActionHandler {
public:
    struct Outcome {
        unsigned int actionId;
        int error;
        velmora::system::access::ValueObject results;
    };

    void onActionResult(unsigned int actionId, const velmora::system::access::ValueObject& results) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_outcomes.push_back({actionId, 0, results});
    }
    void onActionFailed(unsigned int actionId, int error) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_outcomes.push_back({actionId, error, {}});
    }

    std::vector<Outcome> outcomes() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_outcomes;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Outcome> m_outcomes;
};

}  // namespace testsupport
