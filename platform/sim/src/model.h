// The simulated platform's model: entries by path, the connections handed out
// for them, per-path faults and the records tests read back. One mutex guards
// all of it; it is never held while an observer or a responder runs.
#pragma once

#include "record_log.h"

#include <common/callback_thread.h>
#include <common/mutex.h>
#include <tvsim/call_records.h>
#include <tvsim/fault_injection.h>
#include <tvsim/input_limits.h>
#include <tvsim/model_control.h>
#include <tvsim/model_value.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

namespace tvsim {

using common::CallbackThread;
using common::Lock;
using common::Mutex;
using common::Subscription;
using common::SubscriptionPtr;

class SimTableIterator;
struct Connection;

using Rows = std::shared_ptr<const std::vector<Row>>;  // replaced whole, so readers may keep a snapshot

// One model object. Everything but `path` and `type` is guarded by the model's mutex.
struct Entry {
    Entry(std::string entryPath, lomodelapi::ObjectTypeSpec entryType) : path(std::move(entryPath)), type(entryType) {}

    const std::string path;
    const lomodelapi::ObjectTypeSpec type;
    ModelValue value;                  // the five value types
    Responder responder;               // actions
    std::vector<std::string> columns;  // tables
    Rows rows;                         // tables
    std::uint64_t changedAt = 0;       // the generation that added it or last changed its value or rows
    // Lists, in the order made, so that each leaves in constant time: a client
    // with thousands of connections or iterators gives them back in linear time.
    std::list<Connection*> connections;      // who is notified
    std::list<SimTableIterator*> iterators;  // tables: iterators made on this table
};

// One successful RootInterface::connect.
struct Connection {
    std::shared_ptr<Entry> entry;
    lomodelapi::Observer* observer;
    std::unique_ptr<ModelObject> object;
    SubscriptionPtr subscription;
    std::list<Connection*>::iterator place;  // in entry->connections
};

// One iterator TableObject::createIterator made.
struct MadeIterator {
    std::unique_ptr<SimTableIterator> iterator;
    std::list<SimTableIterator*>::iterator place;  // in its table's iterators
};

template <>
inline std::size_t recordBytes(const WriteRecord& record) {
    return sizeOf(record.value);
}

struct Records {
    RecordLog<ConnectRecord> connects;
    RecordLog<DisconnectRecord> disconnects;
    RecordLog<InvokeRecord> invokes;
    RecordLog<WriteRecord> writes;
    RecordLog<CreateIteratorRecord> createIterators;
    RecordLog<TableIteratorObject*> destroyIterators;
    std::map<std::string, int> setterCalls;
    std::map<std::string, std::map<int, int>> lastIntegerMaps;
    std::map<std::string, std::map<int, std::string>> lastStringMaps;
};

// The client a record names for the observer (ClientNamingObserver); "" for others.
std::string clientNameOf(const lomodelapi::Observer* observer);

class Model {
public:
    explicit Model(CallbackThread& callbacks);
    ~Model();

    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    // ---- Entries (control side; unknown paths and wrong types throw ControlError) ----
    void addValue(const std::string& path, ModelValue value);
    void addAction(const std::string& path, Responder responder);
    void addTable(const std::string& path, std::vector<std::string> columns, std::vector<Row> rows);
    void remove(const std::string& path);
    bool has(const std::string& path) const;
    std::vector<ModelEntry> list(const std::string& prefix) const;
    std::vector<StampedEntry> stampedList() const;
    lomodelapi::ObjectTypeSpec typeAt(const std::string& path) const;
    // The value at the path; with a type, only a value of that type.
    ModelValue value(const std::string& path, std::optional<ValueType> type = std::nullopt) const;
    // A platform-originated change to a value of the same type.
    void changeValue(const std::string& path, ModelValue value);
    // Several, each notified as a change of its own; every value is checked before the first is set.
    void changeValues(const std::string& path, const std::vector<ModelValue>& values);

    // ---- RootInterface ----
    int connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object);
    int disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object);

    // ---- Operations of the per-connection model objects ----
    lomodelapi::ObjectTypeSpec reportedType(const Entry& entry) const;
    template <typename T>
    T read(const Entry& entry) const;
    template <typename T>
    int readInto(const Entry& entry, T& out) const;  // answers the getter fault, if any
    // A client's write; `client` names it in the write's record.
    int write(Entry& entry, ModelValue value, const std::string& client);
    int writeMap(Entry& entry, const std::map<int, int>& byIndex, const std::string& client);
    int writeMap(Entry& entry, const std::map<int, std::string>& byIndex, const std::string& client);

    // ---- Actions (actions.cpp) ----
    void setResponder(const std::string& path, Responder responder);
    void refuseNextInvokes(const std::string& path, int count, int status);
    int invoke(Entry& action, unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments);
    void emitResult(const std::string& path, unsigned int actionId, const std::vector<lomodelapi::Argument>& results);
    void emitExecutionError(const std::string& path, unsigned int actionId, int error);

    // ---- Tables (tables.cpp) ----
    void setRows(const std::string& path, std::vector<Row> rows);
    void failNextCreateIterators(const std::string& path, int count);
    TableIteratorObject* createIterator(const std::shared_ptr<Entry>& table, lomodelapi::IteratorType type,
                                        lomodelapi::ObserverTableIterator* observer,
                                        const std::vector<lomodelapi::TableSelection>& selections,
                                        const std::vector<int>& columns,
                                        const std::vector<lomodelapi::TableOrder>& orders);
    int destroyIterator(TableIteratorObject* iterator);
    Rows rows(const Entry& table) const;
    std::vector<std::string> columns(const std::string& path) const;
    std::vector<Row> rows(const std::string& path) const;

    // ---- Faults ----
    void failNextConnects(const std::string& path, int count, int status);
    void nullObjectOnNextConnects(const std::string& path, int count);
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type);
    void failGetter(const std::string& path, int status);
    void clearFaults(const std::string& path);
    std::map<std::string, PathFaults> pathFaults() const;

    // ---- Following changes (see ModelControl::generation) ----
    std::uint64_t generation() const { return m_generation.load(std::memory_order_acquire); }
    void countChange() { m_generation.fetch_add(1, std::memory_order_acq_rel); }  // of state kept outside the model
    // Until a change under the model's lock (an entry's, a record's) moves generation() from `seen`, or the deadline.
    void waitForChange(std::uint64_t seen, std::chrono::steady_clock::time_point deadline) const;

    // ---- Records ----
    template <typename Record>
    std::vector<Record> recorded(RecordLog<Record> Records::*log) const {
        Lock lock(m_mutex);
        return (m_records.*log).copy();
    }
    CallRecords::Since recordedSince(std::uint64_t connects, std::uint64_t invokes, std::uint64_t writes) const;
    void limitRecords(std::size_t perKind);
    DroppedRecords droppedRecords() const;
    int connectedObservers(const std::string& path) const;
    int setterCalls(const std::string& path) const;
    std::map<int, int> lastIntegerMap(const std::string& path) const;
    std::map<int, std::string> lastStringMap(const std::string& path) const;
    void clearRecords();

private:
    void add(std::shared_ptr<Entry> entry) SYSACCESS_REQUIRES(m_mutex);
    // Counts a change made under the lock, and stamps the entry whose value or rows it changed.
    void changed(Entry* entry = nullptr) SYSACCESS_REQUIRES(m_mutex);
    Entry& entryAt(const std::string& path) const SYSACCESS_REQUIRES(m_mutex);
    Entry& entryOf(const std::string& path, lomodelapi::ObjectTypeSpec type) const SYSACCESS_REQUIRES(m_mutex);
    Entry& valueEntryOf(const std::string& path, std::optional<ValueType> type) const SYSACCESS_REQUIRES(m_mutex);
    // The path's fault record, once the path holds an object the fault applies to
    // (any object when needed is OBJECT_TYPE_NONE). A count must not be negative.
    PathFaults& faultsFor(const std::string& path, lomodelapi::ObjectTypeSpec needed, int count = 0)
        SYSACCESS_REQUIRES(m_mutex);
    lomodelapi::ObjectTypeSpec reportedTypeLocked(const Entry& entry) const SYSACCESS_REQUIRES(m_mutex);
    // What getType answers through each connection to the path; taken before a
    // change of its faults, so that afterwards each connection whose answer
    // changed is told (when its observer is a ReportedTypeObserver).
    using ReportedTypes = std::vector<std::pair<const Connection*, lomodelapi::ObjectTypeSpec>>;
    ReportedTypes reportedTypesAt(const std::string& path) const SYSACCESS_REQUIRES(m_mutex);
    void notifyReportedTypeChanges(const ReportedTypes& before) SYSACCESS_REQUIRES(m_mutex);
    void notifyValue(const Entry& entry) SYSACCESS_REQUIRES(m_mutex);
    // Records a client's write of the entry's value as it is now, and tells its observers.
    void written(Entry& entry, const std::string& client) SYSACCESS_REQUIRES(m_mutex);
    void notifyTableUpdate(const Entry& table, int change) SYSACCESS_REQUIRES(m_mutex);
    // Fills the invoke record of the id with the reply (optionally only one without a reply yet).
    void recordOutcome(unsigned int actionId, const Reply& reply, bool onlyIfNoReplyYet) SYSACCESS_REQUIRES(m_mutex);
    std::vector<CallbackThread::Ticket> postOutcome(const Entry& action, unsigned int actionId, const Reply& reply)
        SYSACCESS_REQUIRES(m_mutex);
    template <typename ObserverT, typename Notify>
    CallbackThread::Ticket postTo(const Connection& connection, Notify notify,
                                  std::chrono::milliseconds delay = std::chrono::milliseconds(0))
        SYSACCESS_REQUIRES(m_mutex);

    CallbackThread& m_callbacks;
    mutable Mutex m_mutex;
    std::map<std::string, std::shared_ptr<Entry>> m_entries SYSACCESS_GUARDED_BY(m_mutex);
    std::unordered_map<ModelObject*, std::unique_ptr<Connection>> m_connections SYSACCESS_GUARDED_BY(m_mutex);
    std::unordered_map<TableIteratorObject*, MadeIterator> m_iterators SYSACCESS_GUARDED_BY(m_mutex);
    std::map<std::string, PathFaults> m_faults SYSACCESS_GUARDED_BY(m_mutex);
    // Paths whose type is overridden by reportType: while there are none, getType
    // (asked before every read and write) answers without taking the mutex.
    std::atomic<bool> m_anyReportedType{false};
    Records m_records SYSACCESS_GUARDED_BY(m_mutex);
    std::size_t m_recordLimit SYSACCESS_GUARDED_BY(m_mutex) = SIZE_MAX;  // of each kind
    unsigned int m_lastActionId SYSACCESS_GUARDED_BY(m_mutex) = 0;
    std::atomic<std::uint64_t> m_generation{0};  // changed under the lock but read without it
    mutable std::condition_variable m_changes;   // notified by changed(), under the lock
};

template <typename T>
T Model::read(const Entry& entry) const {
    Lock lock(m_mutex);
    return std::get<T>(entry.value);
}

template <typename T>
int Model::readInto(const Entry& entry, T& out) const {
    Lock lock(m_mutex);
    auto faults = m_faults.find(entry.path);
    if (faults != m_faults.end() && faults->second.getterStatus != 0) {
        return faults->second.getterStatus;
    }
    out = std::get<T>(entry.value);
    return 0;
}

template <typename ObserverT, typename Notify>
CallbackThread::Ticket Model::postTo(const Connection& connection, Notify notify, std::chrono::milliseconds delay) {
    auto* observer = dynamic_cast<ObserverT*>(connection.observer);
    if (observer == nullptr) {
        return 0;
    }
    return m_callbacks.post(
        connection.subscription, [observer, notify = std::move(notify)] { notify(*observer); }, delay);
}

}  // namespace tvsim
