#include "child_process.h"

#include "session.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

namespace sactl {
namespace {

// sactl's environment with `added` (NAME=VALUE each) in place of the variables of the same names.
std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
    std::vector<std::string> result;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string entry = *variable;
        const std::string name = entry.substr(0, entry.find('=') + 1);
        const bool replaced = std::any_of(added.begin(), added.end(),
                                          [&](const std::string& other) { return other.rfind(name, 0) == 0; });
        if (!replaced) {
            result.push_back(entry);
        }
    }
    result.insert(result.end(), added.begin(), added.end());
    return result;
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        result.push_back(const_cast<char*>(text.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

// In the forked child, async-signal-safe calls only until exec. Reports a failed exec's errno on `failure`.
[[noreturn]] void runChild(char* const* argv, char* const* environment, int output, int failure) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    if (output >= 0) {
        dup2(output, STDOUT_FILENO);
    }
    execvpe(argv[0], argv, environment);
    const int error = errno;
    (void)!write(failure, &error, sizeof error);
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::vector<std::string>& environment,
                           bool readOutput) {
    int output[2] = {-1, -1};
    int failure[2] = {-1, -1};
    if ((readOutput && pipe2(output, O_CLOEXEC) != 0) || pipe2(failure, O_CLOEXEC) != 0) {
        throw CommandError("cannot make a pipe: " + std::generic_category().message(errno));
    }
    const std::vector<std::string> variables = environmentWith(environment);
    const std::vector<char*> args = pointers(argv);
    const std::vector<char*> envp = pointers(variables);
    m_pid = fork();
    if (m_pid == 0) {
        runChild(args.data(), envp.data(), output[1], failure[1]);
    }
    const int forkError = errno;
    close(failure[1]);
    if (readOutput) {
        close(output[1]);
        m_output = output[0];
    }
    if (m_pid < 0) {
        close(failure[0]);
        throw CommandError("cannot run '" + argv.at(0) + "': " + std::generic_category().message(forkError));
    }
    setpgid(m_pid, m_pid);  // as the child does, so that a signal to the group cannot come before it exists
    int execError = 0;
    ssize_t count = 0;
    while ((count = read(failure[0], &execError, sizeof execError)) < 0 && errno == EINTR) {
    }
    close(failure[0]);
    if (count == static_cast<ssize_t>(sizeof execError)) {
        terminate();
        throw CommandError("cannot run '" + argv.at(0) + "': " + std::generic_category().message(execError));
    }
}

ChildProcess::~ChildProcess() {
    if (running()) {
        terminate();
    }
    if (m_output >= 0) {
        close(m_output);
    }
}

std::string ChildProcess::outputLine(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const std::size_t end = m_buffered.find('\n');
        if (end != std::string::npos) {
            std::string line = m_buffered.substr(0, end);
            m_buffered.erase(0, end + 1);
            return line;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd ready{m_output, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
            return "";
        }
        char buffer[512];
        const ssize_t count = read(m_output, buffer, sizeof buffer);
        if (count <= 0 && !(count < 0 && errno == EINTR)) {
            return "";
        }
        m_buffered.append(buffer, static_cast<std::size_t>(count > 0 ? count : 0));
    }
}

void ChildProcess::collect(int waitStatus) {
    m_ended = true;
    m_status = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -WTERMSIG(waitStatus);
}

bool ChildProcess::poll() {
    int waitStatus = 0;
    if (!m_ended && waitpid(m_pid, &waitStatus, WNOHANG) == m_pid) {
        collect(waitStatus);
    }
    return running();
}

int ChildProcess::terminate(std::chrono::milliseconds grace) {
    if (!poll()) {
        return m_status;
    }
    kill(-m_pid, SIGTERM);
    // A short poll: SIGCHLD belongs to the caller's loop, which may be watching it.
    const auto deadline = std::chrono::steady_clock::now() + grace;
    while (poll() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (running()) {
        kill(-m_pid, SIGKILL);
        int waitStatus = 0;
        while (waitpid(m_pid, &waitStatus, 0) < 0 && errno == EINTR) {
        }
        collect(waitStatus);
    }
    return m_status;
}

}  // namespace sactl
