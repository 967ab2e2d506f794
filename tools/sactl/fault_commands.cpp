// faults: make the simulated TV answer the way a real platform does when
// something goes wrong, for whichever client asks next.
#include "commands.h"
#include "number_options.h"

namespace sactl {
namespace {

struct FaultOptions {
    std::string path;
    int count = 1;
    int status = 0;
    std::string type;  // report-type: a type name or code
};

// "fail-connects PATH count=2 status=7", or {"fault", "path", ...} with the settings given.
void printFault(const Session& session, const std::string& fault, const std::string& path,
                const nlohmann::json& settings) {
    std::string text = fault + " " + path;
    nlohmann::json object = {{"fault", fault}, {"path", path}};
    for (const auto& setting : settings.items()) {
        text += " " + setting.key() + "=" + jsonText(setting.value());
        object[setting.key()] = setting.value();
    }
    session.out().result(text, object);
}

lomodelapi::ObjectTypeSpec parseObjectType(const std::string& text) {
    if (const std::optional<lomodelapi::ObjectTypeSpec> named = tvsim::objectTypeNamed(text)) {
        return *named;
    }
    try {
        return static_cast<lomodelapi::ObjectTypeSpec>(std::get<int>(parseValueText(tvsim::ValueType::INTEGER, text)));
    } catch (const std::invalid_argument&) {
        throw CommandError("bad TYPE '" + text +
                           "': give a type name (integer, int64, string, integer-vector, string-vector, action, "
                           "table) or a type code");
    }
}

using FaultRun = void (*)(Session&, const FaultOptions&);

struct FaultCommand {
    const char* name;
    const char* description;
    bool count;
    bool status;
    FaultRun run;
};

const FaultCommand kFaultCommands[] = {
    {"fail-connects", "the next COUNT connects answer STATUS (not 0) and no object", true, true,
     [](Session& session, const FaultOptions& options) {
         session.tv().failNextConnects(options.path, options.count, options.status);
     }},
    {"null-connects", "the next COUNT connects answer 0 and no object", true, false,
     [](Session& session, const FaultOptions& options) {
         session.tv().nullObjectOnNextConnects(options.path, options.count);
     }},
    {"fail-getter", "string and vector reads answer STATUS from now on; 0 heals", false, true,
     [](Session& session, const FaultOptions& options) { session.tv().failGetter(options.path, options.status); }},
    {"refuse-invokes", "the next COUNT invokes of the action answer STATUS, with no id and no outcome", true, true,
     [](Session& session, const FaultOptions& options) {
         session.tv().refuseNextInvokes(options.path, options.count, options.status);
     }},
    {"fail-iterators", "the next COUNT iterators over the table are not made", true, false,
     [](Session& session, const FaultOptions& options) {
         session.tv().failNextCreateIterators(options.path, options.count);
     }},
};

void addFaultCommand(Commands& commands, CLI::App& faults, const FaultCommand& fault) {
    auto options = std::make_shared<FaultOptions>();
    CLI::App* command = commands.add(faults, fault.name, fault.description, [fault, options](Session& session) {
        fault.run(session, *options);
        nlohmann::json settings = nlohmann::json::object();
        if (fault.count) {
            settings["count"] = options->count;
        }
        if (fault.status) {
            settings["status"] = options->status;
        }
        printFault(session, fault.name, options->path, settings);
    });
    command->add_option("PATH", options->path, "the model path")->required();
    if (fault.status) {
        command->add_option("STATUS", options->status, "the platform status to answer")
            ->required()
            ->check(decimalInteger());
    }
    if (fault.count) {
        command->add_option("--count", options->count, "how many operations fail (default 1; 0 takes it back)")
            ->check(decimalInteger());
    }
}

}  // namespace

void addFaultCommands(Commands& commands) {
    CLI::App* faults = commands.app().add_subcommand(
        "faults", "make the TV fail what a client does next on a path; with --bus, whichever process the client is");
    faults->require_subcommand(1);
    for (const FaultCommand& fault : kFaultCommands) {
        addFaultCommand(commands, *faults, fault);
    }
    auto reported = std::make_shared<FaultOptions>();
    CLI::App* reportType = commands.add(
        *faults, "report-type", "the object's getType answers TYPE from now on", [reported](Session& session) {
            session.tv().reportType(reported->path, parseObjectType(reported->type));
            printFault(session, "report-type", reported->path, {{"type", reported->type}});
        });
    reportType->add_option("PATH", reported->path, "the model path")->required();
    reportType->add_option("TYPE", reported->type, "a type name (integer, action, ...) or a type code")->required();

    auto clearPath = std::make_shared<std::string>();
    CLI::App* clear =
        commands.add(*faults, "clear", "take back every fault on the path", [clearPath](Session& session) {
            session.tv().clearFaults(*clearPath);
            printFault(session, "clear", *clearPath, nlohmann::json::object());
        });
    clear->add_option("PATH", *clearPath, "the model path")->required();
}

}  // namespace sactl
