// io.sysaccess.TvSim.Control: the model, read and changed from the platform's side.
#include "bus_error.h"
#include "bus_names.h"
#include "bus_parts.h"
#include "interfaces.h"
#include "method_support.h"
#include "value_codec.h"

#include <tvsim/input_limits.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

int list(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string prefix = readModelPath(call);
        const auto entries = partsOf<ControlParts>(userdata).control.list(prefix);
        ReplyArraySize size("model paths");
        for (const tvsim::ModelEntry& entry : entries) {
            size.add(tvsim::sizeOf(entry.path) + tvsim::sizeOf(tvsim::objectTypeName(entry.type)) + 8);
        }
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_open_container(answer, 'a', "(ss)"), "open entries");
            for (const tvsim::ModelEntry& entry : entries) {
                check(sd_bus_message_append(answer, "(ss)", entry.path.c_str(),
                                            tvsim::objectTypeName(entry.type).c_str()),
                      "append entry");
            }
            check(sd_bus_message_close_container(answer), "close entries");
        });
    });
}

int get(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const tvsim::ModelValue value = partsOf<ControlParts>(userdata).control.value(readModelPath(call));
        return reply(call, [&](sd_bus_message* answer) { appendValueVariant(answer, value); });
    });
}

int set(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::TvControl& control = partsOf<ControlParts>(userdata).control;
        const std::string path = readModelPath(call);
        control.setValue(path, readValueVariant(call, control.valueTypeAt(path), path));
        return replyEmpty(call);
    });
}

// SetSeries(s path, av values): Set of each value in turn, each notified as a
// change of its own; one message for many changes (load tests).
int setSeries(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::TvControl& control = partsOf<ControlParts>(userdata).control;
        const std::string path = readModelPath(call);
        const tvsim::ValueType type = control.valueTypeAt(path);
        std::vector<tvsim::ModelValue> values;
        check(sd_bus_message_enter_container(call, 'a', "v"), "enter values");
        while (check(sd_bus_message_at_end(call, 0), "read values") == 0) {
            values.push_back(readValueVariant(call, type, path));
        }
        check(sd_bus_message_exit_container(call), "exit values");
        control.setValues(path, values);
        return replyEmpty(call);
    });
}

int rows(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::TvControl& control = partsOf<ControlParts>(userdata).control;
        const std::string path = readModelPath(call);
        const auto columns = control.columns(path);
        const auto table = control.rows(path);
        return reply(call, [&](sd_bus_message* answer) {
            appendValue(answer, columns);
            appendRows(answer, table);
        });
    });
}

int setRows(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string path = readModelPath(call);
        partsOf<ControlParts>(userdata).control.setRows(path, readRows(call));
        return replyEmpty(call);
    });
}

int loadModel(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        partsOf<ControlParts>(userdata).control.loadModel(readString(call));
        return replyEmpty(call);
    });
}

// LoadModelText(s name, s text): `name` stands for the file in the errors.
int loadModelText(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string name = readString(call);
        partsOf<ControlParts>(userdata).control.loadModelText(readString(call), name);
        return replyEmpty(call);
    });
}

// Flush(): answers once every notification queued so far, delayed outcomes
// included, has been queued for its client, behind the caller's own; the bus
// thread serves others meanwhile.
int flush(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        ControlParts& parts = partsOf<ControlParts>(userdata);
        sd_bus_message_ref(call);
        parts.flusher.request([call, &delivery = parts.delivery] {
            // On the bus thread, where the message's reference count may be touched.
            try {
                delivery.sendQueued(senderOf(call));
                replyEmpty(call);
            } catch (const std::exception&) {
                // The caller has gone; there is nobody to answer.
            }
            sd_bus_message_unref(call);
        });
        return 1;
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("List", "s", SD_BUS_PARAM(prefix), "a(ss)", SD_BUS_PARAM(entries), list,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Get", "s", SD_BUS_PARAM(path), "v", SD_BUS_PARAM(value), get, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SetSeries", "sav", SD_BUS_PARAM(path) SD_BUS_PARAM(values), "", , setSeries,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Set", "sv", SD_BUS_PARAM(path) SD_BUS_PARAM(value), "", , set,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Rows", "s", SD_BUS_PARAM(path), "asaas", SD_BUS_PARAM(columns) SD_BUS_PARAM(rows), rows,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SetRows", "saas", SD_BUS_PARAM(path) SD_BUS_PARAM(rows), "", , setRows,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Flush", "", "", flush, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("LoadModel", "s", SD_BUS_PARAM(file), "", , loadModel, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("LoadModelText", "ss", SD_BUS_PARAM(name) SD_BUS_PARAM(text), "", , loadModelText,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void addControlInterface(sd_bus* bus, ControlParts& parts) {
    check(sd_bus_add_object_vtable(bus, nullptr, kControlPath, kControlInterface, kVtable, &parts),
          "add io.sysaccess.TvSim.Control");
}

}  // namespace tvsimd
