// The observers tvsimd connects to the simulator on behalf of a client. Each
// runs on the simulator's callback thread and only posts a signal to the
// client's queue in the notification queue, which the bus thread sends to that
// client: a client's signals leave in the order the callback thread delivered them.
#pragma once

#include "notification_queue.h"

#include <lomodelapi/object_type_spec.h>
#include <lomodelapi/observer.h>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <string>

namespace tvsimd {

// Where an observer's signals go; shared by the observer and the signals it
// queued, so a queued signal carries no copy of its own.
struct SignalTarget {
    sd_bus* bus;
    NotificationQueue* queue;
    std::string client;      // unique name of the client
    std::string objectPath;  // the signals' path: the model object, or the iterator
    std::uint64_t id;        // the connection (or iterator) the signals name
};

// The observer class that fits an object of this real type, which also sends
// the client each change of the type getType answers (tvsim::ReportedTypeObserver);
// a plain Observer (never called) for anything else, such as a path that holds no object.
// Each names its client to the simulator's records (tvsim::ClientNamingObserver).
std::unique_ptr<lomodelapi::Observer> makeObserver(lomodelapi::ObjectTypeSpec realType, SignalTarget target);

std::unique_ptr<lomodelapi::ObserverTableIterator> makeIteratorObserver(SignalTarget target);

}  // namespace tvsimd
