#include "object_paths.h"

#include <tvsim/input_limits.h>

#include <cstring>
#include <string>

namespace tvsimd {
namespace {

// sd-bus carries object paths of at most 64 KiB. The part after the prefix
// takes at most three characters per byte of the model path, plus two (an
// escaped byte three, a dot with the '_' of an empty element two); the TV
// keeps every path short enough that its object path fits.
static_assert(std::char_traits<char>::length(tvsim::bus::kModelPrefix) + 3 * tvsim::kMaxPathBytes + 2 <=
              std::size_t{64} * 1024);

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

void appendElement(std::string& out, const std::string& modelPath, std::size_t begin, std::size_t end) {
    static const char kHex[] = "0123456789abcdef";
    out += '/';
    if (begin == end) {
        out += '_';
        return;
    }
    for (std::size_t i = begin; i < end; ++i) {
        const auto byte = static_cast<unsigned char>(modelPath[i]);
        if (isPlain(modelPath[i])) {
            out += modelPath[i];
        } else {
            out += '_';
            out += kHex[byte >> 4];
            out += kHex[byte & 0xf];
        }
    }
}

// Appends the model form of one object path element; false when it is not an escape this file makes.
bool decodeElement(const char* element, std::size_t length, std::string& out) {
    if (length == 1 && element[0] == '_') {
        return true;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (isPlain(element[i])) {
            out += element[i];
            continue;
        }
        if (element[i] != '_' || i + 2 >= length) {
            return false;
        }
        const int high = hexDigit(element[i + 1]);
        const int low = hexDigit(element[i + 2]);
        if (high < 0 || low < 0) {
            return false;
        }
        const char decoded = static_cast<char>((high << 4) | low);
        // A plain character in escaped form would give one model path two object paths.
        if (isPlain(decoded)) {
            return false;
        }
        out += decoded;
        i += 2;
    }
    return length > 0;
}

}  // namespace

std::string objectPathOf(const std::string& modelPath) {
    std::string out = tvsim::bus::kModelPrefix;
    std::size_t begin = 0;
    for (std::size_t dot; (dot = modelPath.find('.', begin)) != std::string::npos; begin = dot + 1) {
        appendElement(out, modelPath, begin, dot);
    }
    appendElement(out, modelPath, begin, modelPath.size());
    return out;
}

bool modelPathOf(const std::string& objectPath, std::string& modelPath) {
    const std::size_t prefixLength = std::strlen(tvsim::bus::kModelPrefix);
    if (objectPath.compare(0, prefixLength, tvsim::bus::kModelPrefix) != 0 || objectPath.size() <= prefixLength + 1 ||
        objectPath[prefixLength] != '/') {
        return false;
    }
    std::string decoded;
    std::size_t begin = prefixLength + 1;
    while (true) {
        const std::size_t slash = objectPath.find('/', begin);
        const std::size_t end = slash == std::string::npos ? objectPath.size() : slash;
        if (!decodeElement(objectPath.data() + begin, end - begin, decoded)) {
            return false;
        }
        if (slash == std::string::npos) {
            break;
        }
        decoded += '.';
        begin = slash + 1;
    }
    modelPath = std::move(decoded);
    return true;
}

}  // namespace tvsimd
