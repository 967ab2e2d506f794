#include "session.h"

#include "local_tv_control.h"
#include "tv_service.h"

#include <system_access/value_access_base.h>
#include <tvsim/debug_capture.h>
#include <tvsim/platform_choice.h>

#include <algorithm>
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

// The bus option, else TVSIM_BUS; empty for the TV in this process.
std::string chooseBus(const GlobalOptions& options) {
    if (!options.bus.empty()) {
        return options.bus;
    }
    const char* variable = std::getenv("TVSIM_BUS");
    return variable != nullptr ? variable : "";
}

std::unique_ptr<TvControl> startTv(const GlobalOptions& options) {
    const std::string bus = chooseBus(options);
    if (bus.empty()) {
        return std::make_unique<LocalTvControl>(options.modelFile);
    }
    if (!options.modelFile.empty()) {
        throw CommandError("--model loads the TV in this process; the TV service loads its own (tvsimd --model)");
    }
    std::unique_ptr<TvControl> tv = connectTvService(bus, options.timeoutMs);
    // Before the library's first platform call, which takes the choice.
    tvsim::usePlatformOnBus(bus);
    return tv;
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
    m_tv = startTv(options);
}

bool Session::has(const std::string& path) {
    const std::vector<tvsim::ModelEntry> entries = m_tv->list(path);
    return std::any_of(entries.begin(), entries.end(),
                       [&](const tvsim::ModelEntry& entry) { return entry.path == path; });
}

lomodelapi::ObjectTypeSpec Session::typeOf(const std::string& path) {
    for (const tvsim::ModelEntry& entry : m_tv->list(path)) {
        if (entry.path == path) {
            return entry.type;
        }
    }
    throw CommandError("unknown path '" + path + "' (sactl list shows the model's paths)");
}

tvsim::ValueType Session::valueTypeOf(const std::string& path) {
    const lomodelapi::ObjectTypeSpec type = typeOf(path);
    tvsim::ValueType valueType;
    if (!tvsim::valueTypeOfObject(type, valueType)) {
        throw CommandError("'" + path + "' is " + describeType(type) + ", not a value");
    }
    return valueType;
}

void Session::requireType(const std::string& path, lomodelapi::ObjectTypeSpec expected) {
    const lomodelapi::ObjectTypeSpec type = typeOf(path);
    if (type != expected) {
        throw CommandError("'" + path + "' is " + describeType(type) + ", not " + describeType(expected));
    }
}

}  // namespace sactl
