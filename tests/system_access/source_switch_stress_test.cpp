// Many clients, one service: 8 threads x 10,000 source-switch requests whose
// outcomes arrive in random order (some a little later, some before invoke
// returns, some twice, some failures with random codes, 0 among them). Every
// request must end with the outcome the platform decided for its own id; none
// may be lost or hang (a hang ends in the ctest time-out).
//
// SYSACCESS_STRESS_SCALE multiplies the request count (default 1, and 0.1 in
// ARM builds, which run under qemu). The log threshold is "none", so the run
// measures the request path itself.
#include <system_access/source_switch_access.h>

#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <set>
#include <thread>

namespace velmora::system::access {
namespace {

using Service = SourceSwitchAccess;

constexpr int kClients = 8;

int requestsPerClient() {
#if defined(__arm__)
    const char* scale = std::getenv("SYSACCESS_STRESS_SCALE") ? std::getenv("SYSACCESS_STRESS_SCALE") : "0.1";
#else
    const char* scale = std::getenv("SYSACCESS_STRESS_SCALE") ? std::getenv("SYSACCESS_STRESS_SCALE") : "1";
#endif
    return std::max(100, static_cast<int>(10000 * std::atof(scale)));
}

// Whether the request this thread made last should succeed, as decided by the
// responder, which runs on the invoking client's thread inside invoke.
thread_local int t_expectedSuccess = -1;

tvsim::Reply decide(unsigned int actionId, const std::vector<lomodelapi::Argument>&) {
    std::uint64_t fate = actionId + 0x9E3779B97F4A7C15ull;  // a well-mixed hash: every id its own fate
    fate = (fate ^ (fate >> 30)) * 0xBF58476D1CE4E5B9ull;
    fate = (fate ^ (fate >> 27)) * 0x94D049BB133111EBull;
    fate ^= fate >> 31;
    const bool fails = fate % 8 < 3;
    tvsim::Reply reply = fails ? tvsim::Reply::failure(static_cast<int>((fate >> 8) % 5) - 1)  // -1 to 3
                               : tvsim::Reply::withResults({});
    reply.copies = (fate >> 16) % 8 == 0 ? 2 : 1;
    reply.beforeInvokeReturns = (fate >> 24) % 4 == 0;
    reply.delay = std::chrono::milliseconds(!reply.beforeInvokeReturns && (fate >> 32) % 48 == 0 ? 1 : 0);
    t_expectedSuccess = !fails || reply.error == 0;
    return reply;
}

TEST(SourceSwitchStressTest, EveryRequestGetsItsOwnOutcomeUnderConcurrentRandomDelivery) {
    bool (Service::*const operations[])() = {&Service::pauseAV, &Service::resumeAV, &Service::resumeVideo,
                                             &Service::setChannelNext};
    tvsim::setLogThreshold(tvsim::kLevelNone);
    // One simulator for the whole process: the process-wide service connects its action once and keeps it.
    static tvsim::Simulator sim;
    if (!sim.has("orvik.sl2.action.source.switch")) {
        sim.addAction("orvik.sl2.action.source.switch", decide);
    }
    const int requests = requestsPerClient();
    const size_t invokesBefore = sim.invokes().size();

    std::atomic<int> wrongOutcomes{0}, succeeded{0};
    std::vector<std::thread> clients;
    for (int client = 0; client < kClients; ++client) {
        clients.emplace_back([&, client] {
            for (int request = 0; request < requests; ++request) {
                t_expectedSuccess = -1;
                const bool success =
                    (Service::getInstance()->*operations[(request + client) % std::size(operations)])();
                wrongOutcomes += t_expectedSuccess == static_cast<int>(success) ? 0 : 1;  // undecided: -1
                succeeded += success ? 1 : 0;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    sim.flush();

    EXPECT_EQ(0, wrongOutcomes.load());
    EXPECT_GT(succeeded.load(), 0);  // both kinds of outcome really occurred
    EXPECT_LT(succeeded.load(), kClients * requests);
    const std::vector<tvsim::InvokeRecord> invokes = sim.invokes();
    ASSERT_EQ(invokesBefore + static_cast<size_t>(kClients * requests), invokes.size());
    std::set<std::string> tags;
    for (size_t index = invokesBefore; index < invokes.size(); ++index) {
        tags.insert(invokes[index].arguments.at(0).value);
    }
    EXPECT_EQ(static_cast<size_t>(kClients * requests), tags.size());
}

}  // namespace
}  // namespace velmora::system::access
