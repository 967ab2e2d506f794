#include "bus_connection.h"

#include "bus_names.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <exception>

namespace tvsim::remote {
BusConnection::~BusConnection() {
    close();
}

bool BusConnection::open(const std::string& address, Handler onSignal, Handler onOwnerChanged, void* userdata) {
    close();
    int error = 0;
    bus::Bus bus = bus::openBus(address, error);
    if (!bus || sd_bus_add_match(bus.get(), nullptr, bus::kServiceSignalMatch, onSignal, userdata) < 0 ||
        sd_bus_add_match(bus.get(), nullptr, bus::kServiceOwnerMatch, onOwnerChanged, userdata) < 0) {
        return false;
    }
    m_bus = bus.release();
    return true;
}

void BusConnection::close() {
    m_serviceOwner.clear();
    if (m_bus != nullptr) {
        sd_bus_flush_close_unref(m_bus);
        m_bus = nullptr;
    }
}

Message BusConnection::call(const std::string& path, const char* interface, const char* member, const Append& append,
                            std::string& errorName) {
    if (m_bus == nullptr) {
        errorName = SD_BUS_ERROR_NO_SERVER;
        return nullptr;
    }
    sd_bus_message* request = nullptr;
    if (sd_bus_message_new_method_call(m_bus, &request, bus::kServiceName, path.c_str(), interface, member) < 0) {
        errorName = SD_BUS_ERROR_NO_MEMORY;
        return nullptr;
    }
    Message owned(request);
    // A missing service is an answer, not a reason to start one.
    sd_bus_message_set_auto_start(request, 0);
    try {
        append(request);
    } catch (const std::exception&) {
        errorName = SD_BUS_ERROR_INVALID_ARGS;
        return nullptr;
    }
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const std::uint64_t timeout = std::chrono::duration_cast<std::chrono::microseconds>(kCallTimeout).count();
    if (sd_bus_call(m_bus, request, timeout, &error, &reply) < 0) {
        errorName = error.name != nullptr ? error.name : SD_BUS_ERROR_DISCONNECTED;
        sd_bus_error_free(&error);
        return nullptr;
    }
    if (const char* sender = sd_bus_message_get_sender(reply)) {
        m_serviceOwner = sender;
    }
    return Message(reply);
}

bool BusConnection::fromService(sd_bus_message* message) const {
    const char* sender = sd_bus_message_get_sender(message);
    return sender != nullptr && !m_serviceOwner.empty() && m_serviceOwner == sender;
}

bool BusConnection::fromBusDriver(sd_bus_message* message) {
    const char* sender = sd_bus_message_get_sender(message);
    return sender != nullptr && std::strcmp(sender, bus::kBusDriverName) == 0;
}

int BusConnection::process() {
    return m_bus != nullptr ? sd_bus_process(m_bus, nullptr) : 0;
}

int BusConnection::fd() const {
    return m_bus != nullptr ? sd_bus_get_fd(m_bus) : -1;
}

short BusConnection::pollEvents() const {
    const int events = m_bus != nullptr ? sd_bus_get_events(m_bus) : 0;
    return static_cast<short>(events > 0 ? events : 0);
}

int BusConnection::pollTimeoutMs() const {
    std::uint64_t until = 0;
    if (m_bus == nullptr || sd_bus_get_timeout(m_bus, &until) <= 0 || until == UINT64_MAX) {
        return -1;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t nowUs = static_cast<std::uint64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
    return until <= nowUs ? 0 : static_cast<int>((until - nowUs + 999) / 1000);
}

}  // namespace tvsim::remote
