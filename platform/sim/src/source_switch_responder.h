// The simulated TV behind SourceSwitchResponder: request checks and state.
#pragma once

#include <tvsim/source_switch.h>

#include <array>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tvsim {

// A request's argument values grouped by position, each group in list order
// (the direct channel changes send position 5 twice, and the order matters).
class ArgumentsByPosition {
public:
    explicit ArgumentsByPosition(const std::vector<lomodelapi::Argument>& arguments);

    const std::vector<std::string>& at(int position) const;  // empty when the position is absent
    bool isSingle(int position) const;                       // exactly one value there
    // True when the positions given, and no others, hold exactly these numbers of values.
    bool hasShape(std::initializer_list<std::pair<int, std::size_t>> countsByPosition) const;

private:
    std::map<int, std::vector<std::string>> m_values;
};

class SourceSwitchResponder::State {
public:
    explicit State(std::vector<Channel> channels);

    // Runs on the invoking client's thread.
    Reply answer(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments);

    ResourceHolder holder(Resource resource) const;
    int playbackStatus() const;
    int currentChannelIndex() const;
    Channel currentChannel() const;
    bool lastForceShowAV() const;
    std::vector<SourceSwitchRequest> requests() const;

private:
    // These run with m_mutex held and answer 0 or a failure code.
    int apply(const ArgumentsByPosition& arguments);
    int applyResourceCommand(int command, const ArgumentsByPosition& arguments);
    int applyChannelStep(const ArgumentsByPosition& arguments);
    int applyDirectChannel(const ArgumentsByPosition& arguments);

    mutable std::mutex m_mutex;
    const std::vector<Channel> m_channels;
    std::array<ResourceHolder, 3> m_holders;      // video, audio, PSI; guarded by m_mutex
    int m_playbackStatus = 0;                     // guarded by m_mutex
    int m_currentChannel;                         // guarded by m_mutex
    bool m_forceShowAV = false;                   // guarded by m_mutex
    std::vector<SourceSwitchRequest> m_requests;  // guarded by m_mutex
};

}  // namespace tvsim
