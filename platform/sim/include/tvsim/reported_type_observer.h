// What a connection's observer may also be, to hear when the type that its
// object's getType answers changes (FaultInjection::reportType, clearFaults).
// The TV service's observers are, so that a client process keeps that type
// from its connect on and hears each change in order with the connection's
// other notifications, instead of asking before every read and write.
#pragma once

#include <lomodelapi/object_type_spec.h>

namespace tvsim {

class ReportedTypeObserver {
public:
    // On the callback thread, in order with the connection's other notifications;
    // never after its disconnect has returned. Only a change is notified.
    virtual void notifyReportedType(lomodelapi::ObjectTypeSpec type) = 0;

protected:
    ReportedTypeObserver() = default;
    ~ReportedTypeObserver() = default;
    ReportedTypeObserver(const ReportedTypeObserver&) = default;
    ReportedTypeObserver& operator=(const ReportedTypeObserver&) = default;
};

}  // namespace tvsim
