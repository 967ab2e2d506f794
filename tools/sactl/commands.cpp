#include "commands.h"

namespace sactl {

CLI::App* Commands::add(CLI::App& parent, const std::string& name, const std::string& description, CommandRun run) {
    CLI::App* command = parent.add_subcommand(name, description);
    m_commands.emplace_back(command, std::move(run));
    return command;
}

CLI::App* Commands::addStandalone(CLI::App& parent, const std::string& name, const std::string& description,
                                  StandaloneRun run) {
    CLI::App* command = parent.add_subcommand(name, description);
    m_standalone.emplace_back(command, std::move(run));
    return command;
}

std::optional<int> Commands::runChosenStandalone(const GlobalOptions& options) const {
    for (const auto& [command, run] : m_standalone) {
        if (command->parsed()) {
            return run(options);
        }
    }
    return std::nullopt;
}

void Commands::runChosen(Session& session) const {
    // A subcommand is added after its parent: the last one parsed is the one the line chose.
    for (auto command = m_commands.rbegin(); command != m_commands.rend(); ++command) {
        if (command->first->parsed()) {
            command->second(session);
            return;
        }
    }
}

}  // namespace sactl
