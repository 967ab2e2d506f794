#include "value_codec.h"

#include "bus_error.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <variant>

namespace tvsim::bus {
namespace {

constexpr std::size_t kMaxEchoedKind = 32;

std::string describeSignature(const char* signature) {
    static const std::pair<const char*, const char*> kNames[] = {{"i", "an integer"},
                                                                 {"x", "an int64"},
                                                                 {"s", "a string"},
                                                                 {"ai", "an integer-vector"},
                                                                 {"as", "a string-vector"}};
    for (const auto& [code, name] : kNames) {
        if (std::string(signature) == code) {
            return name;
        }
    }
    return std::string("a value of D-Bus type '") + signature + "'";
}

// The integer in a variant whose contents are one of the basic integer types; false for anything else.
bool readAnyInteger(sd_bus_message* message, char type, long double& out) {
    switch (type) {
        case 'y': {
            std::uint8_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read byte");
            out = v;
            return true;
        }
        case 'n': {
            std::int16_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read int16");
            out = v;
            return true;
        }
        case 'q': {
            std::uint16_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read uint16");
            out = v;
            return true;
        }
        case 'i': {
            std::int32_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read int32");
            out = v;
            return true;
        }
        case 'u': {
            std::uint32_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read uint32");
            out = v;
            return true;
        }
        case 'x': {
            std::int64_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read int64");
            out = static_cast<long double>(v);
            return true;
        }
        case 't': {
            std::uint64_t v = 0;
            check(sd_bus_message_read_basic(message, type, &v), "read uint64");
            out = static_cast<long double>(v);
            return true;
        }
        default:
            return false;
    }
}

template <typename T>
T inRange(long double value, const std::string& path, const char* what) {
    // long double holds every 64-bit integer exactly, so the comparison is exact.
    if (value < static_cast<long double>(std::numeric_limits<T>::min()) ||
        value > static_cast<long double>(std::numeric_limits<T>::max())) {
        const std::string text = value > static_cast<long double>(std::numeric_limits<long long>::max())
                                     ? std::to_string(static_cast<unsigned long long>(value))
                                     : std::to_string(static_cast<long long>(value));
        throw BusError(kErrorOutOfRange, text + " is out of the range of " + what + " for " + path + ".");
    }
    return static_cast<T>(value);
}

}  // namespace

std::vector<std::string> readStrings(sd_bus_message* message) {
    std::vector<std::string> out;
    check(sd_bus_message_enter_container(message, 'a', "s"), "enter string array");
    const char* text = nullptr;
    while (check(sd_bus_message_read_basic(message, 's', &text), "read string") > 0) {
        out.emplace_back(text);
    }
    check(sd_bus_message_exit_container(message), "exit string array");
    return out;
}

std::vector<int> readIntegers(sd_bus_message* message) {
    const void* data = nullptr;
    std::size_t size = 0;
    check(sd_bus_message_read_array(message, 'i', &data, &size), "read integer array");
    const auto* begin = static_cast<const std::int32_t*>(data);
    return std::vector<int>(begin, begin + size / sizeof(std::int32_t));
}

std::vector<std::vector<std::string>> readRows(sd_bus_message* message) {
    std::vector<std::vector<std::string>> rows;
    check(sd_bus_message_enter_container(message, 'a', "as"), "enter rows");
    while (check(sd_bus_message_at_end(message, 0), "read rows") == 0) {
        rows.push_back(readStrings(message));
    }
    check(sd_bus_message_exit_container(message), "exit rows");
    return rows;
}

void appendRows(sd_bus_message* message, const std::vector<std::vector<std::string>>& rows) {
    check(sd_bus_message_open_container(message, 'a', "as"), "open rows");
    for (const std::vector<std::string>& row : rows) {
        appendValue(message, row);
    }
    check(sd_bus_message_close_container(message), "close rows");
}

const char* signatureOf(tvsim::ValueType type) {
    switch (type) {
        case tvsim::ValueType::INTEGER:
            return "i";
        case tvsim::ValueType::INT64:
            return "x";
        case tvsim::ValueType::STRING:
            return "s";
        case tvsim::ValueType::INTEGER_VECTOR:
            return "ai";
        case tvsim::ValueType::STRING_VECTOR:
            return "as";
    }
    return "";
}

void appendValue(sd_bus_message* message, const tvsim::ModelValue& value) {
    std::visit(
        [message](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, int>) {
                check(sd_bus_message_append_basic(message, 'i', &v), "append integer");
            } else if constexpr (std::is_same_v<T, long long>) {
                const std::int64_t wide = v;
                check(sd_bus_message_append_basic(message, 'x', &wide), "append int64");
            } else if constexpr (std::is_same_v<T, std::string>) {
                check(sd_bus_message_append_basic(message, 's', v.c_str()), "append string");
            } else if constexpr (std::is_same_v<T, std::vector<int>>) {
                check(sd_bus_message_append_array(message, 'i', v.data(), v.size() * sizeof(int)),
                      "append integer array");
            } else {
                check(sd_bus_message_open_container(message, 'a', "s"), "open string array");
                for (const std::string& element : v) {
                    check(sd_bus_message_append_basic(message, 's', element.c_str()), "append string");
                }
                check(sd_bus_message_close_container(message), "close string array");
            }
        },
        value);
}

void appendValueVariant(sd_bus_message* message, const tvsim::ModelValue& value) {
    check(sd_bus_message_open_container(message, 'v', signatureOf(tvsim::valueTypeOf(value))), "open variant");
    appendValue(message, value);
    check(sd_bus_message_close_container(message), "close variant");
}

tvsim::ModelValue readValueVariant(sd_bus_message* message, tvsim::ValueType expected, const std::string& path) {
    char type = 0;
    const char* contents = nullptr;
    check(sd_bus_message_peek_type(message, &type, &contents), "peek variant");
    if (type != 'v') {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "The value must be a variant.");
    }
    check(sd_bus_message_enter_container(message, 'v', contents), "enter variant");
    const std::string wanted = signatureOf(expected);
    tvsim::ModelValue value;
    long double number = 0;
    const bool integerWanted = expected == tvsim::ValueType::INTEGER || expected == tvsim::ValueType::INT64;
    if (integerWanted && contents[1] == '\0' && readAnyInteger(message, contents[0], number)) {
        value = expected == tvsim::ValueType::INTEGER
                    ? tvsim::ModelValue(inRange<int>(number, path, "a 32-bit integer"))
                    : tvsim::ModelValue(inRange<long long>(number, path, "a 64-bit integer"));
    } else if (wanted != contents) {
        throw BusError(kErrorWrongType, path + " holds " + describeSignature(wanted.c_str()) + ", not " +
                                            describeSignature(contents) + ".");
    } else if (expected == tvsim::ValueType::STRING) {
        const char* text = nullptr;
        check(sd_bus_message_read_basic(message, 's', &text), "read string");
        value = std::string(text);
    } else if (expected == tvsim::ValueType::INTEGER_VECTOR) {
        value = readIntegers(message);
    } else {
        value = readStrings(message);
    }
    check(sd_bus_message_exit_container(message), "exit variant");
    return value;
}

tvsim::ModelValue readAnyValueVariant(sd_bus_message* message, const std::string& path) {
    char type = 0;
    const char* contents = nullptr;
    check(sd_bus_message_peek_type(message, &type, &contents), "peek variant");
    for (auto candidate : {tvsim::ValueType::INTEGER, tvsim::ValueType::INT64, tvsim::ValueType::STRING,
                           tvsim::ValueType::INTEGER_VECTOR, tvsim::ValueType::STRING_VECTOR}) {
        if (type == 'v' && std::string(signatureOf(candidate)) == contents) {
            return readValueVariant(message, candidate, path);
        }
    }
    throw BusError(SD_BUS_ERROR_INVALID_ARGS, "The value of " + path + " is no model value.");
}

void appendArguments(sd_bus_message* message, const std::vector<lomodelapi::Argument>& arguments) {
    check(sd_bus_message_open_container(message, 'a', "(nnns)"), "open arguments");
    for (const lomodelapi::Argument& argument : arguments) {
        check(sd_bus_message_append(message, "(nnns)", argument.tag, static_cast<std::int16_t>(argument.position),
                                    static_cast<std::int16_t>(argument.subtag), argument.value.c_str()),
              "append argument");
    }
    check(sd_bus_message_close_container(message), "close arguments");
}

std::vector<lomodelapi::Argument> readArguments(sd_bus_message* message) {
    std::vector<lomodelapi::Argument> arguments;
    check(sd_bus_message_enter_container(message, 'a', "(nnns)"), "enter arguments");
    std::int16_t tag = 0;
    std::int16_t position = 0;
    std::int16_t subtag = 0;
    const char* text = nullptr;
    while (check(sd_bus_message_read(message, "(nnns)", &tag, &position, &subtag, &text), "read argument") > 0) {
        lomodelapi::Argument argument;
        argument.tag = tag;
        argument.position =
            inRange<std::int8_t>(position, "argument " + std::to_string(arguments.size()), "a signed byte (position)");
        argument.subtag =
            inRange<std::int8_t>(subtag, "argument " + std::to_string(arguments.size()), "a signed byte (subtag)");
        argument.value = text;
        arguments.push_back(std::move(argument));
    }
    check(sd_bus_message_exit_container(message), "exit arguments");
    return arguments;
}

const char* replyKindName(tvsim::Reply::Kind kind) {
    switch (kind) {
        case tvsim::Reply::Kind::Failure:
            return "failure";
        case tvsim::Reply::Kind::NoReply:
            return "none";
        case tvsim::Reply::Kind::Results:
            break;
    }
    return "results";
}

tvsim::Reply::Kind readReplyKind(const char* name) {
    for (auto kind : {tvsim::Reply::Kind::Results, tvsim::Reply::Kind::Failure, tvsim::Reply::Kind::NoReply}) {
        if (std::strcmp(name, replyKindName(kind)) == 0) {
            return kind;
        }
    }
    // Only a name short enough to be a mistyped kind is repeated: the sentence must fit any reply.
    const std::size_t length = std::strlen(name);
    throw BusError(kErrorInvalidArgument,
                   "The reply kind must be results, failure or none; got " +
                       (length <= kMaxEchoedKind ? "'" + std::string(name) + "'."
                                                 : "a text of " + std::to_string(length) + " bytes."));
}

}  // namespace tvsim::bus
