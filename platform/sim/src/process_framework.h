// The simulated process framework: a registry of named interfaces with the
// faults that tests switch on. Any thread may use it.
#pragma once

#include <frame/process.h>

#include <boost/shared_ptr.hpp>
#include <map>
#include <mutex>
#include <string>

namespace tvsim {

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

private:
    InterfaceRegistry() = default;

    mutable std::mutex m_mutex;
    std::map<std::string, boost::shared_ptr<frame::Interface>> m_interfaces;  // guarded by m_mutex
    bool m_refusing = false;                                                  // guarded by m_mutex
    int m_refusalStatus = -1;                                                 // guarded by m_mutex
    bool m_answeringEmpty = false;                                            // guarded by m_mutex
};

}  // namespace tvsim
