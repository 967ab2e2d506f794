#include "loaded_models.h"

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
        if (tvsim::Responder responder = model->ownResponder(actionPath)) {
            return responder;
        }
    }
    return [](unsigned int, const std::vector<lomodelapi::Argument>&) { return tvsim::Reply(); };
}

}  // namespace tvsimd
