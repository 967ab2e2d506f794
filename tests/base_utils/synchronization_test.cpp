// Mutex, ConditionVariable and UniqueLock: error texts, logged lock failures and the timed wait.
//
// The pthread functions the wrappers call are interposed below: a thread can make its next call of one of
// them fail with a chosen error number; every other call goes to the real function.
#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/synchronization/unique_lock.h>
#include <tvsim/debug_capture.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <regex>
#include <stdexcept>
#include <string>
#include <tuple>

namespace {

enum PthreadCall { NONE, MUTEX_INIT, MUTEX_LOCK, MUTEX_UNLOCK, COND_INIT, COND_BROADCAST, COND_WAIT, COND_CLOCKWAIT };

// Trivially constructed thread-locals: the interposed functions run on every thread from process start on.
thread_local PthreadCall t_failingCall = NONE;
thread_local int t_failingError = 0;
thread_local int t_calls[COND_CLOCKWAIT + 1] = {};

void failNextCall(PthreadCall call, int error) {
    t_failingCall = call;
    t_failingError = error;
}

// True (once) when this call of `call` is armed to fail; counts the calls.
bool failsNow(PthreadCall call) {
    ++t_calls[call];
    const bool armed = t_failingCall == call;
    t_failingCall = armed ? NONE : t_failingCall;
    return armed;
}

// The next definition of the named function, kept in a constant-initialised static: no guard to lock.
template <PthreadCall call, typename Function>
Function* next(const char* name) {
    static std::atomic<Function*> found{nullptr};
    if (found.load(std::memory_order_acquire) == nullptr) {
        found.store(reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name)), std::memory_order_release);
    }
    return found.load(std::memory_order_acquire);
}

}  // namespace

#define INTERPOSE(call, name, parameters, arguments, ...)                                     \
    int name parameters __VA_ARGS__ {                                                         \
        return failsNow(call) ? t_failingError : next<call, decltype(name)>(#name) arguments; \
    }

extern "C" {
INTERPOSE(MUTEX_INIT, pthread_mutex_init, (pthread_mutex_t * m, const pthread_mutexattr_t* a), (m, a), noexcept)
INTERPOSE(MUTEX_LOCK, pthread_mutex_lock, (pthread_mutex_t * m), (m), noexcept)
INTERPOSE(MUTEX_UNLOCK, pthread_mutex_unlock, (pthread_mutex_t * m), (m), noexcept)
INTERPOSE(COND_INIT, pthread_cond_init, (pthread_cond_t * c, const pthread_condattr_t* a), (c, a), noexcept)
INTERPOSE(COND_BROADCAST, pthread_cond_broadcast, (pthread_cond_t * c), (c), noexcept)
INTERPOSE(COND_WAIT, pthread_cond_wait, (pthread_cond_t * c, pthread_mutex_t* m), (c, m))
INTERPOSE(COND_CLOCKWAIT, pthread_cond_clockwait,
          (pthread_cond_t * c, pthread_mutex_t* m, clockid_t clock, const struct timespec* deadline),
          (c, m, clock, deadline))
}  // extern "C"

namespace {

using velmora::base::ConditionVariable;
using velmora::base::Mutex;
using velmora::base::UniqueLock;

std::chrono::steady_clock::time_point farDeadline() {
    return std::chrono::steady_clock::now() + std::chrono::hours(1);
}

// Arms the failure right before the call that must throw; for the checks that find no mutex (no pthread
// call) the error number is put into errno instead, and otherwise errno holds an unrelated one.
void arm(PthreadCall call, int error) {
    errno = call == NONE ? error : ENOENT;
    failNextCall(call, error);
}

// Runs the wrapper operation that makes `call`, which fails with `error`; NONE: a wait on a lock without a
// mutex. Locks are taken and left by hand; the analysis cannot follow a lock that throws instead of locking.
void failInside(PthreadCall call, int error, bool timed) SYSACCESS_NO_THREAD_SAFETY_ANALYSIS {
    tvsim::DebugCapture quiet(tvsim::kLevelNone);  // the lock without a mutex logs its own line
    if (call == MUTEX_INIT || call == COND_INIT) {
        arm(call, error);
    }
    Mutex mutex;
    ConditionVariable condition;
    if (call == MUTEX_LOCK || call == COND_BROADCAST) {
        arm(call, error);
        call == MUTEX_LOCK ? mutex.lock() : condition.notify_all();
    } else if (call == MUTEX_UNLOCK) {
        mutex.lock();
        arm(call, error);
        try {
            mutex.unlock();
        } catch (...) {
            mutex.unlock();
            throw;
        }
    } else {
        UniqueLock lock(call == NONE ? nullptr : &mutex);
        arm(call, error);
        timed ? static_cast<void>(condition.wait_until(lock, farDeadline())) : condition.wait(lock);
    }
}

struct ThrowCase {
    const char* name;
    PthreadCall call;
    bool timed;
    const char* prefix;
};

const ThrowCase kThrowCases[] = {
    {"MutexInit", MUTEX_INIT, false, "Mutex init error: "},
    {"MutexLock", MUTEX_LOCK, false, "Mutex lock error: "},
    {"MutexUnlock", MUTEX_UNLOCK, false, "Mutex unlock error: "},
    {"ConditionInit", COND_INIT, false, "ConditionVariable init error: "},
    {"NotifyAll", COND_BROADCAST, false, "ConditionVariable notify_all error: "},
    {"CondWait", COND_WAIT, false, "ConditionVariable cond_wait error: "},
    {"ClockWait", COND_CLOCKWAIT, true, "ConditionVariable cond_wait error: "},
    {"WaitWithoutMutex", NONE, false, "ConditionVariable wait error: "},
    {"WaitUntilWithoutMutex", NONE, true, "ConditionVariable wait error: "},
};

class ErrorTextTest : public testing::TestWithParam<std::tuple<ThrowCase, int>> {};

TEST_P(ErrorTextTest, TextIsPrefixAndStrerrorOfTheReportedNumber) {
    const auto& [c, error] = GetParam();
    try {
        failInside(c.call, error, c.timed);
        FAIL() << "no exception";
    } catch (const std::runtime_error& thrown) {
        EXPECT_EQ(std::string(thrown.what()), std::string(c.prefix) + std::strerror(error));
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, ErrorTextTest,
                         testing::Combine(testing::ValuesIn(kThrowCases), testing::Values(EINVAL, EAGAIN)),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param).name) +
                                    (std::get<1>(test.param) == EINVAL ? "_EINVAL" : "_EAGAIN");
                         });

// A lock failure inside UniqueLock is logged, not thrown, under the function that met it.
void expectCaughtLine(const tvsim::CapturedLine& line, const std::string& function, const std::string& message) {
    EXPECT_EQ(line.format, "[%s] %s:%d:%s(): An runtime_error has been caught:%s.\n");
    EXPECT_EQ(line.levelWord, 0x5F03E8u);
    EXPECT_TRUE(
        std::regex_match(line.text, std::regex(R"(\[B-LOG\] unique_lock\.h:[0-9]+:)" + function +
                                               R"(\(\): An runtime_error has been caught:)" + message + R"(\.\n)")))
        << line.text;
}

TEST(UniqueLockTest, LockFailuresAreLoggedAndANullMutexIsNeverUnlocked) {
    tvsim::DebugCapture capture;
    {
        errno = EDEADLK;
        UniqueLock lock(nullptr);
        t_calls[MUTEX_UNLOCK] = 0;
    }
    EXPECT_EQ(t_calls[MUTEX_UNLOCK], 0);
    Mutex mutex;
    {
        failNextCall(MUTEX_LOCK, EAGAIN);
        UniqueLock lock(&mutex);
        // The lock was never taken, so the destructor's unlock must fail too rather than release nothing.
        failNextCall(MUTEX_UNLOCK, EPERM);
    }

    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 3u);
    expectCaughtLine(lines[0], "UniqueLock", "UniqueLock lock error: " + std::string(std::strerror(EDEADLK)));
    expectCaughtLine(lines[1], "UniqueLock", "Mutex lock error: " + std::string(std::strerror(EAGAIN)));
    expectCaughtLine(lines[2], "~UniqueLock", "Mutex unlock error: " + std::string(std::strerror(EPERM)));
}

// Waking and hand-offs are exercised by every library suite that waits for an outcome; the timeout is not.
TEST(ConditionVariableTest, WaitUntilAPassedDeadlineAnswersFalseAndKeepsTheLockUntilTheLockEnds) {
    Mutex mutex;
    ConditionVariable condition;
    {
        UniqueLock lock(&mutex);
        EXPECT_FALSE(condition.wait_until(lock, std::chrono::steady_clock::now() - std::chrono::milliseconds(1)));
        EXPECT_EQ(pthread_mutex_trylock(mutex.native_handle()), EBUSY);
    }
    EXPECT_EQ(pthread_mutex_trylock(mutex.native_handle()), 0);
    pthread_mutex_unlock(mutex.native_handle());
}

}  // namespace
