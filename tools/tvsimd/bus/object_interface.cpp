// io.sysaccess.TvSim.Object, on every model object: its type, as the platform
// reports it through a connection (GetType, and TypeChanged whenever that
// answer changes), and as the model holds it (Type).
#include "bus_error.h"
#include "bus_names.h"
#include "interfaces.h"
#include "method_support.h"
#include "model_object_support.h"

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {
bool anyType(lomodelapi::ObjectTypeSpec) {
    return true;
}

// GetType(t connection) -> (i status, i type): ModelObject::getType, faults included.
int getType(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const ClientConnection& connection = callerConnection(call, partsOf<ClientParts>(userdata), anyType);
        lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
        const int status = connection.object->getType(type);
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_append(answer, "ii", status, static_cast<int>(type)), "append type");
        });
    });
}

int typeProperty(sd_bus*, const char* objectPath, const char*, const char*, sd_bus_message* answer, void* userdata,
                 sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = modelPathOfObject(objectPath);
        const std::string name = tvsim::objectTypeName(partsOf<ClientParts>(userdata).simulator.typeAt(path));
        return check(sd_bus_message_append_basic(answer, 's', name.c_str()), "append type");
    });
}

int pathProperty(sd_bus*, const char* objectPath, const char*, const char*, sd_bus_message* answer, void*,
                 sd_bus_error* error) {
    return handleMethod(error, [&] {
        return check(sd_bus_message_append_basic(answer, 's', modelPathOfObject(objectPath).c_str()), "append");
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("GetType", "t", SD_BUS_PARAM(connection), "ii", SD_BUS_PARAM(status) SD_BUS_PARAM(type),
                             getType, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("Path", "s", pathProperty, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Type", "s", typeProperty, 0, kPropertyWithoutChangeSignal),
    SD_BUS_SIGNAL_WITH_NAMES("TypeChanged", "ti", SD_BUS_PARAM(connection) SD_BUS_PARAM(type), 0),
    SD_BUS_VTABLE_END};

}  // namespace

void addObjectInterface(sd_bus* bus, ClientParts& parts) {
    addModelFallback(bus, parts, kObjectInterface, kVtable, anyType);
}

}  // namespace tvsimd
