// What the handlers of the interfaces that serve clients and model objects
// reach through their sd-bus userdata: the parts of the service they work
// with, and nothing of how the service owns them or runs its loop.
// Bus thread only.
#pragma once

#include "clients.h"
#include "flush_worker.h"
#include "notification_queue.h"

#include <tvsim/local_tv_control.h>
#include <tvsim/simulator.h>

#include <systemd/sd-bus.h>

namespace tvsimd {

struct BusParts {
    sd_bus* bus;
    tvsim::Simulator& simulator;
    tvsim::LocalTvControl& control;
    Clients& clients;
    NotificationQueue& queue;  // handlers drain it so that signals leave before their reply
    FlushWorker& flusher;
};

inline BusParts& partsOf(void* userdata) {
    return *static_cast<BusParts*>(userdata);
}

}  // namespace tvsimd
