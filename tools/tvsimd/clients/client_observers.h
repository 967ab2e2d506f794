// The observers tvsimd connects to the simulator on behalf of a client. Each
// runs on the simulator's callback thread and only posts a signal to the
// notification queue, which the bus thread sends to that client: signals
// leave in the order the callback thread delivered them.
#pragma once

#include "notification_queue.h"

#include <lomodelapi/object_type_spec.h>
#include <lomodelapi/observer.h>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <string>

namespace tvsimd {

struct SignalTarget {
    sd_bus* bus;
    NotificationQueue* queue;
    std::string client;      // unique name of the client
    std::string objectPath;  // the signals' path: the model object, or the iterator
    std::uint64_t id;        // the connection (or iterator) the signals name
};

// The observer class that fits an object of this real type; a plain Observer
// (never called) for anything else, such as a path that holds no object. Each
// names its client to the simulator's records (tvsim::ClientNamingObserver).
std::unique_ptr<lomodelapi::Observer> makeObserver(lomodelapi::ObjectTypeSpec realType, SignalTarget target);

std::unique_ptr<lomodelapi::ObserverTableIterator> makeIteratorObserver(SignalTarget target);

}  // namespace tvsimd
