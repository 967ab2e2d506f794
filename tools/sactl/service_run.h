// What `sactl play` and `sactl record` run on: the TV service (the one on the
// chosen bus, else one started for the command), one connection to its
// Scenario interface (io.sysaccess.TvSim.Scenario: only the connection that
// started a play or a recording may end it), the client command, and sactl's
// own SIGINT and SIGTERM, which end the run in order instead of killing sactl.
#pragma once

#include "session.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sactl {

class ServiceRun {
public:
    virtual ~ServiceRun() = default;

    // Scenario.Play(text, folder), StartRecording(), StopRecording() -> text, Stop(), Report() -> text: blocking
    // calls; a refusal is a CommandError with the service's message.
    virtual void play(const std::string& text, const std::string& folder) = 0;
    virtual void startRecording() = 0;
    virtual std::string stopRecording() = 0;
    virtual void stop() = 0;
    virtual std::string report() = 0;

    // Starts the command with TVSIM_BUS set to the service's address; each time it ends, the play (when one is
    // in progress) is told with ClientEnded(status).
    virtual void startCommand(const std::vector<std::string>& command) = 0;
    // Its exit status (or -signal) once it has ended.
    virtual std::optional<int> commandStatus() const = 0;
    // SIGTERM to the command, SIGKILL after 2 s; waits for it.
    virtual void stopCommand() = 0;

    // Runs until sactl is sent SIGINT or SIGTERM, `deadline` passes, or, as asked, the play finishes
    // (Scenario.Wait answers true, with the report's JSON) or the command ends. A service that goes away is a
    // CommandError.
    struct Outcome {
        std::optional<std::string> report;  // the play finished with this report
        int signal = 0;                     // SIGINT or SIGTERM came
    };
    virtual Outcome runUntil(std::chrono::steady_clock::time_point deadline, bool untilPlayFinishes,
                             bool untilCommandEnds) = 0;
};

// Blocks SIGINT, SIGTERM and SIGCHLD (the run takes them; children start with them unblocked), reaches the
// service and connects. Without a D-Bus build, a CommandError.
std::unique_ptr<ServiceRun> startServiceRun(const GlobalOptions& options);

}  // namespace sactl
