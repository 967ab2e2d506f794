// A source-switch request answered at once with success on the callback
// thread, beside the same round trip written bare: a queue to a responder
// thread, which stores the outcome in a table under a mutex and broadcasts,
// while the client waits on the table. With 1, 2, 4 and 8 client threads:
// requests per second and the p50 and p99 latency of single requests.
#include "allocation_counter.h"
#include "bench_platform.h"

#include <system_access/source_switch_access.h>

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/synchronization/unique_lock.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using velmora::system::access::SourceSwitchAccess;
using Clock = std::chrono::steady_clock;

constexpr int kMaxClients = 8;
// The simulator records every invoke; clearing the records now and then keeps its memory flat.
constexpr int kRequestsPerRecordClearing = 4096;

// Latencies of every client thread of one run. Each thread writes only its own
// list, inside its timed loop; thread 0 merges them after the loop, when the
// benchmark's closing barrier has been passed by all.
class LatencyLog {
public:
    void begin(const benchmark::State& state) {
        std::vector<double>& mine = m_microseconds[state.thread_index()];
        mine.clear();
        mine.reserve(static_cast<std::size_t>(state.max_iterations));
    }

    void record(const benchmark::State& state, Clock::duration latency) {
        m_microseconds[state.thread_index()].push_back(std::chrono::duration<double, std::micro>(latency).count());
    }

    // Sets the counters p50_us and p99_us on thread 0 (counters of all threads are summed).
    void report(benchmark::State& state) {
        if (state.thread_index() != 0) {
            return;
        }
        std::vector<double> all;
        for (int thread = 0; thread < state.threads(); ++thread) {
            all.insert(all.end(), m_microseconds[thread].begin(), m_microseconds[thread].end());
        }
        if (all.empty()) {
            return;
        }
        state.counters["p50_us"] = percentile(all, 0.50);
        state.counters["p99_us"] = percentile(all, 0.99);
    }

private:
    static double percentile(std::vector<double>& values, double fraction) {
        const auto rank = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(rank), values.end());
        return values[rank];
    }

    std::array<std::vector<double>, kMaxClients> m_microseconds;
};

LatencyLog s_latencies;

// Times each request on its own; a failed request ends the run as an error.
// Also counts the allocations of the client threads (not of the thread that answers).
template <typename Request>
void timeRequests(benchmark::State& state, Request request) {
    s_latencies.begin(state);
    benchsupport::AllocationCount allocations;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        const bool succeeded = request();
        s_latencies.record(state, Clock::now() - start);
        if (!succeeded) {
            state.SkipWithError("request failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
    allocations.report(state);
    s_latencies.report(state);
}

// The round trip without the library and the simulator.
class BareRoundTrip {
public:
    BareRoundTrip() : m_responder([this] { respond(); }) {}

    ~BareRoundTrip() {
        {
            std::lock_guard<std::mutex> lock(m_queueMutex);
            m_stopping = true;
        }
        m_queueArrived.notify_one();
        m_responder.join();
    }

    BareRoundTrip(const BareRoundTrip&) = delete;
    BareRoundTrip& operator=(const BareRoundTrip&) = delete;

    // Client threads: queue a request, then wait for its outcome in the table.
    bool request() {
        const unsigned int id = m_lastId.fetch_add(1, std::memory_order_relaxed) + 1;
        {
            std::lock_guard<std::mutex> lock(m_queueMutex);
            m_queue.push_back(id);
            m_queueArrived.notify_one();
        }
        velmora::base::UniqueLock lock(&m_resultMutex);
        for (;;) {
            auto found = m_results.find(id);
            if (found != m_results.end()) {
                const int outcome = found->second;
                m_results.erase(found);
                return outcome == 0;
            }
            m_resultCondition.wait(lock);
        }
    }

private:
    // The responder thread: answers every request with success.
    void respond() {
        std::unique_lock<std::mutex> queueLock(m_queueMutex);
        for (;;) {
            if (!m_queue.empty()) {
                const unsigned int id = m_queue.front();
                m_queue.pop_front();
                queueLock.unlock();
                {
                    velmora::base::UniqueLock lock(&m_resultMutex);
                    m_results.emplace(id, 0);
                    m_resultCondition.notify_all();
                }
                queueLock.lock();
            } else if (m_stopping) {
                return;
            } else {
                m_queueArrived.wait(queueLock);
            }
        }
    }

    std::mutex m_queueMutex;
    std::condition_variable m_queueArrived;
    std::deque<unsigned int> m_queue;
    bool m_stopping = false;
    std::atomic<unsigned int> m_lastId{0};
    std::map<unsigned int, int> m_results;
    velmora::base::ConditionVariable m_resultCondition;
    velmora::base::Mutex m_resultMutex;
    std::thread m_responder;
};

void libraryRequest(benchmark::State& state) {
    tvsim::Simulator& simulator = benchsupport::sharedSimulator();
    SourceSwitchAccess* service = SourceSwitchAccess::getInstance();
    // The first request of the process connects the action; keep that out of the figures.
    if (state.thread_index() == 0 && !service->requestResourceFromSystem(SourceSwitchAccess::RESOURCE_TYPE_AV)) {
        state.SkipWithError("source-switch action not answered");
    }
    int requests = 0;
    timeRequests(state, [&] {
        if (state.thread_index() == 0 && ++requests % kRequestsPerRecordClearing == 0) {
            simulator.clearRecords();
        }
        return service->requestResourceFromSystem(SourceSwitchAccess::RESOURCE_TYPE_AV);
    });
}

std::unique_ptr<BareRoundTrip> s_bare;

void bareRoundTrip(benchmark::State& state) {
    // Made before the opening barrier and destroyed after the closing one, by thread 0 alone.
    if (state.thread_index() == 0) {
        s_bare = std::make_unique<BareRoundTrip>();
    }
    timeRequests(state, [] { return s_bare->request(); });
    if (state.thread_index() == 0) {
        s_bare.reset();
    }
}

void clientThreads(benchmark::internal::Benchmark* benchmark) {
    for (int clients = 1; clients <= kMaxClients; clients *= 2) {
        benchmark->Threads(clients);
    }
    benchmark->UseRealTime();
}

}  // namespace

BENCHMARK(libraryRequest)->Name("SourceSwitch/library_request")->Apply(clientThreads);
BENCHMARK(bareRoundTrip)->Name("SourceSwitch/bare_round_trip")->Apply(clientThreads);
