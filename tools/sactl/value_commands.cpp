// get, set and watch: values through the library's typed accessors.
#include "commands.h"
#include "number_options.h"
#include "source_operations.h"
#include "values.h"

#include <chrono>
#include <limits>
#include <sstream>

namespace sactl {
namespace {

struct WatchOptions {
    std::vector<std::string> paths;
    int count = 0;          // 0: no expectation
    double forSeconds = 0;  // how long to keep watching after the steps
    std::vector<std::string> steps;
};

// One --then step: "set PATH VALUE" (a client write through the library),
// "tv-set PATH VALUE" (the TV changes the value itself) or "source OPERATION [ARGS]".
void runStep(Session& session, const std::string& step) {
    std::istringstream words(step);
    std::string verb;
    std::string path;
    words >> verb >> path;
    if ((verb == "set" || verb == "tv-set") && !path.empty()) {
        std::string text;
        std::getline(words >> std::ws, text);
        const tvsim::ModelValue value = parseValueFor(session, path, text);
        if (verb == "set") {
            writeValue(session, path, value);
        } else {
            session.tv().setValue(path, value);
        }
        return;
    }
    if (verb == "source" && !path.empty()) {
        std::vector<std::string> arguments;
        for (std::string argument; words >> argument;) {
            arguments.push_back(argument);
        }
        const SourceReport report = runSourceOperation(session, path, arguments);
        if (!report.ok) {
            throw CommandError(report.call + " failed: " + report.failure);
        }
        return;
    }
    throw CommandError("bad --then step '" + step +
                       "': expected 'set PATH VALUE', 'tv-set PATH VALUE' or 'source OPERATION [ARGS]'");
}

void printChange(const Session& session, const ValueWatcher::Change& change, const char* event) {
    printValue(session, change.path, change.value, "[" + change.time + "] " + event + " ",
               {{"event", event}, {"time", change.time}});
}

// Prints the changes that arrived; true once `count` changes were seen.
bool reportChanges(const Session& session, ValueWatcher& watcher, int count, int& seen) {
    for (const ValueWatcher::Change& change : watcher.takeChanges()) {
        printChange(session, change, "changed");
        if (count > 0 && ++seen >= count) {
            return true;
        }
    }
    return false;
}

void watch(Session& session, const WatchOptions& options) {
    ValueWatcher watcher(session, options.paths);
    for (const ValueWatcher::Change& initial : watcher.initialValues()) {
        printChange(session, initial, "initial");
    }
    int seen = 0;
    for (const std::string& step : options.steps) {
        session.out().result("> " + step, {{"event", "step"}, {"step", step}});
        runStep(session, step);
        session.flushNotifications();  // every notification the step caused has been delivered
        if (reportChanges(session, watcher, options.count, seen)) {
            return;
        }
    }
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                               std::chrono::duration<double>(options.forSeconds));
    while (std::chrono::steady_clock::now() < deadline) {
        watcher.waitForChange(deadline);
        if (reportChanges(session, watcher, options.count, seen)) {
            return;
        }
    }
    if (options.count > 0) {
        throw CommandError("watch saw " + std::to_string(seen) + " of the " + std::to_string(options.count) +
                           " changes it expected");
    }
}

}  // namespace

void addValueCommands(Commands& commands) {
    auto path = std::make_shared<std::string>();
    CLI::App* get = commands.add(commands.app(), "get", "read a value through the accessor for its type",
                                 [path](Session& session) { printValue(session, *path, readValue(session, *path)); });
    get->add_option("PATH", *path, "the value's model path")->required();

    auto valueText = std::make_shared<std::string>();
    CLI::App* set =
        commands.add(commands.app(), "set", "write a value through the accessor for its type, then read it back",
                     [path, valueText](Session& session) {
                         writeValue(session, *path, parseValueFor(session, *path, *valueText));
                         printValue(session, *path, readValue(session, *path));
                     });
    set->add_option("PATH", *path, "the value's model path")->required();
    set->add_option("VALUE", *valueText,
                    "integers in decimal, a string as it is, vectors as JSON arrays: [1,2,3], [\"eng\",\"fra\"]")
        ->required();

    auto watchOptions = std::make_shared<WatchOptions>();
    CLI::App* watchCommand = commands.add(
        commands.app(), "watch",
        "print the values, then each change with its time while the --then steps run in order. Nothing changes "
        "a simulated TV by itself: the steps make the changes. Ends when the steps' changes are delivered, after "
        "--count changes, or after --for more seconds",
        [watchOptions](Session& session) { watch(session, *watchOptions); });
    watchCommand->add_option("PATH", watchOptions->paths, "the model paths of the values to watch")->required();
    watchCommand->add_option("--count", watchOptions->count, "stop after this many changes; fewer is an error")
        ->check(decimalInteger(1, std::numeric_limits<int>::max()));
    watchCommand
        ->add_option("--for", watchOptions->forSeconds,
                     "keep watching this many seconds after the steps (at most 31536000, a year)")
        ->check(decimalSeconds());
    watchCommand
        ->add_option("--then", watchOptions->steps,
                     "a step: 'set PATH VALUE' (a client writes through the library), 'tv-set PATH VALUE' "
                     "(the TV changes it) or 'source OPERATION [ARGS]'; may be repeated")
        ->allow_extra_args(false);  // one step per --then, so that paths may follow it
}

}  // namespace sactl
