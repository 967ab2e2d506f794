// A client of the TV for the scenario tests: through libsystem_access, on the
// TV service TVSIM_BUS names, it takes audio and video (pauseAV), switches to
// the next channel (setChannelNext) and hands them back (resumeAV), printing
// each answer as "take 1", "switch 1", "release 1" (0 for false). Exit status
// 0 when every request answered true.
//   --forget-release   skips handing back (a faulty client)
//   --pause-ms N       waits N ms before each request after the first
#include <system_access/source_switch_access.h>
#include <tvsim/debug_capture.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using velmora::system::access::SourceSwitchAccess;

// Past it a request answers false instead of holding the client (and the play) up.
constexpr int kResultTimeoutMs = 5000;

}  // namespace

int main(int argc, char** argv) {
    // The library's lines would bury the answers; SYSACCESS_LOG_LEVEL asks for them.
    if (std::getenv("SYSACCESS_LOG_LEVEL") == nullptr) {
        tvsim::setLogThreshold(tvsim::kLevelNone);
    }
    bool release = true;
    std::chrono::milliseconds pause{0};
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        if (option == "--forget-release") {
            release = false;
        } else if (option == "--pause-ms" && index + 1 < argc) {
            pause = std::chrono::milliseconds(std::stoi(argv[++index]));
        } else {
            std::fprintf(stderr, "usage: scenario_client [--forget-release] [--pause-ms N]\n");
            return 2;
        }
    }
    SourceSwitchAccess& source = *SourceSwitchAccess::getInstance();
    source.setResultTimeout(kResultTimeoutMs);
    bool all = true;
    const auto request = [&](const char* name, bool answer) {
        std::printf("%s %d\n", name, answer ? 1 : 0);
        std::fflush(stdout);
        all = all && answer;
    };
    request("take", source.pauseAV());
    std::this_thread::sleep_for(pause);
    request("switch", source.setChannelNext());
    if (release) {
        std::this_thread::sleep_for(pause);
        request("release", source.resumeAV());
    }
    return all ? 0 : 1;
}
