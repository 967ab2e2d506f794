// TableAccess: binds one model table (type code 6) by its model path and, once
// connected, hands out the platform's table object, on which iterators are
// created and destroyed (see IteratorAccess). The table's update notifications
// are traced and go no further.
//
// Threads: construction, connect, disconnect, getAccess, setActionResultHandler
// and destruction run on the caller's thread; connect blocks it for up to the
// time-out (the connect loop retries every 100 ms). notifyUpdate runs on the
// platform's callback thread. A connected accessor is disconnected by its
// destructor, so the platform never calls a destroyed observer.
#pragma once

#include <system_access/handler_slot.h>
#include <system_access/value_access_base.h>

#include <lomodelapi/observer.h>

#include <memory>
#include <string>

class TableObject;

namespace velmora::system::access {

// The client's interface for table updates. The library stores it but calls
// nothing on it: table updates are not passed on to clients.
class SYSTEM_ACCESS_EXPORT TableHandler {
public:
    virtual ~TableHandler() = default;
};

class SYSTEM_ACCESS_EXPORT TableAccess : public ValueAccessBase, public lomodelapi::ObserverTable {
public:
    TableAccess(std::string path, std::shared_ptr<TableHandler> handler);
    explicit TableAccess(std::string path);
    ~TableAccess() override;

    // 0, STATUS_ERR_CONNECT_FAILED, or STATUS_ERR_VALUE_TYPE_MISMATCH when the
    // path holds an object that is not a table (the object is given back).
    int connect(int timeoutMs) override;
    // Gives the object back to the platform (the call is made also when none is
    // held, with a null object) and forgets it. Always 0.
    int disconnect() override;

    // Replaces the stored handler; an empty pointer is allowed. Always 0.
    virtual int setActionResultHandler(std::shared_ptr<TableHandler> handler);
    // Platform callback thread. Traced; nothing else.
    void notifyUpdate(int change) override;

    // The connected table object, or null; valid until disconnect. Never connects.
    TableObject* getAccess() { return m_table; }

private:
    HandlerSlot<TableHandler> m_handler;
    TableObject* m_table = nullptr;  // the connected object, seen as a table
};

}  // namespace velmora::system::access
