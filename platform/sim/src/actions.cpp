// Actions of the simulated model: invoke, responders and outcomes.
#include "model.h"

#include <tvsim/input_limits.h>

#include <utility>

namespace tvsim {

Reply Reply::withResults(std::vector<lomodelapi::Argument> results) {
    Reply reply;
    reply.results = std::move(results);
    return reply;
}

Reply Reply::failure(int error) {
    Reply reply;
    reply.kind = Kind::Failure;
    reply.error = error;
    return reply;
}

Reply Reply::none() {
    Reply reply;
    reply.kind = Kind::NoReply;
    return reply;
}

std::string replyRefusal(const Reply& reply) {
    if (reply.copies < 1 || reply.copies > kMaxReplyCopies) {
        return "copies are 1 to " + std::to_string(kMaxReplyCopies) + "; got " + std::to_string(reply.copies);
    }
    if (reply.delay < std::chrono::milliseconds(0) || reply.delay > kMaxReplyDelay) {
        return "a delay is 0 to " + std::to_string(kMaxReplyDelay.count()) + " ms; got " +
               std::to_string(reply.delay.count()) + " ms";
    }
    if (reply.beforeInvokeReturns && reply.delay.count() > 0) {
        return "an outcome that comes before invoke returns cannot be delayed";
    }
    if (reply.kind != Reply::Kind::Results) {
        return {};
    }
    // Every copy goes to every observer connected to the action, and is kept until it is due.
    const std::size_t results = sizeOf(reply.results);
    if (results > kMaxRequestBytes) {
        return "results are at most " + std::to_string(kMaxRequestBytes) + " bytes; got " + std::to_string(results);
    }
    const std::size_t outcomes = results * static_cast<std::size_t>(reply.copies);
    if (outcomes > kMaxReplyOutcomesBytes) {
        return "results times copies are at most " + std::to_string(kMaxReplyOutcomesBytes) + " bytes; got " +
               std::to_string(results) + " x " + std::to_string(reply.copies) + " = " + std::to_string(outcomes);
    }
    return {};
}

void Model::setResponder(const std::string& path, Responder responder) {
    Lock lock(m_mutex);
    std::swap(entryOf(path, lomodelapi::OBJECT_TYPE_ACTION).responder, responder);
    changed();
}

void Model::refuseNextInvokes(const std::string& path, int count, int status) {
    Lock lock(m_mutex);
    PathFaults& faults = faultsFor(path, lomodelapi::OBJECT_TYPE_ACTION, count);
    faults.refusedInvokes = count;
    faults.refusedInvokeStatus = status;
    changed();
}

namespace {

InvokeOutcome outcomeOf(const Reply& reply, std::chrono::microseconds took) {
    InvokeOutcome outcome;
    outcome.kind = reply.kind == Reply::Kind::Results   ? InvokeOutcome::Kind::Results
                   : reply.kind == Reply::Kind::Failure ? InvokeOutcome::Kind::Failure
                                                        : InvokeOutcome::Kind::NoReplyYet;
    outcome.results = reply.results;
    outcome.error = reply.error;
    outcome.took = took;
    return outcome;
}

}  // namespace

void Model::recordOutcome(unsigned int actionId, const Reply& reply, bool onlyIfNoReplyYet) {
    // Counted after the responder ran, so what it changed outside the model (a source switch's state) counts too.
    changed();
    // Ids are unique and recent invokes sit at the end; a cleared or dropped record is simply gone.
    for (auto record = m_records.invokes.newest(); record != m_records.invokes.oldestEnd(); ++record) {
        if (record->actionId != actionId) {
            continue;
        }
        if (!onlyIfNoReplyYet || record->outcome.kind == InvokeOutcome::Kind::NoReplyYet) {
            const auto since = std::chrono::steady_clock::now() - record->invokedAt;
            record->outcome =
                outcomeOf(reply, std::chrono::duration_cast<std::chrono::microseconds>(since) + reply.delay);
        }
        return;
    }
}

int Model::invoke(Entry& action, unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) {
    Responder responder;
    unsigned int id = 0;
    const auto invokedAt = std::chrono::steady_clock::now();
    {
        Lock lock(m_mutex);
        PathFaults& faults = m_faults[action.path];
        if (faults.refusedInvokes > 0) {
            --faults.refusedInvokes;
            m_records.invokes.add(
                {action.path, 0, arguments, faults.refusedInvokeStatus, invokedAt, {}, m_records.invokes.recorded()},
                m_recordLimit);
            changed();
            return faults.refusedInvokeStatus;
        }
        id = ++m_lastActionId;
        actionId = id;
        m_records.invokes.add({action.path, id, arguments, 0, invokedAt, {}, m_records.invokes.recorded()},
                              m_recordLimit);
        changed();
        responder = action.responder;
    }
    // The responder runs on the invoking thread with no lock held: it may call the simulator.
    const Reply reply = responder ? responder(id, arguments) : Reply();
    std::vector<CallbackThread::Ticket> tickets;
    {
        Lock lock(m_mutex);
        recordOutcome(id, reply, false);
        tickets = postOutcome(action, id, reply);
    }
    if (reply.beforeInvokeReturns) {
        // On the callback thread the outcome simply stays queued: waiting there would never end.
        for (CallbackThread::Ticket ticket : tickets) {
            m_callbacks.waitFor(ticket);
        }
    }
    return 0;
}

std::vector<CallbackThread::Ticket> Model::postOutcome(const Entry& action, unsigned int actionId, const Reply& reply) {
    std::vector<CallbackThread::Ticket> tickets;
    if (reply.kind == Reply::Kind::NoReply) {
        return tickets;
    }
    for (int copy = 0; copy < reply.copies; ++copy) {
        for (const Connection* connection : action.connections) {
            if (reply.kind == Reply::Kind::Failure) {
                tickets.push_back(postTo<lomodelapi::ObserverAction>(
                    *connection,
                    [actionId, error = reply.error](auto& observer) { observer.notifyExecutionError(actionId, error); },
                    reply.delay));
            } else {
                tickets.push_back(postTo<lomodelapi::ObserverAction>(
                    *connection,
                    [actionId, results = reply.results](auto& observer) { observer.notifyResult(actionId, results); },
                    reply.delay));
            }
        }
    }
    return tickets;
}

void Model::emitResult(const std::string& path, unsigned int actionId,
                       const std::vector<lomodelapi::Argument>& results) {
    requireArguments(results, "An outcome's results are");
    Lock lock(m_mutex);
    const Reply reply = Reply::withResults(results);
    postOutcome(entryOf(path, lomodelapi::OBJECT_TYPE_ACTION), actionId, reply);
    recordOutcome(actionId, reply, true);
}

void Model::emitExecutionError(const std::string& path, unsigned int actionId, int error) {
    Lock lock(m_mutex);
    const Reply reply = Reply::failure(error);
    postOutcome(entryOf(path, lomodelapi::OBJECT_TYPE_ACTION), actionId, reply);
    recordOutcome(actionId, reply, true);
}

}  // namespace tvsim
