// The model files tvsimd has applied, in order, so that an action's own
// answer (its declarative reply or the built-in source-switch responder) can
// be restored after a test replaced it. Bus thread only.
#pragma once

#include <tvsim/model_file.h>

#include <string>
#include <vector>

namespace tvsimd {

class LoadedModels {
public:
    void add(tvsim::LoadedModel model) { m_models.push_back(std::move(model)); }
    // The responder the most recent model that defines the action gave it; success with no results otherwise.
    tvsim::Responder ownResponder(const std::string& actionPath) const;
    // The built-in responder the most recent model that defines the action gave it; null otherwise.
    const tvsim::SourceSwitchResponder* sourceSwitch(const std::string& actionPath) const;

private:
    std::vector<tvsim::LoadedModel> m_models;
};

}  // namespace tvsimd
