// play: a scenario against the TV service and a client command. The service
// runs the steps and judges the client's requests (io.sysaccess.TvSim.Scenario);
// sactl hands it the scenario, runs the command and prints the report.
// Exit status: the report's (0 held, 1 not, 2 a step refused); 2 when the
// scenario does not decode or the play cannot run; 128+N after signal N.
#include "commands.h"
#include "service_run.h"

#include <tvsim/scenario_file.h>
#include <tvsim/scenario_report.h>

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <memory>

namespace sactl {
namespace {

// Beyond the scenario's time limit, for the service to start the play and finish it.
constexpr std::chrono::seconds kFinishMargin{10};

struct PlayOptions {
    std::string scenario;
    std::string junit;
    std::vector<std::string> command;
};

std::string currentDirectory() {
    char path[4096];
    return getcwd(path, sizeof path) != nullptr ? path : ".";
}

void printReport(const GlobalOptions& options, const std::string& json, const tvsim::ScenarioReport& report) {
    std::string text = tvsim::reportText(report);
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    Output(options.json).result(text, nlohmann::json::parse(json));
}

int play(const GlobalOptions& options, const PlayOptions& playOptions) {
    const tvsim::Scenario scenario = tvsim::readScenarioFile(playOptions.scenario);
    const std::unique_ptr<ServiceRun> run = startServiceRun(options);
    // The decoded form carries the TV's model file as resolved from here: the service resolves it against this
    // directory, wherever it runs.
    run->play(tvsim::scenarioText(scenario), currentDirectory());
    if (!playOptions.command.empty()) {
        run->startCommand(playOptions.command);
    }
    const ServiceRun::Outcome outcome =
        run->runUntil(std::chrono::steady_clock::now() + scenario.timeLimit + kFinishMargin, true, false);
    if (outcome.signal != 0) {
        run->stop();
        const std::string json = run->report();
        run->stopCommand();
        if (!json.empty()) {
            printReport(options, json, tvsim::parseReportJson(json));
        }
        return 128 + outcome.signal;
    }
    run->stopCommand();
    if (!outcome.report) {
        throw CommandError("the play did not finish within its time limit and " +
                           std::to_string(kFinishMargin.count()) + " s more");
    }
    const tvsim::ScenarioReport report = tvsim::parseReportJson(*outcome.report);
    printReport(options, *outcome.report, report);
    if (!playOptions.junit.empty()) {
        writeFile(playOptions.junit, tvsim::reportJUnit(report));
    }
    return report.exitCode();
}

}  // namespace

void addPlayCommand(Commands& commands) {
    auto options = std::make_shared<PlayOptions>();
    CLI::App* command = commands.addStandalone(
        commands.app(), "play",
        "play a scenario: the TV service takes its steps while COMMAND runs as its client (TVSIM_BUS set), then "
        "the report of its expectations. Without --bus (or TVSIM_BUS), on a tvsimd of its own. Exit status 0 when "
        "every expectation held, 1 when one did not, 2 when a step was refused or the scenario cannot be played",
        [options](const GlobalOptions& global) {
            try {
                return play(global, *options);
            } catch (const std::exception& error) {  // CommandError, ScenarioFileError, the report's JSON
                std::cerr << "sactl: " << error.what() << std::endl;
                return 2;
            }
        });
    command->add_option("SCENARIO", options->scenario, "the scenario file (docs/scenarios.md)")->required();
    command->add_option("--junit", options->junit, "also write the report as JUnit XML to this file");
    command->add_option("COMMAND", options->command, "the client command and its arguments, after --");
}

}  // namespace sactl
