#include "service_run.h"

#include "child_process.h"
#include "private_service.h"

#include <bus_error.h>
#include <bus_names.h>
#include <bus_plumbing.h>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace sactl {
namespace {

using Clock = std::chrono::steady_clock;
using tvsim::bus::Message;

// Each Scenario.Wait asks for this much at most; the run asks again until the play finishes.
constexpr std::uint32_t kWaitMs = 10000;

// SIGINT, SIGTERM and SIGCHLD blocked for the length of the run and read from a signalfd instead.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t taken;
        sigemptyset(&taken);
        for (const int signal : {SIGINT, SIGTERM, SIGCHLD}) {
            sigaddset(&taken, signal);
        }
        pthread_sigmask(SIG_BLOCK, &taken, &m_before);
        m_fd = signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
        if (m_fd < 0) {
            pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
            throw CommandError("cannot watch signals: " + std::generic_category().message(errno));
        }
    }
    ~BlockedSignals() {
        close(m_fd);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    int fd() const { return m_fd; }
    // The next signal that came, 0 when none is waiting.
    int next() const {
        signalfd_siginfo info{};
        return read(m_fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info) ? static_cast<int>(info.ssi_signo)
                                                                                   : 0;
    }

private:
    sigset_t m_before{};
    int m_fd = -1;
};

// The bus option, else TVSIM_BUS, as for every command; none: a service of the run's own.
std::optional<PrivateService> startPrivateService(const GlobalOptions& options) {
    if (!chooseBus(options).empty()) {
        if (!options.modelFile.empty()) {
            throw CommandError(
                "--model loads the TV of a service sactl starts; the TV service on the bus loads its "
                "own (tvsimd --model)");
        }
        return std::nullopt;
    }
    return std::optional<PrivateService>(std::in_place, options.modelFile);
}

class BusServiceRun final : public ServiceRun {
public:
    explicit BusServiceRun(const GlobalOptions& options)
        : m_service(startPrivateService(options)),
          m_address(m_service ? m_service->address() : tvsim::bus::busAddressOf(chooseBus(options))),
          m_timeout(options.timeoutMs) {
        int error = 0;
        m_bus = tvsim::bus::openBus(m_address, error);
        if (!m_bus) {
            throw CommandError("cannot reach the bus at '" + m_address +
                               "': " + std::generic_category().message(-error));
        }
        // Calls go to the service's unique name: while a play has it away from the bus, its well-known name is
        // free, but the connection that answers is the same.
        Message owner = callOn(tvsim::bus::kBusDriverName, tvsim::bus::kBusDriverPath, tvsim::bus::kBusDriverInterface,
                               "GetNameOwner", "s", tvsim::bus::kServiceName);
        const char* name = "";
        sd_bus_message_read(owner.get(), "s", &name);
        m_owner = name;
    }

    void play(const std::string& text, const std::string& folder) override {
        call("Play", "ss", text.c_str(), folder.c_str());
        m_playing = true;
    }
    void startRecording() override { call("StartRecording", nullptr); }
    std::string stopRecording() override { return readText(call("StopRecording", nullptr)); }
    void stop() override {
        call("Stop", nullptr);
        m_playing = false;
    }
    std::string report() override { return readText(call("Report", nullptr)); }

    void startCommand(const std::vector<std::string>& command) override {
        m_command = std::make_unique<ChildProcess>(command, std::vector<std::string>{"TVSIM_BUS=" + m_address}, false);
    }
    std::optional<int> commandStatus() const override {
        return m_command && !m_command->running() ? std::optional<int>(m_command->status()) : std::nullopt;
    }
    void stopCommand() override {
        if (m_command) {
            m_command->terminate();
        }
    }

    Outcome runUntil(Clock::time_point deadline, bool untilPlayFinishes, bool untilCommandEnds) override {
        for (;;) {
            processBus();
            if (!m_waitError.empty()) {
                throw CommandError("Scenario.Wait on the TV service: " + m_waitError);
            }
            if (untilPlayFinishes && m_finishedReport) {
                m_playing = false;
                return {m_finishedReport, 0};
            }
            if (untilPlayFinishes && !m_waiting) {
                sendWait();
                continue;
            }
            if (m_command && !m_command->poll() && !m_toldEnd) {
                m_toldEnd = true;
                tellClientEnded();
                continue;  // the call may have queued the wait's answer
            }
            if (untilCommandEnds && m_command && !m_command->running()) {
                return {};
            }
            if (m_service && !m_service->process().poll()) {
                throw CommandError("the TV service (tvsimd) ended with status " +
                                   std::to_string(m_service->process().status()));
            }
            if (Clock::now() >= deadline) {
                return {};
            }
            if (const int signal = waitForEvent(deadline)) {
                return {std::nullopt, signal};
            }
        }
    }

private:
    template <typename... Arguments>
    Message callOn(const char* destination, const char* path, const char* interface, const char* member,
                   const char* types, Arguments... arguments) {
        sd_bus_message* raw = nullptr;
        int result = sd_bus_message_new_method_call(m_bus.get(), &raw, destination, path, interface, member);
        Message request(raw);
        if (result >= 0 && types != nullptr) {
            result = sd_bus_message_append(raw, types, arguments...);
        }
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        if (result >= 0) {
            result =
                sd_bus_call(m_bus.get(), raw, static_cast<std::uint64_t>(m_timeout.count()) * 1000, &error, &reply);
        }
        if (result < 0) {
            const std::string text =
                error.message != nullptr ? error.message : std::generic_category().message(-result);
            sd_bus_error_free(&error);
            if (m_owner.empty()) {
                throw CommandError("no TV service answers at '" + m_address + "' (" + text + ")");
            }
            throw CommandError(std::string("Scenario.") + member + " on the TV service: " + text);
        }
        return Message(reply);
    }

    template <typename... Arguments>
    Message call(const char* member, const char* types, Arguments... arguments) {
        return callOn(m_owner.c_str(), tvsim::bus::kControlPath, tvsim::bus::kScenarioInterface, member, types,
                      arguments...);
    }

    static std::string readText(const Message& reply) {
        const char* text = "";
        tvsim::bus::check(sd_bus_message_read(reply.get(), "s", &text), "read the text");
        return text;
    }

    // The play is told once; should it have finished meanwhile (at its time limit), the refusal changes
    // nothing: the wait's answer carries the report either way.
    void tellClientEnded() {
        if (!m_playing) {
            return;
        }
        try {
            call("ClientEnded", "i", m_command->status());
        } catch (const CommandError&) {
        }
    }

    void sendWait() {
        sd_bus_message* raw = nullptr;
        int result = sd_bus_message_new_method_call(m_bus.get(), &raw, m_owner.c_str(), tvsim::bus::kControlPath,
                                                    tvsim::bus::kScenarioInterface, "Wait");
        Message request(raw);
        result = result >= 0 ? sd_bus_message_append(raw, "u", kWaitMs) : result;
        const auto timeoutUs = (static_cast<std::uint64_t>(m_timeout.count()) + kWaitMs) * 1000;
        result = result >= 0 ? sd_bus_call_async(m_bus.get(), nullptr, raw, onWaitAnswer, this, timeoutUs) : result;
        if (result < 0) {
            throw CommandError("Scenario.Wait on the TV service: " + std::generic_category().message(-result));
        }
        m_waiting = true;
    }

    static int onWaitAnswer(sd_bus_message* reply, void* self, sd_bus_error* /*error*/) {
        auto& run = *static_cast<BusServiceRun*>(self);
        run.m_waiting = false;
        if (const sd_bus_error* error = sd_bus_message_get_error(reply)) {
            run.m_waitError = error->message != nullptr ? error->message : "failed";
            return 0;
        }
        int finished = 0;
        const char* report = "";
        if (sd_bus_message_read(reply, "bs", &finished, &report) < 0) {
            run.m_waitError = "the answer does not read as (bs)";
        } else if (finished != 0) {
            run.m_finishedReport = report;
        }
        return 0;
    }

    void processBus() {
        int result = 0;
        while ((result = sd_bus_process(m_bus.get(), nullptr)) > 0) {
        }
        if (result < 0) {
            throw CommandError("the bus at '" + m_address + "' went away (" + std::generic_category().message(-result) +
                               ")");
        }
    }

    // Until the bus, a signal or the deadline needs a look; the signal when it is SIGINT or SIGTERM.
    int waitForEvent(Clock::time_point deadline) {
        std::uint64_t busUntilUs = UINT64_MAX;
        sd_bus_get_timeout(m_bus.get(), &busUntilUs);
        auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()) +
                    std::chrono::milliseconds(1);
        if (busUntilUs != UINT64_MAX) {
            timespec now{};
            clock_gettime(CLOCK_MONOTONIC, &now);
            const auto nowUs = static_cast<std::uint64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
            wait = std::min(wait, std::chrono::milliseconds(busUntilUs > nowUs ? (busUntilUs - nowUs) / 1000 + 1 : 0));
        }
        pollfd fds[2] = {{m_signals.fd(), POLLIN, 0},
                         {sd_bus_get_fd(m_bus.get()), static_cast<short>(sd_bus_get_events(m_bus.get())), 0}};
        ::poll(fds, 2, static_cast<int>(std::min<long long>(wait.count(), 60000)));
        for (int signal; (signal = m_signals.next()) != 0;) {
            if (signal != SIGCHLD) {
                return signal;
            }
        }
        return 0;
    }

    // Members in the order they must end in reverse: the command before the connection, the connection before
    // the service, the service before the signals come back.
    BlockedSignals m_signals;
    std::optional<PrivateService> m_service;
    std::string m_address;
    std::chrono::milliseconds m_timeout;
    tvsim::bus::Bus m_bus;
    std::string m_owner;
    bool m_playing = false;
    bool m_waiting = false;
    std::optional<std::string> m_finishedReport;
    std::string m_waitError;
    std::unique_ptr<ChildProcess> m_command;
    bool m_toldEnd = false;
};

}  // namespace

std::unique_ptr<ServiceRun> startServiceRun(const GlobalOptions& options) {
    return std::make_unique<BusServiceRun>(options);
}

}  // namespace sactl
