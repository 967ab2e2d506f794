#include "private_bus.h"

#include "log.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tvsimd {
namespace {

[[noreturn]] void runDaemon(int addressPipe) {
    // The parent blocks SIGTERM for its event loop; the bus daemon must not inherit that.
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    // Should tvsimd die without cleaning up, its bus goes with it.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // tvsimd writes nothing but its export and ready lines unless asked; the bus daemon's notices go too.
    if (!logEnabled(kLogInfo)) {
        const int devNull = open("/dev/null", O_WRONLY);
        dup2(devNull, STDERR_FILENO);
    }
    const std::string printAddress = "--print-address=" + std::to_string(addressPipe);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", printAddress.c_str(),
           static_cast<char*>(nullptr));
    _exit(127);
}

}  // namespace

PrivateBus::PrivateBus() {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("cannot make a pipe: ") + std::generic_category().message(errno));
    }
    m_pid = fork();
    if (m_pid == 0) {
        close(fds[0]);
        // Only the write end crosses exec.
        const int writeEnd = dup(fds[1]);
        runDaemon(writeEnd);
    }
    close(fds[1]);
    if (m_pid < 0) {
        close(fds[0]);
        throw std::runtime_error(std::string("cannot start dbus-daemon: ") + std::generic_category().message(errno));
    }
    char buffer[512];
    std::string line;
    for (ssize_t count; line.find('\n') == std::string::npos && (count = read(fds[0], buffer, sizeof buffer)) != 0;) {
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            break;
        }
        line.append(buffer, static_cast<std::size_t>(count));
    }
    close(fds[0]);
    const std::size_t end = line.find('\n');
    if (end == std::string::npos || end == 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
        throw std::runtime_error("dbus-daemon did not start (is it installed? scripts/deps installs it)");
    }
    m_address = line.substr(0, end);
}

PrivateBus::~PrivateBus() {
    kill(m_pid, SIGTERM);
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace tvsimd
