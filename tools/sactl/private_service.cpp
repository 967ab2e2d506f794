#include "private_service.h"

#include "session.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <vector>

namespace sactl {
namespace {

constexpr std::chrono::seconds kStartTime{10};
constexpr std::chrono::seconds kStopGrace{5};

std::vector<std::string> tvsimdCommand(const std::string& modelFile) {
    std::vector<std::string> command{findTvsimd(), "--private-bus"};
    if (!modelFile.empty()) {
        command.insert(command.end(), {"--model", modelFile});
    }
    return command;
}

// The address in tvsimd's `export DBUS_SESSION_BUS_ADDRESS='...'` line, unquoted as a POSIX shell would.
std::string exportedAddress(const std::string& line) {
    const std::string prefix = "export DBUS_SESSION_BUS_ADDRESS='";
    if (line.compare(0, prefix.size(), prefix) != 0 || line.back() != '\'') {
        return "";
    }
    std::string address = line.substr(prefix.size(), line.size() - prefix.size() - 1);
    for (std::size_t at = 0; (at = address.find("'\\''", at)) != std::string::npos; ++at) {
        address.replace(at, 4, "'");
    }
    return address;
}

}  // namespace

std::string findTvsimd() {
    char self[4096];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length > 0) {
        const std::string path(self, static_cast<std::size_t>(length));
        const std::string folder = path.substr(0, path.rfind('/') + 1);
        // Installed, the two share a folder; in a build tree, tools/sactl/sactl and tools/tvsimd/tvsimd.
        for (const std::string& candidate : {folder + "tvsimd", folder + "../tvsimd/tvsimd"}) {
            if (access(candidate.c_str(), X_OK) == 0) {
                return candidate;
            }
        }
    }
    const char* variable = std::getenv("TVSIMD");
    return variable != nullptr && *variable != '\0' ? variable : "tvsimd";
}

PrivateService::PrivateService(const std::string& modelFile) : m_process(tvsimdCommand(modelFile), {}, true) {
    const auto deadline = std::chrono::steady_clock::now() + kStartTime;
    const auto left = [&] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    };
    m_address = exportedAddress(m_process.outputLine(left()));
    if (m_address.empty() || m_process.outputLine(left()) != "ready") {
        m_process.terminate(kStopGrace);
        throw CommandError("the TV service (" + tvsimdCommand(modelFile).front() + " --private-bus) did not start" +
                           (m_process.status() > 0 ? ": it exited with status " + std::to_string(m_process.status())
                                                   : std::string(" within 10 s")));
    }
}

PrivateService::~PrivateService() {
    m_process.terminate(kStopGrace);
}

}  // namespace sactl
