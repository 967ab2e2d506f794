#include "value_text.h"

#include <tvsim/record_pattern.h>

#include <stdexcept>

namespace sactl {

std::string jsonText(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

tvsim::ModelValue parseValueText(tvsim::ValueType type, const std::string& text) {
    if (type == tvsim::ValueType::STRING) {
        return text;
    }
    static const char* const kExpected[] = {"an integer", "a 64-bit integer", "",
                                            "a JSON array of integers like [1,2,3]",
                                            "a JSON array of strings like [\"eng\",\"fra\"]"};
    try {
        return tvsim::parseValueJson(type, text);
    } catch (const tvsim::ValueJsonError& error) {
        if (error.notJson()) {
            throw std::invalid_argument(jsonText(text) + " is not " + kExpected[static_cast<int>(type)]);
        }
        throw std::invalid_argument(error.what());
    }
}

std::string formatValueText(const tvsim::ModelValue& value) {
    return tvsim::valueText(value);
}

}  // namespace sactl
