// The TV service's signals, turned into observer calls on the callback thread.
// Runs on whichever thread processes the bus (the bus thread), with the
// RemoteRoot's mutex held: decoding and queueing only, never client code.
#include "bus_error.h"
#include "bus_names.h"
#include "remote_root.h"
#include "value_codec.h"

#include <lomodelapi/observer.h>
#include <tvsim/model_file.h>

#include <cstring>
#include <utility>

namespace tvsim::remote {
namespace {

using bus::check;

int readInteger(sd_bus_message* message) {
    int value = 0;
    check(sd_bus_message_read_basic(message, 'i', &value), "read integer");
    return value;
}

// The observer call for a value change, for the observer class of the value's
// type; empty when the observer is not of that class (as the simulator does).
CallbackThread::Call valueCall(lomodelapi::Observer* observer, ModelValue value) {
    return std::visit(
        [observer](auto& v) -> CallbackThread::Call {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, int>) {
                auto* target = dynamic_cast<lomodelapi::ObserverNumericInteger*>(observer);
                return target == nullptr ? nullptr : CallbackThread::Call([target, v] { target->notifyNewValue(v); });
            } else if constexpr (std::is_same_v<T, long long>) {
                auto* target = dynamic_cast<lomodelapi::ObserverNumericInt64*>(observer);
                return target == nullptr ? nullptr : CallbackThread::Call([target, v] { target->notifyNewValue(v); });
            } else if constexpr (std::is_same_v<T, std::string>) {
                auto* target = dynamic_cast<lomodelapi::ObserverString*>(observer);
                return target == nullptr
                           ? nullptr
                           : CallbackThread::Call([target, v = std::move(v)] { target->notifyNewValue(v); });
            } else if constexpr (std::is_same_v<T, std::vector<int>>) {
                auto* target = dynamic_cast<lomodelapi::ObserverVectorNumericInteger*>(observer);
                return target == nullptr
                           ? nullptr
                           : CallbackThread::Call([target, v = std::move(v)] { target->notifyIntegerVector(v); });
            } else {
                auto* target = dynamic_cast<lomodelapi::ObserverVectorString*>(observer);
                return target == nullptr
                           ? nullptr
                           : CallbackThread::Call([target, v = std::move(v)] { target->notifyStringVector(v); });
            }
        },
        value);
}

// The iterator event a signal member names, with its one integer.
using IteratorEvent = void (lomodelapi::ObserverTableIterator::*)(int);
IteratorEvent iteratorEvent(const std::string& member) {
    static const std::pair<const char*, IteratorEvent> kEvents[] = {
        {"Commit", &lomodelapi::ObserverTableIterator::notifyCommit},
        {"TotalCount", &lomodelapi::ObserverTableIterator::notifyTotalCount},
        {"SeekToRow", &lomodelapi::ObserverTableIterator::notifySeekToRow},
        {"SeekToContent", &lomodelapi::ObserverTableIterator::notifySeekToContent},
        {"CursorPosition", &lomodelapi::ObserverTableIterator::notifyCursorPosition},
        {"IteratorReady", &lomodelapi::ObserverTableIterator::notifyIteratorReady},
        {"Update", &lomodelapi::ObserverTableIterator::notifyUpdate}};
    for (const auto& [name, event] : kEvents) {
        if (member == name) {
            return event;
        }
    }
    return nullptr;
}

}  // namespace

int RemoteRoot::onSignal(sd_bus_message* message, void* root, sd_bus_error*) SYSACCESS_NO_THREAD_SAFETY_ANALYSIS {
    // sd-bus runs this inside BusConnection::process or call, both under the mutex.
    try {
        static_cast<RemoteRoot*>(root)->dispatchSignal(message);
    } catch (const std::exception&) {
        // A signal that does not read as the service documents it: dropped.
    }
    return 0;
}

void RemoteRoot::dispatchSignal(sd_bus_message* message) {
    if (!m_bus.fromService(message)) {
        return;
    }
    const char* path = sd_bus_message_get_path(message);
    const char* interface = sd_bus_message_get_interface(message);
    const char* member = sd_bus_message_get_member(message);
    if (path == nullptr || interface == nullptr || member == nullptr) {
        return;
    }
    if (std::strcmp(interface, bus::kIteratorInterface) == 0) {
        dispatchIteratorSignal(message, path, member);
    } else {
        dispatchConnectionSignal(message, interface, member);
    }
}

void RemoteRoot::dispatchIteratorSignal(sd_bus_message* message, const std::string& path, const std::string& member) {
    RemoteIterator* iterator = nullptr;
    for (auto& entry : m_iterators) {
        if (entry.second->objectPath == path && entry.second->generation == m_generation) {
            iterator = entry.second.get();
        }
    }
    if (iterator == nullptr) {
        return;
    }
    lomodelapi::ObserverTableIterator* observer = iterator->observer;
    CallbackThread::Call call;
    if (IteratorEvent event = iteratorEvent(member)) {
        call = [observer, event, value = readInteger(message)] { (observer->*event)(value); };
    } else if (member == "ReadRow") {
        call = [observer, row = bus::readStrings(message)] { observer->notifyReadRow(row); };
    } else if (member == "ReadRowChunk") {
        call = [observer, rows = bus::readRows(message)] {
            std::vector<const std::vector<std::string>*> pointers;
            pointers.reserve(rows.size());
            for (const auto& row : rows) {
                pointers.push_back(&row);
            }
            observer->notifyReadRowChunk(pointers);
        };
    } else {
        return;
    }
    m_callbacks.post(iterator->subscription, std::move(call));
}

void RemoteRoot::dispatchConnectionSignal(sd_bus_message* message, const std::string& interface,
                                          const std::string& member) {
    std::uint64_t id = 0;
    check(sd_bus_message_read_basic(message, 't', &id), "read connection");
    auto found = m_byId.find(id);
    if (found == m_byId.end()) {
        return;
    }
    RemoteConnection& connection = *found->second;
    if (interface == bus::kObjectInterface && member == "TypeChanged") {
        // Taken here, under the mutex, so that the next getType answers it: no observer hears of it.
        connection.reportedType = static_cast<lomodelapi::ObjectTypeSpec>(readInteger(message));
        return;
    }
    lomodelapi::Observer* observer = connection.observer;
    CallbackThread::Call call;
    ValueType valueType = ValueType::INTEGER;
    if (interface == bus::kValueInterface && member == "Changed" && valueTypeOfObject(connection.realType, valueType)) {
        call = valueCall(observer, bus::readValueVariant(message, valueType, connection.modelPath));
    } else if (interface == bus::kActionInterface && (member == "Result" || member == "ExecutionError")) {
        std::uint32_t actionId = 0;
        check(sd_bus_message_read_basic(message, 'u', &actionId), "read action id");
        auto awaited = m_awaited.find(connection.modelPath);
        if (awaited != m_awaited.end()) {
            awaited->second.erase(actionId);
        }
        auto* action = dynamic_cast<lomodelapi::ObserverAction*>(observer);
        if (action == nullptr) {
            return;
        }
        if (member == "Result") {
            call = [action, actionId, results = bus::readArguments(message)] {
                action->notifyResult(actionId, results);
            };
        } else {
            call = [action, actionId, error = readInteger(message)] { action->notifyExecutionError(actionId, error); };
        }
    } else if (interface == bus::kTableInterface && member == "Update") {
        auto* table = dynamic_cast<lomodelapi::ObserverTable*>(observer);
        if (table != nullptr) {
            call = [table, change = readInteger(message)] { table->notifyUpdate(change); };
        }
    }
    if (call) {
        m_callbacks.post(connection.subscription, std::move(call));
    }
}

int RemoteRoot::onOwnerChanged(sd_bus_message* message, void* userdata,
                               sd_bus_error*) SYSACCESS_NO_THREAD_SAFETY_ANALYSIS {
    // sd-bus runs this inside BusConnection::process or call, both under the mutex.
    auto* root = static_cast<RemoteRoot*>(userdata);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (!BusConnection::fromBusDriver(message) ||
        sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) < 0) {
        return 0;
    }
    root->m_bus.serviceOwnerIs(newOwner);
    if (*oldOwner != '\0') {
        root->serviceLost();
    }
    if (*newOwner != '\0') {
        // Connections are made anew by the bus thread, outside of dispatching.
        root->m_reconnectDue = true;
    }
    return 0;
}

void RemoteRoot::serviceLost() {
    // Every id and iterator of the instance that left is void from now on.
    ++m_generation;
    m_byId.clear();
    for (auto& [path, ids] : m_awaited) {
        for (auto& entry : m_connections) {
            const RemoteConnection& connection = *entry.second;
            if (connection.modelPath != path || connection.realType != lomodelapi::OBJECT_TYPE_ACTION) {
                continue;
            }
            auto* action = dynamic_cast<lomodelapi::ObserverAction*>(connection.observer);
            if (action == nullptr) {
                continue;
            }
            for (unsigned int id : ids) {
                m_callbacks.post(connection.subscription,
                                 [action, id] { action->notifyExecutionError(id, kStatusServiceUnavailable); });
            }
        }
    }
    m_awaited.clear();
}

}  // namespace tvsim::remote
