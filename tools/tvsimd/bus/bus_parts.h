// What the handlers of each family of interfaces reach through their sd-bus
// userdata: only the parts of the service that family works with. The
// service owns the parts and these views of them; they outlive its bus.
// Bus thread only.
#pragma once

#include "clients.h"
#include "delivery.h"
#include "flush_worker.h"
#include "record_waits.h"
#include "scenario_runs.h"

#include <tvsim/call_records.h>
#include <tvsim/simulator.h>
#include <tvsim/tv_control.h>

namespace tvsimd {

// io.sysaccess.TvSim.Control: the TV's controls, the worker that answers
// Flush without holding up the bus thread, and the delivery its reply follows.
struct ControlParts {
    tvsim::TvControl& control;
    FlushWorker& flusher;
    Delivery& delivery;
};

// io.sysaccess.TvSim.Control.Records: what clients asked, the waits on it, and the clients tvsimd dropped.
struct RecordsParts {
    tvsim::CallRecords& records;
    tvsim::TvControl& control;
    Delivery& delivery;
    RecordWaits& waits;
};

// io.sysaccess.TvSim.Platform, the model objects and the iterators: the
// clients' connections, the model they are made on, and the delivery their
// notifications leave through (handlers send the caller's first, so that its signals go before their reply).
struct ClientParts {
    tvsim::Simulator& simulator;
    Clients& clients;
    Delivery& delivery;
};

template <typename Parts>
Parts& partsOf(void* userdata) {
    return *static_cast<Parts*>(userdata);
}

}  // namespace tvsimd
