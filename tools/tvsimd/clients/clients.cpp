#include "clients.h"

#include "bus_error.h"
#include "bus_names.h"

#include <tvsim/simulator.h>

#include <set>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec

Clients::Clients(RootInterface& root, NotificationQueue& queue) : m_root(root), m_queue(queue) {}

Clients::~Clients() {
    dropAll();
}

void Clients::dropAll() {
    m_busThread.require("Clients");
    while (!m_connectionsOf.empty()) {
        const std::string client = m_connectionsOf.begin()->first;  // a copy: dropClient erases the key
        dropClient(client);
    }
}

SignalTarget Clients::target(const std::string& client, const std::string& objectPath, std::uint64_t id) const {
    return SignalTarget{m_bus, &m_queue, client, objectPath, id};
}

int Clients::connect(const std::string& client, const std::string& modelPath, const std::string& objectPath,
                     lomodelapi::ObjectTypeSpec realType, const ClientConnection*& made) {
    m_busThread.require("Clients");
    auto connection = std::make_unique<ClientConnection>();
    connection->id = m_nextId++;
    connection->client = client;
    connection->modelPath = modelPath;
    connection->realType = realType;
    connection->observer = makeObserver(realType, target(client, objectPath, connection->id));
    ModelObject* object = nullptr;
    const int status = m_root.connect(modelPath, connection->observer.get(), object);
    made = nullptr;
    if (status == 0 && object != nullptr) {
        connection->object = object;
        made = connection.get();
        m_connectionsOf[client].insert(connection->id);
        m_connections.emplace(connection->id, std::move(connection));
    }
    return status;
}

int Clients::disconnect(const std::string& client, const std::string& modelPath, std::uint64_t id) {
    m_busThread.require("Clients");
    auto found = m_connections.find(id);
    if (found == m_connections.end() || found->second->client != client) {
        return m_root.disconnect(modelPath, nullptr, nullptr);
    }
    ClientConnection& connection = *found->second;
    if (connection.modelPath == modelPath) {
        destroyIteratorsOf(connection);
    }
    const int status = m_root.disconnect(modelPath, connection.observer.get(), connection.object);
    if (status == 0) {
        erase(found);
    }
    return status;
}

const ClientConnection& Clients::connection(const std::string& client, const std::string& modelPath,
                                            std::uint64_t id) const {
    m_busThread.require("Clients");
    auto found = m_connections.find(id);
    if (found == m_connections.end() || found->second->client != client || found->second->modelPath != modelPath) {
        throw BusError(kErrorUnknownConnection,
                       "Connection " + std::to_string(id) + " to " + modelPath + " is not one this client holds.");
    }
    return *found->second;
}

bool Clients::connectedTo(const std::string& modelPath, lomodelapi::ObjectTypeSpec& realType) const {
    m_busThread.require("Clients");
    for (const auto& [id, connection] : m_connections) {
        if (connection->modelPath == modelPath) {
            realType = connection->realType;
            return true;
        }
    }
    return false;
}

const ClientIterator* Clients::createIterator(const ClientConnection& table, const IteratorRequest& request) {
    m_busThread.require("Clients");
    auto* tableObject = dynamic_cast<TableObject*>(table.object);
    if (tableObject == nullptr) {
        return nullptr;
    }
    auto iterator = std::make_unique<ClientIterator>();
    iterator->id = m_nextId++;
    iterator->client = table.client;
    iterator->objectPath = std::string(kIteratorPrefix) + "/" + std::to_string(iterator->id);
    iterator->connection = table.id;
    iterator->observer = makeIteratorObserver(target(table.client, iterator->objectPath, iterator->id));
    iterator->iterator = tableObject->createIterator(request.type, iterator->observer.get(), request.selections,
                                                     request.columns, request.orders);
    if (iterator->iterator == nullptr) {
        return nullptr;
    }
    const ClientIterator* made = iterator.get();
    m_connections.at(table.id)->iterators.insert(iterator->objectPath);
    m_iterators.emplace(iterator->objectPath, std::move(iterator));
    return made;
}

int Clients::destroyIterator(const ClientConnection& table, const std::string& iteratorPath) {
    m_busThread.require("Clients");
    auto* tableObject = dynamic_cast<TableObject*>(table.object);
    if (tableObject == nullptr) {
        return tvsim::kStatusUnknownObject;
    }
    auto found = m_iterators.find(iteratorPath);
    if (found == m_iterators.end() || found->second->connection != table.id) {
        return tableObject->destroyIterator(nullptr);
    }
    const int status = tableObject->destroyIterator(found->second->iterator);
    if (status == 0) {
        m_connections.at(table.id)->iterators.erase(iteratorPath);
        m_iterators.erase(found);
    }
    return status;
}

const ClientIterator* Clients::iterator(const std::string& objectPath) const {
    m_busThread.require("Clients");
    auto found = m_iterators.find(objectPath);
    return found == m_iterators.end() ? nullptr : found->second.get();
}

std::vector<std::string> Clients::iteratorPaths() const {
    m_busThread.require("Clients");
    std::vector<std::string> paths;
    for (const auto& [path, iterator] : m_iterators) {
        paths.push_back(path);
    }
    return paths;
}

void Clients::destroyIteratorsOf(ClientConnection& table) {
    auto* tableObject = dynamic_cast<TableObject*>(table.object);
    for (const std::string& path : table.iterators) {
        auto found = m_iterators.find(path);
        if (tableObject != nullptr) {
            tableObject->destroyIterator(found->second->iterator);
        }
        m_iterators.erase(found);
    }
    table.iterators.clear();
}

void Clients::erase(std::map<std::uint64_t, std::unique_ptr<ClientConnection>>::iterator connection) {
    auto owner = m_connectionsOf.find(connection->second->client);
    owner->second.erase(connection->first);
    if (owner->second.empty()) {
        m_connectionsOf.erase(owner);
    }
    m_connections.erase(connection);
}

void Clients::dropClient(const std::string& client) {
    m_busThread.require("Clients");
    auto owner = m_connectionsOf.find(client);
    if (owner == m_connectionsOf.end()) {
        return;
    }
    const std::set<std::uint64_t> ids = std::move(owner->second);
    m_connectionsOf.erase(owner);
    for (const std::uint64_t id : ids) {
        auto connection = m_connections.find(id);
        destroyIteratorsOf(*connection->second);
        m_root.disconnect(connection->second->modelPath, connection->second->observer.get(),
                          connection->second->object);
        m_connections.erase(connection);
    }
}

}  // namespace tvsimd
