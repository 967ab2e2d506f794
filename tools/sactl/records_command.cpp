// records: what clients asked of the TV, connects and invokes in the order they arrived,
// after how many of each the TV dropped to keep within its records' limit.
#include "actions.h"
#include "commands.h"

namespace sactl {
namespace {

void printRecords(Session& session, bool clear) {
    // The service keeps the newest records only; what went before them comes first.
    const tvsim::DroppedRecords dropped = session.tv().droppedRecords();
    if (dropped.connects != 0 || dropped.invokes != 0) {
        session.out().result(
            "dropped connects=" + std::to_string(dropped.connects) + " invokes=" + std::to_string(dropped.invokes),
            {{"record", "dropped"}, {"connects", dropped.connects}, {"invokes", dropped.invokes}});
    }
    for (const tvsim::ClientConnect& connect : session.tv().connects()) {
        session.out().result("connect " + connect.path + " status=" + std::to_string(connect.status) +
                                 (connect.object ? " object" : " no-object") +
                                 (connect.client.empty() ? "" : " client=" + connect.client),
                             {{"record", "connect"},
                              {"path", connect.path},
                              {"client", connect.client},
                              {"status", connect.status},
                              {"object", connect.object}});
    }
    for (const tvsim::InvokeRecord& invoke : session.tv().invokes()) {
        session.out().result("invoke " + invoke.path + " status=" + std::to_string(invoke.status) +
                                 " id=" + std::to_string(invoke.actionId) +
                                 (invoke.arguments.empty() ? "" : " " + formatArguments(invoke.arguments)),
                             {{"record", "invoke"},
                              {"path", invoke.path},
                              {"status", invoke.status},
                              {"id", invoke.actionId},
                              {"arguments", argumentsToJson(invoke.arguments)}});
    }
    if (clear) {
        session.tv().clearRecords();
    }
}

}  // namespace

void addRecordsCommand(Commands& commands) {
    auto clear = std::make_shared<bool>(false);
    CLI::App* records = commands.add(commands.app(), "records",
                                     "what clients asked of the TV: connects, then invokes with their arguments",
                                     [clear](Session& session) { printRecords(session, *clear); });
    records->add_flag("--clear", *clear, "forget the records once printed");
}

}  // namespace sactl
