// Observers for the simulator's tests: each notification becomes one line of
// text in an EventLog.
#pragma once

#include <frame/process.h>
#include <lomodelapi/model_objects.h>
#include <lomodelapi/observer.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <initializer_list>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "event_log.h"

namespace simtest {

using testsupport::EventLog;
using testsupport::joined;

struct IntegerObserver : lomodelapi::ObserverNumericInteger {
    void notifyNewValue(int value) override { log.add("int " + std::to_string(value)); }
    EventLog log;
};

struct ActionObserver : lomodelapi::ObserverAction {
    // Result lists are the library's to check: the simulator hands them on as they are.
    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>&) override {
        log.add("result " + std::to_string(actionId));
    }
    void notifyExecutionError(unsigned int actionId, int error) override {
        log.add("error " + std::to_string(actionId) + " " + std::to_string(error));
    }
    EventLog log;
};

struct IteratorObserver : lomodelapi::ObserverTableIterator {
    void notifyCommit(int status) override { log.add("commit " + std::to_string(status)); }
    void notifyTotalCount(int count) override { log.add("total " + std::to_string(count)); }
    void notifySeekToRow(int row) override { log.add("seek " + std::to_string(row)); }
    void notifySeekToContent(int row) override { log.add("content " + std::to_string(row)); }
    void notifyCursorPosition(int row) override { log.add("cursor " + std::to_string(row)); }
    void notifyReadRow(const std::vector<std::string>& row) override { log.add("row " + joined(row)); }
    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::string text = "chunk";
        for (const std::vector<std::string>* row : rows) {
            text += " [" + joined(*row) + "]";
        }
        log.add(text);
    }
    void notifyIteratorReady(int status) override { log.add("ready " + std::to_string(status)); }
    void notifyUpdate(int change) override { log.add("update " + std::to_string(change)); }
    EventLog log;
};

// Arguments in list order, each {position, value}.
inline std::vector<lomodelapi::Argument> arguments(std::initializer_list<std::pair<int, std::string>> items) {
    std::vector<lomodelapi::Argument> list;
    for (const auto& [position, value] : items) {
        lomodelapi::Argument argument;
        argument.position = static_cast<std::int8_t>(position);
        argument.value = value;
        list.push_back(argument);
    }
    return list;
}

// The root interface as a client finds it through the process framework.
inline RootInterface* lookUpRoot() {
    boost::shared_ptr<frame::Interface> reference;
    frame::Process::getInstance().getInterfaceReference(reference, "orvik.lm.interfaces.tvapi.RootInterface");
    return reference ? static_cast<RootInterface*>(reference->getObject()) : nullptr;
}

template <typename Object = ModelObject>
Object* connect(const std::string& path, lomodelapi::Observer* observer) {
    ModelObject* object = nullptr;
    EXPECT_EQ(0, lookUpRoot()->connect(path, observer, object)) << path;
    return static_cast<Object*>(object);
}

// Holds the callback thread inside one notification until released, so that
// tests can queue work behind it deterministically.
class CallbackThreadBlocker : public lomodelapi::ObserverNumericInteger {
public:
    explicit CallbackThreadBlocker(tvsim::Simulator& simulator) : m_simulator(simulator) {
        m_simulator.addInteger("test.blocker", 0);
        m_object = connect("test.blocker", this);
    }
    ~CallbackThreadBlocker() override {
        release();
        lookUpRoot()->disconnect("test.blocker", this, m_object);
    }
    // Returns once the callback thread is held.
    void block() {
        m_simulator.setInteger("test.blocker", 1);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_holding; });
    }
    void release() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
    }
    void notifyNewValue(int) override {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_holding = true;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_released; });
    }

private:
    tvsim::Simulator& m_simulator;
    ModelObject* m_object = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_holding = false;   // guarded by m_mutex
    bool m_released = false;  // guarded by m_mutex
};

}  // namespace simtest
