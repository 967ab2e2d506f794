// The TV service: one simulator served on one bus under io.sysaccess.TvSim.
// The thread that calls run() is the bus thread: every sd-bus object, every
// method handler and every delivery turn lives there. The simulator's callback
// thread (the observers) and the flush worker reach it only through the
// notification queue, whose lock is never held while a call runs.
#pragma once

#include "bus_parts.h"
#include "clients.h"
#include "delivery.h"
#include "flush_worker.h"
#include "notification_queue.h"

#include <tvsim/local_tv_control.h>
#include <tvsim/simulator.h>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <string>

namespace tvsimd {

class Service {
public:
    // root is the simulator's root interface, looked up before any fault could
    // hide it; model is what the simulator was loaded with.
    Service(tvsim::Simulator& simulator, RootInterface& root, tvsim::LoadedModel model);
    ~Service();  // gives back what clients held, leaves the bus

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Connects to the bus at the address (empty: the session bus), serves every
    // object and takes the well-known name. Throws std::runtime_error with one line.
    // SIGINT and SIGTERM must already be blocked in every thread.
    void open(const std::string& address);
    // Serves until SIGINT or SIGTERM, then releases the name. Returns the exit
    // code. A lost bus connection ends it too, as a std::runtime_error.
    int run();

    // The TV's controls, from any thread.
    tvsim::LocalTvControl& control() { return m_control; }

private:
    static int onQueue(sd_event_source* source, int fd, std::uint32_t events, void* service);
    static int onNameOwnerChanged(sd_bus_message* message, void* service, sd_bus_error* error);

    NotificationQueue m_queue;
    FlushWorker m_flusher;  // after the queue it posts to
    Clients m_clients;
    Delivery m_delivery;  // after the queue and the clients it serves
    tvsim::LocalTvControl m_control;
    RecordWaits m_recordWaits;  // after the control it looks in; its calls go before the bus
    sd_event* m_event = nullptr;
    sd_bus* m_bus = nullptr;
    // The handlers' userdata, each family's view of the parts above.
    ControlParts m_controlParts;
    RecordsParts m_recordsParts;
    ClientParts m_clientParts;
};

}  // namespace tvsimd
