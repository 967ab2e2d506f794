#include "bus_processes.h"

#include <bus_names.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace tvsimd_test {
namespace {

using Clock = std::chrono::steady_clock;

int remainingMs(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, bool stderrToOut) {
    int fds[2];
    int input[2];
    if (pipe2(fds, O_CLOEXEC) != 0 || pipe2(input, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(fds[1], STDOUT_FILENO);
        if (stderrToOut) {
            dup2(fds[1], STDERR_FILENO);
        }
        dup2(input[0], STDIN_FILENO);
        std::vector<char*> args;
        args.reserve(argv.size() + 1);
        for (const std::string& arg : argv) {
            args.push_back(const_cast<char*>(arg.c_str()));
        }
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    close(fds[1]);
    close(input[0]);
    m_out = fds[0];
    m_in = input[1];
}

ChildProcess::~ChildProcess() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    close(m_out);
    close(m_in);
}

void ChildProcess::writeLine(const std::string& line) {
    const std::string text = line + "\n";
    // A child that has exited must fail the test, not kill it with SIGPIPE.
    signal(SIGPIPE, SIG_IGN);
    if (write(m_in, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("write to child");
    }
}

std::string ChildProcess::readLine(milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (m_buffered.find('\n') == std::string::npos) {
        pollfd ready{m_out, POLLIN, 0};
        if (poll(&ready, 1, remainingMs(deadline)) <= 0) {
            return "";
        }
        char buffer[512];
        const ssize_t count = read(m_out, buffer, sizeof buffer);
        if (count <= 0) {
            return "";
        }
        m_buffered.append(buffer, static_cast<std::size_t>(count));
    }
    const std::size_t end = m_buffered.find('\n');
    std::string line = m_buffered.substr(0, end);
    m_buffered.erase(0, end + 1);
    return line;
}

int ChildProcess::stop(int signal, milliseconds timeout) {
    kill(m_pid, signal);
    return waitForExit(timeout);
}

long ChildProcess::residentKiB() const {
    std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stol(line.substr(6));
        }
    }
    return -1;
}

int ChildProcess::waitForExit(milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    int status = 0;
    while (waitpid(m_pid, &status, WNOHANG) == 0) {
        if (Clock::now() >= deadline) {
            return -1;
        }
        std::this_thread::sleep_for(milliseconds(10));
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

PrivateDbusDaemon::PrivateDbusDaemon(const std::string& listen)
    : m_process([&] {
          std::vector<std::string> argv = {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"};
          if (!listen.empty()) {
              argv.push_back("--address=" + listen);
          }
          return argv;
      }()),
      m_address(m_process.readLine()) {
    if (m_address.empty()) {
        throw std::runtime_error("dbus-daemon did not start");
    }
}

Tvsimd::Tvsimd(const std::string& address, const std::vector<std::string>& extra, bool stderrToOut)
    : m_process(
          [&] {
              std::vector<std::string> argv = {TVSIMD_PATH, "--address", address};
              argv.insert(argv.end(), extra.begin(), extra.end());
              return argv;
          }(),
          stderrToOut) {
    m_ready = m_process.readLine() == "ready";
}

BusClient::BusClient(const std::string& address) {
    if (sd_bus_new(&m_bus) < 0 || sd_bus_set_address(m_bus, address.c_str()) < 0 ||
        sd_bus_set_bus_client(m_bus, 1) < 0 || sd_bus_start(m_bus) < 0 ||
        sd_bus_add_match(m_bus, nullptr, "type='signal',path_namespace='/io/sysaccess/TvSim'", &BusClient::onSignal,
                         this) < 0) {
        sd_bus_flush_close_unref(m_bus);
        throw std::runtime_error("cannot connect a client to " + address);
    }
}

BusClient::~BusClient() {
    for (Signal& signal : m_signals) {
        sd_bus_message_unref(signal.message);
    }
    sd_bus_flush_close_unref(m_bus);
}

std::string BusClient::uniqueName() const {
    const char* name = nullptr;
    sd_bus_get_unique_name(m_bus, &name);
    return name != nullptr ? name : "";
}

sd_bus_message* BusClient::call(const char* path, const char* interface, const char* member, const char* types, ...) {
    sd_bus_message* request = nullptr;
    sd_bus_message* reply = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    m_errorName.clear();
    m_errorMessage.clear();
    int result = sd_bus_message_new_method_call(m_bus, &request, kService, path, interface, member);
    if (result >= 0 && types != nullptr) {
        va_list args;
        va_start(args, types);
        result = sd_bus_message_appendv(request, types, args);
        va_end(args);
    }
    if (result >= 0) {
        result = sd_bus_call(m_bus, request, 5'000'000, &error, &reply);
    }
    if (result < 0) {
        m_errorName = error.name != nullptr ? error.name : "errno " + std::to_string(-result);
        m_errorMessage = error.message != nullptr ? error.message : "";
        reply = nullptr;
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(request);
    return reply;
}

void BusClient::watchServiceOwner() {
    if (sd_bus_add_match(m_bus, nullptr, tvsim::bus::kServiceOwnerMatch, &BusClient::onSignal, this) < 0) {
        throw std::runtime_error("cannot watch the service's owner");
    }
}

std::uint64_t BusClient::connect(const char* path, int* status) {
    const tvsim::bus::Message reply(call(kControlPath, "io.sysaccess.TvSim.Platform", "Connect", "s", path));
    int answered = -1;
    std::uint64_t id = 0;
    const char* object = nullptr;
    int type = 0;
    if (!reply || sd_bus_message_read(reply.get(), "itoi", &answered, &id, &object, &type) < 0) {
        throw std::runtime_error("Connect " + std::string(path) + ": " + m_errorName + " " + m_errorMessage);
    }
    if (status != nullptr) {
        *status = answered;
    }
    return id;
}

void BusClient::sendAll(std::size_t count, const char* path, const char* interface, const char* member,
                        const std::function<void(sd_bus_message*)>& append) {
    for (std::size_t index = 0; index < count; ++index) {
        sd_bus_message* request = nullptr;
        sd_bus_message_new_method_call(m_bus, &request, kService, path, interface, member);
        append(request);
        sd_bus_message_set_expect_reply(request, 0);
        sd_bus_send(m_bus, request, nullptr);
        sd_bus_message_unref(request);
    }
}

int BusClient::onSignal(sd_bus_message* message, void* client, sd_bus_error*) {
    static_cast<BusClient*>(client)->m_signals.push_back(
        {sd_bus_message_get_path(message), sd_bus_message_get_member(message), sd_bus_message_ref(message)});
    return 0;
}

bool BusClient::waitForSignals(std::size_t count, milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (m_signals.size() < count) {
        const int processed = sd_bus_process(m_bus, nullptr);
        if (processed < 0) {
            return false;
        }
        if (processed == 0) {
            const int left = remainingMs(deadline);
            if (left == 0) {
                return false;
            }
            sd_bus_wait(m_bus, static_cast<std::uint64_t>(left) * 1000);
        }
    }
    return true;
}

void BusClient::settle(milliseconds time) {
    waitForSignals(static_cast<std::size_t>(-1), time);
}

}  // namespace tvsimd_test
