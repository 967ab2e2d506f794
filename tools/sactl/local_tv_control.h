// The simulated TV in sactl's own process: a tvsim::Simulator with the model
// loaded from a file or the built-in default.
#pragma once

#include "tv_control.h"

#include <tvsim/simulator.h>

namespace sactl {

class LocalTvControl final : public TvControl {
public:
    // Starts the simulator; a model file that does not load is a CommandError.
    explicit LocalTvControl(const std::string& modelFile);

    std::vector<tvsim::ModelEntry> list(const std::string& prefix) override;
    std::vector<std::string> columns(const std::string& table) override;
    void setValue(const std::string& path, const tvsim::ModelValue& value) override;
    void flush() override;
    std::optional<SourceSwitchState> sourceSwitch(const std::string& action) override;

    void failNextConnects(const std::string& path, int count, int status) override;
    void nullObjectOnNextConnects(const std::string& path, int count) override;
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) override;
    void failGetter(const std::string& path, int status) override;
    void refuseNextInvokes(const std::string& path, int count, int status) override;
    void failNextCreateIterators(const std::string& path, int count) override;

    void setReply(const std::string& path, const tvsim::Reply& reply) override;
    void resetReply(const std::string& path) override;

    std::vector<ConnectRecord> connects() override;
    std::vector<tvsim::InvokeRecord> invokes() override;
    void clearRecords() override;

private:
    tvsim::Simulator m_simulator;
    tvsim::LoadedModel m_model;
};

}  // namespace sactl
