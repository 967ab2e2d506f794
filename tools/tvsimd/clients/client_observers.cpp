#include "client_observers.h"

#include "bus_error.h"
#include "bus_names.h"
#include "signals.h"
#include "value_codec.h"

#include <tvsim/call_records.h>

#include <utility>
#include <vector>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

// Posts interface.member with the connection id followed by what append adds.
// Runs on the callback thread; the copy of the target and of the payload
// travels with the call to the bus thread.
template <typename Append>
void post(const SignalTarget& target, const char* interface, const char* member, bool withId, Append append) {
    target.queue->post([target, interface, member, withId, append = std::move(append)] {
        emitTo(target.bus, target.client, target.objectPath, interface, member, [&](sd_bus_message* signal) {
            if (withId) {
                check(sd_bus_message_append_basic(signal, 't', &target.id), "append connection");
            }
            append(signal);
        });
    });
}

void postValue(const SignalTarget& target, tvsim::ModelValue value) {
    post(target, kValueInterface, "Changed", true,
         [value = std::move(value)](sd_bus_message* signal) { appendValueVariant(signal, value); });
}

void postInteger(const SignalTarget& target, const char* interface, const char* member, bool withId, int value) {
    post(target, interface, member, withId,
         [value](sd_bus_message* signal) { check(sd_bus_message_append_basic(signal, 'i', &value), "append"); });
}

// Where an observer's signals go, and the name the simulator's records give
// its client: "<unique name>#<connection or iterator id>". The records copy
// the name, so the observer goes with its connection.
template <typename Observer>
class ClientObserver : public Observer, public tvsim::ClientNamingObserver {
public:
    explicit ClientObserver(SignalTarget target)
        : m_target(std::move(target)), m_name(m_target.client + "#" + std::to_string(m_target.id)) {}

    const std::string& clientName() const override { return m_name; }

protected:
    const SignalTarget& target() const { return m_target; }

private:
    SignalTarget m_target;
    std::string m_name;
};

class IntegerObserver : public ClientObserver<lomodelapi::ObserverNumericInteger> {
public:
    using ClientObserver::ClientObserver;
    void notifyNewValue(int value) override { postValue(target(), value); }
};

class Int64Observer : public ClientObserver<lomodelapi::ObserverNumericInt64> {
public:
    using ClientObserver::ClientObserver;
    void notifyNewValue(long long value) override { postValue(target(), value); }
};

class StringObserver : public ClientObserver<lomodelapi::ObserverString> {
public:
    using ClientObserver::ClientObserver;
    void notifyNewValue(const std::string& value) override { postValue(target(), value); }
};

class IntegerVectorObserver : public ClientObserver<lomodelapi::ObserverVectorNumericInteger> {
public:
    using ClientObserver::ClientObserver;
    void notifyIntegerVector(const std::vector<int>& values) override { postValue(target(), values); }
};

class StringVectorObserver : public ClientObserver<lomodelapi::ObserverVectorString> {
public:
    using ClientObserver::ClientObserver;
    void notifyStringVector(const std::vector<std::string>& values) override { postValue(target(), values); }
};

class ActionObserver : public ClientObserver<lomodelapi::ObserverAction> {
public:
    using ClientObserver::ClientObserver;

    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& results) override {
        post(target(), kActionInterface, "Result", true, [actionId, results](sd_bus_message* signal) {
            const std::uint32_t id = actionId;
            check(sd_bus_message_append_basic(signal, 'u', &id), "append action id");
            appendArguments(signal, results);
        });
    }

    void notifyExecutionError(unsigned int actionId, int error) override {
        post(target(), kActionInterface, "ExecutionError", true, [actionId, error](sd_bus_message* signal) {
            check(sd_bus_message_append(signal, "ui", static_cast<std::uint32_t>(actionId), error), "append");
        });
    }
};

class TableObserver : public ClientObserver<lomodelapi::ObserverTable> {
public:
    using ClientObserver::ClientObserver;
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
        post(target(), kIteratorInterface, "ReadRow", false,
             [row](sd_bus_message* signal) { appendValue(signal, row); });
    }

    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::vector<std::vector<std::string>> copies;
        copies.reserve(rows.size());
        for (const auto* row : rows) {
            copies.push_back(row != nullptr ? *row : std::vector<std::string>());
        }
        post(target(), kIteratorInterface, "ReadRowChunk", false,
             [copies = std::move(copies)](sd_bus_message* signal) { appendRows(signal, copies); });
    }

private:
    void event(const char* member, int value) { postInteger(target(), kIteratorInterface, member, false, value); }
};

}  // namespace

std::unique_ptr<lomodelapi::Observer> makeObserver(lomodelapi::ObjectTypeSpec realType, SignalTarget target) {
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
    return std::make_unique<IteratorObserver>(std::move(target));
}

}  // namespace tvsimd
