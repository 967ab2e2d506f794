#include "commands.h"

namespace sactl {

CLI::App* Commands::add(CLI::App& parent, const std::string& name, const std::string& description, CommandRun run) {
    CLI::App* command = parent.add_subcommand(name, description);
    m_commands.emplace_back(command, std::move(run));
    return command;
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
