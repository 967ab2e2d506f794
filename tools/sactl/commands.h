// sactl's subcommands. Each group registers its CLI11 subcommands with their
// options and the function that carries the command out once the whole
// command line is parsed and the simulated TV is running.
#pragma once

#include "session.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace sactl {

using CommandRun = std::function<void(Session&)>;

class Commands {
public:
    explicit Commands(CLI::App& app) : m_app(app) {}

    CLI::App& app() { return m_app; }
    // A subcommand of `parent` (the application or another subcommand) that `run` carries out.
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& description, CommandRun run);
    // Runs the subcommand the parsed command line chose.
    void runChosen(Session& session) const;

private:
    CLI::App& m_app;
    std::vector<std::pair<CLI::App*, CommandRun>> m_commands;
};

void addValueCommands(Commands& commands);      // get, set, watch
void addModelCommands(Commands& commands);      // list, invoke, table
void addSourceCommands(Commands& commands);     // source OPERATION [ARGS]
void addDemoCommand(Commands& commands);        // demo
void addFaultCommands(Commands& commands);      // faults KIND PATH ...
void addResponderCommands(Commands& commands);  // responders set|clear PATH ...
void addRecordsCommand(Commands& commands);     // records [--clear]

}  // namespace sactl
