// The Simulator object: starts the simulated platform (its core) and lends
// that core to each of its facets.
#include <tvsim/simulator.h>

#include "process_framework.h"
#include "simulator_core.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace tvsim {
namespace {

constexpr const char* kRootInterfaceName = "orvik.lm.interfaces.tvapi.RootInterface";

std::atomic<Simulator*> g_current{nullptr};

}  // namespace

SimulatorCore::SimulatorCore()
    : model(callbacks), root(model), handle(boost::shared_ptr<RootInterfaceHandle>(new RootInterfaceHandle(&root))) {
    InterfaceRegistry::instance().resetFaults();
    InterfaceRegistry::instance().publish(kRootInterfaceName, handle);
}

SimulatorCore::~SimulatorCore() {
    InterfaceRegistry::instance().withdraw(kRootInterfaceName);
    InterfaceRegistry::instance().resetFaults();
    // Observers may still call into the model while the queue drains.
    callbacks.shutdown();
}

Simulator::Simulator() {
    Simulator* expected = nullptr;
    if (!g_current.compare_exchange_strong(expected, this)) {
        std::fputs("tvsim: only one Simulator may run at a time\n", stderr);
        std::abort();
    }
    m_core = std::make_unique<SimulatorCore>();
}

Simulator::~Simulator() {
    m_core.reset();
    g_current.store(nullptr);
}

Simulator* Simulator::current() {
    return g_current.load();
}

SimulatorCore& Simulator::core() const {
    return *m_core;
}

}  // namespace tvsim
