// io.sysaccess.TvSim.Control.Responders: how an action answers, and outcomes
// the platform reports by itself.
#include "bus_error.h"
#include "bus_names.h"
#include "interfaces.h"
#include "method_support.h"
#include "value_codec.h"

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

// SetReply(s path, s kind, i error, u delayMs, i copies, b beforeInvokeReturns, a(nnns) results)
int setReply(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        const char* kind = nullptr;
        std::uint32_t delayMs = 0;
        int early = 0;
        tvsim::Reply answer;
        check(sd_bus_message_read(call, "siuib", &kind, &answer.error, &delayMs, &answer.copies, &early), "read reply");
        answer.kind = readReplyKind(kind);
        answer.delay = std::chrono::milliseconds(delayMs);
        answer.beforeInvokeReturns = early != 0;
        answer.results = readArguments(call);
        controlOf(userdata).setReply(path, answer);
        return replyEmpty(call);
    });
}

int resetReply(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        controlOf(userdata).resetReply(readModelPath(call));
        return replyEmpty(call);
    });
}

int emitResult(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        std::uint32_t actionId = 0;
        check(sd_bus_message_read_basic(call, 'u', &actionId), "read action id");
        controlOf(userdata).emitResult(path, actionId, readArguments(call));
        return replyEmpty(call);
    });
}

int emitExecutionError(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        std::uint32_t actionId = 0;
        int code = 0;
        check(sd_bus_message_read(call, "ui", &actionId, &code), "read outcome");
        controlOf(userdata).emitExecutionError(path, actionId, code);
        return replyEmpty(call);
    });
}

// SourceSwitch(s path) -> (b responds, i video, i audio, i psi, i playbackStatus,
// i channelIndex, s uuid, s uri, s name, s folderUuid, i lastFailure): the state
// of the source-switch responder the model gave the action; responds is false
// (and the rest zero) when the model gave it none.
int sourceSwitch(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::optional<tvsim::SourceSwitchState> tv = controlOf(userdata).sourceSwitch(readModelPath(call));
        return reply(call, [&](sd_bus_message* answer) {
            if (!tv) {
                check(sd_bus_message_append(answer, "biiiiissssi", 0, 0, 0, 0, 0, -1, "", "", "", "", 0), "append");
                return;
            }
            const tvsim::Channel& channel = tv->channel;
            check(sd_bus_message_append(answer, "biiiiissssi", 1, static_cast<int>(tv->video),
                                        static_cast<int>(tv->audio), static_cast<int>(tv->psi), tv->playbackStatus,
                                        tv->channelIndex, channel.uuid.c_str(), channel.uri.c_str(),
                                        channel.name.c_str(), channel.folderUuid.c_str(), tv->lastFailure),
                  "append");
        });
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("SetReply", "ssiuiba(nnns)",
                             SD_BUS_PARAM(path) SD_BUS_PARAM(kind) SD_BUS_PARAM(error) SD_BUS_PARAM(delayMs)
                                 SD_BUS_PARAM(copies) SD_BUS_PARAM(beforeInvokeReturns) SD_BUS_PARAM(results),
                             "", , setReply, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ResetReply", "s", SD_BUS_PARAM(path), "", , resetReply, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("EmitResult", "sua(nnns)", SD_BUS_PARAM(path) SD_BUS_PARAM(actionId) SD_BUS_PARAM(results),
                             "", , emitResult, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("EmitExecutionError", "sui", SD_BUS_PARAM(path) SD_BUS_PARAM(actionId) SD_BUS_PARAM(error),
                             "", , emitExecutionError, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SourceSwitch", "s", SD_BUS_PARAM(path), "biiiiissssi",
                             SD_BUS_PARAM(responds) SD_BUS_PARAM(video) SD_BUS_PARAM(audio) SD_BUS_PARAM(psi)
                                 SD_BUS_PARAM(playbackStatus) SD_BUS_PARAM(channelIndex) SD_BUS_PARAM(uuid)
                                     SD_BUS_PARAM(uri) SD_BUS_PARAM(name) SD_BUS_PARAM(folderUuid)
                                         SD_BUS_PARAM(lastFailure),
                             sourceSwitch, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void addRespondersInterface(sd_bus* bus, tvsim::TvControl& control) {
    check(sd_bus_add_object_vtable(bus, nullptr, kControlPath, kRespondersInterface, kVtable, &control),
          "add io.sysaccess.TvSim.Control.Responders");
}

}  // namespace tvsimd
