#include "loaded_models.h"

#include <variant>

namespace tvsimd {

const tvsim::SourceSwitchResponder* LoadedModels::sourceSwitch(const std::string& actionPath) const {
    for (auto model = m_models.rbegin(); model != m_models.rend(); ++model) {
        if (const tvsim::SourceSwitchResponder* found = model->sourceSwitch(actionPath)) {
            return found;
        }
    }
    return nullptr;
}

tvsim::Responder LoadedModels::ownResponder(const std::string& actionPath) const {
    for (auto model = m_models.rbegin(); model != m_models.rend(); ++model) {
        if (const tvsim::SourceSwitchResponder* sourceSwitch = model->sourceSwitch(actionPath)) {
            return sourceSwitch->responder();
        }
        for (const tvsim::ActionEntry& action : model->description.actions) {
            if (action.path == actionPath && std::holds_alternative<tvsim::Reply>(action.answer)) {
                return [reply = std::get<tvsim::Reply>(action.answer)](
                           unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; };
            }
        }
    }
    return [](unsigned int, const std::vector<lomodelapi::Argument>&) { return tvsim::Reply(); };
}

}  // namespace tvsimd
