// The lazily created singleton under racing first calls and throwing constructors, and currentThread.
#include <base/singleton.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <sched.h>
#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using velmora::base::Singleton;

constexpr int kThreads = 16;

// Each scenario has its own instance type, hence its own instance word. The constructor waits until every
// racing thread has called get(), so the others wait while it is still being built; the first `failures`
// constructions then throw instead.
template <int Tag>
struct Instance {
    static inline std::atomic<int> constructions{0};
    static inline std::atomic<int> arrivals{0};
    static inline int awaited = 0;
    static inline std::atomic<int> failures{0};

    Instance() {
        constructions.fetch_add(1);
        while (arrivals.load() < awaited) {
            sched_yield();
        }
        if (failures.fetch_sub(1) > 0) {
            throw std::runtime_error("construction failed");
        }
    }
};

// kThreads threads make the first get() together; each sees the instance or the constructor's exception.
template <int Tag>
void raceOnFirstGet(int failures) {
    using Type = Instance<Tag>;
    Type::awaited = kThreads;
    Type::failures = failures;
    std::atomic<int> thrown{0};
    std::vector<const Type*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back([&, index] {
            Type::arrivals.fetch_add(1);
            try {
                seen[index] = Singleton<Type>::get();
            } catch (const std::runtime_error&) {
                thrown.fetch_add(1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // Only a thread whose construction threw sees the exception; a waiter then builds the instance.
    EXPECT_EQ(thrown.load(), failures);
    EXPECT_EQ(Type::constructions.load(), failures + 1);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), Singleton<Type>::get()), kThreads - failures);
}

// A throwing constructor's exception reaches its own caller only, and a later get() tries again.
TEST(SingletonTest, RacingFirstCallsConstructOnceAndWaitersRetryAfterAThrowingConstructor) {
    raceOnFirstGet<1>(0);
    raceOnFirstGet<2>(1);
}

TEST(CurrentThreadTest, IsTheKernelThreadIdOfTheCallingThread) {
    long other = 0;
    long otherKernelId = 0;
    std::thread([&] {
        other = velmora::base::currentThread();
        otherKernelId = static_cast<long>(syscall(SYS_gettid));
    }).join();
    EXPECT_EQ(other, otherKernelId);
    EXPECT_EQ(velmora::base::currentThread(), static_cast<long>(syscall(SYS_gettid)));
}

}  // namespace
