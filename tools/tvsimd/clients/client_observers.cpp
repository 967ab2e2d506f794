#include "client_observers.h"

#include "bus_error.h"
#include "bus_names.h"
#include "signals.h"
#include "value_codec.h"

#include <tvsim/call_records.h>
#include <tvsim/input_limits.h>
#include <tvsim/reported_type_observer.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

using Target = std::shared_ptr<const SignalTarget>;

// Posts interface.member with the connection id followed by what append adds,
// counted as payloadBytes against the client's bounds. Runs on the callback
// thread; the target (shared) and the payload travel with the call to the bus thread.
template <typename Append>
void post(const Target& target, const char* interface, const char* member, bool withId, std::size_t payloadBytes,
          Append append) {
    target->queue->postTo(
        target->client,
        [target, interface, member, withId, append = std::move(append)] {
            emitTo(target->bus, target->client, target->objectPath, interface, member, [&](sd_bus_message* signal) {
                if (withId) {
                    check(sd_bus_message_append_basic(signal, 't', &target->id), "append connection");
                }
                append(signal);
            });
        },
        payloadBytes);
}

void postValue(const Target& target, tvsim::ModelValue value) {
    const std::size_t bytes = tvsim::sizeOf(value);
    post(target, kValueInterface, "Changed", true, bytes,
         [value = std::move(value)](sd_bus_message* signal) { appendValueVariant(signal, value); });
}

void postInteger(const Target& target, const char* interface, const char* member, bool withId, int value) {
    post(target, interface, member, withId, sizeof(std::uint64_t),
         [value](sd_bus_message* signal) { check(sd_bus_message_append_basic(signal, 'i', &value), "append"); });
}

// Where an observer's signals go, and the name the simulator's records give
// its client: "<unique name>#<connection or iterator id>". The records copy
// the name, so the observer goes with its connection.
template <typename Observer>
class ClientObserver : public Observer, public tvsim::ClientNamingObserver {
public:
    explicit ClientObserver(Target target)
        : m_target(std::move(target)), m_name(m_target->client + "#" + std::to_string(m_target->id)) {}

    const std::string& clientName() const override { return m_name; }

protected:
    const Target& target() const { return m_target; }

private:
    Target m_target;
    std::string m_name;
};

// What every connection's observer does besides its own notifications: a
// change of the type its object's getType answers goes to the client as
// Object.TypeChanged, so that the client need not ask before each read.
template <typename Observer>
class ConnectionObserver : public ClientObserver<Observer>, public tvsim::ReportedTypeObserver {
public:
    using ClientObserver<Observer>::ClientObserver;
    void notifyReportedType(lomodelapi::ObjectTypeSpec type) override {
        postInteger(this->target(), kObjectInterface, "TypeChanged", true, static_cast<int>(type));
    }
};

class IntegerObserver : public ConnectionObserver<lomodelapi::ObserverNumericInteger> {
public:
    using ConnectionObserver::ConnectionObserver;
    void notifyNewValue(int value) override { postValue(target(), value); }
};

class Int64Observer : public ConnectionObserver<lomodelapi::ObserverNumericInt64> {
public:
    using ConnectionObserver::ConnectionObserver;
    void notifyNewValue(long long value) override { postValue(target(), value); }
};

class StringObserver : public ConnectionObserver<lomodelapi::ObserverString> {
public:
    using ConnectionObserver::ConnectionObserver;
    void notifyNewValue(const std::string& value) override { postValue(target(), value); }
};

class IntegerVectorObserver : public ConnectionObserver<lomodelapi::ObserverVectorNumericInteger> {
public:
    using ConnectionObserver::ConnectionObserver;
    void notifyIntegerVector(const std::vector<int>& values) override { postValue(target(), values); }
};

class StringVectorObserver : public ConnectionObserver<lomodelapi::ObserverVectorString> {
public:
    using ConnectionObserver::ConnectionObserver;
    void notifyStringVector(const std::vector<std::string>& values) override { postValue(target(), values); }
};

class ActionObserver : public ConnectionObserver<lomodelapi::ObserverAction> {
public:
    using ConnectionObserver::ConnectionObserver;

    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& results) override {
        const std::size_t bytes = 2 * sizeof(std::uint64_t) + tvsim::sizeOf(results);
        post(target(), kActionInterface, "Result", true, bytes, [actionId, results](sd_bus_message* signal) {
            const std::uint32_t id = actionId;
            check(sd_bus_message_append_basic(signal, 'u', &id), "append action id");
            appendArguments(signal, results);
        });
    }

    void notifyExecutionError(unsigned int actionId, int error) override {
        post(target(), kActionInterface, "ExecutionError", true, sizeof(std::uint64_t),
             [actionId, error](sd_bus_message* signal) {
                 check(sd_bus_message_append(signal, "ui", static_cast<std::uint32_t>(actionId), error), "append");
             });
    }
};

class TableObserver : public ConnectionObserver<lomodelapi::ObserverTable> {
public:
    using ConnectionObserver::ConnectionObserver;
    void notifyUpdate(int change) override { postInteger(target(), kTableInterface, "Update", true, change); }
};

// Iterator signals carry no id: the iterator's own object path names it.
class IteratorObserver : public ClientObserver<lomodelapi::ObserverTableIterator> {
public:
    using ClientObserver::ClientObserver;

    void notifyCommit(int status) override { event("Commit", status); }
    void notifyTotalCount(int count) override { event("TotalCount", count); }
    void notifySeekToRow(int row) override { event("SeekToRow", row); }
    void notifySeekToContent(int row) override { event("SeekToContent", row); }
    void notifyCursorPosition(int row) override { event("CursorPosition", row); }
    void notifyIteratorReady(int status) override { event("IteratorReady", status); }
    void notifyUpdate(int change) override { event("Update", change); }

    void notifyReadRow(const std::vector<std::string>& row) override {
        post(target(), kIteratorInterface, "ReadRow", false, tvsim::sizeOf(row),
             [row](sd_bus_message* signal) { appendValue(signal, row); });
    }

    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::vector<std::vector<std::string>> copies;
        copies.reserve(rows.size());
        std::size_t bytes = sizeof(std::uint64_t);
        for (const auto* row : rows) {
            copies.push_back(row != nullptr ? *row : std::vector<std::string>());
            bytes += tvsim::sizeOf(copies.back());
        }
        post(target(), kIteratorInterface, "ReadRowChunk", false, bytes,
             [copies = std::move(copies)](sd_bus_message* signal) { appendRows(signal, copies); });
    }

private:
    void event(const char* member, int value) { postInteger(target(), kIteratorInterface, member, false, value); }
};

}  // namespace

std::unique_ptr<lomodelapi::Observer> makeObserver(lomodelapi::ObjectTypeSpec realType, SignalTarget signalTarget) {
    auto target = std::make_shared<const SignalTarget>(std::move(signalTarget));
    switch (realType) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            return std::make_unique<IntegerObserver>(std::move(target));
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            return std::make_unique<Int64Observer>(std::move(target));
        case lomodelapi::OBJECT_TYPE_STRING:
            return std::make_unique<StringObserver>(std::move(target));
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return std::make_unique<IntegerVectorObserver>(std::move(target));
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
            return std::make_unique<StringVectorObserver>(std::move(target));
        case lomodelapi::OBJECT_TYPE_ACTION:
            return std::make_unique<ActionObserver>(std::move(target));
        case lomodelapi::OBJECT_TYPE_TABLE:
            return std::make_unique<TableObserver>(std::move(target));
        default:
            return std::make_unique<ClientObserver<lomodelapi::Observer>>(std::move(target));
    }
}

std::unique_ptr<lomodelapi::ObserverTableIterator> makeIteratorObserver(SignalTarget target) {
    return std::make_unique<IteratorObserver>(std::make_shared<const SignalTarget>(std::move(target)));
}

}  // namespace tvsimd
