// The simulated TV's answer to the source-switch action: a Responder that
// checks the argument protocol of each request and keeps the TV's state.
//
// Every request carries a tag at position 0, the command code at position 1
// and "hbbtv" at position 2, then the command's own arguments:
//   "2"  the web engine takes resources from the system:  position 3 resource bits
//   "3"  the web engine hands resources back:             position 3 resource bits
//   "11" change the DTV playback status:                  position 3 resource bits
//   "8"  change channel, one of:
//        step:  position 3 "-1" or "+1", position 5 "2"                      (5 arguments)
//        UUIDs: position 3 channel UUID, position 4 folder UUID (not empty),
//               position 5 "2", then position 5 "1" or "0" (force show AV) (7 arguments)
//        URI:   position 3 URI, position 4 "", position 5 "2", then "1"/"0" (7 arguments)
// Resource bits: 1 video, 2 audio, 4 PSI; audio goes only with video, so the
// accepted values are 1, 3, 4, 5 and 7. Steps wrap around the channel list.
//
// A well-formed request succeeds with no results; a malformed one fails with
// one of the FAILURE_ codes and changes nothing. Copies share one state, so a
// test can keep its object and hand a copy to Simulator::addAction. Calls may
// come from any thread at once.
#pragma once

#include <tvsim/simulator.h>

#include <memory>
#include <string>
#include <vector>

namespace tvsim {

struct Channel {
    std::string uuid;
    std::string uri;
    std::string name;
    std::string folderUuid;
};

using ChannelList = std::vector<Channel>;

enum class ResourceHolder { SYSTEM, WEB_ENGINE };

struct SourceSwitchRequest {
    unsigned int actionId;
    std::vector<lomodelapi::Argument> arguments;
    int failure;  // 0 when accepted
};

class SourceSwitchResponder {
public:
    // Failure codes, in the order the checks run.
    static constexpr int FAILURE_MISSING_TAG = 101;       // no, several or an empty position 0
    static constexpr int FAILURE_UNKNOWN_COMMAND = 102;   // position 1 missing, not a number, or not 2, 3, 8, 11
    static constexpr int FAILURE_NOT_HBBTV = 103;         // position 2 missing or not "hbbtv"
    static constexpr int FAILURE_BAD_ARGUMENTS = 104;     // wrong count, positions or fixed values for the command
    static constexpr int FAILURE_UNKNOWN_RESOURCE = 105;  // resource bits not a number or not 1, 3, 4, 5, 7
    static constexpr int FAILURE_UNKNOWN_CHANNEL = 106;   // no such channel (or an empty channel list)

    enum Resource { RESOURCE_VIDEO = 1, RESOURCE_AUDIO = 2, RESOURCE_PSI = 4 };

    // A few channels in two folders; the first is current at the start.
    static std::vector<Channel> defaultChannels();

    explicit SourceSwitchResponder(ChannelList channels = defaultChannels());
    // Channels that other responders may share (a model's actions on one table); each keeps its own state.
    explicit SourceSwitchResponder(std::shared_ptr<const ChannelList> channels);

    Reply operator()(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) const;
    Responder responder() const;  // shares this object's state

    // All resources start with the system.
    ResourceHolder holder(Resource resource) const;
    int playbackStatus() const;                         // the bits of the last accepted command 11; 0 before any
    int currentChannelIndex() const;                    // -1 with an empty channel list
    Channel currentChannel() const;                     // an empty Channel with an empty list
    bool lastForceShowAV() const;                       // of the last accepted direct channel change; false before any
    std::vector<SourceSwitchRequest> requests() const;  // every request, in arrival order
    std::vector<SourceSwitchRequest> accepted() const;  // the accepted ones

    class State;

private:
    std::shared_ptr<State> m_state;
};

}  // namespace tvsim
