// The platform's debug service. All three functions are safe to call from
// any thread at once.
#pragma once

#include <cstdint>

extern "C" {

// The argument of the level check: the level word (module id in the upper
// 16 bits, level in the lower 16), then two words the platform may fill.
struct DebugLevelRecord {
    std::uint32_t levelWord;
    std::uint32_t frame;
    std::uint32_t chunk;
};

// Non-zero when a line of the record's level is wanted.
int cspDebugCheckLevelGetFrameAndChunk(DebugLevelRecord* record);

// The last component of a path; the returned text stays valid.
const char* blog_base_name(const char* path);

// Writes one printf-style formatted line.
int cspDebugOutput0(const char* format, ...) __attribute__((format(printf, 1, 2)));
}
