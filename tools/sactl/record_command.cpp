// record: what the TV service's controls change while a client runs, and what
// the client asks, written as a scenario that plays the session back.
#include "commands.h"
#include "number_options.h"
#include "service_run.h"

#include <tvsim/scenario_file.h>

#include <chrono>
#include <memory>

namespace sactl {
namespace {

struct RecordOptions {
    std::string out;
    double forSeconds = -1;  // negative: until the command ends, or until SIGINT or SIGTERM
    std::vector<std::string> command;
};

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

void record(const GlobalOptions& options, const RecordOptions& recordOptions) {
    const std::unique_ptr<ServiceRun> run = startServiceRun(options);
    run->startRecording();
    if (!recordOptions.command.empty()) {
        run->startCommand(recordOptions.command);
    }
    const auto deadline =
        recordOptions.forSeconds < 0
            ? std::chrono::steady_clock::time_point::max()
            : std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                     std::chrono::duration<double>(recordOptions.forSeconds));
    // SIGINT or SIGTERM ends the recording as the command's end does.
    run->runUntil(deadline, false, !recordOptions.command.empty());
    const std::optional<int> status = run->commandStatus();  // when it ended by itself
    run->stopCommand();
    const std::string text = run->stopRecording();
    const tvsim::Scenario scenario = tvsim::parseScenarioText(text, "the recording", folderOf(recordOptions.out));
    writeFile(recordOptions.out, text);
    Output(options.json)
        .result("recorded " + std::to_string(scenario.steps.size()) + " steps and " +
                    std::to_string(scenario.expectations.size()) + " expectations in " + recordOptions.out,
                {{"out", recordOptions.out},
                 {"steps", scenario.steps.size()},
                 {"expectations", scenario.expectations.size()}});
    if (status && *status != 0) {
        throw CommandError("the command ended with status " + std::to_string(*status) + " (the recording is written)");
    }
}

}  // namespace

void addRecordCommand(Commands& commands) {
    auto options = std::make_shared<RecordOptions>();
    CLI::App* command = commands.addStandalone(
        commands.app(), "record",
        "record a session as a scenario: what the TV's controls change (steps) and what COMMAND, run as the "
        "client (TVSIM_BUS set), asks of the TV (expectations). Ends when the command ends, after --for seconds, "
        "or on SIGINT or SIGTERM. Without --bus (or TVSIM_BUS), on a tvsimd of its own",
        [options](const GlobalOptions& global) {
            record(global, *options);
            return 0;
        });
    command->add_option("--out", options->out, "the scenario file to write")->required();
    command->add_option("--for", options->forSeconds, "record this many seconds at most (at most 31536000, a year)")
        ->check(decimalSeconds());
    command->add_option("COMMAND", options->command, "the client command and its arguments, after --");
}

}  // namespace sactl
