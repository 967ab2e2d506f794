// The simulated process framework: a registry of named interfaces with the
// faults that tests switch on. Any thread may use it.
#pragma once

#include <common/mutex.h>
#include <tvsim/fault_injection.h>

#include <frame/process.h>

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

namespace tvsim {

using common::Lock;
using common::Mutex;

class InterfaceRegistry {
public:
    static InterfaceRegistry& instance();

    void publish(const std::string& name, boost::shared_ptr<frame::Interface> interface);
    void withdraw(const std::string& name);

    // What frame::Process::getInterfaceReference answers.
    int lookup(boost::shared_ptr<frame::Interface>& reference, const std::string& name) const;

    void refuse(bool refuse, int status);
    void answerEmpty(bool empty);
    void resetFaults();
    FrameworkFaults faults() const;  // nullRootObject is the root handle's, left false here

private:
    InterfaceRegistry() = default;

    mutable Mutex m_mutex;
    std::map<std::string, boost::shared_ptr<frame::Interface>> m_interfaces SYSACCESS_GUARDED_BY(m_mutex);
    bool m_refusing SYSACCESS_GUARDED_BY(m_mutex) = false;
    int m_refusalStatus SYSACCESS_GUARDED_BY(m_mutex) = -1;
    bool m_answeringEmpty SYSACCESS_GUARDED_BY(m_mutex) = false;
};

}  // namespace tvsim
