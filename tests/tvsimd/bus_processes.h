// Real processes for the tvsimd tests: a private dbus-daemon, tvsimd itself,
// and sd-bus clients talking to them. Every wait is bounded; destructors kill
// what is still running, so a failing test leaves no process behind.
#pragma once

#include <bus_plumbing.h>

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tvsimd_test {

using std::chrono::milliseconds;

class ChildProcess {
public:
    // Starts the program with its standard input and output on pipes; stderr is kept, or with
    // stderrToOut goes to the output pipe too.
    explicit ChildProcess(const std::vector<std::string>& argv, bool stderrToOut = false);
    ~ChildProcess();  // SIGKILL if still running

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Writes the line and a newline to its standard input.
    void writeLine(const std::string& line);
    // The next line of its standard output, without the newline; "" after the timeout or at its end.
    std::string readLine(milliseconds timeout = milliseconds(10000));
    // Waits for the exit: the exit code, or -1 (killed by a signal or still running at the timeout).
    int waitForExit(milliseconds timeout = milliseconds(10000));
    // Sends the signal, then waitForExit.
    int stop(int signal, milliseconds timeout = milliseconds(10000));
    int pid() const { return m_pid; }
    // Its resident memory now (VmRSS); -1 when it has gone.
    long residentKiB() const;

private:
    int m_pid = -1;
    int m_out = -1;
    int m_in = -1;
    std::string m_buffered;
};

// A dbus-daemon for one test, with the session configuration; listening on
// the given address (unix:path=..., say) instead of one of its own choosing.
class PrivateDbusDaemon {
public:
    explicit PrivateDbusDaemon(const std::string& listen = "");
    const std::string& address() const { return m_address; }
    ChildProcess& process() { return m_process; }

private:
    ChildProcess m_process;
    std::string m_address;
};

// tvsimd on the address, started and waited for until it prints "ready".
class Tvsimd {
public:
    explicit Tvsimd(const std::string& address, const std::vector<std::string>& extra = {}, bool stderrToOut = false);
    bool ready() const { return m_ready; }
    ChildProcess& process() { return m_process; }

private:
    ChildProcess m_process;
    bool m_ready = false;
};

struct Signal {
    std::string path;
    std::string member;
    sd_bus_message* message;  // owned; read from its body
};

// One client connection with the signals it received from tvsimd.
class BusClient {
public:
    explicit BusClient(const std::string& address);
    ~BusClient();

    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    sd_bus* bus() const { return m_bus; }
    std::string uniqueName() const;

    // Calls a method of io.sysaccess.TvSim; the reply (the caller's to free, as tvsim::bus::Message does), or
    // null with the error name and message filled.
    sd_bus_message* call(const char* path, const char* interface, const char* member, const char* types, ...);
    const std::string& errorName() const { return m_errorName; }
    const std::string& errorMessage() const { return m_errorMessage; }
    // Takes the bus driver's NameOwnerChanged of io.sysaccess.TvSim among the signals too.
    void watchServiceOwner();
    // Platform.Connect: the connection id, 0 when refused, and the status it answered.
    std::uint64_t connect(const char* path, int* status = nullptr);
    // Queues `count` calls that expect no reply, each with what append adds; a later call's reply follows them.
    void sendAll(std::size_t count, const char* path, const char* interface, const char* member,
                 const std::function<void(sd_bus_message*)>& append);

    // Waits until `count` signals have arrived in all; false on timeout.
    bool waitForSignals(std::size_t count, milliseconds timeout = milliseconds(5000));
    // Processes whatever is waiting, for this long (to show that nothing more arrives).
    void settle(milliseconds time);
    std::deque<Signal>& signals() { return m_signals; }

private:
    static int onSignal(sd_bus_message* message, void* client, sd_bus_error* error);

    sd_bus* m_bus = nullptr;
    std::deque<Signal> m_signals;
    std::string m_errorName;
    std::string m_errorMessage;
};

constexpr const char* kService = "io.sysaccess.TvSim";
constexpr const char* kControlPath = "/io/sysaccess/TvSim";

}  // namespace tvsimd_test
