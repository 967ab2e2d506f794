#include "local_tv_control.h"

#include "session.h"

#include <stdexcept>

namespace sactl {
namespace {

tvsim::LoadedModel loadModel(const std::string& file, tvsim::Simulator& simulator) {
    try {
        return file.empty() ? tvsim::loadDefaultModel(simulator) : tvsim::loadModelFile(file, simulator);
    } catch (const tvsim::ModelFileError& error) {
        throw CommandError(error.what());
    }
}

// The simulator refuses an unknown path or an object of another kind with std::invalid_argument.
template <typename Operation>
auto refusalsAsCommandErrors(Operation operation) {
    try {
        return operation();
    } catch (const std::invalid_argument& error) {
        throw CommandError(error.what());
    }
}

}  // namespace

LocalTvControl::LocalTvControl(const std::string& modelFile) : m_model(loadModel(modelFile, m_simulator)) {}

std::vector<tvsim::ModelEntry> LocalTvControl::list(const std::string& prefix) {
    return m_simulator.list(prefix);
}

std::vector<std::string> LocalTvControl::columns(const std::string& table) {
    return refusalsAsCommandErrors([&] { return m_simulator.columns(table); });
}

void LocalTvControl::setValue(const std::string& path, const tvsim::ModelValue& value) {
    refusalsAsCommandErrors([&] { tvsim::setModelValue(m_simulator, path, value); });
}

void LocalTvControl::flush() {
    m_simulator.flush();
}

std::optional<SourceSwitchState> LocalTvControl::sourceSwitch(const std::string& action) {
    const tvsim::SourceSwitchResponder* tv = m_model.sourceSwitch(action);
    if (tv == nullptr) {
        return std::nullopt;
    }
    using Responder = tvsim::SourceSwitchResponder;
    SourceSwitchState state;
    state.video = tv->holder(Responder::RESOURCE_VIDEO);
    state.audio = tv->holder(Responder::RESOURCE_AUDIO);
    state.psi = tv->holder(Responder::RESOURCE_PSI);
    state.playbackStatus = tv->playbackStatus();
    state.channelIndex = tv->currentChannelIndex();
    state.channel = tv->currentChannel();
    const std::vector<tvsim::SourceSwitchRequest> requests = tv->requests();
    state.lastFailure = requests.empty() ? 0 : requests.back().failure;
    return state;
}

void LocalTvControl::failNextConnects(const std::string& path, int count, int status) {
    refusalsAsCommandErrors([&] { m_simulator.failNextConnects(path, count, status); });
}

void LocalTvControl::nullObjectOnNextConnects(const std::string& path, int count) {
    refusalsAsCommandErrors([&] { m_simulator.nullObjectOnNextConnects(path, count); });
}

void LocalTvControl::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    refusalsAsCommandErrors([&] { m_simulator.reportType(path, type); });
}

void LocalTvControl::failGetter(const std::string& path, int status) {
    refusalsAsCommandErrors([&] { m_simulator.failGetter(path, status); });
}

void LocalTvControl::refuseNextInvokes(const std::string& path, int count, int status) {
    refusalsAsCommandErrors([&] { m_simulator.refuseNextInvokes(path, count, status); });
}

void LocalTvControl::failNextCreateIterators(const std::string& path, int count) {
    refusalsAsCommandErrors([&] { m_simulator.failNextCreateIterators(path, count); });
}

void LocalTvControl::setReply(const std::string& path, const tvsim::Reply& reply) {
    refusalsAsCommandErrors([&] {
        m_simulator.setResponder(path,
                                 [reply](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; });
    });
}

void LocalTvControl::resetReply(const std::string& path) {
    // An action the model did not define answers as one without a responder: success, no results.
    refusalsAsCommandErrors([&] { m_simulator.setResponder(path, m_model.ownResponder(path)); });
}

std::vector<ConnectRecord> LocalTvControl::connects() {
    std::vector<ConnectRecord> records;
    for (const tvsim::ConnectRecord& connect : m_simulator.connects()) {
        records.push_back({connect.path, "", connect.status, connect.object != nullptr});
    }
    return records;
}

std::vector<tvsim::InvokeRecord> LocalTvControl::invokes() {
    return m_simulator.invokes();
}

void LocalTvControl::clearRecords() {
    m_simulator.clearRecords();
}

}  // namespace sactl
