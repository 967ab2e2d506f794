// The remote platform's root interface: RootInterface::connect and disconnect
// answered by the TV service (tvsimd) over D-Bus, and everything the model
// objects and iterators it hands out need to reach their counterparts there.
// One per process, made at the first use and never destroyed.
//
// Threads:
//  - Client threads call connect, disconnect and the objects' operations. Each
//    holds m_mutex for its method call, a bounded round trip (kCallTimeout).
//  - The bus thread reads the bus whenever a client call is not doing so:
//    it decodes each signal of the TV service and queues the observer's call
//    on the callback thread, in the order the signals came, and re-makes the
//    connections when the service comes back. It never runs client code.
//    While a client call waits for its reply the socket is out of the bus
//    thread's epoll set, so the reply wakes only the caller: a wake of the bus
//    thread per call, and its wait on the mutex, cost as much as the call.
//  - The callback thread (a common::CallbackThread, as in the in-process
//    simulator) runs every observer call, one at a time, in that order.
//  The bus reader is a thread of its own rather than the callback thread, so
//  that an observer may call back into the model (a handler reading a value is
//  a round trip) while the bus keeps being read and nothing waits on itself.
#pragma once

#include "bus_connection.h"

#include <common/callback_thread.h>
#include <common/mutex.h>
#include <lomodelapi/model_objects.h>
#include <tvsim/simulator.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tvsim::remote {

using common::CallbackThread;
using common::Lock;
using common::Mutex;
using common::Subscription;
using common::SubscriptionPtr;

// What a model object's call answers when the TV service could not be reached
// or gave no reply in time; also the execution error of an action outcome that
// can no longer come because the service left (docs/simulator.md).
constexpr int kStatusServiceUnavailable = 4;

// One connection made through the TV service. Its mutable members are guarded
// by the RemoteRoot's mutex.
struct RemoteConnection {
    std::string modelPath;
    lomodelapi::ObjectTypeSpec realType = lomodelapi::OBJECT_TYPE_NONE;
    // What the object's getType answers in the service: given by Connect, then
    // by each Object.TypeChanged, which the service sends in order with the
    // connection's other signals (and so ahead of a Flush reply).
    lomodelapi::ObjectTypeSpec reportedType = lomodelapi::OBJECT_TYPE_NONE;
    lomodelapi::Observer* observer = nullptr;
    SubscriptionPtr subscription = std::make_shared<Subscription>();
    std::unique_ptr<ModelObject> object;
    std::uint64_t id = 0;          // the service's connection id
    std::string objectPath;        // the model object's D-Bus path
    std::uint64_t generation = 0;  // the service instance the id belongs to
};

class RemoteRoot;

// An iterator the TV service made for this process; its moves are calls of the
// service's iterator object, whose events come back as signals.
struct RemoteIterator final : public TableIteratorObject, public IteratorMoves {
    explicit RemoteIterator(RemoteRoot& owner) : root(owner) {}

    int getType(lomodelapi::ObjectTypeSpec& type) override {
        type = lomodelapi::OBJECT_TYPE_NONE;
        return 0;
    }
    void seekToRow(int row) override;
    void seekToContent(const std::string& cell) override;
    void readRow() override;
    void readRows(int count) override;
    void commit() override;

    RemoteRoot& root;
    std::string objectPath;
    lomodelapi::ObserverTableIterator* observer = nullptr;
    SubscriptionPtr subscription = std::make_shared<Subscription>();
    std::uint64_t generation = 0;  // it exists only in that service instance
};

// What Platform.Connect answered.
struct ConnectReply {
    int status = kStatusServiceUnavailable;
    std::uint64_t id = 0;
    std::string objectPath;
    int realType = 0;
    int reportedType = 0;

    bool madeObject() const { return status == 0 && id != 0; }
};

struct IteratorRequest {
    lomodelapi::IteratorType type = lomodelapi::ITERATOR_TYPE_DEFAULT;
    const std::vector<lomodelapi::TableSelection>& selections;
    const std::vector<int>& columns;
    const std::vector<lomodelapi::TableOrder>& orders;
};

class RemoteRoot final : public RootInterface {
public:
    using Append = BusConnection::Append;
    // Reads a reply of the service; returns the status the object answers.
    using Read = std::function<int(sd_bus_message*)>;

    explicit RemoteRoot(std::string address);  // starts the bus and callback threads
    ~RemoteRoot() override;

    RemoteRoot(const RemoteRoot&) = delete;
    RemoteRoot& operator=(const RemoteRoot&) = delete;

    // Platform.GetInterfaceReference; kStatusServiceUnavailable when the service does not answer.
    int interfaceReference(const std::string& name, bool& filled, bool& hasObject) SYSACCESS_EXCLUDES(m_mutex);

    int connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object) override
        SYSACCESS_EXCLUDES(m_mutex);
    int disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object) override
        SYSACCESS_EXCLUDES(m_mutex);

    // ModelObject::getType without a round trip: the connection's reported type,
    // once whatever the bus has already brought (a type change, a loss of the
    // service) is dispatched; kStatusServiceUnavailable when a connection of an
    // earlier service instance cannot be made anew.
    int reportedType(RemoteConnection& connection, lomodelapi::ObjectTypeSpec& type) SYSACCESS_EXCLUDES(m_mutex);
    // Calls the member on the connection's object: its id, then what append adds.
    // Re-makes a connection of an earlier service instance first.
    int callObject(RemoteConnection& connection, const char* interface, const char* member, const Append& append,
                   const Read& read) SYSACCESS_EXCLUDES(m_mutex);
    // Action.Invoke; an accepted invoke's outcome is awaited until it comes or the service leaves.
    int invoke(RemoteConnection& action, const std::vector<lomodelapi::Argument>& arguments, unsigned int& actionId)
        SYSACCESS_EXCLUDES(m_mutex);
    TableIteratorObject* createIterator(RemoteConnection& table, lomodelapi::ObserverTableIterator* observer,
                                        const IteratorRequest& request) SYSACCESS_EXCLUDES(m_mutex);
    int destroyIterator(RemoteConnection& table, TableIteratorObject* iterator) SYSACCESS_EXCLUDES(m_mutex);
    // Control.Flush over this connection, then every signal queued before its
    // reply dispatched and delivered on the callback thread; false without a reply.
    bool flush() SYSACCESS_EXCLUDES(m_mutex);
    // Calls the member on the iterator's object; nothing when the iterator went with an earlier service instance.
    void moveIterator(const RemoteIterator& iterator, const char* member, const Append& append)
        SYSACCESS_EXCLUDES(m_mutex);

private:
    // The bus thread's loop and the wake-up that client calls give it (they may
    // have read messages off the socket that it must now dispatch).
    void run() SYSACCESS_EXCLUDES(m_mutex);
    void wake();
    // The epoll events the bus thread waits for on the bus socket; 0 for none.
    void watchBus(std::uint32_t events) SYSACCESS_REQUIRES(m_mutex);
    // A method call of the service with the socket out of the bus thread's watch.
    Message callService(const std::string& path, const char* interface, const char* member, const Append& append,
                        std::string& errorName) SYSACCESS_REQUIRES(m_mutex);
    // After a call: the socket back in the bus thread's watch, and the bus
    // thread woken when the call left messages queued for it.
    void returnBus() SYSACCESS_REQUIRES(m_mutex);
    // Dispatches every message already read or waiting on the socket, on the
    // calling thread; true when there was any (the bus thread may have a
    // reconnect or a lost bus to see to, and must be woken once the mutex is free).
    bool dispatchArrived() SYSACCESS_REQUIRES(m_mutex);

    bool ensureOpen() SYSACCESS_REQUIRES(m_mutex);
    // Re-connects a connection made with an earlier instance of the service; false when that failed.
    bool ensureCurrent(RemoteConnection& connection) SYSACCESS_REQUIRES(m_mutex);
    // Platform.Connect; false when no reply came.
    bool connectOnService(const std::string& path, ConnectReply& answer) SYSACCESS_REQUIRES(m_mutex);
    int callObjectLocked(RemoteConnection& connection, const char* interface, const char* member, const Append& append,
                         const Read& read) SYSACCESS_REQUIRES(m_mutex);

    // remote_signals.cpp: run by sd-bus on whichever thread processes the bus, with m_mutex held.
    static int onSignal(sd_bus_message* message, void* root, sd_bus_error* error);
    static int onOwnerChanged(sd_bus_message* message, void* root, sd_bus_error* error);
    void dispatchSignal(sd_bus_message* message) SYSACCESS_REQUIRES(m_mutex);
    void dispatchIteratorSignal(sd_bus_message* message, const std::string& path, const std::string& member)
        SYSACCESS_REQUIRES(m_mutex);
    void dispatchConnectionSignal(sd_bus_message* message, const std::string& interface, const std::string& member)
        SYSACCESS_REQUIRES(m_mutex);
    // The service's name lost its owner: every awaited outcome becomes an execution error.
    void serviceLost() SYSACCESS_REQUIRES(m_mutex);
    void reconnectAll() SYSACCESS_REQUIRES(m_mutex);

    Mutex m_mutex;
    const std::string m_address;
    BusConnection m_bus SYSACCESS_GUARDED_BY(m_mutex);
    std::uint64_t m_generation SYSACCESS_GUARDED_BY(m_mutex) = 1;
    bool m_reconnectDue SYSACCESS_GUARDED_BY(m_mutex) = false;
    bool m_stopping SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::map<const ModelObject*, std::unique_ptr<RemoteConnection>> m_connections SYSACCESS_GUARDED_BY(m_mutex);
    std::map<std::uint64_t, RemoteConnection*> m_byId SYSACCESS_GUARDED_BY(m_mutex);  // current instance only
    std::map<const TableIteratorObject*, std::unique_ptr<RemoteIterator>> m_iterators SYSACCESS_GUARDED_BY(m_mutex);
    // Ids of this process's accepted invokes whose outcome has not come yet, by action path.
    std::map<std::string, std::set<unsigned int>> m_awaited SYSACCESS_GUARDED_BY(m_mutex);
    CallbackThread m_callbacks;
    const int m_wakeFd;
    const int m_epollFd;  // the wake fd, and the bus socket while no client call reads it
    std::thread m_busThread;
};

}  // namespace tvsim::remote
