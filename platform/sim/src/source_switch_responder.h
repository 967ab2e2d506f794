// The simulated TV behind SourceSwitchResponder: request checks and state.
#pragma once

#include <common/mutex.h>
#include <tvsim/source_switch.h>

#include <array>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tvsim {

using common::Lock;
using common::Mutex;

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
    explicit State(std::shared_ptr<const ChannelList> channels);

    // Runs on the invoking client's thread.
    Reply answer(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments);

    ResourceHolder holder(Resource resource) const;
    int playbackStatus() const;
    int currentChannelIndex() const;
    Channel currentChannel() const;
    bool lastForceShowAV() const;
    std::vector<SourceSwitchRequest> requests() const;

private:
    // These answer 0 or a failure code.
    int apply(const ArgumentsByPosition& arguments) SYSACCESS_REQUIRES(m_mutex);
    int applyResourceCommand(int command, const ArgumentsByPosition& arguments) SYSACCESS_REQUIRES(m_mutex);
    int applyChannelStep(const ArgumentsByPosition& arguments) SYSACCESS_REQUIRES(m_mutex);
    int applyDirectChannel(const ArgumentsByPosition& arguments) SYSACCESS_REQUIRES(m_mutex);

    mutable Mutex m_mutex;
    const std::shared_ptr<const ChannelList> m_channelList;  // shared with other responders of one model
    const ChannelList& m_channels;
    std::array<ResourceHolder, 3> m_holders SYSACCESS_GUARDED_BY(m_mutex);  // video, audio, PSI
    int m_playbackStatus SYSACCESS_GUARDED_BY(m_mutex) = 0;
    int m_currentChannel SYSACCESS_GUARDED_BY(m_mutex);
    bool m_forceShowAV SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::vector<SourceSwitchRequest> m_requests SYSACCESS_GUARDED_BY(m_mutex);
};

}  // namespace tvsim
