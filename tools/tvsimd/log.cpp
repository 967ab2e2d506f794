#include "log.h"

#include <atomic>
#include <cstdio>

namespace tvsimd {
namespace {

std::atomic<unsigned> g_threshold{0};

}  // namespace

void setLogThreshold(unsigned level) {
    g_threshold.store(level, std::memory_order_relaxed);
}

bool logEnabled(unsigned level) {
    return level <= g_threshold.load(std::memory_order_relaxed);
}

void logLine(unsigned level, const std::string& text) {
    if (logEnabled(level)) {
        // One fprintf per line keeps lines from several threads whole.
        std::fprintf(stderr, "tvsimd: %s\n", text.c_str());
    }
}

}  // namespace tvsimd
