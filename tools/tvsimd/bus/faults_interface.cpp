// io.sysaccess.TvSim.Control.Faults: the platform misbehaving on purpose.
// Each fault applies to what clients do next, whichever process they run in.
#include "bus_error.h"
#include "bus_names.h"
#include "interfaces.h"
#include "method_support.h"

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

int failNextConnects(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        const int count = readInt(call);
        controlOf(userdata).failNextConnects(path, count, readInt(call));
        return replyEmpty(call);
    });
}

int nullObjectOnNextConnects(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        controlOf(userdata).nullObjectOnNextConnects(path, readInt(call));
        return replyEmpty(call);
    });
}

int reportType(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        controlOf(userdata).reportType(path, static_cast<lomodelapi::ObjectTypeSpec>(readInt(call)));
        return replyEmpty(call);
    });
}

int failGetter(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        controlOf(userdata).failGetter(path, readInt(call));
        return replyEmpty(call);
    });
}

int refuseNextInvokes(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        const int count = readInt(call);
        controlOf(userdata).refuseNextInvokes(path, count, readInt(call));
        return replyEmpty(call);
    });
}

int failNextCreateIterators(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        controlOf(userdata).failNextCreateIterators(path, readInt(call));
        return replyEmpty(call);
    });
}

int clearFaults(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        controlOf(userdata).clearFaults(readModelPath(call));
        return replyEmpty(call);
    });
}

bool readFlag(sd_bus_message* call) {
    int flag = 0;
    check(sd_bus_message_read_basic(call, 'b', &flag), "read flag");
    return flag != 0;
}

int refuseInterfaceReference(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const bool refuse = readFlag(call);
        controlOf(userdata).refuseInterfaceReference(refuse, readInt(call));
        return replyEmpty(call);
    });
}

// For the faults that take one flag.
template <void (tvsim::TvControl::*Fault)(bool)>
int flagFault(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        (controlOf(userdata).*Fault)(readFlag(call));
        return replyEmpty(call);
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("FailNextConnects", "sii", SD_BUS_PARAM(path) SD_BUS_PARAM(count) SD_BUS_PARAM(status), "",
                             , failNextConnects, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("NullObjectOnNextConnects", "si", SD_BUS_PARAM(path) SD_BUS_PARAM(count), "", ,
                             nullObjectOnNextConnects, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ReportType", "si", SD_BUS_PARAM(path) SD_BUS_PARAM(type), "", , reportType,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("FailGetter", "si", SD_BUS_PARAM(path) SD_BUS_PARAM(status), "", , failGetter,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("RefuseNextInvokes", "sii", SD_BUS_PARAM(path) SD_BUS_PARAM(count) SD_BUS_PARAM(status),
                             "", , refuseNextInvokes, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("FailNextCreateIterators", "si", SD_BUS_PARAM(path) SD_BUS_PARAM(count), "", ,
                             failNextCreateIterators, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ClearFaults", "s", SD_BUS_PARAM(path), "", , clearFaults, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("RefuseInterfaceReference", "bi", SD_BUS_PARAM(refuse) SD_BUS_PARAM(status), "", ,
                             refuseInterfaceReference, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("EmptyInterfaceReference", "b", SD_BUS_PARAM(empty), "", ,
                             flagFault<&tvsim::TvControl::emptyInterfaceReference>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("NullRootObject", "b", SD_BUS_PARAM(null), "", ,
                             flagFault<&tvsim::TvControl::nullRootObject>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void addFaultsInterface(sd_bus* bus, tvsim::TvControl& control) {
    check(sd_bus_add_object_vtable(bus, nullptr, kControlPath, kFaultsInterface, kVtable, &control),
          "add io.sysaccess.TvSim.Control.Faults");
}

}  // namespace tvsimd
