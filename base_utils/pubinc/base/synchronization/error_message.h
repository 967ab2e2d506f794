// The text of the synchronization classes' exceptions: a fixed prefix followed
// by the strerror text of the error number.
#pragma once

#include <cstring>
#include <sstream>
#include <string>

namespace velmora::base {

inline std::string makeErrorMessage(const char* prefix, int errorNumber) {
    std::stringstream text;
    text << prefix;
    // glibc's strerror answers constant text for every error number pthread
    // returns; only an unknown number is formatted into a per-thread buffer.
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    if (const char* reason = std::strerror(errorNumber)) {
        text << reason;
    }
    return text.str();
}

}  // namespace velmora::base
