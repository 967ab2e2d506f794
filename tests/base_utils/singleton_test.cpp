// The lazily created singleton under racing first calls and throwing constructors, and currentThread.
#include <base/singleton.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <sched.h>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using velmora::base::Singleton;

constexpr int kThreads = 16;
constexpr int kBuilt = 0x5EED;

// Each test has its own instance type, hence its own instance word. The constructor waits until every
// racing thread has announced its get(), so the others arrive while it is still being built; if it is
// told to, it then throws instead.
template <int Tag>
struct Instance {
    static std::atomic<int> constructions;
    static std::atomic<int> arrivals;
    static std::atomic<int> arrivalsBeforeBuilding;
    static std::atomic<int> failuresLeft;

    Instance() {
        constructions.fetch_add(1);
        while (arrivals.load() < arrivalsBeforeBuilding.load()) {
            sched_yield();
        }
        if (failuresLeft.fetch_sub(1) > 0) {
            throw std::runtime_error("construction failed");
        }
        m_value = kBuilt;
    }

    int m_value = 0;
};
template <int Tag>
std::atomic<int> Instance<Tag>::constructions{0};
template <int Tag>
std::atomic<int> Instance<Tag>::arrivals{0};
template <int Tag>
std::atomic<int> Instance<Tag>::arrivalsBeforeBuilding{0};
template <int Tag>
std::atomic<int> Instance<Tag>::failuresLeft{0};

// Starts kThreads threads together on the first get() and collects what each saw.
template <int Tag>
std::vector<const Instance<Tag>*> raceOnFirstGet(int& exceptions) {
    using Type = Instance<Tag>;
    Type::arrivalsBeforeBuilding = kThreads;
    std::atomic<int> ready{0};
    std::atomic<int> thrown{0};
    std::vector<const Type*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back([&, index] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
                sched_yield();
            }
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
    exceptions = thrown.load();
    return seen;
}

TEST(SingletonTest, RacingFirstCallsConstructOnceAndShareTheInstance) {
    int exceptions = 0;
    const auto seen = raceOnFirstGet<1>(exceptions);

    EXPECT_EQ(exceptions, 0);
    EXPECT_EQ(Instance<1>::constructions.load(), 1);
    for (const Instance<1>* instance : seen) {
        ASSERT_NE(instance, nullptr);
        EXPECT_EQ(instance, seen.front());
        EXPECT_EQ(instance->m_value, kBuilt);
    }
    EXPECT_EQ(Singleton<Instance<1>>::get(), seen.front());
}

TEST(SingletonTest, ThrowingConstructorReachesTheCallerAndALaterGetRetries) {
    using Type = Instance<2>;
    Type::failuresLeft = 1;

    EXPECT_THROW(Singleton<Type>::get(), std::runtime_error);
    Type* instance = Singleton<Type>::get();

    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(instance->m_value, kBuilt);
    EXPECT_EQ(Singleton<Type>::get(), instance);
    EXPECT_EQ(Type::constructions.load(), 2);
}

TEST(SingletonTest, WaitersOfAThrowingConstructionRetryInsteadOfHanging) {
    Instance<3>::failuresLeft = 1;
    int exceptions = 0;
    const auto seen = raceOnFirstGet<3>(exceptions);

    // Only the thread whose construction threw sees the exception; one waiter then builds the instance.
    EXPECT_EQ(exceptions, 1);
    EXPECT_EQ(Instance<3>::constructions.load(), 2);
    const Instance<3>* shared = Singleton<Instance<3>>::get();
    int sharers = 0;
    for (const Instance<3>* instance : seen) {
        sharers += instance == shared ? 1 : 0;
    }
    EXPECT_EQ(sharers, kThreads - 1);
    EXPECT_EQ(shared->m_value, kBuilt);
}

TEST(CurrentThreadTest, IsTheKernelThreadIdStableOnAThreadAndDistinctAcrossThreads) {
    const long mine = velmora::base::currentThread();
    EXPECT_EQ(velmora::base::currentThread(), mine);
    EXPECT_EQ(mine, static_cast<long>(syscall(SYS_gettid)));

    long other = 0;
    long otherKernelId = 0;
    std::thread worker([&] {
        other = velmora::base::currentThread();
        otherKernelId = static_cast<long>(syscall(SYS_gettid));
    });
    worker.join();

    EXPECT_EQ(other, otherKernelId);
    EXPECT_NE(other, mine);
}

}  // namespace
