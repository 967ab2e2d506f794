#include "served_replies.h"

#include <utility>

namespace tvsimd {

void checkServedReply(const tvsim::Reply& reply) {
    if (reply.copies < 1 || reply.copies > tvsim::kMaxReplyCopies) {
        throw std::invalid_argument("A reply has 1 to " + std::to_string(tvsim::kMaxReplyCopies) + " copies; got " +
                                    std::to_string(reply.copies) + ".");
    }
    if (reply.delay > tvsim::kMaxReplyDelay) {
        throw std::invalid_argument("A reply's delay is at most " + std::to_string(tvsim::kMaxReplyDelay.count()) +
                                    " ms; got " + std::to_string(reply.delay.count()) + " ms.");
    }
    if (reply.beforeInvokeReturns && reply.delay.count() > 0) {
        throw std::invalid_argument(
            "The TV service cannot delay an outcome that comes before invoke returns: it would stop serving every "
            "client for the delay.");
    }
}

tvsim::LoadedModel loadServedModel(const std::string& file, tvsim::Simulator& simulator) {
    tvsim::ModelDescription model = tvsim::parseModelFile(file);
    for (const tvsim::ActionEntry& action : model.actions) {
        if (const auto* reply = std::get_if<tvsim::Reply>(&action.answer)) {
            try {
                checkServedReply(*reply);
            } catch (const std::invalid_argument& refused) {
                throw tvsim::ModelFileError(model.source + ": action \"" + action.path + "\": " + refused.what());
            }
        }
    }
    return tvsim::applyModel(std::move(model), simulator);
}

}  // namespace tvsimd
