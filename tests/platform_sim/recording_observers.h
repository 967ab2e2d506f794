// Observers for the simulator's tests: each notification becomes one line of
// text in an EventLog, together with whether it ran on the callback thread.
#pragma once

#include <frame/process.h>
#include <lomodelapi/model_objects.h>
#include <lomodelapi/observer.h>
#include <tvsim/simulator.h>

#include <condition_variable>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace simtest {

class EventLog {
public:
    void add(const std::string& event) {
        const tvsim::Simulator* simulator = tvsim::Simulator::current();
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(event);
        if (simulator == nullptr || !simulator->onCallbackThread()) {
            ++m_offCallbackThread;
        }
        m_changed.notify_all();
    }
    std::vector<std::string> events() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.clear();
        m_offCallbackThread = 0;
    }
    int offCallbackThread() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_offCallbackThread;
    }
    // Waits (without a time limit of its own; ctest's applies) until `count` events arrived.
    void awaitCount(std::size_t count) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_events.size() >= count; });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_events;
    int m_offCallbackThread = 0;
};

template <typename T>
std::string joined(const std::vector<T>& values) {
    std::ostringstream text;
    for (std::size_t index = 0; index < values.size(); ++index) {
        text << (index == 0 ? "" : ",") << values[index];
    }
    return text.str();
}

inline std::string joined(const std::vector<lomodelapi::Argument>& arguments) {
    std::ostringstream text;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        text << (index == 0 ? "" : ",") << static_cast<int>(arguments[index].position) << "=" << arguments[index].value;
    }
    return text.str();
}

// Records into its own log and, when set, into a log shared with other observers.
template <typename Observer>
struct Recording : Observer {
    void record(const std::string& event) {
        log.add(event);
        if (also != nullptr) {
            also->add(event);
        }
    }
    EventLog log;
    EventLog* also = nullptr;
};

struct IntegerObserver : Recording<lomodelapi::ObserverNumericInteger> {
    void notifyNewValue(int value) override { record("int " + std::to_string(value)); }
};

struct Int64Observer : Recording<lomodelapi::ObserverNumericInt64> {
    void notifyNewValue(long long value) override { record("int64 " + std::to_string(value)); }
};

struct StringObserver : Recording<lomodelapi::ObserverString> {
    void notifyNewValue(const std::string& value) override { record("string " + value); }
};

struct IntegerVectorObserver : Recording<lomodelapi::ObserverVectorNumericInteger> {
    void notifyIntegerVector(const std::vector<int>& values) override { record("ints " + joined(values)); }
};

struct StringVectorObserver : Recording<lomodelapi::ObserverVectorString> {
    void notifyStringVector(const std::vector<std::string>& values) override { record("strings " + joined(values)); }
};

struct ActionObserver : Recording<lomodelapi::ObserverAction> {
    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& results) override {
        record("result " + std::to_string(actionId) + " " + joined(results));
    }
    void notifyExecutionError(unsigned int actionId, int error) override {
        record("error " + std::to_string(actionId) + " " + std::to_string(error));
    }
};

struct TableObserver : Recording<lomodelapi::ObserverTable> {
    void notifyUpdate(int change) override { record("update " + std::to_string(change)); }
};

struct IteratorObserver : Recording<lomodelapi::ObserverTableIterator> {
    void notifyCommit(int status) override { record("commit " + std::to_string(status)); }
    void notifyTotalCount(int count) override { record("total " + std::to_string(count)); }
    void notifySeekToRow(int row) override { record("seek " + std::to_string(row)); }
    void notifySeekToContent(int row) override { record("content " + std::to_string(row)); }
    void notifyCursorPosition(int row) override { record("cursor " + std::to_string(row)); }
    void notifyReadRow(const std::vector<std::string>& row) override { record("row " + joined(row)); }
    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::string text = "chunk";
        for (const std::vector<std::string>* row : rows) {
            text += " [" + joined(*row) + "]";
        }
        record(text);
    }
    void notifyIteratorReady(int status) override { record("ready " + std::to_string(status)); }
    void notifyUpdate(int change) override { record("update " + std::to_string(change)); }
};

// The root interface as a client finds it through the process framework.
inline RootInterface* lookUpRoot() {
    boost::shared_ptr<frame::Interface> reference;
    if (frame::Process::getInstance().getInterfaceReference(reference, "orvik.lm.interfaces.tvapi.RootInterface") !=
            0 ||
        !reference) {
        return nullptr;
    }
    return static_cast<RootInterface*>(reference->getObject());
}

// Holds the callback thread inside one notification until released, so that
// tests can queue work behind it deterministically.
class CallbackThreadBlocker : public lomodelapi::ObserverNumericInteger {
public:
    static constexpr const char* kPath = "test.blocker";

    explicit CallbackThreadBlocker(tvsim::Simulator& simulator) : m_simulator(simulator) {
        m_simulator.addInteger(kPath, 0);
        lookUpRoot()->connect(kPath, this, m_object);
    }
    ~CallbackThreadBlocker() override {
        release();
        lookUpRoot()->disconnect(kPath, this, m_object);
    }
    // Returns once the callback thread is held.
    void block() {
        m_simulator.setInteger(kPath, 1);
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
    bool m_holding = false;
    bool m_released = false;
};

}  // namespace simtest
