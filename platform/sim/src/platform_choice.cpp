// The choice of host: one call before the first platform use, else TVSIM_BUS,
// taken at that first use. A later call is refused rather than ignored: the
// library may already hold connections to the host that was taken.
#include "chosen_host.h"

#include <common/mutex.h>
#include <remote/remote_platform.h>
#include <tvsim/platform_choice.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>

namespace tvsim {
namespace {

using common::Lock;
using common::Mutex;

class PlatformChoice {
public:
    void request(std::string bus) {
        Lock lock(m_mutex);
        if (m_taken) {
            throw std::logic_error(
                "tvsim: the platform was already chosen at its first use in this process; "
                "choose it before then");
        }
        m_requested = std::move(bus);
    }

    std::string take() {
        Lock lock(m_mutex);
        if (!m_taken) {
            m_bus = m_requested ? *m_requested : busFromEnvironment();
            if (!m_bus.empty() && !remote::built()) {
                std::fprintf(stderr,
                             "tvsim: the TV service on a bus was chosen, but this build has no remote platform: "
                             "using the in-process simulator\n");
                m_bus.clear();
            }
            m_taken = true;
        }
        return m_bus;
    }

private:
    static std::string busFromEnvironment() {
        const char* bus = std::getenv("TVSIM_BUS");
        return bus != nullptr ? bus : "";
    }

    Mutex m_mutex;
    bool m_taken SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::optional<std::string> m_requested SYSACCESS_GUARDED_BY(m_mutex);  // without a call TVSIM_BUS decides
    std::string m_bus SYSACCESS_GUARDED_BY(m_mutex);
};

// Never destroyed: a platform call may come from a static destructor.
PlatformChoice& choice() {
    static PlatformChoice* const instance = new PlatformChoice;
    return *instance;
}

}  // namespace

void usePlatformInProcess() {
    choice().request("");
}

void usePlatformOnBus(const std::string& address) {
    choice().request(address);
}

std::string chosenBus() {
    return choice().take();
}

}  // namespace tvsim
