// What each client process holds in the simulator through tvsimd: its
// connections to model objects and its table iterators, each with the
// observer tvsimd made for it, which goes when they end. Keyed by the client's unique name, so a
// client can use only its own, and everything a client held is given back
// when its name leaves the bus. Bus thread only, with no lock: every
// operation checks it runs there (BusThread).
#pragma once

#include "bus_thread.h"
#include "client_observers.h"

#include <lomodelapi/model_objects.h>
#include <lomodelapi/table_types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace tvsimd {

struct ClientConnection {
    std::uint64_t id = 0;
    std::string client;
    std::string modelPath;
    lomodelapi::ObjectTypeSpec realType = lomodelapi::OBJECT_TYPE_NONE;
    std::unique_ptr<lomodelapi::Observer> observer;
    ModelObject* object = nullptr;    // null when the platform handed out none
    std::set<std::string> iterators;  // the object paths of the iterators made through it (tables)
};

struct ClientIterator {
    std::uint64_t id = 0;
    std::string client;
    std::string objectPath;  // under kIteratorPrefix
    std::uint64_t connection = 0;
    TableIteratorObject* iterator = nullptr;
    std::unique_ptr<lomodelapi::ObserverTableIterator> observer;
};

struct IteratorRequest {
    lomodelapi::IteratorType type = lomodelapi::ITERATOR_TYPE_DEFAULT;
    std::vector<lomodelapi::TableSelection> selections;
    std::vector<int> columns;
    std::vector<lomodelapi::TableOrder> orders;
};

class Clients {
public:
    Clients(RootInterface& root, NotificationQueue& queue);
    ~Clients();  // gives back everything still held

    Clients(const Clients&) = delete;
    Clients& operator=(const Clients&) = delete;

    // On the bus thread, which every other operation must then be called on.
    void setBus(sd_bus* bus) {
        m_busThread.claim();
        m_bus = bus;
    }

    // RootInterface::connect for the client; the connection's signals come
    // from objectPath. The connection is kept when the platform handed out an
    // object; returns the platform's status and that connection (or null).
    int connect(const std::string& client, const std::string& modelPath, const std::string& objectPath,
                lomodelapi::ObjectTypeSpec realType, const ClientConnection*& made);
    // RootInterface::disconnect of the client's connection; an unknown id
    // still reaches the platform (with no observer and no object), which answers its status.
    int disconnect(const std::string& client, const std::string& modelPath, std::uint64_t id);
    // The client's connection to the model path; UnknownConnection otherwise.
    const ClientConnection& connection(const std::string& client, const std::string& modelPath, std::uint64_t id) const;
    // Whether any client holds a connection to the path (it stays usable after the path is removed).
    bool connectedTo(const std::string& modelPath, lomodelapi::ObjectTypeSpec& realType) const;

    // TableObject::createIterator through the client's table connection; null when the platform made none.
    const ClientIterator* createIterator(const ClientConnection& table, const IteratorRequest& request);
    // TableObject::destroyIterator; an iterator of another client or connection still reaches the platform.
    int destroyIterator(const ClientConnection& table, const std::string& iteratorPath);
    const ClientIterator* iterator(const std::string& objectPath) const;  // null when none
    std::vector<std::string> iteratorPaths() const;

    // Everything the client holds is given back (its unique name left the bus).
    void dropClient(const std::string& client);
    void dropAll();

private:
    SignalTarget target(const std::string& client, const std::string& objectPath, std::uint64_t id) const;
    // Destroys the iterators made through the table connection, before it ends.
    void destroyIteratorsOf(ClientConnection& table);
    // Forgets the connection, whose end the platform has answered.
    void erase(std::map<std::uint64_t, std::unique_ptr<ClientConnection>>::iterator connection);

    RootInterface& m_root;
    NotificationQueue& m_queue;
    BusThread m_busThread;
    sd_bus* m_bus = nullptr;
    std::uint64_t m_nextId = 1;
    std::map<std::uint64_t, std::unique_ptr<ClientConnection>> m_connections;
    // The ids in m_connections by client, so that giving back what one client held costs what it held.
    std::unordered_map<std::string, std::set<std::uint64_t>> m_connectionsOf;
    std::map<std::string, std::unique_ptr<ClientIterator>> m_iterators;  // by object path
};

}  // namespace tvsimd
