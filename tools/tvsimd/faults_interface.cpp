// io.sysaccess.TvSim.Control.Faults: the platform misbehaving on purpose.
// Each fault applies to what clients do next, whichever process they run in.
#include "bus_error.h"
#include "bus_names.h"
#include "method_support.h"
#include "service.h"

namespace tvsimd {
namespace {

tvsim::Simulator& simulatorOf(void* userdata) {
    return static_cast<Service*>(userdata)->simulator();
}

int failNextConnects(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readString(call);
        const int count = requireCount(readInt(call));
        const int status = readInt(call);
        if (status == 0) {
            throw BusError(kErrorInvalidArgument,
                           "A failing connect needs a non-zero status; use NullObjectOnNextConnects for status 0.");
        }
        simulatorOf(userdata).failNextConnects(path, count, status);
        return replyEmpty(call);
    });
}

int nullObjectOnNextConnects(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readString(call);
        simulatorOf(userdata).nullObjectOnNextConnects(path, requireCount(readInt(call)));
        return replyEmpty(call);
    });
}

int reportType(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = simulatorOf(userdata);
        const std::string path = readString(call);
        realTypeOf(simulator, path);
        simulator.reportType(path, static_cast<lomodelapi::ObjectTypeSpec>(readInt(call)));
        return replyEmpty(call);
    });
}

int failGetter(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = simulatorOf(userdata);
        const std::string path = readString(call);
        realTypeOf(simulator, path);
        simulator.failGetter(path, readInt(call));
        return replyEmpty(call);
    });
}

int refuseNextInvokes(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = simulatorOf(userdata);
        const std::string path = readString(call);
        requireType(simulator, path, lomodelapi::OBJECT_TYPE_ACTION);
        const int count = requireCount(readInt(call));
        simulator.refuseNextInvokes(path, count, readInt(call));
        return replyEmpty(call);
    });
}

int failNextCreateIterators(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = simulatorOf(userdata);
        const std::string path = readString(call);
        requireType(simulator, path, lomodelapi::OBJECT_TYPE_TABLE);
        simulator.failNextCreateIterators(path, requireCount(readInt(call)));
        return replyEmpty(call);
    });
}

int refuseInterfaceReference(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        int refuse = 0;
        check(sd_bus_message_read_basic(call, 'b', &refuse), "read flag");
        simulatorOf(userdata).refuseInterfaceReference(refuse != 0, readInt(call));
        return replyEmpty(call);
    });
}

// For the faults that take one flag.
template <void (tvsim::FaultInjection::*Fault)(bool)>
int flagFault(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        int flag = 0;
        check(sd_bus_message_read_basic(call, 'b', &flag), "read flag");
        (simulatorOf(userdata).*Fault)(flag != 0);
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
    SD_BUS_METHOD_WITH_NAMES("RefuseInterfaceReference", "bi", SD_BUS_PARAM(refuse) SD_BUS_PARAM(status), "", ,
                             refuseInterfaceReference, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("EmptyInterfaceReference", "b", SD_BUS_PARAM(empty), "", ,
                             flagFault<&tvsim::FaultInjection::emptyInterfaceReference>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("NullRootObject", "b", SD_BUS_PARAM(null), "", ,
                             flagFault<&tvsim::FaultInjection::nullRootObject>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void addFaultsInterface(Service& service) {
    check(sd_bus_add_object_vtable(service.bus(), nullptr, kControlPath, kFaultsInterface, kVtable, &service),
          "add io.sysaccess.TvSim.Control.Faults");
}

}  // namespace tvsimd
