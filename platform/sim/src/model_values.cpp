// Model values: their types and names, and their text form.
#include <tvsim/model_file.h>

#include "model_parser.h"

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

ModelValue parseValueText(ValueType type, const std::string& text) {
    if (type == ValueType::STRING) {
        return text;
    }
    static const char* const kExpected[] = {"an integer", "a 64-bit integer", "",
                                            "a JSON array of integers like [1,2,3]",
                                            "a JSON array of strings like [\"eng\",\"fra\"]"};
    try {
        const modelfile::JsonDocument parsed = modelfile::parseJsonText(text);
        return modelfile::valueFromJson(type, modelfile::Node(parsed));
    } catch (const modelfile::SyntaxFault&) {  // a syntax error, or a number beyond a double's range
        throw std::invalid_argument(modelfile::jsonQuoted(text) + " is not " + kExpected[static_cast<int>(type)]);
    } catch (const modelfile::Fault& fault) {
        throw std::invalid_argument(fault.pointer.empty() ? fault.what
                                                          : "element " + fault.pointer.substr(1) + ": " + fault.what);
    }
}

std::string formatValueText(const ModelValue& value) {
    switch (valueTypeOf(value)) {
        case ValueType::INTEGER:
            return std::to_string(std::get<int>(value));
        case ValueType::INT64:
            return std::to_string(std::get<long long>(value));
        case ValueType::STRING:
            return std::get<std::string>(value);
        case ValueType::INTEGER_VECTOR:
            return modelfile::Json(std::get<std::vector<int>>(value)).dump();
        case ValueType::STRING_VECTOR:
            break;
    }
    return modelfile::Json(std::get<std::vector<std::string>>(value))
        .dump(-1, ' ', false, modelfile::Json::error_handler_t::replace);
}

}  // namespace tvsim
