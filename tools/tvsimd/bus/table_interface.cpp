// io.sysaccess.TvSim.Table, on every table: iterators made and given back
// through a client's connection, Update signals, and the rows as the model
// holds them. An iterator is an object of its own (iterator_interface.cpp).
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
bool isTable(lomodelapi::ObjectTypeSpec realType) {
    return realType == lomodelapi::OBJECT_TYPE_TABLE;
}

IteratorRequest readIteratorRequest(sd_bus_message* call) {
    IteratorRequest request;
    request.type = static_cast<lomodelapi::IteratorType>(readInt(call));
    check(sd_bus_message_enter_container(call, 'a', "(iis)"), "enter selections");
    std::int32_t column = 0;
    std::int32_t comparison = 0;
    const char* value = nullptr;
    while (check(sd_bus_message_read(call, "(iis)", &column, &comparison, &value), "read selection") > 0) {
        request.selections.push_back({column, comparison, value});
    }
    check(sd_bus_message_exit_container(call), "exit selections");
    request.columns = readIntegers(call);
    check(sd_bus_message_enter_container(call, 'a', "(ii)"), "enter orders");
    std::int32_t direction = 0;
    while (check(sd_bus_message_read(call, "(ii)", &column, &direction), "read order") > 0) {
        request.orders.push_back({column, direction});
    }
    check(sd_bus_message_exit_container(call), "exit orders");
    tvsim::requireIteratorRequest(request.selections, request.columns, request.orders);
    return request;
}

// CreateIterator(t connection, i type, a(iis) selections, ai columns, a(ii) orders) -> o iterator ("/" for none)
int createIterator(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        ClientParts& parts = partsOf<ClientParts>(userdata);
        const ClientConnection& connection = callerConnection(call, parts, isTable);
        const ClientIterator* made = parts.clients.createIterator(connection, readIteratorRequest(call));
        const std::string path = made != nullptr ? made->objectPath : "/";
        // Its first events (ready, total count) may already wait; they follow the reply in order.
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_append_basic(answer, 'o', path.c_str()), "append iterator");
        });
    });
}

// DestroyIterator(t connection, o iterator) -> i status. The iterator's
// signals leave before the reply, so none follows it.
int destroyIterator(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        ClientParts& parts = partsOf<ClientParts>(userdata);
        const ClientConnection& connection = callerConnection(call, parts, isTable);
        const char* iterator = nullptr;
        check(sd_bus_message_read_basic(call, 'o', &iterator), "read iterator");
        const int status = parts.clients.destroyIterator(connection, iterator);
        parts.delivery.sendQueued(senderOf(call));
        return replyStatus(call, status);
    });
}

int columnsProperty(sd_bus*, const char* objectPath, const char*, const char*, sd_bus_message* answer, void* userdata,
                    sd_bus_error* error) {
    return handleMethod(error, [&] {
        appendValue(answer, partsOf<ClientParts>(userdata).simulator.columns(modelPathOfObject(objectPath)));
        return 1;
    });
}

int rowCountProperty(sd_bus*, const char* objectPath, const char*, const char*, sd_bus_message* answer, void* userdata,
                     sd_bus_error* error) {
    return handleMethod(error, [&] {
        const int count =
            static_cast<int>(partsOf<ClientParts>(userdata).simulator.rows(modelPathOfObject(objectPath)).size());
        return check(sd_bus_message_append_basic(answer, 'i', &count), "append row count");
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("CreateIterator", "tia(iis)aia(ii)",
                             SD_BUS_PARAM(connection) SD_BUS_PARAM(type) SD_BUS_PARAM(selections) SD_BUS_PARAM(columns)
                                 SD_BUS_PARAM(orders),
                             "o", SD_BUS_PARAM(iterator), createIterator, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("DestroyIterator", "to", SD_BUS_PARAM(connection) SD_BUS_PARAM(iterator), "i",
                             SD_BUS_PARAM(status), destroyIterator, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("Columns", "as", columnsProperty, 0, kPropertyWithoutChangeSignal),
    SD_BUS_PROPERTY("RowCount", "i", rowCountProperty, 0, kPropertyWithoutChangeSignal),
    SD_BUS_SIGNAL_WITH_NAMES("Update", "ti", SD_BUS_PARAM(connection) SD_BUS_PARAM(change), 0),
    SD_BUS_VTABLE_END};

}  // namespace

void addTableInterface(sd_bus* bus, ClientParts& parts) {
    addModelFallback(bus, parts, kTableInterface, kVtable, isTable);
}

}  // namespace tvsimd
