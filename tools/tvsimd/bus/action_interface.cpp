// io.sysaccess.TvSim.Action, on every action: Invoke through a client's
// connection; outcomes come as Result and ExecutionError signals to every
// client connected to the action.
#include "bus_error.h"
#include "bus_names.h"
#include "interfaces.h"
#include "method_support.h"
#include "model_object_support.h"
#include "value_codec.h"

#include <tvsim/input_limits.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {
bool isAction(lomodelapi::ObjectTypeSpec realType) {
    return realType == lomodelapi::OBJECT_TYPE_ACTION;
}

// Invoke(t connection, a(nnns) arguments) -> (i status, u actionId). Outcomes
// the platform delivered before invoke returned leave before the reply.
int invoke(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        ClientParts& parts = partsOf<ClientParts>(userdata);
        const ClientConnection& connection = callerConnection(call, parts, isAction);
        const std::vector<lomodelapi::Argument> arguments = readArguments(call);
        tvsim::requireArguments(arguments, "An invoke's arguments are");
        unsigned int actionId = 0;
        const int status = static_cast<ActionObject*>(connection.object)->invoke(actionId, arguments);
        parts.delivery.sendQueued(senderOf(call));
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_append(answer, "iu", status, static_cast<std::uint32_t>(actionId)), "append");
        });
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Invoke", "ta(nnns)", SD_BUS_PARAM(connection) SD_BUS_PARAM(arguments), "iu",
                             SD_BUS_PARAM(status) SD_BUS_PARAM(actionId), invoke, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Result", "tua(nnns)",
                             SD_BUS_PARAM(connection) SD_BUS_PARAM(actionId) SD_BUS_PARAM(results), 0),
    SD_BUS_SIGNAL_WITH_NAMES("ExecutionError", "tui",
                             SD_BUS_PARAM(connection) SD_BUS_PARAM(actionId) SD_BUS_PARAM(error), 0),
    SD_BUS_VTABLE_END};

}  // namespace

void addActionInterface(sd_bus* bus, ClientParts& parts) {
    addModelFallback(bus, parts, kActionInterface, kVtable, isAction);
}

}  // namespace tvsimd
