// A program sactl starts for the length of one command and must see end: the
// TV service it starts itself, or the client command a scenario plays
// against. Each runs in a process group of its own, so that a terminal's
// Ctrl-C reaches sactl alone, which then stops them in order; should sactl be
// killed outright, the kernel sends them SIGTERM (PR_SET_PDEATHSIG).
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace sactl {

class ChildProcess {
public:
    // Starts argv[0] (looked up on PATH) with the signal mask emptied and `environment` (NAME=VALUE each) added
    // to sactl's own. With `readOutput`, its standard output is a pipe for outputLine. A program that cannot be
    // run is a CommandError: "cannot run 'NAME': No such file or directory".
    ChildProcess(const std::vector<std::string>& argv, const std::vector<std::string>& environment, bool readOutput);
    // terminate() when it is still running.
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return m_pid; }
    bool running() const { return !m_ended; }
    // Its exit status, or -signal, once ended.
    int status() const { return m_status; }

    // The next line of its standard output, without the newline; "" at its end or after the timeout.
    std::string outputLine(std::chrono::milliseconds timeout);
    // Collects its exit when it has ended, without waiting; answers running().
    bool poll();
    // SIGTERM to its process group, SIGKILL to the group after `grace`, and waits for it. Its status.
    int terminate(std::chrono::milliseconds grace = std::chrono::seconds(2));

private:
    void collect(int waitStatus);

    pid_t m_pid = -1;
    int m_output = -1;
    std::string m_buffered;
    bool m_ended = false;
    int m_status = 0;
};

}  // namespace sactl
