// The dashboard: one page and a JSON API served over HTTP from tvsimd.
//
// Threads: the HTTP server's listener and worker threads run every request
// (see http_server.h for its bounds); the sampler's thread reads the TV. None
// of them touches the bus: they use the simulator and the TV's controls, both
// safe from any thread, and the bus thread never waits for them either. At
// most kMaxEventStreams requests stream events at once, so that most of the
// server's threads are always left for the page and the API.
//
// Safety: a request whose Host header is not the bound address is refused
// (403), so a page from another name resolving to this address (DNS
// rebinding) cannot read it; a request that changes the TV must carry the
// per-start token that the served page holds (X-TvSim-Token; 403 without), so
// other pages in the same browser cannot change it.
#pragma once

#include "commands.h"
#include "feed.h"
#include "picture.h"
#include "sampler.h"
#include "scenario_snapshot.h"

#include <tvsim/local_tv_control.h>
#include <tvsim/simulator.h>
#include <tvsim/source_switch.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace tvsimd {

class HttpServer;

struct HttpEndpoint {
    std::string host;  // as given: a numeric address or "localhost"
    int port = 0;      // 0: any free port
};

// "ADDR:PORT", "[IPv6]:PORT"; throws std::runtime_error with one line.
HttpEndpoint parseHttpEndpoint(const std::string& text);

constexpr std::size_t kMaxRequestBody = std::size_t{64} * 1024;
constexpr std::size_t kMaxEventStreams = 8;

class DashboardServer {
public:
    // Binds and starts serving. Throws std::runtime_error with one line when the address is not loopback and
    // remote clients are not allowed, or it cannot bind (a port another process listens on among them).
    // The dashboard reads the TV through the simulator (and the replies chosen through `local`), changes it
    // through `control` only, and shows the scenario report the bus thread publishes.
    DashboardServer(const tvsim::Simulator& simulator, tvsim::LocalTvControl& local, tvsim::TvControl& control,
                    const ScenarioSnapshot& scenario, const HttpEndpoint& endpoint, bool allowRemote);
    ~DashboardServer();  // ends the event streams and every connection at once, joins its threads

    DashboardServer(const DashboardServer&) = delete;
    DashboardServer& operator=(const DashboardServer&) = delete;

    std::string url() const { return "http://" + m_authority + "/"; }

private:
    void addRoutes();

    TvReader m_reader;
    ChangeFeed m_feed;
    DashboardCommands m_commands;
    const std::string m_token;
    std::string m_authority;  // what the Host header must be: "host:port"
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<DashboardSampler> m_sampler;
    std::atomic<std::size_t> m_eventStreams{0};
    std::thread m_listener;
};

}  // namespace tvsimd
