#include "number_options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string>

namespace sactl {
namespace {

bool isDigits(const char* begin, const char* end) {
    return begin != end && std::all_of(begin, end, [](unsigned char c) { return std::isdigit(c) != 0; });
}

// The value of a decimal integer; false for anything else, or one beyond long long.
bool parseDecimal(const std::string& text, long long& value) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (!isDigits(begin + (text.rfind('-', 0) == 0 ? 1 : 0), end)) {
        return false;
    }
    const auto parsed = std::from_chars(begin, end, value);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

constexpr double kMaxSeconds = 365.0 * 24 * 60 * 60;

}  // namespace

CLI::Validator decimalInteger() {
    return CLI::Validator(
        [](const std::string& text) {
            long long value = 0;
            return parseDecimal(text, value) ? std::string() : "expected a decimal integer, got '" + text + "'";
        },
        "INTEGER");
}

CLI::Validator decimalInteger(long long low, long long high) {
    return CLI::Validator(
        [low, high](const std::string& text) {
            long long value = 0;
            if (parseDecimal(text, value) && value >= low && value <= high) {
                return std::string();
            }
            return "expected a decimal integer from " + std::to_string(low) + " to " + std::to_string(high) +
                   ", got '" + text + "'";
        },
        "INTEGER");
}

bool isDecimalFraction(const std::string& text) {
    const std::size_t point = text.find('.');
    if (point == std::string::npos) {
        return isDigits(text.data(), text.data() + text.size());
    }
    const char* begin = text.data();
    return isDigits(begin, begin + point) && isDigits(begin + point + 1, begin + text.size());
}

CLI::Validator decimalSeconds() {
    return CLI::Validator(
        [](const std::string& text) {
            double seconds = 0;
            if (isDecimalFraction(text) && CLI::detail::lexical_cast(text, seconds) && seconds <= kMaxSeconds) {
                return std::string();
            }
            return "expected seconds from 0 to 31536000 (a year), got '" + text + "'";
        },
        "SECONDS");
}

}  // namespace sactl
