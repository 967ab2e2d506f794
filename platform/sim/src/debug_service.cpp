// The debug service of the simulated platform: the level check, the base-name
// lookup and the line writer, plus the test capture.
#include <common/mutex.h>
#include <debug_service/csp_debug.h>
#include <tvsim/debug_capture.h>

#include <strings.h>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tvsim {

using common::Lock;
using common::Mutex;

namespace {

// Runs while the library loads, before anyone could install a capture: a
// level that cannot be read is reported straight on standard error.
unsigned thresholdFromEnvironment() {
    unsigned level = kLevelError;
    const char* text = std::getenv("SYSACCESS_LOG_LEVEL");
    if (text != nullptr && !parseLogLevel(text, level)) {
        std::fprintf(stderr,
                     "tvsim: SYSACCESS_LOG_LEVEL '%s' is neither a level number nor none, always, error, info or "
                     "trace; using error (%u)\n",
                     text, level);
    }
    return level;
}

// Read by every level check: a plain namespace-scope atomic, so the check costs
// one relaxed load and no initialisation guard.
std::atomic<unsigned> g_threshold{thresholdFromEnvironment()};

struct CaptureState {
    std::atomic<int> checkCalls{0};
    std::atomic<int> baseNameCalls{0};
    std::atomic<int> outputCalls{0};
    mutable Mutex mutex;
    std::vector<CapturedLine> lines SYSACCESS_GUARDED_BY(mutex);
    unsigned previousThreshold SYSACCESS_GUARDED_BY(mutex) = kLevelError;
};

// The one capture state, never freed: a thread that loaded g_capture just before
// a capture ended may still touch it, so it must outlive every capture.
CaptureState& captureState() {
    static CaptureState* state = new CaptureState;
    return *state;
}

// Set while a DebugCapture lives; read on every call of the three functions.
std::atomic<CaptureState*> g_capture{nullptr};

// The level word of the last check on this thread: cspDebugOutput0 is not told
// its level, so the capture attributes each line to the check before it.
thread_local std::uint32_t t_lastCheckedWord = 0;

CaptureState& captureOf(const DebugCapture*) {
    CaptureState* state = g_capture.load(std::memory_order_acquire);
    if (state == nullptr) {
        std::abort();  // a DebugCapture exists exactly while g_capture is set
    }
    return *state;
}

}  // namespace

void setLogThreshold(unsigned level) {
    g_threshold.store(level, std::memory_order_relaxed);
}

unsigned logThreshold() {
    return g_threshold.load(std::memory_order_relaxed);
}

bool parseLogLevel(const std::string& text, unsigned& level) {
    static const struct {
        const char* name;
        unsigned level;
    } kNames[] = {{"none", kLevelNone}, {"always", kLevelAlways}, {"error", kLevelError},
                  {"info", kLevelInfo}, {"trace", kLevelTrace},   {"all", kLevelTrace}};
    for (const auto& entry : kNames) {
        if (strcasecmp(text.c_str(), entry.name) == 0) {
            level = entry.level;
            return true;
        }
    }
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    level = static_cast<unsigned>(std::stoul(text));
    return true;
}

DebugCapture::DebugCapture(unsigned level) {
    CaptureState& state = captureState();
    {
        Lock lock(state.mutex);
        state.lines.clear();
        state.checkCalls = 0;
        state.baseNameCalls = 0;
        state.outputCalls = 0;
        state.previousThreshold = logThreshold();
    }
    CaptureState* expected = nullptr;
    if (!g_capture.compare_exchange_strong(expected, &state, std::memory_order_acq_rel)) {
        std::fputs("tvsim: only one DebugCapture may exist at a time\n", stderr);
        std::abort();
    }
    setLogThreshold(level);
}

DebugCapture::~DebugCapture() {
    CaptureState* state = g_capture.exchange(nullptr, std::memory_order_acq_rel);
    Lock lock(state->mutex);
    setLogThreshold(state->previousThreshold);
}

std::vector<CapturedLine> DebugCapture::lines() const {
    CaptureState& state = captureOf(this);
    Lock lock(state.mutex);
    return state.lines;
}

std::vector<std::string> DebugCapture::texts() const {
    std::vector<std::string> result;
    for (const CapturedLine& line : lines()) {
        result.push_back(line.text);
    }
    return result;
}

void DebugCapture::clear() {
    CaptureState& state = captureOf(this);
    Lock lock(state.mutex);
    state.lines.clear();
    state.checkCalls = 0;
    state.baseNameCalls = 0;
    state.outputCalls = 0;
}

int DebugCapture::checkCalls() const {
    return captureOf(this).checkCalls.load();
}
int DebugCapture::baseNameCalls() const {
    return captureOf(this).baseNameCalls.load();
}
int DebugCapture::outputCalls() const {
    return captureOf(this).outputCalls.load();
}

}  // namespace tvsim

using tvsim::g_capture;

// Every disabled line of the library pays for this call alone: the capture's
// bookkeeping is done only while a test has one installed.
extern "C" int cspDebugCheckLevelGetFrameAndChunk(DebugLevelRecord* record) {
    if (tvsim::CaptureState* capture = g_capture.load(std::memory_order_acquire)) {
        capture->checkCalls.fetch_add(1, std::memory_order_relaxed);
        tvsim::t_lastCheckedWord = record->levelWord;
    }
    return (record->levelWord & 0xFFFFu) <= tvsim::g_threshold.load(std::memory_order_relaxed) ? 1 : 0;
}

extern "C" const char* blog_base_name(const char* path) {
    if (tvsim::CaptureState* capture = g_capture.load(std::memory_order_acquire)) {
        capture->baseNameCalls.fetch_add(1, std::memory_order_relaxed);
    }
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

extern "C" int cspDebugOutput0(const char* format, ...) {
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    int length = std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    if (length < 0) {
        return length;
    }
    std::string text;
    if (static_cast<size_t>(length) < sizeof(buffer)) {
        text.assign(buffer, static_cast<size_t>(length));
    } else {
        text.resize(static_cast<size_t>(length) + 1);
        va_start(arguments, format);
        std::vsnprintf(&text[0], text.size(), format, arguments);
        va_end(arguments);
        text.resize(static_cast<size_t>(length));
    }
    if (tvsim::CaptureState* capture = g_capture.load(std::memory_order_acquire)) {
        capture->outputCalls.fetch_add(1, std::memory_order_relaxed);
        tvsim::Lock lock(capture->mutex);
        capture->lines.push_back({tvsim::t_lastCheckedWord, format, std::move(text)});
        return length;
    }
    std::fputs(text.c_str(), stderr);
    return length;
}
