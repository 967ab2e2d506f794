// records: what clients asked of the TV, connects, invokes and writes in the order they
// arrived, after how many of each the TV dropped to keep within its records' limit; records
// wait: until a client makes a connect, an invoke or a write that matches.
#include "actions.h"
#include "commands.h"
#include "value_text.h"

#include <tvsim/model_value_json.h>
#include <tvsim/record_pattern.h>

#include <chrono>
#include <memory>

namespace sactl {
namespace {

void printConnect(Session& session, const tvsim::ClientConnect& connect, const std::string& why = "") {
    session.out().result("connect " + connect.path + " status=" + std::to_string(connect.status) +
                             (connect.object ? " object" : " no-object") +
                             (connect.client.empty() ? "" : " client=" + connect.client) +
                             (why.empty() ? "" : ": " + why),
                         {{"record", "connect"},
                          {"path", connect.path},
                          {"client", connect.client},
                          {"status", connect.status},
                          {"object", connect.object},
                          {"mismatch", why}});
}

void printInvoke(Session& session, const tvsim::InvokeRecord& invoke, const std::string& why = "") {
    session.out().result("invoke " + invoke.path + " status=" + std::to_string(invoke.status) +
                             " id=" + std::to_string(invoke.actionId) +
                             (invoke.arguments.empty() ? "" : " " + formatArguments(invoke.arguments)) +
                             (why.empty() ? "" : ": " + why),
                         {{"record", "invoke"},
                          {"path", invoke.path},
                          {"status", invoke.status},
                          {"id", invoke.actionId},
                          {"arguments", argumentsToJson(invoke.arguments)},
                          {"mismatch", why}});
}

void printWrite(Session& session, const tvsim::WriteRecord& write, const std::string& why = "") {
    session.out().result("write " + write.path + " = " + formatValueText(write.value) +
                             (write.client.empty() ? "" : " client=" + write.client) + (why.empty() ? "" : ": " + why),
                         {{"record", "write"},
                          {"path", write.path},
                          {"client", write.client},
                          {"value", tvsim::valueToJson(write.value)},
                          {"mismatch", why}});
}

void printRecords(Session& session, bool clear) {
    // The service keeps the newest records only; what went before them comes first.
    const tvsim::DroppedRecords dropped = session.tv().droppedRecords();
    if (dropped.connects != 0 || dropped.invokes != 0 || dropped.writes != 0) {
        session.out().result("dropped connects=" + std::to_string(dropped.connects) + " invokes=" +
                                 std::to_string(dropped.invokes) + " writes=" + std::to_string(dropped.writes),
                             {{"record", "dropped"},
                              {"connects", dropped.connects},
                              {"invokes", dropped.invokes},
                              {"writes", dropped.writes}});
    }
    for (const tvsim::ClientConnect& connect : session.tv().connects()) {
        printConnect(session, connect);
    }
    for (const tvsim::InvokeRecord& invoke : session.tv().invokes()) {
        printInvoke(session, invoke);
    }
    for (const tvsim::WriteRecord& write : session.tv().writes()) {
        printWrite(session, write);
    }
    if (clear) {
        session.tv().clearRecords();
    }
}

// POS=VALUE, POS=* (any value) or POS~REGEX.
tvsim::ArgumentMatcher parseMatcher(const std::string& text) {
    const std::size_t mark = text.find_first_of("=~");
    std::int8_t position = 0;
    if (mark == std::string::npos || !tvsim::parseArgumentPosition(text.substr(0, mark), position)) {
        throw CommandError("'" + text + "' is not POS=VALUE, POS=* or POS~REGEX (POS from 0 to " +
                           std::to_string(tvsim::kMaxArgumentPosition) + ")");
    }
    const std::string rest = text.substr(mark + 1);
    if (text[mark] == '~') {
        return {position, tvsim::ArgumentMatcher::Kind::Regex, rest};
    }
    if (rest == "*") {
        return {position, tvsim::ArgumentMatcher::Kind::Any, ""};
    }
    return {position, tvsim::ArgumentMatcher::Kind::Exact, rest};
}

struct WaitOptions {
    std::string path;
    std::vector<std::string> matchers;
};

void waitForRecord(Session& session, tvsim::RecordPattern::Kind kind, const WaitOptions& options) {
    tvsim::RecordPattern pattern{kind, options.path, {}};
    for (const std::string& matcher : options.matchers) {
        pattern.arguments.push_back(parseMatcher(matcher));
    }
    const tvsim::RecordWait wait = session.tv().waitForRecord(pattern, std::chrono::milliseconds(session.timeoutMs()));
    const auto why = [&](std::size_t index) { return wait.found ? std::string() : wait.reasons.at(index); };
    for (std::size_t index = 0; index < wait.connects.size(); ++index) {
        printConnect(session, wait.connects[index], why(index));
    }
    for (std::size_t index = 0; index < wait.invokes.size(); ++index) {
        printInvoke(session, wait.invokes[index], why(index));
    }
    for (std::size_t index = 0; index < wait.writes.size(); ++index) {
        printWrite(session, wait.writes[index], why(index));
    }
    if (!wait.found) {
        throw CommandError("no " + std::string(tvsim::recordKindName(kind)) + " of " + options.path +
                           " matched within " + std::to_string(session.timeoutMs()) + " ms");
    }
}

}  // namespace

void addRecordsCommand(Commands& commands) {
    auto clear = std::make_shared<bool>(false);
    CLI::App* records = commands.add(commands.app(), "records",
                                     "what clients asked of the TV: connects, invokes with their arguments, writes",
                                     [clear](Session& session) { printRecords(session, *clear); });
    records->add_flag("--clear", *clear, "forget the records once printed");

    CLI::App* wait = records->add_subcommand(
        "wait", "until a client's record matches (records kept already count), at most --timeout ms (60000)");
    const struct {
        tvsim::RecordPattern::Kind kind;
        const char* what;
        const char* matchers;  // null: none
    } kinds[] = {
        {tvsim::RecordPattern::Kind::Connect, "a connect to the path", nullptr},
        {tvsim::RecordPattern::Kind::Invoke, "an invoke of the action, its arguments matched by position",
         "POS=VALUE (exactly), POS=* (any value), POS~REGEX (POSIX extended, the whole value)"},
        {tvsim::RecordPattern::Kind::Write, "a client's write of the value",
         "0=VALUE, 0=* or 0~REGEX, against the value as sactl prints it ([1,2] for a vector)"},
    };
    for (const auto& kind : kinds) {
        auto options = std::make_shared<WaitOptions>();
        CLI::App* command =
            commands.add(*wait, tvsim::recordKindName(kind.kind), kind.what,
                         [kind = kind.kind, options](Session& session) { waitForRecord(session, kind, *options); });
        command->add_option("PATH", options->path, "the model path")->required();
        if (kind.matchers != nullptr) {
            command->add_option("MATCHERS", options->matchers, kind.matchers);
        }
    }
}

}  // namespace sactl
