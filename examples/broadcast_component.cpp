#include "broadcast_component.h"

#include <system_access/source_switch_access.h>
#include <system_access/value_object.h>

using velmora::system::access::SourceSwitchAccess;
using velmora::system::access::ValueObject;

namespace {
constexpr char kVolumePath[] = "orvik.sl2.i32.audio.volume";
}

void BroadcastComponent::VolumeHandler::onNewValue(const ValueObject& value) {
    last = static_cast<int>(value);
}

BroadcastComponent::BroadcastComponent()
    : m_volume(std::make_shared<VolumeHandler>()), m_volumeAccess(kVolumePath, m_volume) {}

int BroadcastComponent::start() {
    int volume = 0;
    if (int status = m_volumeAccess.getValue(volume)) {  // connects on demand
        return status;
    }
    m_volume->last = volume;
    return 0;
}

bool BroadcastComponent::openFullScreenApp() {
    return SourceSwitchAccess::getInstance()->pauseAV();
}

bool BroadcastComponent::closeFullScreenApp() {
    return SourceSwitchAccess::getInstance()->resumeAV();
}

bool BroadcastComponent::zapTo(const std::string& channelUri) {
    return SourceSwitchAccess::getInstance()->setChannelByURI(channelUri, true);
}
