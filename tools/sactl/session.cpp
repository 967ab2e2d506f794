#include "session.h"

#include "bus_tv.h"

#include <system_access/value_access_base.h>
#include <tvsim/debug_capture.h>
#include <tvsim/local_tv_control.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <system_error>

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

// The simulator in this process, with the model from the file or the default one.
class LocalTv final : public Tv {
public:
    explicit LocalTv(const std::string& modelFile) : m_control(m_simulator, loadModel(modelFile)) {}

    tvsim::TvControl& control() override { return m_control; }
    void flushNotifications() override { m_simulator.flush(); }

private:
    tvsim::LoadedModel loadModel(const std::string& file) {
        try {
            return file.empty() ? tvsim::loadDefaultModel(m_simulator) : tvsim::loadModelFile(file, m_simulator);
        } catch (const tvsim::ModelFileError& error) {
            throw CommandError(error.what());
        }
    }

    tvsim::Simulator m_simulator;
    tvsim::LocalTvControl m_control;
};

std::unique_ptr<Tv> startTv(const GlobalOptions& options) {
    const std::string bus = chooseBus(options);
    if (bus.empty()) {
        return std::make_unique<LocalTv>(options.modelFile);
    }
    if (!options.modelFile.empty()) {
        throw CommandError("--model loads the TV in this process; the TV service loads its own (tvsimd --model)");
    }
    return connectTvService(bus, std::chrono::milliseconds(options.timeoutMs));
}

}  // namespace

std::string chooseBus(const GlobalOptions& options) {
    if (!options.bus.empty()) {
        return options.bus;
    }
    const char* variable = std::getenv("TVSIM_BUS");
    return variable != nullptr ? variable : "";
}

void Output::result(const std::string& text, const nlohmann::json& object) const {
    errno = 0;
    if (!(std::cout << (m_json ? jsonText(object) : text) << std::endl)) {
        throw CommandError(std::string("write error on standard output") +
                           (errno != 0 ? std::string(": ") + std::generic_category().message(errno) : std::string()));
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

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << text) || !file.flush()) {
        throw CommandError("cannot write '" + path + "'" +
                           (errno != 0 ? std::string(": ") + std::generic_category().message(errno) : std::string()));
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

Session::~Session() = default;

bool Session::has(const std::string& path) {
    try {
        m_tv->control().typeAt(path);
        return true;
    } catch (const tvsim::ControlError& error) {
        if (error.kind() != tvsim::ControlErrorKind::UNKNOWN_PATH) {
            throw;
        }
        return false;
    }
}

}  // namespace sactl
