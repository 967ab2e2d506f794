// Model values as nlohmann::json, for code that already speaks it (the
// tools): the one JSON form of valueJsonText and parseValueJson.
#pragma once

#include <tvsim/model_value.h>

#include <nlohmann/json.hpp>

#include <variant>

namespace tvsim {

inline nlohmann::json valueToJson(const ModelValue& value) {
    return std::visit([](const auto& native) { return nlohmann::json(native); }, value);
}

// Checked as parseValueJson checks text; throws ValueJsonError.
inline ModelValue valueFromJson(ValueType type, const nlohmann::json& json) {
    return parseValueJson(type, json.dump());
}

}  // namespace tvsim
