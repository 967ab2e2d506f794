// Fault injection: the process framework's faults live in its registry, the
// root interface's in the handle, and every per-path fault in the model.
#include <tvsim/fault_injection.h>

#include "process_framework.h"
#include "simulator_core.h"

namespace tvsim {

void FaultInjection::refuseInterfaceReference(bool refuse, int status) {
    InterfaceRegistry::instance().refuse(refuse, status);
    core().model.countChange();
}
void FaultInjection::emptyInterfaceReference(bool empty) {
    InterfaceRegistry::instance().answerEmpty(empty);
    core().model.countChange();
}
void FaultInjection::nullRootObject(bool null) {
    core().handle->answerNull(null);
    core().model.countChange();
}

void FaultInjection::failNextConnects(const std::string& path, int count, int status) {
    core().model.failNextConnects(path, count, status);
}
void FaultInjection::nullObjectOnNextConnects(const std::string& path, int count) {
    core().model.nullObjectOnNextConnects(path, count);
}
void FaultInjection::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    core().model.reportType(path, type);
}
void FaultInjection::failGetter(const std::string& path, int status) {
    core().model.failGetter(path, status);
}

void FaultInjection::refuseNextInvokes(const std::string& path, int count, int status) {
    core().model.refuseNextInvokes(path, count, status);
}
void FaultInjection::failNextCreateIterators(const std::string& path, int count) {
    core().model.failNextCreateIterators(path, count);
}
void FaultInjection::clearFaults(const std::string& path) {
    core().model.clearFaults(path);
}

std::map<std::string, PathFaults> FaultInjection::pathFaults() const {
    return core().model.pathFaults();
}
FrameworkFaults FaultInjection::frameworkFaults() const {
    FrameworkFaults faults = InterfaceRegistry::instance().faults();
    faults.nullRootObject = core().handle->answersNull();
    return faults;
}

}  // namespace tvsim
