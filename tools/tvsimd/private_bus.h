// A dbus-daemon of tvsimd's own (--private-bus), started with the session
// configuration and stopped when this object goes. It never touches the
// machine's own buses.
#pragma once

#include <sys/types.h>

#include <string>

namespace tvsimd {

class PrivateBus {
public:
    // Starts dbus-daemon and waits for its address; throws std::runtime_error with one line.
    PrivateBus();
    ~PrivateBus();  // SIGTERM, then waits for it

    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return m_address; }

private:
    pid_t m_pid = -1;
    std::string m_address;
};

}  // namespace tvsimd
