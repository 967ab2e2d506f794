// Call records: copies of what the model recorded.
#include <tvsim/call_records.h>

#include "simulator_core.h"

namespace tvsim {

std::vector<ConnectRecord> CallRecords::connects() const {
    return core().model.recorded(&Records::connects);
}
std::vector<DisconnectRecord> CallRecords::disconnects() const {
    return core().model.recorded(&Records::disconnects);
}
std::vector<InvokeRecord> CallRecords::invokes() const {
    return core().model.recorded(&Records::invokes);
}
std::vector<WriteRecord> CallRecords::writes() const {
    return core().model.recorded(&Records::writes);
}
CallRecords::Since CallRecords::recordsSince(std::uint64_t connect, std::uint64_t invoke, std::uint64_t write) const {
    return core().model.recordedSince(connect, invoke, write);
}
std::vector<CreateIteratorRecord> CallRecords::createIterators() const {
    return core().model.recorded(&Records::createIterators);
}
std::vector<TableIteratorObject*> CallRecords::destroyIterators() const {
    return core().model.recorded(&Records::destroyIterators);
}
int CallRecords::connectedObservers(const std::string& path) const {
    return core().model.connectedObservers(path);
}
int CallRecords::setterCalls(const std::string& path) const {
    return core().model.setterCalls(path);
}
std::map<int, int> CallRecords::lastIntegerMap(const std::string& path) const {
    return core().model.lastIntegerMap(path);
}
std::map<int, std::string> CallRecords::lastStringMap(const std::string& path) const {
    return core().model.lastStringMap(path);
}
void CallRecords::clearRecords() {
    core().model.clearRecords();
}
void CallRecords::limitRecords(std::size_t perKind) {
    core().model.limitRecords(perKind);
}
DroppedRecords CallRecords::droppedRecords() const {
    return core().model.droppedRecords();
}

}  // namespace tvsim
