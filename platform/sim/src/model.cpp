#include "model.h"

#include "model_objects.h"
#include "tables.h"

#include <tvsim/control_error.h>
#include <tvsim/input_limits.h>
#include <tvsim/reported_type_observer.h>

#include <algorithm>

namespace tvsim {
namespace {

template <typename T>
std::vector<T> valuesInIndexOrder(const std::map<int, T>& byIndex) {
    std::vector<T> values;
    values.reserve(byIndex.size());
    for (const auto& element : byIndex) {
        values.push_back(element.second);
    }
    return values;
}

}  // namespace

Model::Model(CallbackThread& callbacks) : m_callbacks(callbacks) {}

Model::~Model() = default;

void Model::add(std::shared_ptr<Entry> entry) {
    changed(entry.get());
    m_entries[entry->path] = std::move(entry);
}

void Model::changed(Entry* entry) {
    const std::uint64_t generation = m_generation.fetch_add(1, std::memory_order_acq_rel) + 1;
    if (entry != nullptr) {
        entry->changedAt = generation;
    }
    m_changes.notify_all();
}

void Model::waitForChange(std::uint64_t seen, std::chrono::steady_clock::time_point deadline) const {
    Lock lock(m_mutex);
    while (generation() == seen && std::chrono::steady_clock::now() < deadline) {
        lock.waitUntil(m_changes, deadline);
    }
}

void Model::addValue(const std::string& path, ModelValue value) {
    requireModelPath(path);
    requireValue(value);
    auto entry = std::make_shared<Entry>(path, objectTypeOf(valueTypeOf(value)));
    entry->value = std::move(value);
    Lock lock(m_mutex);
    add(std::move(entry));
}

void Model::addAction(const std::string& path, Responder responder) {
    requireModelPath(path);
    auto entry = std::make_shared<Entry>(path, lomodelapi::OBJECT_TYPE_ACTION);
    entry->responder = std::move(responder);
    Lock lock(m_mutex);
    add(std::move(entry));
}

void Model::addTable(const std::string& path, std::vector<std::string> columns, std::vector<Row> rows) {
    requireModelPath(path);
    requireRows(rows);
    auto entry = std::make_shared<Entry>(path, lomodelapi::OBJECT_TYPE_TABLE);
    entry->columns = std::move(columns);
    entry->rows = std::make_shared<const std::vector<Row>>(std::move(rows));
    Lock lock(m_mutex);
    add(std::move(entry));
}

void Model::remove(const std::string& path) {
    Lock lock(m_mutex);
    m_entries.erase(path);
    changed();
}

bool Model::has(const std::string& path) const {
    Lock lock(m_mutex);
    return m_entries.count(path) != 0;
}

std::vector<ModelEntry> Model::list(const std::string& prefix) const {
    std::vector<ModelEntry> entries;
    Lock lock(m_mutex);
    for (auto it = m_entries.lower_bound(prefix);
         it != m_entries.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it) {
        entries.push_back({it->first, it->second->type});
    }
    return entries;
}

std::vector<StampedEntry> Model::stampedList() const {
    std::vector<StampedEntry> entries;
    Lock lock(m_mutex);
    entries.reserve(m_entries.size());
    for (const auto& [path, entry] : m_entries) {
        entries.push_back({{path, entry->type}, entry->changedAt});
    }
    return entries;
}

Entry& Model::entryAt(const std::string& path) const {
    requireModelPath(path);
    auto found = m_entries.find(path);
    if (found == m_entries.end()) {
        throw ControlError::unknownPath(path);
    }
    return *found->second;
}

Entry& Model::entryOf(const std::string& path, lomodelapi::ObjectTypeSpec type) const {
    Entry& entry = entryAt(path);
    if (entry.type != type) {
        throw ControlError::wrongType(path, entry.type, describeObjectType(type));
    }
    return entry;
}

Entry& Model::valueEntryOf(const std::string& path, std::optional<ValueType> type) const {
    Entry& entry = entryAt(path);
    ValueType held{};
    if (!valueTypeOfObject(entry.type, held)) {
        throw ControlError::wrongType(path, entry.type, "a value");
    }
    if (type && held != *type) {
        throw ControlError::wrongType(path, entry.type, describeObjectType(objectTypeOf(*type)));
    }
    return entry;
}

lomodelapi::ObjectTypeSpec Model::typeAt(const std::string& path) const {
    Lock lock(m_mutex);
    return entryAt(path).type;
}

ModelValue Model::value(const std::string& path, std::optional<ValueType> type) const {
    Lock lock(m_mutex);
    return valueEntryOf(path, type).value;
}

void Model::changeValue(const std::string& path, ModelValue value) {
    requireValue(value);
    Lock lock(m_mutex);
    Entry& entry = valueEntryOf(path, valueTypeOf(value));
    entry.value = std::move(value);
    changed(&entry);
    notifyValue(entry);
}

void Model::changeValues(const std::string& path, const std::vector<ModelValue>& values) {
    requireSeries(values);
    Lock lock(m_mutex);
    for (const ModelValue& value : values) {
        valueEntryOf(path, valueTypeOf(value));
    }
    Entry& entry = entryAt(path);
    for (const ModelValue& value : values) {
        entry.value = value;
        changed(&entry);
        notifyValue(entry);
    }
}

int Model::connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object) {
    object = nullptr;
    int status = 0;
    std::string client = clientNameOf(observer);
    Lock lock(m_mutex);
    // Only a path that held an object has faults: connects to any other path leave nothing behind.
    auto faults = m_faults.find(path);
    auto found = m_entries.find(path);
    if (faults != m_faults.end() && faults->second.failingConnects > 0) {
        --faults->second.failingConnects;
        status = faults->second.failingConnectStatus;
    } else if (faults != m_faults.end() && faults->second.nullConnects > 0) {
        --faults->second.nullConnects;
    } else if (found == m_entries.end()) {
        status = kStatusUnknownPath;
    } else {
        auto connection = std::make_unique<Connection>();
        connection->entry = found->second;
        connection->observer = observer;
        connection->object = makeModelObject(*this, found->second, client);
        connection->subscription = std::make_shared<Subscription>();
        object = connection->object.get();
        connection->place = found->second->connections.insert(found->second->connections.end(), connection.get());
        m_connections.emplace(object, std::move(connection));
    }
    m_records.connects.add({path, observer, object, status, std::move(client), std::chrono::steady_clock::now(),
                            m_records.connects.recorded()},
                           m_recordLimit);
    changed();
    return status;
}

int Model::disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object) {
    std::unique_ptr<Connection> ended;
    std::string client = clientNameOf(observer);
    {
        Lock lock(m_mutex);
        m_records.disconnects.add({path, observer, object, std::move(client)}, m_recordLimit);
        changed();
        auto found = m_connections.find(object);
        if (found == m_connections.end() || found->second->entry->path != path || found->second->observer != observer) {
            return kStatusUnknownObject;
        }
        ended = std::move(found->second);
        m_connections.erase(found);
        ended->entry->connections.erase(ended->place);
    }
    // Outside the lock: a notification in progress may call into the model before it returns.
    m_callbacks.end(ended->subscription);
    return 0;
}

lomodelapi::ObjectTypeSpec Model::reportedType(const Entry& entry) const {
    if (!m_anyReportedType.load(std::memory_order_acquire)) {
        return entry.type;
    }
    Lock lock(m_mutex);
    return reportedTypeLocked(entry);
}

lomodelapi::ObjectTypeSpec Model::reportedTypeLocked(const Entry& entry) const {
    auto faults = m_faults.find(entry.path);
    if (faults != m_faults.end() && faults->second.reportedType) {
        return *faults->second.reportedType;
    }
    return entry.type;
}

Model::ReportedTypes Model::reportedTypesAt(const std::string& path) const {
    // Connections made before the path was given another object keep theirs, and its type.
    ReportedTypes types;
    for (const auto& [object, connection] : m_connections) {
        if (connection->entry->path == path) {
            types.emplace_back(connection.get(), reportedTypeLocked(*connection->entry));
        }
    }
    return types;
}

void Model::notifyReportedTypeChanges(const ReportedTypes& before) {
    for (const auto& [connection, type] : before) {
        const lomodelapi::ObjectTypeSpec now = reportedTypeLocked(*connection->entry);
        if (now != type) {
            postTo<ReportedTypeObserver>(*connection, [now](auto& observer) { observer.notifyReportedType(now); });
        }
    }
}

int Model::write(Entry& entry, ModelValue value, const std::string& client) {
    Lock lock(m_mutex);
    entry.value = std::move(value);
    written(entry, client);
    return 0;
}

int Model::writeMap(Entry& entry, const std::map<int, int>& byIndex, const std::string& client) {
    Lock lock(m_mutex);
    m_records.lastIntegerMaps[entry.path] = byIndex;
    entry.value = valuesInIndexOrder(byIndex);
    written(entry, client);
    return 0;
}

int Model::writeMap(Entry& entry, const std::map<int, std::string>& byIndex, const std::string& client) {
    Lock lock(m_mutex);
    m_records.lastStringMaps[entry.path] = byIndex;
    entry.value = valuesInIndexOrder(byIndex);
    written(entry, client);
    return 0;
}

void Model::written(Entry& entry, const std::string& client) {
    ++m_records.setterCalls[entry.path];
    m_records.writes.add(
        {entry.path, entry.value, client, std::chrono::steady_clock::now(), m_records.writes.recorded()}, m_recordLimit,
        kMaxWriteRecordBytes);
    changed(&entry);
    notifyValue(entry);
}

// Each observer gets its own copy of the value, taken now, so that every write
// is reported with the value it wrote.
void Model::notifyValue(const Entry& entry) {
    for (const Connection* connection : entry.connections) {
        switch (entry.type) {
            case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
                postTo<lomodelapi::ObserverNumericInteger>(
                    *connection,
                    [value = std::get<int>(entry.value)](auto& observer) { observer.notifyNewValue(value); });
                break;
            case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
                postTo<lomodelapi::ObserverNumericInt64>(
                    *connection,
                    [value = std::get<long long>(entry.value)](auto& observer) { observer.notifyNewValue(value); });
                break;
            case lomodelapi::OBJECT_TYPE_STRING:
                postTo<lomodelapi::ObserverString>(
                    *connection,
                    [value = std::get<std::string>(entry.value)](auto& observer) { observer.notifyNewValue(value); });
                break;
            case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
                postTo<lomodelapi::ObserverVectorNumericInteger>(
                    *connection, [values = std::get<std::vector<int>>(entry.value)](auto& observer) {
                        observer.notifyIntegerVector(values);
                    });
                break;
            case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
                postTo<lomodelapi::ObserverVectorString>(
                    *connection, [values = std::get<std::vector<std::string>>(entry.value)](auto& observer) {
                        observer.notifyStringVector(values);
                    });
                break;
            default:
                break;
        }
    }
}

PathFaults& Model::faultsFor(const std::string& path, lomodelapi::ObjectTypeSpec needed, int count) {
    if (needed == lomodelapi::OBJECT_TYPE_NONE) {
        entryAt(path);
    } else {
        entryOf(path, needed);
    }
    if (count < 0 || count > kMaxFaultCount) {
        throw ControlError(ControlErrorKind::OUT_OF_RANGE, "A fault's count is 0 to " + std::to_string(kMaxFaultCount) +
                                                               "; got " + std::to_string(count) + ".");
    }
    return m_faults[path];
}

void Model::failNextConnects(const std::string& path, int count, int status) {
    Lock lock(m_mutex);
    PathFaults& faults = faultsFor(path, lomodelapi::OBJECT_TYPE_NONE, count);
    if (status == 0 && count > 0) {
        throw ControlError(ControlErrorKind::INVALID_ARGUMENT,
                           "A failing connect needs a non-zero status; a null object with status 0 is a fault of its "
                           "own.");
    }
    faults.failingConnects = count;
    faults.failingConnectStatus = status;
    changed();
}

void Model::nullObjectOnNextConnects(const std::string& path, int count) {
    Lock lock(m_mutex);
    faultsFor(path, lomodelapi::OBJECT_TYPE_NONE, count).nullConnects = count;
    changed();
}

void Model::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    Lock lock(m_mutex);
    PathFaults& faults = faultsFor(path, lomodelapi::OBJECT_TYPE_NONE);
    const ReportedTypes before = reportedTypesAt(path);
    faults.reportedType = type;
    if (type == entryAt(path).type) {
        faults.reportedType.reset();
    }
    notifyReportedTypeChanges(before);
    m_anyReportedType.store(true, std::memory_order_release);
    changed();
}

void Model::failGetter(const std::string& path, int status) {
    Lock lock(m_mutex);
    PathFaults& faults = faultsFor(path, lomodelapi::OBJECT_TYPE_NONE);
    const Entry& entry = entryAt(path);
    ValueType type{};
    if (!valueTypeOfObject(entry.type, type) || type == ValueType::INTEGER || type == ValueType::INT64) {
        // The numeric getters answer a value, not a status: a failure could not show.
        throw ControlError::wrongType(path, entry.type, "a string or vector value");
    }
    faults.getterStatus = status;
    changed();
}

void Model::clearFaults(const std::string& path) {
    Lock lock(m_mutex);
    entryAt(path);
    const ReportedTypes before = reportedTypesAt(path);
    m_faults.erase(path);
    notifyReportedTypeChanges(before);
    changed();
}

std::map<std::string, PathFaults> Model::pathFaults() const {
    Lock lock(m_mutex);
    std::map<std::string, PathFaults> inForce;
    for (const auto& [path, faults] : m_faults) {
        if (faults.inForce()) {
            inForce.emplace(path, faults);
        }
    }
    return inForce;
}

int Model::connectedObservers(const std::string& path) const {
    Lock lock(m_mutex);
    return static_cast<int>(std::count_if(m_connections.begin(), m_connections.end(), [&](const auto& connection) {
        return connection.second->entry->path == path;
    }));
}

int Model::setterCalls(const std::string& path) const {
    Lock lock(m_mutex);
    auto found = m_records.setterCalls.find(path);
    return found == m_records.setterCalls.end() ? 0 : found->second;
}

std::map<int, int> Model::lastIntegerMap(const std::string& path) const {
    Lock lock(m_mutex);
    auto found = m_records.lastIntegerMaps.find(path);
    return found == m_records.lastIntegerMaps.end() ? std::map<int, int>() : found->second;
}

std::map<int, std::string> Model::lastStringMap(const std::string& path) const {
    Lock lock(m_mutex);
    auto found = m_records.lastStringMaps.find(path);
    return found == m_records.lastStringMaps.end() ? std::map<int, std::string>() : found->second;
}

void Model::clearRecords() {
    Lock lock(m_mutex);
    m_records = Records();
    changed();
}

void Model::limitRecords(std::size_t perKind) {
    Lock lock(m_mutex);
    m_recordLimit = std::max<std::size_t>(perKind, 1);
    m_records.connects.trim(m_recordLimit);
    m_records.disconnects.trim(m_recordLimit);
    m_records.invokes.trim(m_recordLimit);
    m_records.writes.trim(m_recordLimit);
    m_records.createIterators.trim(m_recordLimit);
    m_records.destroyIterators.trim(m_recordLimit);
}

DroppedRecords Model::droppedRecords() const {
    Lock lock(m_mutex);
    return {m_records.connects.dropped(),        m_records.disconnects.dropped(),      m_records.invokes.dropped(),
            m_records.createIterators.dropped(), m_records.destroyIterators.dropped(), m_records.writes.dropped()};
}

CallRecords::Since Model::recordedSince(std::uint64_t connects, std::uint64_t invokes, std::uint64_t writes) const {
    Lock lock(m_mutex);
    return {m_records.connects.since(connects), m_records.invokes.since(invokes), m_records.writes.since(writes),
            m_records.connects.recorded(),      m_records.invokes.recorded(),     m_records.writes.recorded()};
}

std::string clientNameOf(const lomodelapi::Observer* observer) {
    const auto* named = dynamic_cast<const ClientNamingObserver*>(observer);
    return named != nullptr ? named->clientName() : std::string();
}

}  // namespace tvsim
