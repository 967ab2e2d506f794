#include "source_switch_responder.h"

#include <algorithm>
#include <charconv>

namespace tvsim {
namespace {

constexpr int kCommandRequestResource = 2;
constexpr int kCommandReleaseResource = 3;
constexpr int kCommandChangeChannel = 8;
constexpr int kCommandChangePlaybackStatus = 11;

bool parseDecimal(const std::string& text, int& value) {
    const char* end = text.data() + text.size();
    auto parsed = std::from_chars(text.data(), end, value);
    return !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
}

// Audio never goes without video.
bool isKnownResourceSet(int bits) {
    const bool audioWithoutVideo = (bits & 2) != 0 && (bits & 1) == 0;
    return bits >= 1 && bits <= 7 && !audioWithoutVideo;
}

std::size_t holderIndex(SourceSwitchResponder::Resource resource) {
    switch (resource) {
        case SourceSwitchResponder::RESOURCE_VIDEO:
            return 0;
        case SourceSwitchResponder::RESOURCE_AUDIO:
            return 1;
        default:
            return 2;
    }
}

}  // namespace

// ---- ArgumentsByPosition ----

ArgumentsByPosition::ArgumentsByPosition(const std::vector<lomodelapi::Argument>& arguments) {
    for (const lomodelapi::Argument& argument : arguments) {
        m_values[argument.position].push_back(argument.value);
    }
}

const std::vector<std::string>& ArgumentsByPosition::at(int position) const {
    static const std::vector<std::string> kNone;
    auto found = m_values.find(position);
    return found == m_values.end() ? kNone : found->second;
}

bool ArgumentsByPosition::isSingle(int position) const {
    return at(position).size() == 1;
}

bool ArgumentsByPosition::hasShape(std::initializer_list<std::pair<int, std::size_t>> countsByPosition) const {
    if (countsByPosition.size() != m_values.size()) {
        return false;
    }
    return std::all_of(countsByPosition.begin(), countsByPosition.end(),
                       [&](const auto& expected) { return at(expected.first).size() == expected.second; });
}

// ---- The simulated TV ----

SourceSwitchResponder::State::State(std::shared_ptr<const ChannelList> channels)
    : m_channelList(std::move(channels)),
      m_channels(*m_channelList),
      m_holders{ResourceHolder::SYSTEM, ResourceHolder::SYSTEM, ResourceHolder::SYSTEM},
      m_currentChannel(m_channels.empty() ? -1 : 0) {}

Reply SourceSwitchResponder::State::answer(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) {
    Lock lock(m_mutex);
    const int failure = apply(ArgumentsByPosition(arguments));
    m_requests.push_back({actionId, arguments, failure});
    return failure == 0 ? Reply::withResults({}) : Reply::failure(failure);
}

int SourceSwitchResponder::State::apply(const ArgumentsByPosition& arguments) {
    if (!arguments.isSingle(0) || arguments.at(0).front().empty()) {
        return FAILURE_MISSING_TAG;
    }
    int command = 0;
    if (!arguments.isSingle(1) || !parseDecimal(arguments.at(1).front(), command)) {
        return FAILURE_UNKNOWN_COMMAND;
    }
    if (!arguments.isSingle(2) || arguments.at(2).front() != "hbbtv") {
        return FAILURE_NOT_HBBTV;
    }
    switch (command) {
        case kCommandRequestResource:
        case kCommandReleaseResource:
        case kCommandChangePlaybackStatus:
            return applyResourceCommand(command, arguments);
        case kCommandChangeChannel:
            if (arguments.hasShape({{0, 1}, {1, 1}, {2, 1}, {3, 1}, {5, 1}})) {
                return applyChannelStep(arguments);
            }
            if (arguments.hasShape({{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 2}})) {
                return applyDirectChannel(arguments);
            }
            return FAILURE_BAD_ARGUMENTS;
        default:
            return FAILURE_UNKNOWN_COMMAND;
    }
}

int SourceSwitchResponder::State::applyResourceCommand(int command, const ArgumentsByPosition& arguments) {
    if (!arguments.hasShape({{0, 1}, {1, 1}, {2, 1}, {3, 1}})) {
        return FAILURE_BAD_ARGUMENTS;
    }
    int bits = 0;
    if (!parseDecimal(arguments.at(3).front(), bits) || !isKnownResourceSet(bits)) {
        return FAILURE_UNKNOWN_RESOURCE;
    }
    if (command == kCommandChangePlaybackStatus) {
        m_playbackStatus = bits;
        return 0;
    }
    const ResourceHolder newHolder =
        command == kCommandRequestResource ? ResourceHolder::WEB_ENGINE : ResourceHolder::SYSTEM;
    for (Resource resource : {RESOURCE_VIDEO, RESOURCE_AUDIO, RESOURCE_PSI}) {
        if ((bits & resource) != 0) {
            m_holders[holderIndex(resource)] = newHolder;
        }
    }
    return 0;
}

int SourceSwitchResponder::State::applyChannelStep(const ArgumentsByPosition& arguments) {
    const std::string& step = arguments.at(3).front();
    if ((step != "-1" && step != "+1") || arguments.at(5).front() != "2") {
        return FAILURE_BAD_ARGUMENTS;
    }
    if (m_channels.empty()) {
        return FAILURE_UNKNOWN_CHANNEL;
    }
    const int count = static_cast<int>(m_channels.size());
    m_currentChannel = (m_currentChannel + (step == "+1" ? 1 : count - 1)) % count;
    return 0;
}

int SourceSwitchResponder::State::applyDirectChannel(const ArgumentsByPosition& arguments) {
    const std::vector<std::string>& mode = arguments.at(5);
    if (mode[0] != "2" || (mode[1] != "0" && mode[1] != "1")) {
        return FAILURE_BAD_ARGUMENTS;
    }
    const std::string& target = arguments.at(3).front();
    const std::string& folder = arguments.at(4).front();
    // An empty folder marks a change by URI.
    auto matches = [&](const Channel& channel) {
        return folder.empty() ? channel.uri == target : channel.uuid == target && channel.folderUuid == folder;
    };
    auto found = std::find_if(m_channels.begin(), m_channels.end(), matches);
    if (target.empty() || found == m_channels.end()) {
        return FAILURE_UNKNOWN_CHANNEL;
    }
    m_currentChannel = static_cast<int>(found - m_channels.begin());
    m_forceShowAV = mode[1] == "1";
    return 0;
}

ResourceHolder SourceSwitchResponder::State::holder(Resource resource) const {
    Lock lock(m_mutex);
    return m_holders[holderIndex(resource)];
}

int SourceSwitchResponder::State::playbackStatus() const {
    Lock lock(m_mutex);
    return m_playbackStatus;
}

int SourceSwitchResponder::State::currentChannelIndex() const {
    Lock lock(m_mutex);
    return m_currentChannel;
}

Channel SourceSwitchResponder::State::currentChannel() const {
    Lock lock(m_mutex);
    return m_currentChannel < 0 ? Channel() : m_channels[static_cast<std::size_t>(m_currentChannel)];
}

bool SourceSwitchResponder::State::lastForceShowAV() const {
    Lock lock(m_mutex);
    return m_forceShowAV;
}

std::vector<SourceSwitchRequest> SourceSwitchResponder::State::requests() const {
    Lock lock(m_mutex);
    return m_requests;
}

// ---- SourceSwitchResponder ----

std::vector<Channel> SourceSwitchResponder::defaultChannels() {
    return {
        {"c0a80001-0000-4000-8000-000000000001", "dvb://1.1.101", "News One", "f0000001-0000-4000-8000-0000000000a1"},
        {"c0a80001-0000-4000-8000-000000000002", "dvb://1.1.102", "Sport Two", "f0000001-0000-4000-8000-0000000000a1"},
        {"c0a80001-0000-4000-8000-000000000003", "dvb://1.1.103", "Movies Three",
         "f0000001-0000-4000-8000-0000000000a1"},
        {"c0a80001-0000-4000-8000-000000000004", "dvb://1.2.201", "Radio Four", "f0000001-0000-4000-8000-0000000000b2"},
    };
}

SourceSwitchResponder::SourceSwitchResponder(ChannelList channels)
    : SourceSwitchResponder(std::make_shared<const ChannelList>(std::move(channels))) {}

SourceSwitchResponder::SourceSwitchResponder(std::shared_ptr<const ChannelList> channels)
    : m_state(std::make_shared<State>(std::move(channels))) {}

Reply SourceSwitchResponder::operator()(unsigned int actionId,
                                        const std::vector<lomodelapi::Argument>& arguments) const {
    return m_state->answer(actionId, arguments);
}

Responder SourceSwitchResponder::responder() const {
    return *this;
}

ResourceHolder SourceSwitchResponder::holder(Resource resource) const {
    return m_state->holder(resource);
}
int SourceSwitchResponder::playbackStatus() const {
    return m_state->playbackStatus();
}
int SourceSwitchResponder::currentChannelIndex() const {
    return m_state->currentChannelIndex();
}
Channel SourceSwitchResponder::currentChannel() const {
    return m_state->currentChannel();
}
bool SourceSwitchResponder::lastForceShowAV() const {
    return m_state->lastForceShowAV();
}
std::vector<SourceSwitchRequest> SourceSwitchResponder::requests() const {
    return m_state->requests();
}
std::vector<SourceSwitchRequest> SourceSwitchResponder::accepted() const {
    std::vector<SourceSwitchRequest> accepted;
    for (SourceSwitchRequest& request : requests()) {
        if (request.failure == 0) {
            accepted.push_back(std::move(request));
        }
    }
    return accepted;
}

}  // namespace tvsim
