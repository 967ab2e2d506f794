// sactl: runs the system access library against the simulated TV in one
// process and carries out one subcommand through the library's public API.
#include "commands.h"
#include "session.h"

#include <iostream>

namespace {

void addGlobalOptions(CLI::App& app, sactl::GlobalOptions& options) {
    app.add_option("--model", options.modelFile,
                   "load the simulated TV from this model file (default: the built-in TV)");
    app.add_option("--log-level", options.logLevel,
                   "the library's diagnostic lines: none, always, error, info, trace or a level number "
                   "(default: SYSACCESS_LOG_LEVEL, otherwise none)");
    app.add_flag("--json", options.json, "print one JSON object per result line");
    app.add_option("--timeout", options.timeoutMs, "how long invoke and source operations wait for an outcome, in ms")
        ->check(CLI::PositiveNumber);
}

}  // namespace

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

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(error);  // --help
        }
        std::cerr << "sactl: " << error.what() << " (see --help)" << std::endl;
        return error.get_exit_code();
    }
    try {
        sactl::Session session(options);
        commands.runChosen(session);
    } catch (const sactl::CommandError& error) {
        std::cerr << "sactl: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
