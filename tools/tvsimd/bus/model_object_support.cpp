#include "model_object_support.h"

#include "bus_error.h"
#include "bus_names.h"
#include "interfaces.h"
#include "method_support.h"
#include "object_paths.h"

#include <tvsim/input_limits.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

struct Fallback {
    ClientParts* parts;
    TypeFilter fits;
};

int findObject(sd_bus*, const char* objectPath, const char*, void* userdata, void** found, sd_bus_error*) {
    const auto& fallback = *static_cast<const Fallback*>(userdata);
    std::string modelPath;
    if (!modelPathOf(objectPath, modelPath)) {
        return 0;
    }
    lomodelapi::ObjectTypeSpec realType = typeOrNone(fallback.parts->simulator, modelPath);
    if (realType == lomodelapi::OBJECT_TYPE_NONE && !fallback.parts->clients.connectedTo(modelPath, realType)) {
        return 0;
    }
    if (!fallback.fits(realType)) {
        return 0;
    }
    *found = fallback.parts;
    return 1;
}

// Lists every model object, so introspection (busctl tree) shows the model.
int enumerateObjects(sd_bus*, const char*, void* userdata, char*** nodes, sd_bus_error*) {
    std::vector<std::string> paths;
    for (const tvsim::ModelEntry& entry : partsOf<ClientParts>(userdata).simulator.list("")) {
        paths.push_back(objectPathOf(entry.path));
    }
    return nodeList(paths, nodes);
}

}  // namespace

void addModelEnumerator(sd_bus* bus, ClientParts& parts) {
    check(sd_bus_add_node_enumerator(bus, nullptr, kModelPrefix, enumerateObjects, &parts), "add the model enumerator");
}

void addModelFallback(sd_bus* bus, ClientParts& parts, const char* interface, const sd_bus_vtable* vtable,
                      TypeFilter fits) {
    // The slot owns the filter and frees it when the bus goes.
    auto* fallback = new Fallback{&parts, fits};
    sd_bus_slot* slot = nullptr;
    const int added = sd_bus_add_fallback_vtable(bus, &slot, kModelPrefix, interface, vtable, findObject, fallback);
    if (added < 0) {
        delete fallback;
        check(added, interface);
    }
    sd_bus_slot_set_destroy_callback(slot, [](void* owned) { delete static_cast<Fallback*>(owned); });
    // Floating, the bus holds the slot; drop the reference this call made.
    sd_bus_slot_set_floating(slot, 1);
    sd_bus_slot_unref(slot);
}

std::string modelPathOfObject(const char* objectPath) {
    std::string modelPath;
    if (objectPath == nullptr || !modelPathOf(objectPath, modelPath)) {
        throw BusError(kErrorUnknownPath, std::string("No model object is served at ") +
                                              (objectPath != nullptr ? objectPath : "this path") + ".");
    }
    return modelPath;
}

std::string modelPathOfCall(sd_bus_message* call) {
    std::string modelPath = modelPathOfObject(sd_bus_message_get_path(call));
    tvsim::requireModelPath(modelPath);
    return modelPath;
}

const ClientConnection& callerConnection(sd_bus_message* call, ClientParts& parts, TypeFilter fits) {
    const std::uint64_t id = readId(call);
    const ClientConnection& connection = parts.clients.connection(senderOf(call), modelPathOfCall(call), id);
    if (!fits(connection.realType)) {
        throw BusError(kErrorWrongType, "Connection " + std::to_string(id) + " is to " +
                                            tvsim::objectTypeName(connection.realType) +
                                            ", which this interface does not serve.");
    }
    return connection;
}

void addModelObjectInterfaces(sd_bus* bus, ClientParts& parts) {
    addModelEnumerator(bus, parts);
    addObjectInterface(bus, parts);
    addValueInterface(bus, parts);
    addActionInterface(bus, parts);
    addTableInterface(bus, parts);
}

}  // namespace tvsimd
