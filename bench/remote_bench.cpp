// The remote platform against tvsimd on a private dbus-daemon, each figure
// beside a baseline from the same run:
//  - Remote/accessor_{get,set}_{int,string}: a read or write through the
//    library's ValueAccessT, as a web engine makes it, beside the same
//    GetValue or SetValue call written bare with sd-bus on a connection of its
//    own to the same daemon and path; the two interleaved call by call, their
//    order swapped every iteration. p50 and p90 of single calls.
//  - Remote/accessor_notify_int: a Control.Set sent from another connection
//    until a ValueHandler of the library runs in this process, beside a bare
//    sd-bus client receiving the Value.Changed of the same kind of Set
//    (another path, so that each Set has one receiver and neither waits behind
//    the other's signal), interleaved the same way; and beside a bare receiver
//    that hands each value to a second thread (handoff_), the one hand-off the
//    platform's threading makes, to tell that cost from the platform's own.
//  - Remote/notify_20k: 20,000 changes per second for 5 s (Control.SetSeries); every change must
//    reach a remote observer, none lost, none out of order. Beside it, a bare
//    sd-bus connection receiving the same changes in the same run. p50 and p99
//    of set-to-observer latency.
//  - Remote/source_switch_4x1000: 4 client processes x 1,000 source-switch
//    requests, all answered; beside one process x 1,000.
// Every process is started and stopped by this binary.
#include "bus_processes.h"
#include "remote_service.h"

#include <frame/process.h>
#include <lomodelapi/model_objects.h>
#include <system_access/value_access.h>
#include <system_access/value_object.h>
#include <tvsim/platform_choice.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace access = velmora::system::access;
using tvsimd_test::BusClient;
using tvsimd_test::kControlPath;
using tvsimd_test::kService;
using Clock = std::chrono::steady_clock;
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
using remote_bench::ArrivalHandler;
using remote_bench::Arrivals;
using remote_bench::microsBetween;
using remote_bench::percentileUs;
using remote_bench::reportLatency;
using remote_bench::sendSet;
using remote_bench::service;

RootInterface* remoteRoot() {
    service();
    boost::shared_ptr<frame::Interface> reference;
    frame::Process::getInstance().getInterfaceReference(reference, "orvik.lm.interfaces.tvapi.RootInterface");
    return reference ? static_cast<RootInterface*>(reference->getObject()) : nullptr;
}

// A bare client's connection to one path: its id and the model object's D-Bus path.
struct BareConnection {
    std::uint64_t id = 0;
    std::string object;
};

BareConnection bareConnect(BusClient& client, const char* path) {
    sd_bus_message* reply = client.call(kControlPath, "io.sysaccess.TvSim.Platform", "Connect", "s", path);
    int status = -1;
    BareConnection connection;
    const char* object = nullptr;
    int type = 0;
    if (reply != nullptr && sd_bus_message_read(reply, "itoi", &status, &connection.id, &object, &type) >= 0) {
        connection.object = object;
    }
    sd_bus_message_unref(reply);
    return connection;
}

// What a benchmark of one value type needs: its accessor, two paths of that
// type, and the values its writes take in turn.
template <typename T>
struct ValueKind;

template <>
struct ValueKind<int> {
    using Access = access::ValueAccessT<lomodelapi::ObserverNumericInteger>;
    static constexpr const char* kPath = kVolume;
    static constexpr const char* kOtherPath = "orvik.sl2.i32.audio.mute";
    static int value(int step) { return step % 100; }
    static int read(sd_bus_message* reply) {
        int value = 0;
        sd_bus_message_read(reply, "v", "i", &value);
        return value;
    }
    static int append(sd_bus_message* call, const BareConnection& connection, int value) {
        return sd_bus_message_append(call, "tv", connection.id, "i", value);
    }
};

template <>
struct ValueKind<std::string> {
    using Access = access::ValueAccessT<lomodelapi::ObserverString>;
    static constexpr const char* kPath = "orvik.sl2.str.system.menu-language";
    static constexpr const char* kOtherPath = "orvik.sl2.str.tvservice.channel-name";
    static std::string value(int step) { return step % 2 == 0 ? "eng" : "fra"; }
    static std::string read(sd_bus_message* reply) {
        const char* value = "";
        sd_bus_message_read(reply, "v", "s", &value);
        return value;
    }
    static int append(sd_bus_message* call, const BareConnection& connection, const std::string& value) {
        return sd_bus_message_append(call, "tv", connection.id, "s", value.c_str());
    }
};

// GetValue written bare: one sd_bus_call; the value read as the accessor reads it. False on any failure.
template <typename T>
bool bareGet(BusClient& client, const BareConnection& connection, T& out) {
    sd_bus_message* reply = nullptr;
    if (sd_bus_call_method(client.bus(), kService, connection.object.c_str(), "io.sysaccess.TvSim.Value", "GetValue",
                           nullptr, &reply, "t", connection.id) < 0) {
        return false;
    }
    int status = -1;
    const bool read = sd_bus_message_read_basic(reply, 'i', &status) >= 0;
    out = ValueKind<T>::read(reply);
    sd_bus_message_unref(reply);
    return read && status == 0;
}

template <typename T>
bool bareSet(BusClient& client, const BareConnection& connection, const T& value) {
    sd_bus_message* call = nullptr;
    sd_bus_message* reply = nullptr;
    bool done = sd_bus_message_new_method_call(client.bus(), &call, kService, connection.object.c_str(),
                                               "io.sysaccess.TvSim.Value", "SetValue") >= 0 &&
                ValueKind<T>::append(call, connection, value) >= 0 &&
                sd_bus_call(client.bus(), call, 0, nullptr, &reply) >= 0;
    int status = -1;
    done = done && sd_bus_message_read_basic(reply, 'i', &status) >= 0 && status == 0;
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
    return done;
}

// Frees the signals the client has received.
void forgetSignals(BusClient& client) {
    for (const tvsimd_test::Signal& signal : client.signals()) {
        sd_bus_message_unref(signal.message);
    }
    client.signals().clear();
}

// The signals a bare client was sent meanwhile (the changes its writes cause), read and dropped untimed.
void dropSignals(BusClient& client) {
    client.settle(std::chrono::milliseconds(0));
    forgetSignals(client);
}

// One call of a pair: whether it did what it should, and how long it took in microseconds.
using Timed = std::function<bool(double& us)>;

// Timed from the call's start to its return.
Timed wholeCall(std::function<bool()> call) {
    return [call = std::move(call)](double& us) {
        const auto start = Clock::now();
        const bool done = call();
        us = microsBetween(start, Clock::now());
        return done;
    };
}

// One series of calls measured side by side with others: the prefix of its
// counters ("" for the library's figure) and its call.
struct Series {
    std::string name;
    Timed call;
};

// Times one call of each series per iteration, in turn, the first rotating
// every iteration so that all meet the same load on a shared machine. The
// first call that did not do what it should ends the benchmark with an error.
// Reports p50 and p90 of each series.
void interleave(
    benchmark::State& state, const std::vector<Series>& series, const std::function<void()>& afterEach = [] {}) {
    std::vector<std::vector<double>> samples(series.size());
    std::size_t first = 0;
    for (auto _ : state) {
        for (std::size_t turn = 0; turn < series.size(); ++turn) {
            const std::size_t index = (first + turn) % series.size();
            double us = 0;
            if (!series[index].call(us)) {
                state.SkipWithError(("a call of the series '" + series[index].name + "' failed").c_str());
                return;
            }
            samples[index].push_back(us);
        }
        afterEach();
        first = (first + 1) % series.size();
    }
    for (std::size_t index = 0; index < series.size(); ++index) {
        state.counters[series[index].name + "p50_us"] = percentileUs(samples[index], 0.5);
        state.counters[series[index].name + "p90_us"] = percentileUs(samples[index], 0.9);
    }
}

// A connected accessor of the type's path and a bare client connected to barePath.
template <typename T>
struct AccessorAndBare {
    explicit AccessorAndBare(const char* barePath)
        : accessor(ValueKind<T>::kPath),
          client(service().bus.address()),
          connection(bareConnect(client, barePath)),
          connected(accessor.connect(1000) == 0 && connection.id != 0) {}

    typename ValueKind<T>::Access accessor;
    BusClient client;
    const BareConnection connection;
    const bool connected;
};

template <typename T>
void accessorGet(benchmark::State& state) {
    AccessorAndBare<T> pair(ValueKind<T>::kPath);
    if (!pair.connected) {
        state.SkipWithError("no connection");
        return;
    }
    T value{};
    interleave(state, {{"", wholeCall([&] { return pair.accessor.getValue(value) == 0; })},
                       {"bare_", wholeCall([&] { return bareGet(pair.client, pair.connection, value); })}});
}

template <typename T>
void accessorSet(benchmark::State& state) {
    // The bare client writes another path: each client then hears only of its own writes, as the platform
    // notifies a writer's own connection too, and neither pays for hearing the other's.
    AccessorAndBare<T> pair(ValueKind<T>::kOtherPath);
    if (!pair.connected) {
        state.SkipWithError("no connection");
        return;
    }
    int step = 0;
    interleave(
        state,
        {{"", wholeCall([&] { return pair.accessor.setValue(ValueKind<T>::value(++step)) == 0; })},
         {"bare_", wholeCall([&] { return bareSet(pair.client, pair.connection, ValueKind<T>::value(++step)); })}},
        [&] { dropSignals(pair.client); });
}

// A bare sd-bus receiver whose reading thread hands each value to a second
// thread, where its handler runs: the one hand-off the platform's threading
// makes (a bus thread reads, one callback thread runs every handler), and nothing else.
class HandOffReceiver {
public:
    HandOffReceiver(const char* path, Arrivals& arrivals)
        : m_client(service().bus.address()),
          m_connected(bareConnect(m_client, path).id != 0),
          m_arrivals(arrivals),
          m_handler([this] { runHandlers(); }),
          m_reader([this] { read(); }) {}

    ~HandOffReceiver() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_posted.notify_one();
        m_reader.join();
        m_handler.join();
    }

    HandOffReceiver(const HandOffReceiver&) = delete;
    HandOffReceiver& operator=(const HandOffReceiver&) = delete;

    bool connected() const { return m_connected; }

private:
    bool stopping() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_stopping;
    }

    void read() {
        while (!stopping()) {
            m_client.waitForSignals(1, std::chrono::milliseconds(20));
            for (const tvsimd_test::Signal& signal : m_client.signals()) {
                std::uint64_t id = 0;
                int value = 0;
                if (sd_bus_message_read(signal.message, "tv", &id, "i", &value) >= 0) {
                    {
                        std::lock_guard<std::mutex> lock(m_mutex);
                        m_values.push_back(value);
                    }
                    m_posted.notify_one();
                }
            }
            forgetSignals(m_client);
        }
    }

    void runHandlers() {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_posted.wait(lock, [&] { return m_stopping || !m_values.empty(); });
            if (m_values.empty()) {
                return;
            }
            const int value = m_values.front();
            m_values.pop_front();
            lock.unlock();
            m_arrivals.record(value);
            lock.lock();
        }
    }

    BusClient m_client;  // the reading thread's once it runs
    const bool m_connected;
    Arrivals& m_arrivals;
    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::deque<int> m_values;
    bool m_stopping = false;
    std::thread m_handler;
    std::thread m_reader;
};

// Each receiver watches a path of its own, so that each Set has one receiver.
void accessorNotifyInt(benchmark::State& state) {
    constexpr const char* kBarePath = ValueKind<int>::kOtherPath;
    constexpr const char* kHandOffPath = "orvik.sl2.i32.tvservice.no-banner";
    service();
    Arrivals library;
    Arrivals handedOff;
    ValueKind<int>::Access watcher(kVolume, std::make_shared<ArrivalHandler>(library));
    BusClient receiver(service().bus.address());
    HandOffReceiver handOff(kHandOffPath, handedOff);
    BusClient control(service().bus.address());
    if (watcher.connect(1000) != 0 || bareConnect(receiver, kBarePath).id == 0 || !handOff.connected()) {
        state.SkipWithError("no connection");
        return;
    }
    // Each is timed from the Set's sending to where its handler had the value, not to where this thread woke.
    int step = 0;
    const auto handled = [&](const char* path, Arrivals& arrivals) -> Timed {
        return [&step, &control, &arrivals, path](double& us) {
            const int value = ++step;
            const auto sent = Clock::now();
            Clock::time_point arrived;
            const bool came = sendSet(control, path, value) && arrivals.waitFor(value, arrived);
            us = microsBetween(sent, arrived);
            return came;
        };
    };
    const Timed bare = [&](double& us) {
        const int value = ++step;
        const auto sent = Clock::now();
        bool came = sendSet(control, kBarePath, value) && receiver.waitForSignals(1);
        us = microsBetween(sent, Clock::now());
        std::uint64_t id = 0;
        int got = -1;
        came =
            came && sd_bus_message_read(receiver.signals().front().message, "tv", &id, "i", &got) >= 0 && got == value;
        forgetSignals(receiver);
        return came;
    };
    interleave(state,
               {{"", handled(kVolume, library)}, {"bare_", bare}, {"handoff_", handled(kHandOffPath, handedOff)}});
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
    bareConnect(client, kVolume);
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
        clients.reserve(static_cast<std::size_t>(processes));
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

BENCHMARK(accessorGet<int>)->Name("Remote/accessor_get_int")->Iterations(10000);
BENCHMARK(accessorSet<int>)->Name("Remote/accessor_set_int")->Iterations(10000);
BENCHMARK(accessorGet<std::string>)->Name("Remote/accessor_get_string")->Iterations(10000);
BENCHMARK(accessorSet<std::string>)->Name("Remote/accessor_set_string")->Iterations(10000);
BENCHMARK(accessorNotifyInt)->Name("Remote/accessor_notify_int")->Iterations(6000);
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
