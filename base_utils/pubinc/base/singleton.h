// A lazily created, never destroyed, process-wide instance.
//
// The instance word holds 0 (none yet), 1 (one thread is creating it) or the
// instance's address. It is pointer-sized so that it can hold an address on
// every target (on the 32-bit TV that is the size of an int). A constructor
// that throws puts the word back to 0, so a later get() tries again.
#pragma once

#include <base/export.h>

#include <atomic>
#include <cstdint>

namespace velmora::base {

namespace internal {
// Returns the word's value as soon as it holds something other than 1.
BASE_UTILS_EXPORT std::intptr_t WaitForInstance(std::atomic<std::intptr_t>* instance);
}  // namespace internal

// The calling thread's kernel thread id; cached per thread.
BASE_UTILS_EXPORT long currentThread();

template <typename Type>
struct DefaultSingletonTraits {
    static Type* New() { return new Type(); }
};

template <typename Type, typename Traits = DefaultSingletonTraits<Type>, typename DifferentiatingType = Type>
class Singleton {
public:
    static Type* get() {
        for (;;) {
            std::intptr_t value = instance_.load(std::memory_order_acquire);
            if (static_cast<std::uintptr_t>(value) > kCreating) {
                // NOLINTNEXTLINE(performance-no-int-to-ptr): the word holds the address create() stored.
                return reinterpret_cast<Type*>(value);
            }
            std::intptr_t expected = 0;
            if (instance_.compare_exchange_strong(expected, kCreating, std::memory_order_acquire)) {
                return create();
            }
            value = internal::WaitForInstance(&instance_);
            if (value != 0) {
                // NOLINTNEXTLINE(performance-no-int-to-ptr): the word holds the address create() stored.
                return reinterpret_cast<Type*>(value);
            }
            // The creating thread's constructor threw: compete again.
        }
    }

private:
    static constexpr std::intptr_t kCreating = 1;

    static Type* create() {
        Type* created = nullptr;
        try {
            created = Traits::New();
        } catch (...) {
            instance_.store(0, std::memory_order_release);
            throw;
        }
        instance_.store(reinterpret_cast<std::intptr_t>(created), std::memory_order_release);
        return created;
    }

    static std::atomic<std::intptr_t> instance_;
};

template <typename Type, typename Traits, typename DifferentiatingType>
std::atomic<std::intptr_t> Singleton<Type, Traits, DifferentiatingType>::instance_{0};

}  // namespace velmora::base
