// tvsimd: the simulated TV as a D-Bus service. Hosts one simulator with the
// default TV or a model file, serves it as io.sysaccess.TvSim, prints "ready"
// once it serves, and exits 0 on SIGINT or SIGTERM after leaving the bus.
// With --http it also serves the dashboard and prints its URL before "ready".
#include "dashboard_server.h"
#include "log.h"
#include "private_bus.h"
#include "service.h"

#include <tvsim/debug_capture.h>
#include <tvsim/model_file.h>
#include <tvsim/platform_choice.h>
#include <tvsim/simulator.h>

#include <frame/process.h>

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

namespace {

// Of each kind of call record: a service that runs for days keeps the newest
// ones, and its Records replies stay well within a D-Bus message.
constexpr std::size_t kDefaultMaxRecords = 10000;
constexpr std::size_t kMostMaxRecords = 1000000;

struct Options {
    std::string modelFile;
    std::string address;
    bool privateBus = false;
    std::string logLevel;
    std::string http;  // empty: no dashboard
    bool httpAllowRemote = false;
    std::size_t maxRecords = kDefaultMaxRecords;
};

constexpr const char* kDefaultHttp = "127.0.0.1:8080";

constexpr const char* kRootInterfaceName = "orvik.lm.interfaces.tvapi.RootInterface";

void applyLogLevel(const std::string& text) {
    // The simulator's debug service writes the platform's lines; the daemon's own go through tvsimd::logLine.
    tvsim::setLogThreshold(tvsim::kLevelNone);
    if (text.empty()) {
        return;
    }
    unsigned level = 0;
    if (!tvsim::parseLogLevel(text, level)) {
        throw std::runtime_error("bad --log-level '" + text +
                                 "': give a number such as 1000 or one of none, always, error, info, trace");
    }
    tvsimd::setLogThreshold(level);
}

// Quoted for a POSIX shell, so that the export line can be pasted into another
// shell as it is. (Not for eval "$(tvsimd --private-bus)": $(...) waits for the
// daemon to end, and the bus ends with it.)
std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// Without --address, the bus that started tvsimd (D-Bus activation: the bus daemon passes its own address in
// DBUS_STARTER_ADDRESS and, unless it is configured as a session bus, no DBUS_SESSION_BUS_ADDRESS), else the
// session bus (empty: Service::open takes DBUS_SESSION_BUS_ADDRESS).
std::string addressToServe(const Options& options) {
    const char* starter = std::getenv("DBUS_STARTER_ADDRESS");
    return options.address.empty() && starter != nullptr ? starter : options.address;
}

int serve(const Options& options) {
    applyLogLevel(options.logLevel);
    // Blocked before any thread starts, so every thread inherits it and the event loop alone takes them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    // Started while tvsimd has one thread, so the child may do more than async-signal-safe calls before exec.
    std::optional<tvsimd::PrivateBus> privateBus;
    std::string address = addressToServe(options);
    if (options.privateBus) {
        privateBus.emplace();
        address = privateBus->address();
    }
    tvsim::Simulator simulator;
    simulator.limitRecords(options.maxRecords);
    tvsim::LoadedModel model = options.modelFile.empty() ? tvsim::loadDefaultModel(simulator)
                                                         : tvsim::loadModelFile(options.modelFile, simulator);
    // Looked up before any client can set a framework fault; the framework keeps it for the whole process.
    boost::shared_ptr<frame::Interface> reference;
    if (frame::Process::getInstance().getInterfaceReference(reference, kRootInterfaceName) != 0 ||
        reference == nullptr || reference->getObject() == nullptr) {
        throw std::runtime_error("the simulator offers no root interface");
    }
    tvsimd::Service service(simulator, *static_cast<RootInterface*>(reference->getObject()), std::move(model),
                            options.modelFile);
    service.open(address);
    // After the service, so that it stops serving before the service goes.
    std::optional<tvsimd::DashboardServer> dashboard;
    if (!options.http.empty()) {
        dashboard.emplace(simulator, service.localControl(), service.control(), service.scenarioSnapshot(),
                          tvsimd::parseHttpEndpoint(options.http), options.httpAllowRemote);
    }
    if (privateBus) {
        std::cout << "export DBUS_SESSION_BUS_ADDRESS=" << shellQuoted(address) << "\n";
    }
    if (dashboard) {
        std::cout << "dashboard " << dashboard->url() << "\n";
    }
    std::cout << "ready" << std::endl;
    tvsimd::logLine(tvsimd::kLogInfo, "serving io.sysaccess.TvSim" +
                                          (address.empty() ? std::string(" on the session bus") : " on " + address));
    return service.run();
}

}  // namespace

// CLI11 throws here only for a misdeclared option, a bug that should end the program loudly.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    // tvsimd hosts the simulator it serves: a TVSIM_BUS exported in its shell
    // must not send its own process framework to the bus (to itself).
    tvsim::usePlatformInProcess();
    CLI::App app{"tvsimd: the simulated TV as a D-Bus service (io.sysaccess.TvSim)"};
    Options options;
    app.add_option("--model", options.modelFile, "Model file to serve instead of the built-in default TV");
    auto* address =
        app.add_option("--address", options.address,
                       "D-Bus address to serve on instead of the bus that started it (DBUS_STARTER_ADDRESS) "
                       "or the session bus (DBUS_SESSION_BUS_ADDRESS)");
    app.add_flag("--private-bus", options.privateBus,
                 "Start a dbus-daemon of its own, print its address as an export line, stop it on exit")
        ->excludes(address);
    app.add_option("--log-level", options.logLevel,
                   "Write tvsimd's own lines on standard error: none, error, info, trace");
    auto* http = app.add_option("--http", options.http,
                                "Serve the dashboard on ADDR:PORT (alone: " + std::string(kDefaultHttp) +
                                    "; loopback unless --http-allow-remote; port 0 picks a free one)")
                     ->expected(0, 1);
    app.add_flag("--http-allow-remote", options.httpAllowRemote, "Let --http bind an address other machines reach");
    app.add_option("--max-records", options.maxRecords,
                   "Call records kept of each kind, the newest; the oldest beyond are dropped and counted")
        ->check(CLI::Range(std::size_t{1}, kMostMaxRecords));
    CLI11_PARSE(app, argc, argv);
    if (http->count() > 0 && options.http.empty()) {
        options.http = kDefaultHttp;
    }
    try {
        return serve(options);
    } catch (const std::exception& error) {
        std::cerr << "tvsimd: " << error.what() << std::endl;
        return 1;
    }
}
