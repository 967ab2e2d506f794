#include "remote_root.h"

#include "bus_error.h"
#include "bus_names.h"
#include "remote_objects.h"
#include "value_codec.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace tvsim::remote {
namespace {

using bus::check;

void appendTypedArray(sd_bus_message* message, const char* type, const std::function<void()>& elements) {
    check(sd_bus_message_open_container(message, 'a', type), "open array");
    elements();
    check(sd_bus_message_close_container(message), "close array");
}

}  // namespace

RemoteRoot::RemoteRoot(std::string address)
    : m_address(std::move(address)),
      m_wakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_epollFd(epoll_create1(EPOLL_CLOEXEC)) {
    epoll_event wakeEvent{};
    wakeEvent.events = EPOLLIN;
    wakeEvent.data.fd = m_wakeFd;
    epoll_ctl(m_epollFd, EPOLL_CTL_ADD, m_wakeFd, &wakeEvent);
    {
        Lock lock(m_mutex);
        ensureOpen();
    }
    m_busThread = std::thread([this] { run(); });
}

RemoteRoot::~RemoteRoot() {
    {
        Lock lock(m_mutex);
        m_stopping = true;
    }
    wake();
    m_busThread.join();
    m_callbacks.shutdown();
    close(m_epollFd);
    close(m_wakeFd);
}

void RemoteRoot::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_wakeFd, &one, sizeof one);
}

void RemoteRoot::watchBus(std::uint32_t events) {
    const int fd = m_bus.fd();
    if (fd < 0) {
        return;
    }
    epoll_event event{};
    event.events = events;  // sd-bus's poll events: EPOLLIN and EPOLLOUT are POLLIN and POLLOUT
    event.data.fd = fd;
    // A socket of an earlier connection left the set when it was closed.
    if (epoll_ctl(m_epollFd, EPOLL_CTL_MOD, fd, &event) < 0 && errno == ENOENT) {
        epoll_ctl(m_epollFd, EPOLL_CTL_ADD, fd, &event);
    }
}

Message RemoteRoot::callService(const std::string& path, const char* interface, const char* member,
                                const Append& append, std::string& errorName) {
    watchBus(0);
    Message reply = m_bus.call(path, interface, member, append, errorName);
    returnBus();
    return reply;
}

void RemoteRoot::returnBus() {
    watchBus(static_cast<std::uint32_t>(m_bus.pollEvents()));
    if (m_bus.pollTimeoutMs() == 0) {
        wake();
    }
}

void RemoteRoot::run() {
    for (;;) {
        int timeoutMs = -1;
        {
            Lock lock(m_mutex);
            if (m_stopping) {
                return;
            }
            int processed = 0;
            while ((processed = m_bus.process()) > 0) {
            }
            if (processed < 0) {
                // The bus itself is gone: nothing more can come from the service.
                serviceLost();
                m_bus.close();
            }
            // A bus that comes back at the same address brings the watches back,
            // though the process makes no call that would open it.
            const bool lookAgain = !ensureOpen() && !m_connections.empty();
            if (m_reconnectDue) {
                m_reconnectDue = false;
                reconnectAll();
                // Its calls may have queued messages that the loop must dispatch now.
                continue;
            }
            watchBus(static_cast<std::uint32_t>(m_bus.pollEvents()));
            timeoutMs = lookAgain ? static_cast<int>(kBusRetryInterval.count()) : m_bus.pollTimeoutMs();
        }
        epoll_event ready[2];
        epoll_wait(m_epollFd, ready, 2, timeoutMs);
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t drained = read(m_wakeFd, &count, sizeof count);
    }
}

bool RemoteRoot::ensureOpen() {
    if (!m_bus.isOpen() && m_bus.open(m_address, &RemoteRoot::onSignal, &RemoteRoot::onOwnerChanged, this)) {
        // A service already there sends no name change: the bus thread makes the
        // connections of the bus that was lost anew now, and polls the new one.
        m_reconnectDue = true;
        wake();
    }
    return m_bus.isOpen();
}

bool RemoteRoot::dispatchArrived() {
    bool any = false;
    int processed = 0;
    while ((processed = m_bus.process()) > 0) {
        any = true;
    }
    return any || processed < 0;
}

bool RemoteRoot::connectOnService(const std::string& path, ConnectReply& answer) {
    std::string errorName;
    Message reply = callService(
        bus::kControlPath, bus::kPlatformInterface, "Connect",
        [&](sd_bus_message* request) { check(sd_bus_message_append_basic(request, 's', path.c_str()), "append"); },
        errorName);
    const char* object = nullptr;
    if (!reply || sd_bus_message_read(reply.get(), "itoii", &answer.status, &answer.id, &object, &answer.realType,
                                      &answer.reportedType) < 0) {
        answer.status = kStatusServiceUnavailable;
        return false;
    }
    answer.objectPath = object;
    return true;
}

bool RemoteRoot::ensureCurrent(RemoteConnection& connection) {
    if (connection.generation == m_generation) {
        return true;
    }
    ConnectReply answer;
    if (!ensureOpen() || !connectOnService(connection.modelPath, answer) || !answer.madeObject()) {
        return false;
    }
    connection.id = answer.id;
    connection.objectPath = answer.objectPath;
    connection.reportedType = static_cast<lomodelapi::ObjectTypeSpec>(answer.reportedType);
    connection.generation = m_generation;
    m_byId[answer.id] = &connection;
    return true;
}

void RemoteRoot::reconnectAll() {
    for (auto& entry : m_connections) {
        ensureCurrent(*entry.second);
    }
}

int RemoteRoot::interfaceReference(const std::string& name, bool& filled, bool& hasObject) {
    int status = kStatusServiceUnavailable;
    {
        Lock lock(m_mutex);
        std::string errorName;
        Message reply;
        if (ensureOpen()) {
            reply = callService(
                bus::kControlPath, bus::kPlatformInterface, "GetInterfaceReference",
                [&](sd_bus_message* request) {
                    check(sd_bus_message_append_basic(request, 's', name.c_str()), "append");
                },
                errorName);
        }
        int answered = 0;
        int filledBit = 0;
        int objectBit = 0;
        if (reply && sd_bus_message_read(reply.get(), "ibb", &answered, &filledBit, &objectBit) >= 0) {
            status = answered;
            filled = filledBit != 0;
            hasObject = objectBit != 0;
        }
    }
    return status;
}

int RemoteRoot::connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object) {
    object = nullptr;
    ConnectReply answer;
    {
        Lock lock(m_mutex);
        if (ensureOpen() && connectOnService(path, answer) && answer.madeObject()) {
            auto connection = std::make_unique<RemoteConnection>();
            connection->modelPath = path;
            connection->realType = static_cast<lomodelapi::ObjectTypeSpec>(answer.realType);
            connection->reportedType = static_cast<lomodelapi::ObjectTypeSpec>(answer.reportedType);
            connection->observer = observer;
            connection->id = answer.id;
            connection->objectPath = answer.objectPath;
            connection->generation = m_generation;
            connection->object = makeRemoteObject(*this, *connection);
            object = connection->object.get();
            // In place before the bus thread can dispatch this connection's first signal.
            m_byId[answer.id] = connection.get();
            m_connections.emplace(object, std::move(connection));
        }
    }
    return answer.status;
}

int RemoteRoot::disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object) {
    SubscriptionPtr subscription;
    {
        Lock lock(m_mutex);
        auto found = m_connections.find(object);
        if (found != m_connections.end() && found->second->modelPath == path && found->second->observer == observer) {
            subscription = found->second->subscription;
        }
    }
    // Without the mutex: an observer call in progress may itself be calling the model.
    if (subscription != nullptr) {
        m_callbacks.end(subscription);
    }
    std::unique_ptr<RemoteConnection> ended;
    int status = kStatusServiceUnavailable;
    {
        Lock lock(m_mutex);
        auto found = m_connections.find(object);
        std::uint64_t id = 0;
        if (subscription != nullptr && found != m_connections.end()) {
            ended = std::move(found->second);
            m_connections.erase(found);
            if (ended->generation == m_generation) {
                id = ended->id;
                m_byId.erase(id);
            }
        }
        // An unknown object, or one of an earlier service instance (id 0), still
        // reaches the service, which answers and records it as the platform does.
        std::string errorName;
        Message reply;
        if (ensureOpen()) {
            reply = callService(
                bus::kControlPath, bus::kPlatformInterface, "Disconnect",
                [&](sd_bus_message* request) {
                    check(sd_bus_message_append(request, "st", path.c_str(), id), "append");
                },
                errorName);
        }
        if (reply) {
            status = bus::readStatus(reply.get());
        }
    }
    return status;
}

int RemoteRoot::reportedType(RemoteConnection& connection, lomodelapi::ObjectTypeSpec& type) {
    int status = kStatusServiceUnavailable;
    bool dispatched = false;
    {
        Lock lock(m_mutex);
        dispatched = dispatchArrived();
        if (ensureCurrent(connection)) {
            type = connection.reportedType;
            status = 0;
        }
    }
    if (dispatched) {
        wake();
    }
    return status;
}

int RemoteRoot::callObjectLocked(RemoteConnection& connection, const char* interface, const char* member,
                                 const Append& append, const Read& read) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!ensureCurrent(connection)) {
            return kStatusServiceUnavailable;
        }
        std::string errorName;
        Message reply = callService(
            connection.objectPath, interface, member,
            [&](sd_bus_message* request) {
                check(sd_bus_message_append_basic(request, 't', &connection.id), "append connection");
                append(request);
            },
            errorName);
        if (reply) {
            return read(reply.get());
        }
        if (errorName != bus::kErrorUnknownConnection) {
            break;
        }
        // The service came back before its name change was dispatched: connect anew, once.
        connection.generation = 0;
    }
    return kStatusServiceUnavailable;
}

int RemoteRoot::callObject(RemoteConnection& connection, const char* interface, const char* member,
                           const Append& append, const Read& read) {
    int status = kStatusServiceUnavailable;
    {
        Lock lock(m_mutex);
        try {
            status = callObjectLocked(connection, interface, member, append, read);
        } catch (const std::exception&) {
            // A reply that does not read as the method promises.
            status = kStatusServiceUnavailable;
        }
    }
    return status;
}

int RemoteRoot::invoke(RemoteConnection& action, const std::vector<lomodelapi::Argument>& arguments,
                       unsigned int& actionId) {
    int status = kStatusServiceUnavailable;
    {
        Lock lock(m_mutex);
        std::uint32_t id = 0;
        try {
            status = callObjectLocked(
                action, bus::kActionInterface, "Invoke",
                [&](sd_bus_message* request) { bus::appendArguments(request, arguments); },
                [&](sd_bus_message* reply) {
                    int answered = 0;
                    check(sd_bus_message_read(reply, "iu", &answered, &id), "read invoke");
                    return answered;
                });
        } catch (const std::exception&) {
            status = kStatusServiceUnavailable;
        }
        if (status == 0 && id != 0) {
            actionId = id;
            // Noted before the bus thread can dispatch the outcome, which the
            // service may have sent ahead of this reply.
            m_awaited[action.modelPath].insert(id);
        }
    }
    return status;
}

TableIteratorObject* RemoteRoot::createIterator(RemoteConnection& table, lomodelapi::ObserverTableIterator* observer,
                                                const IteratorRequest& request) {
    TableIteratorObject* made = nullptr;
    {
        Lock lock(m_mutex);
        std::string objectPath;
        int status = kStatusServiceUnavailable;
        try {
            status = callObjectLocked(
                table, bus::kTableInterface, "CreateIterator",
                [&](sd_bus_message* call) {
                    check(sd_bus_message_append_basic(call, 'i', &request.type), "append type");
                    appendTypedArray(call, "(iis)", [&] {
                        for (const auto& selection : request.selections) {
                            check(sd_bus_message_append(call, "(iis)", selection.column, selection.comparison,
                                                        selection.value.c_str()),
                                  "append selection");
                        }
                    });
                    check(sd_bus_message_append_array(call, 'i', request.columns.data(),
                                                      request.columns.size() * sizeof(int)),
                          "append columns");
                    appendTypedArray(call, "(ii)", [&] {
                        for (const auto& order : request.orders) {
                            check(sd_bus_message_append(call, "(ii)", order.column, order.direction), "append order");
                        }
                    });
                },
                [&](sd_bus_message* reply) {
                    const char* path = nullptr;
                    check(sd_bus_message_read_basic(reply, 'o', &path), "read iterator");
                    objectPath = path;
                    return 0;
                });
        } catch (const std::exception&) {
            status = kStatusServiceUnavailable;
        }
        if (status == 0 && objectPath != "/") {
            auto iterator = std::make_unique<RemoteIterator>(*this);
            iterator->objectPath = objectPath;
            iterator->observer = observer;
            iterator->generation = m_generation;
            made = iterator.get();
            // In place before the bus thread dispatches its first events.
            m_iterators.emplace(made, std::move(iterator));
        }
    }
    return made;
}

int RemoteRoot::destroyIterator(RemoteConnection& table, TableIteratorObject* iterator) {
    SubscriptionPtr subscription;
    {
        Lock lock(m_mutex);
        auto found = m_iterators.find(iterator);
        if (found != m_iterators.end()) {
            subscription = found->second->subscription;
        }
    }
    if (subscription != nullptr) {
        m_callbacks.end(subscription);
    }
    std::unique_ptr<RemoteIterator> ended;
    int status = kStatusServiceUnavailable;
    {
        Lock lock(m_mutex);
        auto found = m_iterators.find(iterator);
        std::string objectPath = "/";
        if (found != m_iterators.end()) {
            ended = std::move(found->second);
            m_iterators.erase(found);
            if (ended->generation == m_generation) {
                objectPath = ended->objectPath;
            }
        }
        try {
            status = callObjectLocked(
                table, bus::kTableInterface, "DestroyIterator",
                [&](sd_bus_message* call) {
                    check(sd_bus_message_append_basic(call, 'o', objectPath.c_str()), "append iterator");
                },
                bus::readStatus);
        } catch (const std::exception&) {
            status = kStatusServiceUnavailable;
        }
    }
    return status;
}

bool RemoteRoot::flush() {
    bool answered = false;
    {
        Lock lock(m_mutex);
        if (ensureOpen()) {
            std::string errorName;
            const Append noArguments = [](sd_bus_message*) {};
            const Message reply =
                callService(bus::kControlPath, bus::kControlInterface, "Flush", noArguments, errorName);
            answered = reply != nullptr;
            // Here rather than on the bus thread, so that they are queued before the callback thread is flushed.
            dispatchArrived();
        }
    }
    wake();  // whatever the dispatch left to do (a reconnect, a lost bus) is the bus thread's
    m_callbacks.flush();
    return answered;
}

void RemoteRoot::moveIterator(const RemoteIterator& iterator, const char* member, const Append& append) {
    Lock lock(m_mutex);
    if (iterator.generation != m_generation) {
        return;
    }
    std::string errorName;
    callService(iterator.objectPath, bus::kIteratorInterface, member, append, errorName);
}

void RemoteIterator::seekToRow(int row) {
    root.moveIterator(*this, "SeekToRow", [row](sd_bus_message* call) {
        check(sd_bus_message_append_basic(call, 'i', &row), "append row");
    });
}

void RemoteIterator::seekToContent(const std::string& cell) {
    root.moveIterator(*this, "SeekToContent", [&cell](sd_bus_message* call) {
        check(sd_bus_message_append_basic(call, 's', cell.c_str()), "append cell");
    });
}

void RemoteIterator::readRow() {
    root.moveIterator(*this, "ReadRow", [](sd_bus_message*) {});
}

void RemoteIterator::readRows(int count) {
    root.moveIterator(*this, "ReadRows", [count](sd_bus_message* call) {
        check(sd_bus_message_append_basic(call, 'i', &count), "append count");
    });
}

void RemoteIterator::commit() {
    root.moveIterator(*this, "Commit", [](sd_bus_message*) {});
}

}  // namespace tvsim::remote
