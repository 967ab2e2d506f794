// What the benchmarks against tvsimd share: the private dbus-daemon and tvsimd
// they start (once, stopped at exit) with the library in the process pointed
// at them, a Control.Set sent as the platform's own change would come, the
// handler that notes when each value arrived, and latency percentiles.
#pragma once

#include "bus_processes.h"

#include <system_access/value_access.h>
#include <system_access/value_object.h>
#include <tvsim/platform_choice.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace remote_bench {

namespace access = velmora::system::access;
using Clock = std::chrono::steady_clock;

// The bus and the daemon, started at the first use and stopped at exit.
struct Service {
    Service() : tvsimd(bus.address()) { tvsim::usePlatformOnBus(bus.address()); }
    tvsimd_test::PrivateDbusDaemon bus;
    tvsimd_test::Tvsimd tvsimd;
};

inline Service& service() {
    static Service instance;
    return instance;
}

inline double percentileUs(std::vector<double>& samples, double fraction) {
    if (samples.empty()) {
        return 0;
    }
    const auto at = samples.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

inline void reportLatency(benchmark::State& state, std::vector<double>& samples) {
    state.counters["p50_us"] = percentileUs(samples, 0.5);
    state.counters["p99_us"] = percentileUs(samples, 0.99);
}

inline double microsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::micro>(to - from).count();
}

// When each value reached a handler, for the thread that waits for it.
class Arrivals {
public:
    void record(int value) {
        const auto now = Clock::now();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_value = value;
            m_at = now;
        }
        m_arrived.notify_one();
    }

    // When the value arrived; false when it did not within 5 s.
    bool waitFor(int value, Clock::time_point& at) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const bool came = m_arrived.wait_for(lock, std::chrono::seconds(5), [&] { return m_value == value; });
        at = m_at;
        return came;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    int m_value = -1;
    Clock::time_point m_at;
};

class ArrivalHandler final : public access::ValueHandler {
public:
    explicit ArrivalHandler(Arrivals& arrivals) : m_arrivals(arrivals) {}
    void onNewValue(const access::ValueObject& value) override { m_arrivals.record(static_cast<int>(value)); }

private:
    Arrivals& m_arrivals;
};

inline  // Control.Set from the connection, sent without waiting for its reply, as the platform's own change would come.
    bool
    sendSet(tvsimd_test::BusClient& control, const char* path, int value) {
    sd_bus_message* set = nullptr;
    const bool sent =
        sd_bus_message_new_method_call(control.bus(), &set, tvsimd_test::kService, tvsimd_test::kControlPath,
                                       "io.sysaccess.TvSim.Control", "Set") >= 0 &&
        sd_bus_message_append(set, "sv", path, "i", value) >= 0 && sd_bus_message_set_expect_reply(set, 0) >= 0 &&
        sd_bus_send(control.bus(), set, nullptr) >= 0;
    sd_bus_message_unref(set);
    return sent;
}

}  // namespace remote_bench
