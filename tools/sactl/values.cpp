#include "values.h"

#include <tvsim/model_value_json.h>

#include <base/synchronization/unique_lock.h>
#include <system_access/value_access.h>
#include <system_access/value_object.h>

#include <lomodelapi/observer.h>

namespace sactl {
namespace {

tvsim::ModelValue fromValueObject(const access::ValueObject& value, tvsim::ValueType type) {
    switch (type) {
        case tvsim::ValueType::INTEGER:
            return static_cast<int>(value);
        case tvsim::ValueType::INT64:
            return static_cast<long long>(value);
        case tvsim::ValueType::STRING:
            return static_cast<std::string>(value);
        case tvsim::ValueType::INTEGER_VECTOR: {
            std::vector<int> elements;
            for (const access::ValueObject& element : value.m_vector) {
                elements.push_back(static_cast<int>(element));
            }
            return elements;
        }
        case tvsim::ValueType::STRING_VECTOR:
            break;
    }
    return static_cast<std::vector<std::string>>(value);
}

void connectOrFail(access::ValueAccessBase& accessor, const std::string& path) {
    const int status = accessor.connect(1000);
    if (status != 0) {
        throw CommandError("connecting '" + path + "' failed with status " + describeStatus(status));
    }
}

tvsim::ModelValue readThrough(access::ValueAccessBase& accessor, tvsim::ValueType type, const std::string& path) {
    tvsim::ModelValue value = tvsim::emptyValueOf(type);
    const int status = std::visit([&](auto& out) { return accessor.getValue(out); }, value);
    if (status != 0) {
        throw CommandError("reading '" + path + "' failed with status " + describeStatus(status));
    }
    return value;
}

}  // namespace

// Runs on the simulator's callback thread: converts the value and queues it
// under the queue's mutex; touches nothing else.
class ValueWatcher::Recorder final : public access::ValueHandler {
public:
    Recorder(std::string path, tvsim::ValueType type, std::shared_ptr<Queue> queue)
        : m_path(std::move(path)), m_type(type), m_queue(std::move(queue)) {}

    void onNewValue(const access::ValueObject& value) override {
        Change change{timestampNow(), m_path, fromValueObject(value, m_type)};
        velmora::base::UniqueLock lock(&m_queue->mutex);
        m_queue->changes.push_back(std::move(change));
        m_queue->changed.notify_all();
    }

private:
    const std::string m_path;
    const tvsim::ValueType m_type;
    const std::shared_ptr<Queue> m_queue;
};

std::unique_ptr<access::ValueAccessBase> makeValueAccess(tvsim::ValueType type, const std::string& path,
                                                         std::shared_ptr<access::ValueHandler> handler) {
    switch (type) {
        case tvsim::ValueType::INTEGER:
            return std::make_unique<access::ValueAccessT<lomodelapi::ObserverNumericInteger>>(path, handler);
        case tvsim::ValueType::INT64:
            return std::make_unique<access::ValueAccessT<lomodelapi::ObserverNumericInt64>>(path, handler);
        case tvsim::ValueType::STRING:
            return std::make_unique<access::ValueAccessT<lomodelapi::ObserverString>>(path, handler);
        case tvsim::ValueType::INTEGER_VECTOR:
            return std::make_unique<access::ValueAccessT<lomodelapi::ObserverVectorNumericInteger>>(path, handler);
        case tvsim::ValueType::STRING_VECTOR:
            break;
    }
    return std::make_unique<access::ValueAccessT<lomodelapi::ObserverVectorString>>(path, handler);
}

tvsim::ModelValue parseValueFor(Session& session, const std::string& path, const std::string& text) {
    const tvsim::ValueType type = session.tv().valueTypeAt(path);
    try {
        return parseValueText(type, text);
    } catch (const std::invalid_argument& error) {
        throw CommandError("bad value for '" + path + "' (" + tvsim::valueTypeName(type) + "): " + error.what());
    }
}

tvsim::ModelValue readValue(Session& session, const std::string& path) {
    const tvsim::ValueType type = session.tv().valueTypeAt(path);
    return readThrough(*makeValueAccess(type, path), type, path);
}

void writeValue(Session& session, const std::string& path, const tvsim::ModelValue& value) {
    const std::unique_ptr<access::ValueAccessBase> accessor = makeValueAccess(session.tv().valueTypeAt(path), path);
    const int status = std::visit([&](const auto& text) { return accessor->setValue(text); }, value);
    if (status != 0) {
        throw CommandError("writing '" + path + "' failed with status " + describeStatus(status));
    }
}

void printValue(const Session& session, const std::string& path, const tvsim::ModelValue& value,
                const std::string& prefix, nlohmann::json extra) {
    extra["path"] = path;
    extra["type"] = tvsim::valueTypeName(tvsim::valueTypeOf(value));
    extra["value"] = tvsim::valueToJson(value);
    session.out().result(prefix + path + " = " + formatValueText(value), extra);
}

ValueWatcher::ValueWatcher(Session& session, const std::vector<std::string>& paths)
    : m_queue(std::make_shared<Queue>()) {
    for (const std::string& path : paths) {
        const tvsim::ValueType type = session.tv().valueTypeAt(path);
        m_accessors.push_back(makeValueAccess(type, path, std::make_shared<Recorder>(path, type, m_queue)));
        connectOrFail(*m_accessors.back(), path);
        m_initial.push_back({timestampNow(), path, readThrough(*m_accessors.back(), type, path)});
    }
}

// The accessors disconnect as they are destroyed; no notification follows.
ValueWatcher::~ValueWatcher() = default;

std::vector<ValueWatcher::Change> ValueWatcher::takeChanges() {
    std::vector<Change> taken;
    velmora::base::UniqueLock lock(&m_queue->mutex);
    taken.swap(m_queue->changes);
    return taken;
}

void ValueWatcher::waitForChange(std::chrono::steady_clock::time_point deadline) {
    velmora::base::UniqueLock lock(&m_queue->mutex);
    while (m_queue->changes.empty() && m_queue->changed.wait_until(lock, deadline)) {
    }
}

}  // namespace sactl
