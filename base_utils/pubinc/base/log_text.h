// Text values in log lines. A value longer than kMaxLoggedTextBytes is written
// as its first kMaxLoggedTextBytes bytes (fewer, so as not to split a UTF-8
// character) and a marker with the count of the bytes left out:
//   orvik.sl2.aaaa...aaaa[... 41943040 more bytes]
// so that a 40 MB path costs a line of some 300 bytes. Shorter values are
// written as they are. Nothing here allocates, takes a lock or throws.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace velmora::base::blog {

constexpr std::size_t kMaxLoggedTextBytes = 256;

class LoggedText {
public:
    explicit LoggedText(const char* text) noexcept : m_text(text) {
        const std::size_t length = text == nullptr ? 0 : std::strlen(text);
        if (length <= kMaxLoggedTextBytes) {
            return;
        }
        std::size_t kept = kMaxLoggedTextBytes;
        while (kept > 0 && (static_cast<unsigned char>(text[kept]) & 0xC0U) == 0x80U) {
            --kept;  // text[kept], the first byte left out, continues a character
        }
        std::snprintf(m_cut, sizeof m_cut, "%.*s[... %zu more bytes]", static_cast<int>(kept), text, length - kept);
        m_text = m_cut;
    }
    // m_text may point into the object itself.
    LoggedText(const LoggedText&) = delete;
    LoggedText& operator=(const LoggedText&) = delete;

    const char* c_str() const noexcept { return m_text; }

private:
    const char* m_text;
    char m_cut[kMaxLoggedTextBytes + 48] = {};
};

}  // namespace velmora::base::blog
