// What the interfaces of model objects share. Each model object is served
// under its escaped path (object_paths.h) through one fallback vtable per
// interface, so objects added or removed later need no registration; an
// object stays reachable while a client holds a connection to it, even after
// its path was removed from the model. Bus thread only.
#pragma once

#include "bus_parts.h"
#include "clients.h"

#include <lomodelapi/object_type_spec.h>

#include <systemd/sd-bus.h>

#include <string>

namespace tvsimd {

using TypeFilter = bool (*)(lomodelapi::ObjectTypeSpec realType);

// Lists every model object for introspection, so busctl tree shows the model.
void addModelEnumerator(sd_bus* bus, ClientParts& parts);
// Serves the interface on every model object whose real type passes the filter.
void addModelFallback(sd_bus* bus, ClientParts& parts, const char* interface, const sd_bus_vtable* vtable,
                      TypeFilter fits);

// The model path of the object a call or property read is addressed to.
std::string modelPathOfCall(sd_bus_message* call);
std::string modelPathOfObject(const char* objectPath);
// Reads the connection id that opens the call and finds the caller's
// connection to the addressed object; UnknownConnection when it holds none,
// WrongType when its object is not of a type the interface serves (the path
// may have been given to an object of another type since it connected).
const ClientConnection& callerConnection(sd_bus_message* call, ClientParts& parts, TypeFilter fits);

}  // namespace tvsimd
