// The remote platform against tvsimd on a private dbus-daemon, each figure
// beside a baseline from the same run:
//  - Remote/get_int: NumericIntegerObject::getValue through the remote platform,
//    beside the same GetValue call written bare with sd-bus on a connection of
//    its own to the same daemon, the two interleaved call by call. p50 and p99
//    of single calls.
//  - Remote/notify_20k: 20,000 changes per second for 5 s (Control.SetSeries); every change must
//    reach a remote observer, none lost, none out of order. Beside it, a bare
//    sd-bus connection receiving the same changes in the same run. p50 and p99
//    of set-to-observer latency.
//  - Remote/source_switch_4x1000: 4 client processes x 1,000 source-switch
//    requests, all answered; beside one process x 1,000.
// Every process is started and stopped by this binary.
#include "bus_processes.h"

#include <frame/process.h>
#include <lomodelapi/model_objects.h>
#include <tvsim/platform_choice.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using tvsimd_test::BusClient;
using Clock = std::chrono::steady_clock;
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kVolumeObject = "/io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume";

// The bus and the daemon, started at the first use and stopped at exit.
struct Service {
    Service() : tvsimd(bus.address()) { tvsim::usePlatformOnBus(bus.address()); }
    tvsimd_test::PrivateDbusDaemon bus;
    tvsimd_test::Tvsimd tvsimd;
};

Service& service() {
    static Service instance;
    return instance;
}

RootInterface* remoteRoot() {
    service();
    boost::shared_ptr<frame::Interface> reference;
    frame::Process::getInstance().getInterfaceReference(reference, "orvik.lm.interfaces.tvapi.RootInterface");
    return reference ? static_cast<RootInterface*>(reference->getObject()) : nullptr;
}

double percentileUs(std::vector<double>& samples, double fraction) {
    if (samples.empty()) {
        return 0;
    }
    const auto at = samples.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

void reportLatency(benchmark::State& state, std::vector<double>& samples) {
    state.counters["p50_us"] = percentileUs(samples, 0.5);
    state.counters["p99_us"] = percentileUs(samples, 0.99);
}

class NullIntegerObserver final : public lomodelapi::ObserverNumericInteger {
public:
    void notifyNewValue(int) override {}
};

// The connection id a bare client gets for the volume.
std::uint64_t bareConnect(BusClient& client) {
    sd_bus_message* reply = client.call("/io/sysaccess/TvSim", "io.sysaccess.TvSim.Platform", "Connect", "s", kVolume);
    int status = -1;
    std::uint64_t id = 0;
    const char* object = nullptr;
    int type = 0;
    if (reply != nullptr) {
        sd_bus_message_read(reply, "itoi", &status, &id, &object, &type);
        sd_bus_message_unref(reply);
    }
    return id;
}

int bareGetValue(BusClient& client, std::uint64_t id) {
    sd_bus_message* reply = nullptr;
    sd_bus_call_method(client.bus(), "io.sysaccess.TvSim", kVolumeObject, "io.sysaccess.TvSim.Value", "GetValue",
                       nullptr, &reply, "t", id);
    int status = 0;
    int value = 0;
    sd_bus_message_read(reply, "iv", &status, "i", &value);
    sd_bus_message_unref(reply);
    return value;
}

template <typename Call>
void timeOne(std::vector<double>& samples, Call call) {
    const auto start = Clock::now();
    benchmark::DoNotOptimize(call());
    samples.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
}

// Each iteration times one remote call and one bare call, so that both meet
// the same load on a shared machine; the order alternates.
void getInt(benchmark::State& state) {
    NullIntegerObserver observer;
    RootInterface* root = remoteRoot();
    ModelObject* object = nullptr;
    if (root == nullptr || root->connect(kVolume, &observer, object) != 0 || object == nullptr) {
        state.SkipWithError("no remote connection");
        return;
    }
    auto* integer = static_cast<NumericIntegerObject*>(object);
    BusClient client(service().bus.address());
    const std::uint64_t id = bareConnect(client);
    std::vector<double> remote;
    std::vector<double> bare;
    bool remoteFirst = true;
    for (auto _ : state) {
        const auto remoteCall = [&] { timeOne(remote, [&] { return integer->getValue(); }); };
        const auto bareCall = [&] { timeOne(bare, [&] { return bareGetValue(client, id); }); };
        if (remoteFirst) {
            remoteCall();
            bareCall();
        } else {
            bareCall();
            remoteCall();
        }
        remoteFirst = !remoteFirst;
    }
    root->disconnect(kVolume, &observer, object);
    reportLatency(state, remote);
    state.counters["bare_p50_us"] = percentileUs(bare, 0.5);
    state.counters["bare_p99_us"] = percentileUs(bare, 0.99);
}

// Receives the changes 1..count in order and notes when each came.
class TimingObserver final : public lomodelapi::ObserverNumericInteger {
public:
    explicit TimingObserver(int count) : m_arrivals(static_cast<std::size_t>(count) + 1) {}
    void notifyNewValue(int value) override {
        if (value != m_last + 1 || value >= static_cast<int>(m_arrivals.size())) {
            m_disorder = true;
        } else {
            m_arrivals[static_cast<std::size_t>(value)] = Clock::now();
        }
        m_last = value;
        m_received.fetch_add(1, std::memory_order_release);
    }
    int received() const { return m_received.load(std::memory_order_acquire); }
    bool disorder() const { return m_disorder; }
    const std::vector<Clock::time_point>& arrivals() const { return m_arrivals; }

private:
    std::vector<Clock::time_point> m_arrivals;
    int m_last = 0;
    bool m_disorder = false;
    std::atomic<int> m_received{0};
};

// A bare sd-bus receiver of the same changes, on a thread of its own.
void bareReceive(int count, std::vector<Clock::time_point>& arrivals, bool& disorder, std::atomic<bool>& connected) {
    BusClient client(service().bus.address());
    bareConnect(client);
    connected = true;
    int last = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (last < count && Clock::now() < deadline) {
        client.waitForSignals(1, std::chrono::milliseconds(100));
        while (!client.signals().empty()) {
            tvsimd_test::Signal signal = client.signals().front();
            client.signals().pop_front();
            std::uint64_t id = 0;
            int value = 0;
            if (signal.member == "Changed" && sd_bus_message_read(signal.message, "tv", &id, "i", &value) >= 0) {
                disorder = disorder || value != last + 1;
                if (value > 0 && value <= count) {
                    arrivals[static_cast<std::size_t>(value)] = Clock::now();
                }
                last = value;
            }
            sd_bus_message_unref(signal.message);
        }
    }
}

void notify20k(benchmark::State& state) {
    constexpr int kRate = 20000;
    constexpr int kSeconds = 5;
    constexpr int kCount = kRate * kSeconds;
    const bool bare = state.range(0) != 0;
    for (auto _ : state) {
        BusClient control(service().bus.address());
        control.call("/io/sysaccess/TvSim", "io.sysaccess.TvSim.Control", "Set", "sv", kVolume, "i", 0);
        std::vector<Clock::time_point> sent(kCount + 1);
        TimingObserver observer(kCount);
        std::vector<Clock::time_point> bareArrivals(kCount + 1);
        bool bareDisorder = false;
        std::atomic<bool> bareConnected{false};
        std::thread bareThread;
        RootInterface* root = nullptr;
        ModelObject* object = nullptr;
        if (bare) {
            bareThread = std::thread([&] { bareReceive(kCount, bareArrivals, bareDisorder, bareConnected); });
            while (!bareConnected) {
                std::this_thread::yield();
            }
        } else {
            root = remoteRoot();
            root->connect(kVolume, &observer, object);
        }
        // One Control.SetSeries of 20 changes every millisecond, sent without
        // waiting for its reply, as a platform's own changes would come.
        constexpr int kPerStep = kRate / 1000;
        const auto start = Clock::now();
        for (int first = 1; first <= kCount; first += kPerStep) {
            std::this_thread::sleep_until(start + std::chrono::milliseconds(first / kPerStep));
            sd_bus_message* set = nullptr;
            sd_bus_message_new_method_call(control.bus(), &set, "io.sysaccess.TvSim", "/io/sysaccess/TvSim",
                                           "io.sysaccess.TvSim.Control", "SetSeries");
            sd_bus_message_append(set, "s", kVolume);
            sd_bus_message_open_container(set, 'a', "v");
            for (int value = first; value < first + kPerStep; ++value) {
                sd_bus_message_append(set, "v", "i", value);
            }
            sd_bus_message_close_container(set);
            sd_bus_message_set_expect_reply(set, 0);
            const auto now = Clock::now();
            std::fill(sent.begin() + first, sent.begin() + first + kPerStep, now);
            sd_bus_send(control.bus(), set, nullptr);
            sd_bus_message_unref(set);
        }
        sd_bus_flush(control.bus());
        const double sendSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        std::vector<Clock::time_point>* arrivals = &bareArrivals;
        bool disorder = false;
        if (bare) {
            bareThread.join();
            disorder = bareDisorder;
        } else {
            const auto deadline = Clock::now() + std::chrono::seconds(30);
            while (observer.received() < kCount && Clock::now() < deadline) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            root->disconnect(kVolume, &observer, object);
            arrivals = const_cast<std::vector<Clock::time_point>*>(&observer.arrivals());
            disorder = observer.disorder();
        }
        std::vector<double> latencies;
        int lost = 0;
        for (int value = 1; value <= kCount; ++value) {
            const auto arrived = (*arrivals)[static_cast<std::size_t>(value)];
            if (arrived == Clock::time_point()) {
                ++lost;
            } else {
                latencies.push_back(
                    std::chrono::duration<double, std::micro>(arrived - sent[static_cast<std::size_t>(value)]).count());
            }
        }
        reportLatency(state, latencies);
        state.counters["changes_per_s"] = kCount / sendSeconds;
        state.counters["lost"] = lost;
        state.counters["out_of_order"] = disorder ? 1 : 0;
    }
}

// Source-switch requests from client processes, each `requests` long; all must answer true.
void sourceSwitchProcesses(benchmark::State& state) {
    const int processes = static_cast<int>(state.range(0));
    constexpr int kRequests = 1000;
    service();
    for (auto _ : state) {
        std::vector<std::unique_ptr<tvsimd_test::ChildProcess>> clients;
        for (int index = 0; index < processes; ++index) {
            clients.push_back(std::make_unique<tvsimd_test::ChildProcess>(
                std::vector<std::string>{REMOTE_CLIENT_PATH, "--bus", service().bus.address()}));
        }
        const auto start = Clock::now();
        for (auto& client : clients) {
            client->writeLine("sources " + std::to_string(kRequests));
        }
        int answered = 0;
        for (auto& client : clients) {
            const std::string line = client->readLine(std::chrono::milliseconds(60000));
            answered += line.rfind("sources ", 0) == 0 ? std::stoi(line.substr(8)) : 0;
            client->writeLine("quit");
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        state.counters["requests_per_s"] = processes * kRequests / seconds;
        state.counters["unanswered"] = processes * kRequests - answered;
    }
}

BENCHMARK(getInt)->Name("Remote/get_int")->Iterations(20000);
BENCHMARK(notify20k)->Name("Remote/notify_20k")->Arg(0)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(notify20k)->Name("Remote/bare_notify_20k")->Arg(1)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(sourceSwitchProcesses)
    ->Name("Remote/source_switch_x1000")
    ->Arg(4)
    ->Arg(1)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

}  // namespace
