// The TV service sactl starts for itself when no bus is chosen: tvsimd on a
// dbus-daemon of its own (tvsimd --private-bus), for the length of one command.
#pragma once

#include "child_process.h"

#include <optional>
#include <string>

namespace sactl {

// tvsimd beside sactl's own binary, else the TVSIMD variable, else "tvsimd" (looked up on PATH).
std::string findTvsimd();

class PrivateService {
public:
    // Starts tvsimd (with --model when modelFile is not empty) and waits up to 10 s for its export and ready
    // lines; a tvsimd that does not get there is a CommandError.
    explicit PrivateService(const std::string& modelFile);
    // SIGTERM: tvsimd leaves the bus and stops its dbus-daemon; SIGKILL after 5 s (its dbus-daemon then ends
    // on its parent's death).
    ~PrivateService();

    const std::string& address() const { return m_address; }
    ChildProcess& process() { return m_process; }

private:
    ChildProcess m_process;
    std::string m_address;
};

}  // namespace sactl
