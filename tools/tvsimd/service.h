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
#include "scenario_runs.h"
#include "scenario_snapshot.h"

#include <tvsim/local_tv_control.h>
#include <tvsim/scenario_player.h>
#include <tvsim/scenario_recorder.h>
#include <tvsim/simulator.h>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <string>

namespace tvsimd {

// As the host of a scenario's player, the service leaves the bus and comes back (on the bus thread).
class Service final : private tvsim::ScenarioHost {
public:
    // root is the simulator's root interface, looked up before any fault could
    // hide it; model is what the simulator was loaded with, from modelFile ("" for the default TV).
    Service(tvsim::Simulator& simulator, RootInterface& root, tvsim::LoadedModel model, const std::string& modelFile);
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

    // The TV's controls every front end changes it through (they journal while a recording runs), from any thread.
    tvsim::TvControl& control() { return m_journal; }
    // The same controls without the journal, for reading what only the simulator in this process tells.
    tvsim::LocalTvControl& localControl() { return m_control; }
    const ScenarioSnapshot& scenarioSnapshot() const { return m_snapshot; }

private:
    // Every client is let go as if it had left, then the name is released; taken again on return.
    void leaveBus() override;
    void returnToBus() override;

    static int onQueue(sd_event_source* source, int fd, std::uint32_t events, void* service);
    static int onNameOwnerChanged(sd_bus_message* message, void* service, sd_bus_error* error);

    NotificationQueue m_queue;
    FlushWorker m_flusher;  // after the queue it posts to
    Clients m_clients;
    Delivery m_delivery;  // after the queue and the clients it serves
    tvsim::LocalTvControl m_control;
    tvsim::JournalingTvControl m_journal;  // on m_control
    ScenarioSnapshot m_snapshot;
    RecordWaits m_recordWaits;  // after the control it looks in; its calls go before the bus
    ScenarioRuns m_scenarios;   // after the control and snapshot it uses
    sd_event* m_event = nullptr;
    sd_bus* m_bus = nullptr;
    // The handlers' userdata, each family's view of the parts above.
    ControlParts m_controlParts;
    RecordsParts m_recordsParts;
    ClientParts m_clientParts;
};

}  // namespace tvsimd
