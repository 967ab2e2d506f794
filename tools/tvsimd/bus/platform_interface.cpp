// io.sysaccess.TvSim.Platform: the process framework and the root interface,
// for client processes. A connection belongs to the client that made it; its
// model object's methods take its id, and its notifications come as signals
// addressed to that client only.
#include "bus_error.h"
#include "bus_names.h"
#include "bus_parts.h"
#include "interfaces.h"
#include "log.h"
#include "method_support.h"
#include "object_paths.h"

#include <base/log_text.h>
#include <frame/process.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

// GetInterfaceReference(s name) -> (i status, b filled, b hasObject): what the
// process framework answers, with the framework faults applied.
int getInterfaceReference(sd_bus_message* call, void*, sd_bus_error* error) {
    return handleMethod(error, [&] {
        boost::shared_ptr<frame::Interface> reference;
        const int status = frame::Process::getInstance().getInterfaceReference(reference, readString(call));
        const bool filled = reference != nullptr;
        const bool hasObject = filled && reference->getObject() != nullptr;
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_append(answer, "ibb", status, filled, hasObject), "append reference");
        });
    });
}

// Connect(s path) -> (i status, t connection, o object, i realType, i type). An
// object is handed out only with status 0; otherwise connection is 0, object
// "/" and type 0. type is what the object's getType answers now; each change
// of it follows as Object.TypeChanged.
int connect(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        ClientParts& parts = partsOf<ClientParts>(userdata);
        const std::string path = readModelPath(call);
        const std::string client = senderOf(call);
        const lomodelapi::ObjectTypeSpec realType = typeOrNone(parts.simulator, path);
        const std::string objectPath = objectPathOf(path);
        const ClientConnection* made = nullptr;
        const int status = parts.clients.connect(client, path, objectPath, realType, made);
        if (logEnabled(kLogTrace)) {
            logLine(kLogTrace, client + " connect " + velmora::base::blog::LoggedText(path.c_str()).c_str() + ": " +
                                   std::to_string(status));
        }
        const std::uint64_t id = made != nullptr ? made->id : 0;
        const std::string object = made != nullptr ? objectPath : "/";
        lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
        if (made != nullptr) {
            made->object->getType(type);
        }
        try {
            return reply(call, [&](sd_bus_message* answer) {
                check(sd_bus_message_append(answer, "itoii", status, id, object.c_str(), static_cast<int>(realType),
                                            static_cast<int>(type)),
                      "append connection");
            });
        } catch (const std::exception&) {
            // The client gets an error instead of the connection, so it must not be kept for it.
            if (made != nullptr) {
                parts.clients.disconnect(client, path, id);
            }
            throw;
        }
    });
}

// Disconnect(s path, t connection) -> i status. Every signal of the
// connection leaves before the reply, so none follows it.
int disconnect(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        ClientParts& parts = partsOf<ClientParts>(userdata);
        const std::string path = readModelPath(call);
        const std::uint64_t id = readId(call);
        const int status = parts.clients.disconnect(senderOf(call), path, id);
        parts.delivery.sendQueued(senderOf(call));
        return replyStatus(call, status);
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("GetInterfaceReference", "s", SD_BUS_PARAM(name), "ibb",
                             SD_BUS_PARAM(status) SD_BUS_PARAM(filled) SD_BUS_PARAM(hasObject), getInterfaceReference,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Connect", "s", SD_BUS_PARAM(path), "itoii",
                             SD_BUS_PARAM(status) SD_BUS_PARAM(connection) SD_BUS_PARAM(object) SD_BUS_PARAM(realType)
                                 SD_BUS_PARAM(type),
                             connect, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Disconnect", "st", SD_BUS_PARAM(path) SD_BUS_PARAM(connection), "i", SD_BUS_PARAM(status),
                             disconnect, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void addPlatformInterface(sd_bus* bus, ClientParts& parts) {
    check(sd_bus_add_object_vtable(bus, nullptr, kControlPath, kPlatformInterface, kVtable, &parts),
          "add io.sysaccess.TvSim.Platform");
}

}  // namespace tvsimd
