#include "session.h"

#include <system_access/value_access_base.h>
#include <tvsim/debug_capture.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>

namespace sactl {
namespace {

void applyLogLevel(const std::string& text) {
    if (text.empty()) {
        // The library's lines would bury sactl's own output; they are asked for with --log-level.
        if (std::getenv("SYSACCESS_LOG_LEVEL") == nullptr) {
            tvsim::setLogThreshold(tvsim::kLevelNone);
        }
        return;
    }
    unsigned level = 0;
    if (!tvsim::parseLogLevel(text, level)) {
        throw CommandError("bad --log-level '" + text +
                           "': give a number such as 1000 or one of none, always, error, "
                           "info, trace");
    }
    tvsim::setLogThreshold(level);
}

tvsim::LoadedModel loadModel(const std::string& file, tvsim::Simulator& simulator) {
    try {
        return file.empty() ? tvsim::loadDefaultModel(simulator) : tvsim::loadModelFile(file, simulator);
    } catch (const tvsim::ModelFileError& error) {
        throw CommandError(error.what());
    }
}

// "an action", "a string-vector", ...
std::string describeType(lomodelapi::ObjectTypeSpec type) {
    const std::string name = tvsim::objectTypeName(type);
    return (name.find_first_of("aeiou") == 0 ? "an " : "a ") + name;
}

}  // namespace

void Output::result(const std::string& text, const nlohmann::json& object) const {
    errno = 0;
    if (!(std::cout << (m_json ? jsonText(object) : text) << std::endl)) {
        throw CommandError(std::string("write error on standard output") +
                           (errno != 0 ? std::string(": ") + std::strerror(errno) : std::string()));
    }
}

void Output::narrate(const std::string& text) const {
    result(text, {{"narration", text}});
}

std::string describeStatus(int status) {
    switch (status) {
        case velmora::system::access::STATUS_ERR_CONNECT_FAILED:
            return std::to_string(status) + " (STATUS_ERR_CONNECT_FAILED)";
        case velmora::system::access::STATUS_ERR_VALUE_TYPE_MISMATCH:
            return std::to_string(status) + " (STATUS_ERR_VALUE_TYPE_MISMATCH)";
        default:
            return std::to_string(status);
    }
}

std::string timestampNow() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(millis));
    return text;
}

Session::Session(const GlobalOptions& options) : m_output(options.json), m_timeoutMs(options.timeoutMs) {
    applyLogLevel(options.logLevel);
    m_model = loadModel(options.modelFile, m_simulator);
}

lomodelapi::ObjectTypeSpec Session::typeOf(const std::string& path) const {
    for (const tvsim::ModelEntry& entry : m_simulator.list(path)) {
        if (entry.path == path) {
            return entry.type;
        }
    }
    throw CommandError("unknown path '" + path + "' (sactl list shows the model's paths)");
}

tvsim::ValueType Session::valueTypeOf(const std::string& path) const {
    const lomodelapi::ObjectTypeSpec type = typeOf(path);
    tvsim::ValueType valueType;
    if (!tvsim::valueTypeOfObject(type, valueType)) {
        throw CommandError("'" + path + "' is " + describeType(type) + ", not a value");
    }
    return valueType;
}

void Session::requireType(const std::string& path, lomodelapi::ObjectTypeSpec expected) const {
    const lomodelapi::ObjectTypeSpec type = typeOf(path);
    if (type != expected) {
        throw CommandError("'" + path + "' is " + describeType(type) + ", not " + describeType(expected));
    }
}

}  // namespace sactl
