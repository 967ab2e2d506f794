// A web-engine component that follows the TV's volume, hands the broadcast
// video back and forth around a full-screen web app, and changes channel.
#pragma once

#include <system_access/value_access.h>

#include <atomic>
#include <memory>
#include <string>

class BroadcastComponent {
public:
    BroadcastComponent();

    // Starts watching the volume; 0 or the library's status.
    int start();
    int lastVolume() const { return m_volume->last.load(); }

    // A full-screen web app takes the audio and video; closing it hands them back.
    bool openFullScreenApp();
    bool closeFullScreenApp();

    bool zapTo(const std::string& channelUri);

private:
    // Runs on the platform's callback thread: keep it short, copy what is needed.
    struct VolumeHandler : velmora::system::access::ValueHandler {
        void onNewValue(const velmora::system::access::ValueObject& value) override;
        std::atomic<int> last{-1};
    };

    std::shared_ptr<VolumeHandler> m_volume;
    velmora::system::access::ValueAccessT<lomodelapi::ObserverNumericInteger> m_volumeAccess;
};
