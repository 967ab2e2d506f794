// frame::Process of the simulated platform, backed by InterfaceRegistry, or
// by the TV service when the platform choice names a bus.
#include "process_framework.h"

#include "chosen_host.h"

#include <remote/remote_platform.h>
#include <tvsim/service_flush.h>
#include <tvsim/simulator.h>

namespace tvsim {

// Never destroyed: a Simulator that lives in a static object is destroyed at
// exit, possibly after this function's statics, and still withdraws its interface.
InterfaceRegistry& InterfaceRegistry::instance() {
    static InterfaceRegistry* const registry = new InterfaceRegistry;
    return *registry;
}

void InterfaceRegistry::publish(const std::string& name, boost::shared_ptr<frame::Interface> interface) {
    Lock lock(m_mutex);
    m_interfaces[name] = std::move(interface);
}

void InterfaceRegistry::withdraw(const std::string& name) {
    boost::shared_ptr<frame::Interface> released;
    Lock lock(m_mutex);
    auto found = m_interfaces.find(name);
    if (found != m_interfaces.end()) {
        released = std::move(found->second);
        m_interfaces.erase(found);
    }
}

int InterfaceRegistry::lookup(boost::shared_ptr<frame::Interface>& reference, const std::string& name) const {
    Lock lock(m_mutex);
    if (m_refusing) {
        return m_refusalStatus;
    }
    if (m_answeringEmpty) {
        return 0;
    }
    auto found = m_interfaces.find(name);
    if (found == m_interfaces.end()) {
        return kStatusNoSuchInterface;
    }
    reference = found->second;
    return 0;
}

void InterfaceRegistry::refuse(bool refuse, int status) {
    Lock lock(m_mutex);
    m_refusing = refuse;
    m_refusalStatus = status;
}

void InterfaceRegistry::answerEmpty(bool empty) {
    Lock lock(m_mutex);
    m_answeringEmpty = empty;
}

void InterfaceRegistry::resetFaults() {
    Lock lock(m_mutex);
    m_refusing = false;
    m_refusalStatus = -1;
    m_answeringEmpty = false;
}

FrameworkFaults InterfaceRegistry::faults() const {
    Lock lock(m_mutex);
    FrameworkFaults faults;
    faults.refusingInterfaceReference = m_refusing;
    faults.refusalStatus = m_refusalStatus;
    faults.emptyInterfaceReference = m_answeringEmpty;
    return faults;
}

bool flushServiceNotifications() {
    const std::string bus = chosenBus();
    return !bus.empty() && remote::flushNotifications(bus);
}

}  // namespace tvsim

namespace frame {

Process Process::getInstance() {
    return Process();
}

int Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name) {
    const std::string bus = tvsim::chosenBus();
    if (!bus.empty()) {
        return tvsim::remote::getInterfaceReference(bus, reference, name);
    }
    return tvsim::InterfaceRegistry::instance().lookup(reference, name);
}

}  // namespace frame
