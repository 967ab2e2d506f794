#include "bus_thread.h"

#include <cstdio>
#include <cstdlib>

namespace tvsimd {

void BusThread::require(const char* what) const {
    const std::thread::id owner = m_id.load(std::memory_order_relaxed);
    if (owner != std::thread::id() && owner != std::this_thread::get_id()) {
        std::fprintf(stderr, "tvsimd: %s used off the bus thread\n", what);
        std::abort();
    }
}

}  // namespace tvsimd
