// responders: how the TV answers an action's invokes, from now on.
#include "actions.h"
#include "commands.h"
#include "number_options.h"

namespace sactl {
namespace {

struct ReplyOptions {
    std::string path;
    std::vector<std::string> results;  // POSITION=VALUE
    int failure = 0;
    bool noReply = false;
    int delayMs = 0;
    int copies = 1;
    bool beforeInvokeReturns = false;
    const CLI::Option* failureGiven = nullptr;  // --failure, whose count says whether it was given
};

tvsim::Reply replyFrom(const ReplyOptions& options) {
    tvsim::Reply reply = tvsim::Reply::withResults(parseArguments(options.results));
    if (options.failureGiven->count() != 0) {
        reply = tvsim::Reply::failure(options.failure);
    } else if (options.noReply) {
        reply = tvsim::Reply::none();
    }
    reply.delay = std::chrono::milliseconds(options.delayMs);
    reply.copies = options.copies;
    reply.beforeInvokeReturns = options.beforeInvokeReturns;
    return reply;
}

// "PATH answers failure 42 delay-ms=0 copies=1", and the same as JSON.
void printReply(const Session& session, const std::string& path, const tvsim::Reply& reply) {
    nlohmann::json object = {{"path", path},
                             {"delay-ms", reply.delay.count()},
                             {"copies", reply.copies},
                             {"before-invoke-returns", reply.beforeInvokeReturns}};
    std::string answer;
    switch (reply.kind) {
        case tvsim::Reply::Kind::Failure:
            object["answer"] = "failure";
            object["error"] = reply.error;
            answer = "failure " + std::to_string(reply.error);
            break;
        case tvsim::Reply::Kind::NoReply:
            object["answer"] = "no-reply";
            answer = "no reply";
            break;
        case tvsim::Reply::Kind::Results:
            object["answer"] = "results";
            object["results"] = argumentsToJson(reply.results);
            answer = "results " + (reply.results.empty() ? "(none)" : formatArguments(reply.results));
            break;
    }
    session.out().result(path + " answers " + answer + " delay-ms=" + std::to_string(reply.delay.count()) + " copies=" +
                             std::to_string(reply.copies) + (reply.beforeInvokeReturns ? " before-invoke-returns" : ""),
                         object);
}

}  // namespace

void addResponderCommands(Commands& commands) {
    CLI::App* responders =
        commands.app().add_subcommand("responders", "choose how an action answers every invoke from now on");
    responders->require_subcommand(1);

    auto options = std::make_shared<ReplyOptions>();
    CLI::App* set = commands.add(*responders, "set", "answer with results (default), a failure code, or not at all",
                                 [options](Session& session) {
                                     const tvsim::Reply reply = replyFrom(*options);
                                     session.tv().setReply(options->path, reply);
                                     printReply(session, options->path, reply);
                                 });
    set->add_option("PATH", options->path, "the action's model path")->required();
    CLI::Option* results =
        set->add_option("--results", options->results, "the results as POSITION=VALUE, e.g. 0=ok 1=7");
    CLI::Option* failure = set->add_option("--failure", options->failure, "answer this failure code (0 included)")
                               ->check(decimalInteger());
    CLI::Option* none = set->add_flag("--no-reply", options->noReply, "never answer");
    options->failureGiven = failure;
    results->excludes(failure)->excludes(none);
    failure->excludes(none);
    set->add_option("--delay", options->delayMs, "answer this many ms after the invoke (at most 60000)")
        ->check(decimalInteger());
    set->add_option("--copies", options->copies, "deliver the answer this many times (1 to 1000)")
        ->check(decimalInteger());
    set->add_flag("--before-invoke-returns", options->beforeInvokeReturns,
                  "deliver the answer before the invoke returns to the client");

    auto path = std::make_shared<std::string>();
    CLI::App* clear =
        commands.add(*responders, "clear", "back to the action's own answer (its model's)", [path](Session& session) {
            session.tv().resetReply(*path);
            session.out().result(*path + " answers as its model says", {{"path", *path}, {"answer", "model"}});
        });
    clear->add_option("PATH", *path, "the action's model path")->required();
}

}  // namespace sactl
