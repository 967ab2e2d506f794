// source OPERATION [ARGS]: every SourceSwitchAccess operation, one subcommand each.
#include "commands.h"
#include "source_operations.h"

namespace sactl {

void addSourceCommands(Commands& commands) {
    CLI::App* source = commands.app().add_subcommand(
        "source", "run a SourceSwitchAccess operation; prints what it sent, its result and what the TV now holds");
    source->require_subcommand(1);
    for (const SourceOperation& operation : sourceOperations()) {
        auto arguments = std::make_shared<std::vector<std::string>>(operation.parameters.size());
        const std::string name = operation.name;
        CLI::App* command = commands.add(*source, name, operation.description, [name, arguments](Session& session) {
            const SourceReport report = runSourceOperation(session, name, *arguments);
            if (!report.ok) {
                throw CommandError(report.call + " failed: " + report.failure);
            }
            printSourceReport(session, report);
        });
        for (std::size_t index = 0; index < operation.parameters.size(); ++index) {
            command
                ->add_option(operation.parameters[index], (*arguments)[index],
                             describeSourceParameter(operation.parameters[index]))
                ->required();
        }
    }
}

}  // namespace sactl
