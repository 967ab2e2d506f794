// io.sysaccess.TvSim.Iterator, on each iterator a client made: the simulator's
// row-reading operations, whose events come as signals to that client only.
#include "bus_error.h"
#include "bus_names.h"
#include "bus_parts.h"
#include "interfaces.h"
#include "method_support.h"

#include <tvsim/input_limits.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

tvsim::SimIterator& callerIterator(sd_bus_message* call, ClientParts& parts) {
    const char* path = sd_bus_message_get_path(call);
    const ClientIterator* iterator = parts.clients.iterator(path != nullptr ? path : "");
    tvsim::SimIterator* simulated = iterator != nullptr ? tvsim::SimIterator::from(iterator->iterator) : nullptr;
    if (simulated == nullptr || iterator->client != senderOf(call)) {
        throw BusError(kErrorUnknownConnection, "This iterator is not one this client holds.");
    }
    return *simulated;
}

// For the operations that take one integer, or nothing.
template <void (tvsim::IteratorMoves::*Operation)(int)>
int withRow(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::SimIterator& iterator = callerIterator(call, partsOf<ClientParts>(userdata));
        (iterator.*Operation)(readInt(call));
        return replyEmpty(call);
    });
}

template <void (tvsim::IteratorMoves::*Operation)()>
int plain(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        (callerIterator(call, partsOf<ClientParts>(userdata)).*Operation)();
        return replyEmpty(call);
    });
}

int seekToContent(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        tvsim::SimIterator& iterator = callerIterator(call, partsOf<ClientParts>(userdata));
        const std::string cell = readString(call);
        tvsim::requireSeekText(cell);
        iterator.seekToContent(cell);
        return replyEmpty(call);
    });
}

int findIterator(sd_bus*, const char* objectPath, const char*, void* userdata, void** found, sd_bus_error*) {
    if (partsOf<ClientParts>(userdata).clients.iterator(objectPath) == nullptr) {
        return 0;
    }
    *found = userdata;
    return 1;
}

int enumerateIterators(sd_bus*, const char*, void* userdata, char*** nodes, sd_bus_error*) {
    return nodeList(partsOf<ClientParts>(userdata).clients.iteratorPaths(), nodes);
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("SeekToRow", "i", SD_BUS_PARAM(row), "", , withRow<&tvsim::IteratorMoves::seekToRow>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SeekToContent", "s", SD_BUS_PARAM(cell), "", , seekToContent, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ReadRow", "", "", plain<&tvsim::IteratorMoves::readRow>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ReadRows", "i", SD_BUS_PARAM(count), "", , withRow<&tvsim::IteratorMoves::readRows>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Commit", "", "", plain<&tvsim::IteratorMoves::commit>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Commit", "i", SD_BUS_PARAM(status), 0),
    SD_BUS_SIGNAL_WITH_NAMES("TotalCount", "i", SD_BUS_PARAM(count), 0),
    SD_BUS_SIGNAL_WITH_NAMES("SeekToRow", "i", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("SeekToContent", "i", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("CursorPosition", "i", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("ReadRow", "as", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("ReadRowChunk", "aas", SD_BUS_PARAM(rows), 0),
    SD_BUS_SIGNAL_WITH_NAMES("IteratorReady", "i", SD_BUS_PARAM(status), 0),
    SD_BUS_SIGNAL_WITH_NAMES("Update", "i", SD_BUS_PARAM(change), 0),
    SD_BUS_VTABLE_END};

}  // namespace

void addIteratorInterface(sd_bus* bus, ClientParts& parts) {
    check(sd_bus_add_node_enumerator(bus, nullptr, kIteratorPrefix, enumerateIterators, &parts),
          "add the iterator enumerator");
    check(sd_bus_add_fallback_vtable(bus, nullptr, kIteratorPrefix, kIteratorInterface, kVtable, findIterator, &parts),
          "add io.sysaccess.TvSim.Iterator");
}

}  // namespace tvsimd
