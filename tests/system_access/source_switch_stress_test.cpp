// Many clients, one service: 8 threads x 10,000 source-switch requests whose
// outcomes arrive in random order (some a little later, some before invoke
// returns, some twice, some failures with random codes, 0 among them). Every
// request must end with the outcome the platform decided for its own id; none
// may be lost or hang (a hang ends in the ctest time-out).
//
// SYSACCESS_STRESS_SCALE multiplies the request count (default 1, and 0.1 in
// ARM builds, which run under qemu). Lines are not even formatted: the log
// threshold is "none", so the run measures the request path itself.
#include <system_access/source_switch_access.h>

#include <tvsim/debug_capture.h>
#include <tvsim/simulator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <set>
#include <thread>

namespace velmora::system::access {
namespace {

using Service = SourceSwitchAccess;

constexpr char kSwitch[] = "orvik.sl2.action.source.switch";
constexpr int kClients = 8;
constexpr int kRequestsPerClient = 10000;

int requestsPerClient() {
#if defined(__arm__)
    double scale = 0.1;
#else
    double scale = 1.0;
#endif
    if (const char* text = std::getenv("SYSACCESS_STRESS_SCALE")) {
        scale = std::atof(text);
    }
    return std::max(100, static_cast<int>(kRequestsPerClient * scale));
}

// What the responder decided for the request this thread made last. The
// responder runs on the invoking client's thread, inside invoke.
thread_local bool t_decided = false;
thread_local bool t_expectedSuccess = false;

// A well-mixed hash of the id, so that every id gets its own reproducible fate.
std::uint64_t fateOf(unsigned int actionId) {
    std::uint64_t bits = actionId + 0x9E3779B97F4A7C15ull;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9ull;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBull;
    return bits ^ (bits >> 31);
}

tvsim::Reply decide(unsigned int actionId, const std::vector<lomodelapi::Argument>&) {
    const std::uint64_t fate = fateOf(actionId);
    const bool fails = fate % 8 < 3;
    tvsim::Reply reply = fails ? tvsim::Reply::failure(static_cast<int>((fate >> 8) % 5) - 1)  // -1 to 3
                               : tvsim::Reply::withResults({});
    reply.copies = (fate >> 16) % 8 == 0 ? 2 : 1;
    if ((fate >> 24) % 4 == 0) {
        reply.beforeInvokeReturns = true;
    } else if ((fate >> 32) % 48 == 0) {
        reply.delay = std::chrono::milliseconds(1 + (fate >> 40) % 2);
    }
    t_decided = true;
    t_expectedSuccess = !fails || reply.error == 0;
    return reply;
}

// One simulator for the whole process, since the process-wide service connects
// its action once and keeps it (also across --gtest_repeat).
tvsim::Simulator& simulator() {
    static tvsim::Simulator instance;
    return instance;
}

struct ClientTally {
    int completed = 0;
    int undecided = 0;
    int wrongOutcome = 0;
    int succeeded = 0;
};

TEST(SourceSwitchStressTest, EveryRequestGetsItsOwnOutcomeUnderConcurrentRandomDelivery) {
    const std::vector<std::function<bool(Service&)>> operations = {
        [](Service& s) { return s.requestResourceFromSystem(Service::RESOURCE_TYPE_VIDEO); },
        [](Service& s) { return s.releaseResourceToSystem(Service::RESOURCE_TYPE_AV); },
        [](Service& s) { return s.changeDTVPlaybackStatus(Service::RESOURCE_TYPE_PSI); },
        [](Service& s) { return s.pauseAV(); },
        [](Service& s) { return s.resumeVideo(); },
        [](Service& s) { return s.setChannelNext(); },
        [](Service& s) { return s.setChannelByURI("dvb://1.1.101", true); },
    };
    tvsim::setLogThreshold(tvsim::kLevelNone);
    tvsim::Simulator& sim = simulator();
    if (!sim.has(kSwitch)) {
        sim.addAction(kSwitch, decide);
    }
    const int requests = requestsPerClient();
    const size_t invokesBefore = sim.invokes().size();
    Service* service = Service::getInstance();

    std::vector<ClientTally> tallies(kClients);
    std::vector<std::thread> clients;
    for (int client = 0; client < kClients; ++client) {
        clients.emplace_back([&, client] {
            ClientTally& tally = tallies[static_cast<size_t>(client)];
            for (int request = 0; request < requests; ++request) {
                t_decided = false;
                const bool succeeded = operations[static_cast<size_t>(request + client) % operations.size()](*service);
                tally.undecided += t_decided ? 0 : 1;
                tally.wrongOutcome += succeeded == t_expectedSuccess ? 0 : 1;
                tally.succeeded += succeeded ? 1 : 0;
                ++tally.completed;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    sim.flush();

    int succeeded = 0;
    for (const ClientTally& tally : tallies) {
        EXPECT_EQ(requests, tally.completed);
        EXPECT_EQ(0, tally.undecided);
        EXPECT_EQ(0, tally.wrongOutcome);
        succeeded += tally.succeeded;
    }
    // Both kinds of outcome really occurred.
    EXPECT_GT(succeeded, 0);
    EXPECT_LT(succeeded, kClients * requests);
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
