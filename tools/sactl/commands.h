// sactl's subcommands. Each group registers its CLI11 subcommands with their
// options and the function that carries the command out once the whole
// command line is parsed and the simulated TV is running.
#pragma once

#include "session.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sactl {

using CommandRun = std::function<void(Session&)>;
// A command that runs without the session's TV (it reaches a service of its own) and decides its exit status.
using StandaloneRun = std::function<int(const GlobalOptions&)>;

class Commands {
public:
    explicit Commands(CLI::App& app) : m_app(app) {}

    CLI::App& app() { return m_app; }
    // A subcommand of `parent` (the application or another subcommand) that `run` carries out.
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& description, CommandRun run);
    CLI::App* addStandalone(CLI::App& parent, const std::string& name, const std::string& description,
                            StandaloneRun run);
    // Runs the standalone subcommand the parsed command line chose: its exit status; nullopt when it chose another.
    std::optional<int> runChosenStandalone(const GlobalOptions& options) const;
    // Runs the subcommand the parsed command line chose.
    void runChosen(Session& session) const;

private:
    CLI::App& m_app;
    std::vector<std::pair<CLI::App*, CommandRun>> m_commands;
    std::vector<std::pair<CLI::App*, StandaloneRun>> m_standalone;
};

void addValueCommands(Commands& commands);      // get, set, watch
void addModelCommands(Commands& commands);      // list, invoke, table
void addSourceCommands(Commands& commands);     // source OPERATION [ARGS]
void addDemoCommand(Commands& commands);        // demo
void addFaultCommands(Commands& commands);      // faults KIND PATH ...
void addResponderCommands(Commands& commands);  // responders set|clear PATH ...
void addRecordsCommand(Commands& commands);     // records [--clear]
void addPlayCommand(Commands& commands);        // play SCENARIO [-- COMMAND]
void addRecordCommand(Commands& commands);      // record --out SCENARIO [-- COMMAND]

}  // namespace sactl
