#include "api_requests.h"

#include <tvsim/model_value_json.h>

#include <array>
#include <climits>
#include <initializer_list>
#include <utility>

namespace tvsimd::web {
namespace {

using nlohmann::json;

constexpr int kBadRequest = 400;

constexpr std::array<std::pair<FaultKind, const char*>, 9> kFaultNames{{
    {FaultKind::FailGetter, "fail-getter"},
    {FaultKind::FailConnects, "fail-connects"},
    {FaultKind::NullObjectOnConnects, "null-object-on-connects"},
    {FaultKind::ReportType, "report-type"},
    {FaultKind::RefuseInvokes, "refuse-invokes"},
    {FaultKind::FailCreateIterators, "fail-create-iterators"},
    {FaultKind::RefuseInterfaceReference, "refuse-interface-reference"},
    {FaultKind::EmptyInterfaceReference, "empty-interface-reference"},
    {FaultKind::NullRootObject, "null-root-object"},
}};

[[noreturn]] void badRequest(const std::string& message) {
    throw ApiError(kBadRequest, message);
}

// The body as a JSON object whose keys are all among `known`.
json parseObject(std::string_view body, std::initializer_list<const char*> known) {
    json document = json::parse(body.begin(), body.end(), nullptr, false);
    if (document.is_discarded()) {
        badRequest("the body is not valid JSON");
    }
    if (!document.is_object()) {
        badRequest("the body must be a JSON object");
    }
    for (const auto& item : document.items()) {
        bool found = false;
        for (const char* key : known) {
            found = found || item.key() == key;
        }
        if (!found) {
            badRequest("unknown field '" + item.key() + "'");
        }
    }
    return document;
}

std::string requireString(const json& document, const char* key) {
    const auto found = document.find(key);
    if (found == document.end() || !found->is_string()) {
        badRequest(std::string("'") + key + "' must be a string");
    }
    return found->get<std::string>();
}

std::string requirePath(const json& document) {
    std::string path = requireString(document, "path");
    if (path.empty()) {
        badRequest("'path' must not be empty");
    }
    return path;
}

// A JSON integer within [low, high].
long long integerIn(const json& value, long long low, long long high, const std::string& what) {
    if (!value.is_number_integer()) {
        badRequest(what + " must be an integer");
    }
    // Non-negative numbers parse as unsigned; beyond long long they cannot be in range.
    if (value.is_number_unsigned() && value.get<unsigned long long>() > static_cast<unsigned long long>(LLONG_MAX)) {
        badRequest(what + " is out of range");
    }
    const long long number = value.get<long long>();
    if (number < low || number > high) {
        badRequest(what + " is out of range");
    }
    return number;
}

int optionalInt(const json& document, const char* key, int fallback) {
    const auto found = document.find(key);
    if (found == document.end()) {
        return fallback;
    }
    return static_cast<int>(integerIn(*found, INT_MIN, INT_MAX, std::string("'") + key + "'"));
}

bool optionalBool(const json& document, const char* key) {
    const auto found = document.find(key);
    if (found == document.end()) {
        return false;
    }
    if (!found->is_boolean()) {
        badRequest(std::string("'") + key + "' must be true or false");
    }
    return found->get<bool>();
}

FaultKind faultKindOf(const std::string& name) {
    for (const auto& [kind, known] : kFaultNames) {
        if (name == known) {
            return kind;
        }
    }
    badRequest("unknown fault '" + name + "'");
}

}  // namespace

const char* faultName(FaultKind kind) {
    for (const auto& [known, name] : kFaultNames) {
        if (known == kind) {
            return name;
        }
    }
    return "";
}

bool isPathFault(FaultKind kind) {
    return kind != FaultKind::RefuseInterfaceReference && kind != FaultKind::EmptyInterfaceReference &&
           kind != FaultKind::NullRootObject;
}

SetValueRequest decodeSetValue(std::string_view body) {
    json document = parseObject(body, {"path", "value"});
    SetValueRequest request;
    request.path = requirePath(document);
    if (!document.contains("value")) {
        badRequest("'value' is missing");
    }
    request.value = std::move(document["value"]);
    return request;
}

FaultRequest decodeFault(std::string_view body) {
    const json document = parseObject(body, {"fault", "path", "count", "status", "type", "clear"});
    FaultRequest request;
    request.kind = faultKindOf(requireString(document, "fault"));
    if (isPathFault(request.kind)) {
        request.path = requirePath(document);
    } else if (document.contains("path")) {
        badRequest(std::string("the fault '") + faultName(request.kind) + "' takes no path");
    }
    request.clear = optionalBool(document, "clear");
    request.count = optionalInt(document, "count", 1);
    request.status = optionalInt(document, "status", -1);
    if (request.kind == FaultKind::ReportType && !request.clear) {
        if (!document.contains("type")) {
            badRequest("'type' is missing");
        }
        request.type = optionalInt(document, "type", 0);
    }
    return request;
}

AnswerRequest decodeAnswer(std::string_view body) {
    const json document = parseObject(body, {"path", "answer", "error", "delayMs"});
    AnswerRequest request;
    request.path = requirePath(document);
    const std::string answer = requireString(document, "answer");
    if (answer == "own") {
        request.kind = AnswerKind::Own;
    } else if (answer == "success") {
        request.kind = AnswerKind::Results;
    } else if (answer == "failure") {
        request.kind = AnswerKind::Failure;
    } else if (answer == "none") {
        request.kind = AnswerKind::NoReply;
    } else {
        badRequest("'answer' must be own, success, failure or none; got '" + answer + "'");
    }
    request.error = optionalInt(document, "error", 0);
    request.delay = std::chrono::milliseconds(optionalInt(document, "delayMs", 0));
    return request;
}

tvsim::ModelValue decodeValue(tvsim::ValueType type, const json& value) {
    try {
        return tvsim::valueFromJson(type, value);
    } catch (const tvsim::ValueJsonError& error) {
        badRequest(std::string("the value for ") + tvsim::valueTypeName(type) + ": " + error.what());
    }
}

int httpStatusOf(tvsim::ControlErrorKind kind) {
    const bool missing =
        kind == tvsim::ControlErrorKind::UNKNOWN_PATH || kind == tvsim::ControlErrorKind::UNKNOWN_CONNECTION;
    return missing ? 404 : 400;
}

std::string errorBody(const std::string& message) {
    // dump() escapes control characters, so the body stays on one line; bytes that are not UTF-8 are replaced.
    return json{{"error", message}}.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace tvsimd::web
