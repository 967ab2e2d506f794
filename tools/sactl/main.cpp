// sactl: runs the system access library against the simulated TV, in its own
// process or served by tvsimd, and carries out one subcommand through the
// library's public API and the TV's controls.
#include "commands.h"
#include "number_options.h"
#include "session.h"

#include <iostream>
#include <limits>
#include <optional>

namespace {

void addGlobalOptions(CLI::App& app, sactl::GlobalOptions& options) {
    app.add_option("--model", options.modelFile,
                   "load the simulated TV from this model file (default: the built-in TV)");
    app.add_option("--log-level", options.logLevel,
                   "the library's diagnostic lines: none, always, error, info, trace or a level number "
                   "(default: SYSACCESS_LOG_LEVEL, otherwise none)");
    app.add_flag("--bus{session}", options.bus,
                 "control the TV service (tvsimd) on D-Bus instead of a TV in this process: --bus for the session "
                 "bus, --bus=ADDRESS for another (default: TVSIM_BUS, the same choice; unset or empty: in process)");
    app.add_flag("--json", options.json, "print one JSON object per result line");
    app.add_option("--timeout", options.timeoutMs, "how long invoke and source operations wait for an outcome, in ms")
        ->check(sactl::decimalInteger(1, std::numeric_limits<int>::max()));
}

// CLI11 reports a word that names no subcommand as "A subcommand is
// required": name the word and the subcommands it could have been instead.
std::string describeParseError(CLI::App& app, const CLI::ParseError& error) {
    CLI::App* level = &app;
    while (!level->get_subcommands().empty()) {
        level = level->get_subcommands().front();
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || level->get_require_subcommand_min() == 0) {
        return error.what();
    }
    std::string names;
    for (const CLI::App* command : level->get_subcommands({})) {
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    const std::string kind = level == &app ? "command" : level->get_name() + " operation";
    for (const std::string& word : app.remaining(true)) {
        if (!word.empty() && word[0] != '-') {
            std::string text = "unknown " + kind;
            text.append(" '").append(word).append("' (").append(kind).append("s: ").append(names).append(")");
            return text;
        }
    }
    return "a " + kind + " is required (" + kind + "s: " + names + ")";
}

}  // namespace

// CLI11 throws here only for a misdeclared option, a bug that should end the program loudly.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    CLI::App app("sactl: the system access library against a simulated TV", "sactl");
    app.fallthrough();  // global options are also accepted after the subcommand
    app.require_subcommand(1);
    sactl::GlobalOptions options;
    addGlobalOptions(app, options);
    sactl::Commands commands(app);
    sactl::addValueCommands(commands);
    sactl::addModelCommands(commands);
    sactl::addSourceCommands(commands);
    sactl::addDemoCommand(commands);
    sactl::addFaultCommands(commands);
    sactl::addResponderCommands(commands);
    sactl::addRecordsCommand(commands);
    sactl::addPlayCommand(commands);
    sactl::addRecordCommand(commands);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(error);  // --help
        }
        std::cerr << "sactl: " << describeParseError(app, error) << " (see --help)" << std::endl;
        return error.get_exit_code();
    }
    try {
        if (const std::optional<int> status = commands.runChosenStandalone(options)) {
            return *status;
        }
        sactl::Session session(options);
        commands.runChosen(session);
    } catch (const std::exception& error) {  // CommandError, and anything a command did not expect
        std::cerr << "sactl: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
