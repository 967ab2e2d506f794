// list, invoke and table: the model's paths, actions and tables.
#include "actions.h"
#include "commands.h"
#include "tables.h"

#include <algorithm>

namespace sactl {
namespace {

void list(Session& session, const std::string& prefix) {
    const std::vector<tvsim::ModelEntry> entries = session.tv().list(prefix);
    if (entries.empty()) {
        throw CommandError("no model path starts with '" + prefix + "'");
    }
    std::size_t width = 0;
    for (const tvsim::ModelEntry& entry : entries) {
        width = std::max(width, entry.path.size());
    }
    for (const tvsim::ModelEntry& entry : entries) {
        const std::string type = tvsim::objectTypeName(entry.type);
        session.out().result(entry.path + std::string(width - entry.path.size() + 2, ' ') + type,
                             {{"path", entry.path}, {"type", type}});
    }
}

struct InvokeOptions {
    std::string path;
    std::vector<std::string> arguments;
};

void invoke(Session& session, const InvokeOptions& options) {
    const std::vector<lomodelapi::Argument> arguments = parseArguments(options.arguments);
    const ActionOutcome outcome = ActionCaller(session, options.path).call(arguments);
    const std::string id = std::to_string(outcome.actionId);
    if (outcome.failed) {
        throw CommandError("'" + options.path + "' failed with code " + std::to_string(outcome.error) + " (action id " +
                           id + ")");
    }
    session.out().result(options.path + " (action id " + id + ") -> " + jsonText(outcome.results),
                         {{"path", options.path}, {"id", outcome.actionId}, {"results", outcome.results}});
}

}  // namespace

void addModelCommands(Commands& commands) {
    auto prefix = std::make_shared<std::string>();
    CLI::App* listCommand = commands.add(commands.app(), "list", "the model's paths and their types",
                                         [prefix](Session& session) { list(session, *prefix); });
    listCommand->add_option("PREFIX", *prefix, "only paths that start with this");

    auto invokeOptions = std::make_shared<InvokeOptions>();
    CLI::App* invokeCommand =
        commands.add(commands.app(), "invoke", "invoke an action through ActionAccess and wait for its outcome",
                     [invokeOptions](Session& session) { invoke(session, *invokeOptions); });
    invokeCommand->add_option("PATH", invokeOptions->path, "the action's model path")->required();
    invokeCommand->add_option("ARG", invokeOptions->arguments, "an argument as POSITION=VALUE, e.g. 0=tag 3=+1");

    auto tablePath = std::make_shared<std::string>();
    CLI::App* tableCommand = commands.add(
        commands.app(), "table", "read a table's rows through IteratorAccess",
        [tablePath](Session& session) { printTable(session, *tablePath, readTable(session, *tablePath)); });
    tableCommand->add_option("PATH", *tablePath, "the table's model path")->required();
}

}  // namespace sactl
