// io.sysaccess.TvSim.Control: the model, read and changed from the platform's side.
#include "bus_error.h"
#include "bus_names.h"
#include "method_support.h"
#include "served_replies.h"
#include "service.h"
#include "value_codec.h"

namespace tvsimd {
namespace {

int list(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string prefix = readString(call);
        const auto entries = serviceOf(userdata).simulator().list(prefix);
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
        const tvsim::ModelValue value = modelValueAt(serviceOf(userdata).simulator(), readString(call));
        return reply(call, [&](sd_bus_message* answer) { appendValueVariant(answer, value); });
    });
}

int set(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = serviceOf(userdata).simulator();
        const std::string path = readString(call);
        const tvsim::ModelValue value = readValueVariant(call, valueTypeAt(simulator, path), path);
        tvsim::setModelValue(simulator, path, value);
        return replyEmpty(call);
    });
}

// SetSeries(s path, av values): Set of each value in turn, each notified as a
// change of its own; one message for many changes (load tests). Every value is
// checked before the first is applied.
int setSeries(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = serviceOf(userdata).simulator();
        const std::string path = readString(call);
        const tvsim::ValueType type = valueTypeAt(simulator, path);
        std::vector<tvsim::ModelValue> values;
        check(sd_bus_message_enter_container(call, 'a', "v"), "enter values");
        while (check(sd_bus_message_at_end(call, 0), "read values") == 0) {
            values.push_back(readValueVariant(call, type, path));
        }
        check(sd_bus_message_exit_container(call), "exit values");
        for (const tvsim::ModelValue& value : values) {
            tvsim::setModelValue(simulator, path, value);
        }
        return replyEmpty(call);
    });
}

int rows(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = serviceOf(userdata).simulator();
        const std::string path = readString(call);
        requireType(simulator, path, lomodelapi::OBJECT_TYPE_TABLE);
        const auto columns = simulator.columns(path);
        const auto table = simulator.rows(path);
        return reply(call, [&](sd_bus_message* answer) {
            appendValue(answer, columns);
            check(sd_bus_message_open_container(answer, 'a', "as"), "open rows");
            for (const tvsim::Row& row : table) {
                appendValue(answer, row);
            }
            check(sd_bus_message_close_container(answer), "close rows");
        });
    });
}

int setRows(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::Simulator& simulator = serviceOf(userdata).simulator();
        const std::string path = readString(call);
        requireType(simulator, path, lomodelapi::OBJECT_TYPE_TABLE);
        const std::size_t width = simulator.columns(path).size();
        std::vector<tvsim::Row> table;
        check(sd_bus_message_enter_container(call, 'a', "as"), "enter rows");
        while (check(sd_bus_message_enter_container(call, 'a', "s"), "enter row") > 0) {
            tvsim::Row row;
            const char* cell = nullptr;
            while (check(sd_bus_message_read_basic(call, 's', &cell), "read cell") > 0) {
                row.emplace_back(cell);
            }
            check(sd_bus_message_exit_container(call), "exit row");
            if (row.size() != width) {
                throw BusError(kErrorInvalidArgument, "Row " + std::to_string(table.size()) + " has " +
                                                          std::to_string(row.size()) + " cells; " + path + " has " +
                                                          std::to_string(width) + " columns.");
            }
            table.push_back(std::move(row));
        }
        check(sd_bus_message_exit_container(call), "exit rows");
        simulator.setRows(path, table);
        return replyEmpty(call);
    });
}

int loadModel(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        Service& service = serviceOf(userdata);
        const std::string file = readString(call);
        try {
            tvsim::LoadedModel loaded = loadServedModel(file, service.simulator());
            // The model gave these actions their own answer again.
            for (const tvsim::ActionEntry& action : loaded.description.actions) {
                service.answers().forget(action.path);
            }
            service.models().add(std::move(loaded));
        } catch (const tvsim::ModelFileError& failure) {
            throw BusError(kErrorBadModelFile, failure.what());
        }
        return replyEmpty(call);
    });
}

// Flush(): answers once every notification queued so far, delayed outcomes
// included, has been sent; the bus thread serves others meanwhile.
int flush(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        sd_bus_message_ref(call);
        serviceOf(userdata).flusher().request([call] {
            // On the bus thread, where the message's reference count may be touched.
            try {
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
    SD_BUS_VTABLE_END};

}  // namespace

void addControlInterface(Service& service) {
    check(sd_bus_add_object_vtable(service.bus(), nullptr, kControlPath, kControlInterface, kVtable, &service),
          "add io.sysaccess.TvSim.Control");
}

}  // namespace tvsimd
