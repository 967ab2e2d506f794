// Applying a checked model description to a simulator, and the load functions
// that parse and apply in one call.
#include <tvsim/model_file.h>

#include <common/mutex.h>

#include <cassert>
#include <memory>
#include <variant>

namespace tvsim {

using common::Lock;
using common::Mutex;

namespace {

// Keeps the channel-name value in step with the responder's current channel.
// Runs where every responder runs: on the invoking client's thread, with no
// simulator lock held, so it may write the value (the change is queued to the
// callback thread like any other). The mutex keeps the written names in the
// order of the channel changes when clients invoke at once.
class ChannelNameFollower {
public:
    ChannelNameFollower(SourceSwitchResponder responder, Simulator& simulator, std::string path)
        : m_responder(std::move(responder)),
          m_simulator(&simulator),
          m_path(std::move(path)),
          m_mutex(std::make_shared<Mutex>()) {}

    Reply operator()(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) const {
        Lock lock(*m_mutex);
        const int before = m_responder.currentChannelIndex();
        Reply reply = m_responder(actionId, arguments);
        if (m_responder.currentChannelIndex() != before) {
            try {
                m_simulator->setString(m_path, m_responder.currentChannel().name);
            } catch (const std::invalid_argument&) {
                // The value was removed or replaced since the model was loaded: nothing to keep in step.
            }
        }
        return reply;
    }

private:
    SourceSwitchResponder m_responder;
    Simulator* m_simulator;
    std::string m_path;
    std::shared_ptr<Mutex> m_mutex;
};

}  // namespace

const SourceSwitchResponder* LoadedModel::sourceSwitch(const std::string& actionPath) const {
    auto found = sourceSwitches.find(actionPath);
    return found == sourceSwitches.end() ? nullptr : &found->second;
}

Responder LoadedModel::ownResponder(const std::string& actionPath) const {
    auto found = ownResponders.find(actionPath);
    return found == ownResponders.end() ? Responder() : found->second;
}

LoadedModel applyModel(ModelDescription description, Simulator& simulator) {
    // model_file.h: the load functions are never called on the callback thread.
    assert(!simulator.onCallbackThread());
    LoadedModel loaded;
    for (const ValueEntry& value : description.values) {
        simulator.addValue(value.path, value.value);
    }
    for (const TableEntry& table : description.tables) {
        simulator.addTable(table.path, table.columns, table.rows);
    }
    for (const ActionEntry& action : description.actions) {
        Responder own;
        if (const Reply* reply = std::get_if<Reply>(&action.answer)) {
            own = [reply = *reply](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; };
        } else {
            const SourceSwitchEntry& entry = std::get<SourceSwitchEntry>(action.answer);
            SourceSwitchResponder responder(entry.channels);
            if (entry.channelNamePath.empty()) {
                own = responder.responder();
            } else {
                simulator.setString(entry.channelNamePath, responder.currentChannel().name);
                own = ChannelNameFollower(responder, simulator, entry.channelNamePath);
            }
            loaded.sourceSwitches.emplace(action.path, responder);
        }
        simulator.addAction(action.path, own);
        loaded.ownResponders.emplace(action.path, std::move(own));
    }
    loaded.description = std::move(description);
    return loaded;
}

LoadedModel loadModelText(const std::string& text, const std::string& sourceName, Simulator& simulator) {
    return applyModel(parseModelText(text, sourceName), simulator);
}

LoadedModel loadModelFile(const std::string& path, Simulator& simulator) {
    return applyModel(parseModelFile(path), simulator);
}

LoadedModel loadDefaultModel(Simulator& simulator) {
    return loadModelText(defaultModelText(), kDefaultModelSource, simulator);
}

}  // namespace tvsim
