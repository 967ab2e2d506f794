#include "service.h"

#include "bus_error.h"
#include "bus_names.h"
#include "bus_plumbing.h"
#include "interfaces.h"
#include "log.h"

#include <sys/epoll.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

int require(int result, const std::string& what) {
    if (result < 0) {
        throw std::runtime_error(what + ": " + std::generic_category().message(-result));
    }
    return result;
}

// The TV a recorded scenario starts with: the model file the service was started with, wherever the
// scenario is written, or the default TV.
tvsim::ScenarioTv recordedTv(const std::string& modelFile) {
    tvsim::ScenarioTv tv;
    if (!modelFile.empty()) {
        tv.kind = tvsim::ScenarioTv::Kind::File;
        tv.file = std::filesystem::absolute(modelFile).lexically_normal().string();
    }
    return tv;
}

}  // namespace

Service::Service(tvsim::Simulator& simulator, RootInterface& root, tvsim::LoadedModel model,
                 const std::string& modelFile)
    : m_flusher(simulator, m_queue),
      m_clients(root, m_queue),
      m_delivery(m_queue, m_clients),
      m_control(simulator, std::move(model)),
      m_journal(m_control),
      m_recordWaits(simulator, m_journal, &replyRecordWait),
      m_scenarios(simulator, m_journal, *this, m_snapshot, recordedTv(modelFile)),
      m_controlParts{m_journal, m_flusher, m_delivery},
      m_recordsParts{simulator, m_journal, m_delivery, m_recordWaits},
      m_clientParts{simulator, m_clients, m_delivery} {}

Service::~Service() {
    // Before the bus goes: no observer may post for a client after this, and no ping waits for an answer.
    m_clients.dropAll();
    m_delivery.stop();
    if (m_bus != nullptr) {
        sd_bus_flush_close_unref(m_bus);
    }
    if (m_event != nullptr) {
        sd_event_unref(m_event);
    }
}

void Service::open(const std::string& address) {
    require(sd_event_new(&m_event), "cannot make an event loop");
    const std::string resolved = tvsim::bus::busAddressOf(address.empty() ? "session" : address);
    if (resolved.empty()) {
        throw std::runtime_error("cannot connect to the session bus: DBUS_SESSION_BUS_ADDRESS is not set");
    }
    int error = 0;
    m_bus = tvsim::bus::openBus(resolved, error).release();
    require(error, "cannot connect to the bus at '" + resolved + "'");
    m_clients.setBus(m_bus);
    m_delivery.setBus(m_bus);
    require(sd_bus_attach_event(m_bus, m_event, SD_EVENT_PRIORITY_NORMAL), "cannot attach the bus");
    require(sd_bus_set_exit_on_disconnect(m_bus, 1), "cannot watch the bus connection");
    require(sd_event_add_io(m_event, nullptr, m_queue.fd(), EPOLLIN, &Service::onQueue, this),
            "cannot watch the notification queue");
    m_recordWaits.attach(m_event);
    m_scenarios.attach(m_event);
    require(sd_event_add_signal(m_event, nullptr, SIGINT, nullptr, nullptr), "cannot handle SIGINT");
    require(sd_event_add_signal(m_event, nullptr, SIGTERM, nullptr, nullptr), "cannot handle SIGTERM");
    require(
        sd_bus_match_signal(m_bus, nullptr, tvsim::bus::kBusDriverName, tvsim::bus::kBusDriverPath,
                            tvsim::bus::kBusDriverInterface, "NameOwnerChanged", &Service::onNameOwnerChanged, this),
        "cannot watch clients leave");
    addControlInterface(m_bus, m_controlParts);
    addFaultsInterface(m_bus, m_journal);
    addRespondersInterface(m_bus, m_journal);
    addRecordsInterface(m_bus, m_recordsParts);
    addPlatformInterface(m_bus, m_clientParts);
    addModelObjectInterfaces(m_bus, m_clientParts);
    addIteratorInterface(m_bus, m_clientParts);
    addScenarioInterface(m_bus, m_scenarios);
    require(sd_bus_add_object_manager(m_bus, nullptr, kControlPath), "cannot add the object manager");
    const int named = sd_bus_request_name(m_bus, kServiceName, 0);
    if (named == -EEXIST) {
        throw std::runtime_error(std::string(kServiceName) + " is already owned on this bus");
    }
    require(named, std::string("cannot own ") + kServiceName);
}

int Service::run() {
    // SIGINT and SIGTERM end the loop with 0; sd-bus ends it with a failure
    // when the bus connection is lost, and serving on would reach nobody.
    if (require(sd_event_loop(m_event), "event loop failed") != 0) {
        throw std::runtime_error("lost the connection to the bus");
    }
    sd_bus_release_name(m_bus, kServiceName);
    sd_bus_flush(m_bus);
    logLine(kLogInfo, "released " + std::string(kServiceName));
    return 0;
}

void Service::leaveBus() {
    m_delivery.everyClientLeft();
    require(sd_bus_release_name(m_bus, kServiceName), std::string("cannot release ") + kServiceName);
}

void Service::returnToBus() {
    // Queued behind a peer that took the name meanwhile: the service has it again once that peer lets go.
    if (require(sd_bus_request_name(m_bus, kServiceName, SD_BUS_NAME_QUEUE),
                "cannot own " + std::string(kServiceName)) == 0) {
        logLine(kLogError, "another peer took " + std::string(kServiceName) + "; tvsimd waits in the queue for it");
    }
}

int Service::onQueue(sd_event_source*, int, std::uint32_t, void* service) {
    static_cast<Service*>(service)->m_delivery.turn();
    return 0;
}

int Service::onNameOwnerChanged(sd_bus_message* message, void* service, sd_bus_error*) {
    // Only the bus driver speaks for who left: any peer can send tvsimd a signal of this name.
    const char* sender = sd_bus_message_get_sender(message);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sender == nullptr || std::strcmp(sender, tvsim::bus::kBusDriverName) != 0 ||
        sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) < 0) {
        return 0;
    }
    if (name[0] == ':' && newOwner[0] == '\0') {
        logLine(kLogTrace, std::string("client ") + name + " left");
        static_cast<Service*>(service)->m_delivery.clientLeft(name);
        static_cast<Service*>(service)->m_recordWaits.clientLeft(name);
        static_cast<Service*>(service)->m_scenarios.clientLeft(name);
    }
    return 0;
}

}  // namespace tvsimd
