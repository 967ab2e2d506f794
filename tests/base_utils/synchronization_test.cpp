// Mutex, ConditionVariable and UniqueLock: error texts, logged lock failures and a real hand-off.
//
// The pthread functions the wrappers call are interposed below: a thread can make its next call of one of
// them fail with a chosen error number; every other call goes to the real function.
#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/synchronization/unique_lock.h>
#include <tvsim/debug_capture.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

namespace {

enum class PthreadCall {
    NONE,
    MUTEX_INIT,
    MUTEX_LOCK,
    MUTEX_UNLOCK,
    COND_INIT,
    COND_BROADCAST,
    COND_WAIT,
    COND_CLOCKWAIT
};

// Trivially constructed thread-locals: the interposed functions run on every thread from process start on.
thread_local PthreadCall t_failingCall = PthreadCall::NONE;
thread_local int t_failingError = 0;
thread_local int t_mutexUnlockCalls = 0;

void failNextCall(PthreadCall call, int error) {
    t_failingCall = call;
    t_failingError = error;
}

// True (once) when this call is the one armed to fail.
bool takeFailure(PthreadCall call, int& error) {
    if (t_failingCall != call) {
        return false;
    }
    t_failingCall = PthreadCall::NONE;
    error = t_failingError;
    return true;
}

// Fails the call if it is the armed one, otherwise forwards it to the next definition of the named function.
template <typename Function, typename... Args>
int forwardOrFail(PthreadCall call, std::atomic<Function*>& next, const char* name, Args... args) {
    int armedError = 0;
    if (takeFailure(call, armedError)) {
        return armedError;
    }
    Function* function = next.load(std::memory_order_acquire);
    if (function == nullptr) {
        function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
        if (function == nullptr) {
            std::abort();
        }
        next.store(function, std::memory_order_release);
    }
    return function(args...);
}

}  // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    static std::atomic<int (*)(pthread_mutex_t*, const pthread_mutexattr_t*)> next{nullptr};
    return forwardOrFail(PthreadCall::MUTEX_INIT, next, "pthread_mutex_init", mutex, attributes);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static std::atomic<int (*)(pthread_mutex_t*)> next{nullptr};
    return forwardOrFail(PthreadCall::MUTEX_LOCK, next, "pthread_mutex_lock", mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    ++t_mutexUnlockCalls;
    static std::atomic<int (*)(pthread_mutex_t*)> next{nullptr};
    return forwardOrFail(PthreadCall::MUTEX_UNLOCK, next, "pthread_mutex_unlock", mutex);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    static std::atomic<int (*)(pthread_cond_t*, const pthread_condattr_t*)> next{nullptr};
    return forwardOrFail(PthreadCall::COND_INIT, next, "pthread_cond_init", condition, attributes);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    static std::atomic<int (*)(pthread_cond_t*)> next{nullptr};
    return forwardOrFail(PthreadCall::COND_BROADCAST, next, "pthread_cond_broadcast", condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static std::atomic<int (*)(pthread_cond_t*, pthread_mutex_t*)> next{nullptr};
    return forwardOrFail(PthreadCall::COND_WAIT, next, "pthread_cond_wait", condition, mutex);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const struct timespec* deadline) {
    static std::atomic<int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const struct timespec*)> next{nullptr};
    return forwardOrFail(PthreadCall::COND_CLOCKWAIT, next, "pthread_cond_clockwait", condition, mutex, clock,
                         deadline);
}

}  // extern "C"

namespace {

using velmora::base::ConditionVariable;
using velmora::base::Mutex;
using velmora::base::UniqueLock;

constexpr int kUnrelatedErrno = ENOENT;

// Arms the failure, or for the checks that find no mutex (no pthread call), puts the error number into errno.
struct Failure {
    PthreadCall call;
    int error;

    void arm() const {
        if (call == PthreadCall::NONE) {
            errno = error;
            return;
        }
        failNextCall(call, error);
        errno = kUnrelatedErrno;
    }
};

struct ThrowCase {
    const char* name;
    PthreadCall call;
    const char* prefix;
    void (*operation)(const Failure& failure);  // arms the failure right before the call that must throw
};

void failMutexInit(const Failure& failure) {
    failure.arm();
    Mutex mutex;
}
// Locks are taken and left by hand here; the analysis cannot follow a lock that throws instead of locking.
void failMutexLock(const Failure& failure) SYSACCESS_NO_THREAD_SAFETY_ANALYSIS {
    Mutex mutex;
    failure.arm();
    mutex.lock();
}
void failMutexUnlock(const Failure& failure) SYSACCESS_NO_THREAD_SAFETY_ANALYSIS {
    Mutex mutex;
    mutex.lock();
    try {
        failure.arm();
        mutex.unlock();
    } catch (...) {
        mutex.unlock();
        throw;
    }
}
void failConditionInit(const Failure& failure) {
    failure.arm();
    ConditionVariable condition;
}
void failBroadcast(const Failure& failure) {
    ConditionVariable condition;
    failure.arm();
    condition.notify_all();
}
void failCondWait(const Failure& failure) {
    Mutex mutex;
    ConditionVariable condition;
    UniqueLock lock(&mutex);
    failure.arm();
    condition.wait(lock);
}
std::chrono::steady_clock::time_point farDeadline() {
    return std::chrono::steady_clock::now() + std::chrono::hours(1);
}
void failClockWait(const Failure& failure) {
    Mutex mutex;
    ConditionVariable condition;
    UniqueLock lock(&mutex);
    failure.arm();
    condition.wait_until(lock, farDeadline());
}
void waitUntilWithoutMutex(const Failure& failure) {
    tvsim::DebugCapture quiet(tvsim::kLevelNone);
    ConditionVariable condition;
    UniqueLock lock(nullptr);
    failure.arm();
    condition.wait_until(lock, farDeadline());
}
void waitWithoutMutex(const Failure& failure) {
    tvsim::DebugCapture quiet(tvsim::kLevelNone);
    ConditionVariable condition;
    UniqueLock lock(nullptr);
    failure.arm();
    condition.wait(lock);
}

const ThrowCase kThrowCases[] = {
    {"MutexInit", PthreadCall::MUTEX_INIT, "Mutex init error: ", failMutexInit},
    {"MutexLock", PthreadCall::MUTEX_LOCK, "Mutex lock error: ", failMutexLock},
    {"MutexUnlock", PthreadCall::MUTEX_UNLOCK, "Mutex unlock error: ", failMutexUnlock},
    {"ConditionInit", PthreadCall::COND_INIT, "ConditionVariable init error: ", failConditionInit},
    {"NotifyAll", PthreadCall::COND_BROADCAST, "ConditionVariable notify_all error: ", failBroadcast},
    {"CondWait", PthreadCall::COND_WAIT, "ConditionVariable cond_wait error: ", failCondWait},
    {"WaitWithoutMutex", PthreadCall::NONE, "ConditionVariable wait error: ", waitWithoutMutex},
    {"ClockWait", PthreadCall::COND_CLOCKWAIT, "ConditionVariable cond_wait error: ", failClockWait},
    {"WaitUntilWithoutMutex", PthreadCall::NONE, "ConditionVariable wait error: ", waitUntilWithoutMutex},
};

void PrintTo(const ThrowCase& c, std::ostream* out) {
    *out << c.name;
}

class ErrorTextTest : public testing::TestWithParam<std::tuple<ThrowCase, int>> {};

TEST_P(ErrorTextTest, TextIsPrefixAndStrerrorOfTheReportedNumber) {
    const ThrowCase& c = std::get<0>(GetParam());
    const int error = std::get<1>(GetParam());
    try {
        c.operation(Failure{c.call, error});
        FAIL() << "no exception";
    } catch (const std::runtime_error& thrown) {
        EXPECT_EQ(std::string(thrown.what()), std::string(c.prefix) + std::strerror(error));
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, ErrorTextTest,
                         testing::Combine(testing::ValuesIn(kThrowCases), testing::Values(EINVAL, EAGAIN)),
                         [](const testing::TestParamInfo<std::tuple<ThrowCase, int>>& testInfo) {
                             return std::string(std::get<0>(testInfo.param).name) +
                                    (std::get<1>(testInfo.param) == EINVAL ? "_EINVAL" : "_EAGAIN");
                         });

const char kCaughtFormat[] = "[%s] %s:%d:%s(): An runtime_error has been caught:%s.\n";
const std::uint32_t kErrorWord = 0x5F03E8;

std::string caughtLinePattern(const std::string& function, const std::string& message) {
    return "\\[B-LOG\\] unique_lock\\.h:[0-9]+:" + function + "\\(\\): An runtime_error has been caught:" + message +
           "\\.\n";
}

TEST(UniqueLockTest, NullMutexIsLoggedNotThrownAndNotUnlocked) {
    tvsim::DebugCapture capture;
    {
        errno = EDEADLK;
        UniqueLock lock(nullptr);
        t_mutexUnlockCalls = 0;
    }
    EXPECT_EQ(t_mutexUnlockCalls, 0);

    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].format, kCaughtFormat);
    EXPECT_EQ(lines[0].levelWord, kErrorWord);
    EXPECT_THAT(lines[0].text, testing::MatchesRegex(caughtLinePattern(
                                   "UniqueLock", "UniqueLock lock error: " + std::string(std::strerror(EDEADLK)))));
}

TEST(UniqueLockTest, FailedLockAndUnlockAreLoggedUnderTheirOwnFunctionNames) {
    tvsim::DebugCapture capture;
    Mutex mutex;
    {
        failNextCall(PthreadCall::MUTEX_LOCK, EAGAIN);
        UniqueLock lock(&mutex);
        // The lock was never taken, so the destructor's unlock must fail too rather than release nothing.
        failNextCall(PthreadCall::MUTEX_UNLOCK, EPERM);
    }

    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0].text, testing::MatchesRegex(caughtLinePattern(
                                   "UniqueLock", "Mutex lock error: " + std::string(std::strerror(EAGAIN)))));
    EXPECT_THAT(lines[1].text, testing::MatchesRegex(caughtLinePattern(
                                   "~UniqueLock", "Mutex unlock error: " + std::string(std::strerror(EPERM)))));
    EXPECT_EQ(lines[1].format, kCaughtFormat);
    EXPECT_EQ(lines[1].levelWord, kErrorWord);
}

TEST(UniqueLockTest, HoldsTheMutexForItsLifetime) {
    Mutex mutex;
    {
        UniqueLock lock(&mutex);
        EXPECT_EQ(pthread_mutex_trylock(mutex.native_handle()), EBUSY);
    }
    EXPECT_EQ(pthread_mutex_trylock(mutex.native_handle()), 0);
    pthread_mutex_unlock(mutex.native_handle());
}

// A request and its reply handed between two threads through one mutex and one condition variable.
struct Exchange {
    Mutex mutex;
    ConditionVariable changed;
    int request SYSACCESS_GUARDED_BY(mutex) = 0;
    int reply SYSACCESS_GUARDED_BY(mutex) = 0;
};

// One wait of each kind; a timed wait must be woken, not time out.
void waitOnce(ConditionVariable& condition, UniqueLock& lock, bool timed) {
    if (timed) {
        EXPECT_TRUE(condition.wait_until(lock, farDeadline()));
    } else {
        condition.wait(lock);
    }
}

class RoundTripTest : public testing::TestWithParam<bool> {};

TEST_P(RoundTripTest, RequestAndReplyPassBetweenThreads) {
    const bool timed = GetParam();
    Exchange exchange;
    std::thread responder([&exchange, timed] {
        UniqueLock lock(&exchange.mutex);
        while (exchange.request == 0) {
            waitOnce(exchange.changed, lock, timed);
        }
        exchange.reply = exchange.request + 1;
        exchange.changed.notify_all();
    });
    {
        UniqueLock lock(&exchange.mutex);
        exchange.request = 41;
        exchange.changed.notify_all();
        while (exchange.reply == 0) {
            waitOnce(exchange.changed, lock, timed);
        }
        EXPECT_EQ(exchange.reply, 42);
    }
    responder.join();
}

INSTANTIATE_TEST_SUITE_P(Waits, RoundTripTest, testing::Bool(), [](const testing::TestParamInfo<bool>& testInfo) {
    return std::string(testInfo.param ? "WaitUntil" : "Wait");
});

TEST(ConditionVariableTest, WaitUntilAPassedDeadlineAnswersFalseAndKeepsTheLock) {
    Mutex mutex;
    ConditionVariable condition;
    UniqueLock lock(&mutex);

    EXPECT_FALSE(condition.wait_until(lock, std::chrono::steady_clock::now() - std::chrono::milliseconds(1)));
    EXPECT_EQ(pthread_mutex_trylock(mutex.native_handle()), EBUSY);
}

}  // namespace
