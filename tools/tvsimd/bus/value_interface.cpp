// io.sysaccess.TvSim.Value, on every value object: reads and writes through a
// client's connection, and its change notifications as Changed signals.
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
bool isValue(lomodelapi::ObjectTypeSpec realType) {
    tvsim::ValueType ignored{};
    return tvsim::valueTypeOfObject(realType, ignored);
}

tvsim::ValueType valueTypeOfConnection(const ClientConnection& connection) {
    tvsim::ValueType type{};
    tvsim::valueTypeOfObject(connection.realType, type);
    return type;
}

// Through the connection's object, as a client of the platform reads it.
int readThrough(ModelObject* object, tvsim::ValueType type, tvsim::ModelValue& value) {
    switch (type) {
        case tvsim::ValueType::INTEGER:
            value = static_cast<NumericIntegerObject*>(object)->getValue();
            return 0;
        case tvsim::ValueType::INT64:
            value = static_cast<NumericInt64Object*>(object)->getValue();
            return 0;
        case tvsim::ValueType::STRING: {
            std::string text;
            const int status = static_cast<StringObject*>(object)->getValue(text);
            value = std::move(text);
            return status;
        }
        case tvsim::ValueType::INTEGER_VECTOR: {
            std::vector<int> values;
            const int status = static_cast<VectorNumericIntegerObject*>(object)->getValue(values);
            value = std::move(values);
            return status;
        }
        case tvsim::ValueType::STRING_VECTOR: {
            std::vector<std::string> values;
            const int status = static_cast<VectorStringObject*>(object)->getValue(values);
            value = std::move(values);
            return status;
        }
    }
    return -1;
}

int writeThrough(ModelObject* object, const tvsim::ModelValue& value) {
    switch (tvsim::valueTypeOf(value)) {
        case tvsim::ValueType::INTEGER:
            return static_cast<NumericIntegerObject*>(object)->setValue(std::get<int>(value));
        case tvsim::ValueType::INT64:
            return static_cast<NumericInt64Object*>(object)->setValue(std::get<long long>(value));
        case tvsim::ValueType::STRING:
            return static_cast<StringObject*>(object)->setValue(std::get<std::string>(value));
        case tvsim::ValueType::INTEGER_VECTOR:
        case tvsim::ValueType::STRING_VECTOR:
            break;
    }
    throw BusError(kErrorWrongType, "A vector is written by index with SetIntegers or SetStrings.");
}

// GetValue(t connection) -> (i status, v value)
int getValue(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const ClientConnection& connection = callerConnection(call, partsOf<ClientParts>(userdata), isValue);
        const tvsim::ValueType type = valueTypeOfConnection(connection);
        tvsim::ModelValue value = tvsim::emptyValueOf(type);
        const int status = readThrough(connection.object, type, value);
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_append_basic(answer, 'i', &status), "append status");
            appendValueVariant(answer, value);
        });
    });
}

// SetValue(t connection, v value) -> i status
int setValue(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const ClientConnection& connection = callerConnection(call, partsOf<ClientParts>(userdata), isValue);
        const tvsim::ModelValue value = readValueVariant(call, valueTypeOfConnection(connection), connection.modelPath);
        tvsim::requireValue(value);
        return replyStatus(call, writeThrough(connection.object, value));
    });
}

// SetIntegers(t connection, a{ii} byIndex) and SetStrings(t connection, a{is} byIndex) -> i status
template <typename Element, char Code>
int setByIndex(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const ClientConnection& connection = callerConnection(call, partsOf<ClientParts>(userdata), isValue);
        const bool integers = Code == 'i';
        const lomodelapi::ObjectTypeSpec wanted =
            integers ? lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER : lomodelapi::OBJECT_TYPE_VECTOR_STRING;
        if (connection.realType != wanted) {
            throw BusError(kErrorWrongType,
                           connection.modelPath + " is not " + (integers ? "an integer-vector." : "a string-vector."));
        }
        const char entry[] = {'i', Code, '\0'};
        std::map<int, Element> byIndex;
        check(sd_bus_message_enter_container(call, 'a', integers ? "{ii}" : "{is}"), "enter map");
        while (check(sd_bus_message_enter_container(call, 'e', entry), "enter entry") > 0) {
            std::int32_t index = 0;
            check(sd_bus_message_read_basic(call, 'i', &index), "read index");
            if constexpr (std::is_same_v<Element, int>) {
                std::int32_t element = 0;
                check(sd_bus_message_read_basic(call, 'i', &element), "read element");
                byIndex[index] = element;
            } else {
                byIndex[index] = readString(call);
            }
            check(sd_bus_message_exit_container(call), "exit entry");
        }
        check(sd_bus_message_exit_container(call), "exit map");
        tvsim::requireValuesByIndex(byIndex);
        int status = 0;
        if constexpr (std::is_same_v<Element, int>) {
            status = static_cast<VectorNumericIntegerObject*>(connection.object)->setValues(byIndex);
        } else {
            status = static_cast<VectorStringObject*>(connection.object)->setValues(byIndex);
        }
        return replyStatus(call, status);
    });
}

// The value the model holds, read without a connection (busctl get-property).
int valueProperty(sd_bus*, const char* objectPath, const char*, const char*, sd_bus_message* answer, void* userdata,
                  sd_bus_error* error) {
    return handleMethod(error, [&] {
        appendValueVariant(answer, partsOf<ClientParts>(userdata).simulator.value(modelPathOfObject(objectPath)));
        return 1;
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("GetValue", "t", SD_BUS_PARAM(connection), "iv", SD_BUS_PARAM(status) SD_BUS_PARAM(value),
                             getValue, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SetValue", "tv", SD_BUS_PARAM(connection) SD_BUS_PARAM(value), "i", SD_BUS_PARAM(status),
                             setValue, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SetIntegers", "ta{ii}", SD_BUS_PARAM(connection) SD_BUS_PARAM(byIndex), "i",
                             SD_BUS_PARAM(status), (setByIndex<int, 'i'>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SetStrings", "ta{is}", SD_BUS_PARAM(connection) SD_BUS_PARAM(byIndex), "i",
                             SD_BUS_PARAM(status), (setByIndex<std::string, 's'>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("Value", "v", valueProperty, 0, kPropertyWithoutChangeSignal),
    SD_BUS_SIGNAL_WITH_NAMES("Changed", "tv", SD_BUS_PARAM(connection) SD_BUS_PARAM(value), 0),
    SD_BUS_VTABLE_END};

}  // namespace

void addValueInterface(sd_bus* bus, ClientParts& parts) {
    addModelFallback(bus, parts, kValueInterface, kVtable, isValue);
}

}  // namespace tvsimd
