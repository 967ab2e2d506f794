// The value a model object holds, in one type for every front end of the
// simulated TV, with its names and its one JSON form.
#pragma once

#include <lomodelapi/object_type_spec.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace tvsim {

// The alternatives are in the order of ValueType.
using ModelValue = std::variant<int, long long, std::string, std::vector<int>, std::vector<std::string>>;
enum class ValueType { INTEGER, INT64, STRING, INTEGER_VECTOR, STRING_VECTOR };

ValueType valueTypeOf(const ModelValue& value);
ModelValue emptyValueOf(ValueType type);  // 0, 0, "", [], []
// The value type behind a model object type code; false for actions, tables and the rest.
bool valueTypeOfObject(lomodelapi::ObjectTypeSpec objectType, ValueType& valueType);
lomodelapi::ObjectTypeSpec objectTypeOf(ValueType type);
// "integer", "int64", "string", "integer-vector", "string-vector": the names model files use.
const char* valueTypeName(ValueType type);
// Those names for value objects, "action", "table", or "type <code>" for anything else.
std::string objectTypeName(lomodelapi::ObjectTypeSpec objectType);
// The type code a name of objectTypeName stands for; nullopt for any other text.
std::optional<lomodelapi::ObjectTypeSpec> objectTypeNamed(const std::string& name);

class ValueJsonError : public std::invalid_argument {
public:
    ValueJsonError(const std::string& what, bool notJson) : std::invalid_argument(what), m_notJson(notJson) {}

    // The text is no JSON at all (or holds a number beyond a double's range).
    // Otherwise what() says what is wrong and where: "element 1: expected an integer, got ...".
    bool notJson() const { return m_notJson; }

private:
    bool m_notJson;
};

// A value of the type written as JSON, checked as a model file's "value"
// member is: integers within the type's range, a string, arrays of them.
// Throws ValueJsonError.
ModelValue parseValueJson(ValueType type, const std::string& text);
// The value as one line of JSON; bytes of a string that are not UTF-8 show as U+FFFD.
std::string valueJsonText(const ModelValue& value);

// An argument or result position as model files and tools write it: decimal,
// 0 to kMaxArgumentPosition (Argument::position is 8 bits). False for anything else.
constexpr int kMaxArgumentPosition = 127;
bool parseArgumentPosition(const std::string& text, std::int8_t& position);

}  // namespace tvsim
