// Runs the component against the simulated TV, as the engine would on the TV.
#include "broadcast_component.h"

#include <tvsim/model_file.h>
#include <tvsim/simulator.h>

#include <cstdio>

int main() {
    tvsim::Simulator tv;
    tvsim::loadDefaultModel(tv);

    BroadcastComponent component;
    if (component.start() != 0) {
        std::fprintf(stderr, "could not read the volume\n");
        return 1;
    }
    std::printf("volume %d\n", component.lastVolume());

    tv.setInteger("orvik.sl2.i32.audio.volume", 20);  // the user turns the volume up
    tv.flush();
    std::printf("volume now %d\n", component.lastVolume());

    const bool opened = component.openFullScreenApp();
    const bool closed = component.closeFullScreenApp();
    const bool zapped = component.zapTo("dvb://1.1.103");
    std::printf("pauseAV %s, resumeAV %s, zap %s, now on %s\n", opened ? "ok" : "failed", closed ? "ok" : "failed",
                zapped ? "ok" : "failed", tv.string("orvik.sl2.str.tvservice.channel-name").c_str());
    return opened && closed && zapped && component.lastVolume() == 20 ? 0 : 1;
}
