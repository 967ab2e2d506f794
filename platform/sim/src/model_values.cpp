// Model values: their types and names, values written as JSON, and argument positions.
#include <tvsim/model_value.h>

#include "model_parser.h"

#include <tvsim/model_value_json.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace tvsim {

ValueType valueTypeOf(const ModelValue& value) {
    return static_cast<ValueType>(value.index());
}

ModelValue emptyValueOf(ValueType type) {
    switch (type) {
        case ValueType::INTEGER:
            return 0;
        case ValueType::INT64:
            return 0LL;
        case ValueType::STRING:
            return std::string();
        case ValueType::INTEGER_VECTOR:
            return std::vector<int>();
        case ValueType::STRING_VECTOR:
            break;
    }
    return std::vector<std::string>();
}

bool valueTypeOfObject(lomodelapi::ObjectTypeSpec objectType, ValueType& valueType) {
    switch (objectType) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            valueType = ValueType::INTEGER;
            return true;
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            valueType = ValueType::INT64;
            return true;
        case lomodelapi::OBJECT_TYPE_STRING:
            valueType = ValueType::STRING;
            return true;
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            valueType = ValueType::INTEGER_VECTOR;
            return true;
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
            valueType = ValueType::STRING_VECTOR;
            return true;
        default:
            return false;
    }
}

const char* valueTypeName(ValueType type) {
    switch (type) {
        case ValueType::INTEGER:
            return "integer";
        case ValueType::INT64:
            return "int64";
        case ValueType::STRING:
            return "string";
        case ValueType::INTEGER_VECTOR:
            return "integer-vector";
        case ValueType::STRING_VECTOR:
            break;
    }
    return "string-vector";
}

lomodelapi::ObjectTypeSpec objectTypeOf(ValueType type) {
    static constexpr lomodelapi::ObjectTypeSpec kObjectTypes[] = {
        lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, lomodelapi::OBJECT_TYPE_NUMERIC_INT64, lomodelapi::OBJECT_TYPE_STRING,
        lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, lomodelapi::OBJECT_TYPE_VECTOR_STRING};
    return kObjectTypes[static_cast<int>(type)];
}

std::string objectTypeName(lomodelapi::ObjectTypeSpec objectType) {
    ValueType valueType;
    if (valueTypeOfObject(objectType, valueType)) {
        return valueTypeName(valueType);
    }
    switch (objectType) {
        case lomodelapi::OBJECT_TYPE_ACTION:
            return "action";
        case lomodelapi::OBJECT_TYPE_TABLE:
            return "table";
        default:
            return "type " + std::to_string(static_cast<int>(objectType));
    }
}

std::optional<lomodelapi::ObjectTypeSpec> objectTypeNamed(const std::string& name) {
    for (int code = lomodelapi::OBJECT_TYPE_NONE; code <= lomodelapi::OBJECT_TYPE_NUMERIC_INT64; ++code) {
        const auto type = static_cast<lomodelapi::ObjectTypeSpec>(code);
        if (name == objectTypeName(type)) {
            return type;
        }
    }
    return std::nullopt;
}

ModelValue parseValueJson(ValueType type, const std::string& text) {
    try {
        const modelfile::JsonDocument parsed = modelfile::parseJsonText(text);
        return modelfile::valueFromJson(type, modelfile::Node(parsed));
    } catch (const modelfile::SyntaxFault& fault) {  // a syntax error, or a number beyond a double's range
        throw ValueJsonError(fault.detail, true);
    } catch (const modelfile::Fault& fault) {
        throw ValueJsonError(
            fault.pointer.empty() ? fault.what : "element " + fault.pointer.substr(1) + ": " + fault.what, false);
    }
}

std::string valueJsonText(const ModelValue& value) {
    return valueToJson(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

bool parseArgumentPosition(const std::string& text, std::int8_t& position) {
    const bool decimal = !text.empty() && text.size() <= 3 &&
                         std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
    if (!decimal || std::stoi(text) > kMaxArgumentPosition) {
        return false;
    }
    position = static_cast<std::int8_t>(std::stoi(text));
    return true;
}

}  // namespace tvsim
