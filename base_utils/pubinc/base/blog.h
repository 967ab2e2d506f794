// Diagnostic output through the platform's debug service.
//
// BLOG_ALWAYS / BLOG_ERROR / BLOG_INFO (format, args...) write one line
//   "[B-LOG] <file>:<line>:<function>(): <message>\n"
// only after the level check for that very line has passed; when it fails,
// neither the base name nor any argument is evaluated. A text argument longer
// than kMaxLoggedTextBytes (256) is cut, with a marker (base/log_text.h).
// BLOG_TRACE() declares a TraceScope that writes an entry line at once and an
// exit line however the enclosing function is left.
// Safe on any thread; nothing here takes a lock or throws.
#pragma once

#include <base/log_text.h>
#include <debug_service/csp_debug.h>

#include <cstdint>

namespace velmora::base::blog {

constexpr std::uint32_t BLOG_MODULE_ID = 0x5F;

constexpr DebugLevelRecord levelRecord(std::uint32_t level) {
    return {(BLOG_MODULE_ID << 16) | level, 0, 0};
}

constexpr DebugLevelRecord BLOG_LEVEL_ALWAYS = levelRecord(1);
constexpr DebugLevelRecord BLOG_LEVEL_ERROR = levelRecord(1000);
constexpr DebugLevelRecord BLOG_LEVEL_INFO = levelRecord(4000);
constexpr DebugLevelRecord BLOG_LEVEL_TRACE = levelRecord(5000);

// Each check gets a fresh copy of the level's record: the platform may write into it.
inline bool levelEnabled(const DebugLevelRecord& level) {
    DebugLevelRecord record = level;
    return cspDebugCheckLevelGetFrameAndChunk(&record) != 0;
}

// An argument of a log line as it is written: text cut as LoggedText says,
// anything else as it is.
template <typename T>
class LoggedArgument {
public:
    explicit LoggedArgument(T value) noexcept : m_value(value) {}
    T get() const noexcept { return m_value; }

private:
    T m_value;
};

template <>
class LoggedArgument<const char*> : public LoggedText {
public:
    using LoggedText::LoggedText;
    const char* get() const noexcept { return c_str(); }
};

template <>
class LoggedArgument<char*> : public LoggedArgument<const char*> {
public:
    using LoggedArgument<const char*>::LoggedArgument;
};

// The statements' format is checked where they are written (see BLOG_LINE_).
template <typename... Arguments>
void writeLine(const char* format, Arguments... arguments) noexcept {
    cspDebugOutput0(format, LoggedArgument<Arguments>(arguments).get()...);
}

class TraceScope {
public:
    TraceScope(const char* function, const char* baseName, int line) noexcept
        : m_function(function), m_baseName(baseName), m_line(line) {
        if (levelEnabled(BLOG_LEVEL_TRACE)) {
            cspDebugOutput0("[TRACE -> %s(IN)] %s:%d:%s() \n", m_function, m_baseName, m_line, m_function);
        }
    }

    // Decided anew at exit: tracing switched on mid-call gives the exit line only.
    ~TraceScope() {
        if (levelEnabled(BLOG_LEVEL_TRACE)) {
            cspDebugOutput0("[TRACE <- %s(OUT)] %s:%d:%s() \n", m_function, m_baseName, m_line, m_function);
        }
    }

    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

private:
    const char* m_function;
    const char* m_baseName;
    int m_line;
};

}  // namespace velmora::base::blog

// The switch shape keeps the statement whole: a following `else` cannot bind to it.
// The unevaluated call has the compiler check the format against the arguments.
#define BLOG_LINE_(level, format, ...)                                                                                 \
    switch (0)                                                                                                         \
    case 0:                                                                                                            \
    default:                                                                                                           \
        if (!::velmora::base::blog::levelEnabled(level)) {                                                             \
        } else                                                                                                         \
            (void)sizeof(::cspDebugOutput0("[%s] %s:%d:%s(): " format "\n", "", "", 0, "", ##__VA_ARGS__)),            \
                ::velmora::base::blog::writeLine("[%s] %s:%d:%s(): " format "\n", "B-LOG", ::blog_base_name(__FILE__), \
                                                 __LINE__, __func__, ##__VA_ARGS__)

#define BLOG_ALWAYS(format, ...) BLOG_LINE_(::velmora::base::blog::BLOG_LEVEL_ALWAYS, format, ##__VA_ARGS__)
#define BLOG_ERROR(format, ...) BLOG_LINE_(::velmora::base::blog::BLOG_LEVEL_ERROR, format, ##__VA_ARGS__)
#define BLOG_INFO(format, ...) BLOG_LINE_(::velmora::base::blog::BLOG_LEVEL_INFO, format, ##__VA_ARGS__)

#define BLOG_CONCAT_INNER_(a, b) a##b
#define BLOG_CONCAT_(a, b) BLOG_CONCAT_INNER_(a, b)
#define BLOG_TRACE()                                                                                                \
    ::velmora::base::blog::TraceScope BLOG_CONCAT_(blogTraceScope_, __LINE__)(__func__, ::blog_base_name(__FILE__), \
                                                                              __LINE__)
