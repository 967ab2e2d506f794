// Model values: their types and names, values written as JSON, and argument positions.
#include <tvsim/model_file.h>

#include "model_parser.h"

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
