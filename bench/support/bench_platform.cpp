#include "bench_platform.h"

#include <tvsim/debug_capture.h>

#include <string>
#include <vector>

namespace benchsupport {

void quietLogs() {
    tvsim::setLogThreshold(tvsim::kLevelNone);
}

tvsim::Simulator& sharedSimulator() {
    static tvsim::Simulator* const simulator = [] {
        quietLogs();
        auto* created = new tvsim::Simulator();
        created->addInteger(kIntegerPath, 0);
        created->addString(kStringPath, std::string());
        created->addAction(kSourceSwitchPath,
                           [](unsigned int, const std::vector<lomodelapi::Argument>&) { return tvsim::Reply(); });
        return created;
    }();
    return *simulator;
}

}  // namespace benchsupport
