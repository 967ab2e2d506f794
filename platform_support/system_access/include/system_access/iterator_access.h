// IteratorAccess: an iterator over a model table. It holds a fixed description
// (iterator type, selections, columns, orders), connects the table through a
// private TableAccess and creates the platform iterator on create(), hands it
// out through getIterator() and forwards the iterator's events to the client's
// IteratorHandler. Rows are read through the platform iterator itself.
//
// Calling order: construct; create(); getIterator() while events arrive;
// destroy(); destroy the accessor. Destroying it without destroy() is safe
// but reported.
//
// Threads: create (blocking up to about one second while the table connects),
// destroy, getIterator, setActionResultHandler and destruction run on the
// caller's thread. The nine notify operations run on the platform's callback
// thread and call the handler there with no library lock held; they touch
// nothing but the handler field.
#pragma once

#include <system_access/handler_slot.h>
#include <system_access/value_access_base.h>

#include <lomodelapi/observer.h>
#include <lomodelapi/table_types.h>

#include <memory>
#include <string>
#include <vector>

class TableIteratorObject;

namespace velmora::system::access {

class TableAccess;

// The client's interface for iterator events; all run on the platform's
// callback thread. Rows and chunks are the platform's objects, valid for the
// call only: a handler that needs them later copies them.
class SYSTEM_ACCESS_EXPORT IteratorHandler {
public:
    virtual void onCommit(int status) = 0;
    virtual void onTotalCount(int count) = 0;
    virtual void onSeekToRow(int row) = 0;
    virtual void onSeekToContent(int row) = 0;
    virtual void onCursorPosition(int row) = 0;
    virtual void onReadRow(const std::vector<std::string>& row) = 0;
    virtual void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) = 0;
    virtual void onIteratorReady(int status) = 0;
    virtual void onUpdate(int change) = 0;
    virtual ~IteratorHandler() = default;
};

class SYSTEM_ACCESS_EXPORT IteratorAccess : public ValueAccessBase, public lomodelapi::ObserverTableIterator {
public:
    enum : int {
        STATUS_ERR_TABLE_CONNECT = 4,     // create(): the table could not be connected
        STATUS_ERR_ALREADY_CREATED = -1,  // create(): this accessor already holds its table and iterator
    };

    IteratorAccess(std::string path, std::shared_ptr<IteratorHandler> handler, const lomodelapi::IteratorType& type,
                   const std::vector<lomodelapi::TableSelection>& selections, const std::vector<int>& columns,
                   const std::vector<lomodelapi::TableOrder>& orders);
    // Destroys an iterator still held (with an error line: its owner should
    // have called destroy()), then disconnects the table. Once it has begun on
    // a thread other than the callback thread, no event reaches the accessor
    // after destroyIterator returns.
    ~IteratorAccess() override;

    // The table connection belongs to the private TableAccess: both answer 0
    // and call nothing, so the inherited value operations answer
    // STATUS_ERR_CONNECT_FAILED.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Connects the table (1000 ms) and creates the iterator with this accessor
    // as its observer: 0, STATUS_ERR_TABLE_CONNECT (may be retried), or
    // STATUS_ERR_ALREADY_CREATED after an earlier success.
    virtual int create();
    // Destroys the iterator, if any; the table stays connected. Always 0.
    virtual int destroy();
    // Replaces the handler; an empty pointer stops delivery. Always 0.
    virtual int setActionResultHandler(std::shared_ptr<IteratorHandler> handler);

    // Platform callback thread: each goes unchanged to the handler operation of the same name.
    void notifyCommit(int status) override;
    void notifyTotalCount(int count) override;
    void notifySeekToRow(int row) override;
    void notifySeekToContent(int row) override;
    void notifyCursorPosition(int row) override;
    void notifyReadRow(const std::vector<std::string>& row) override;
    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override;
    void notifyIteratorReady(int status) override;
    void notifyUpdate(int change) override;

    // The platform iterator, or null before a successful create() and after destroy().
    TableIteratorObject* getIterator() const { return m_iterator; }

private:
    HandlerSlot<IteratorHandler> m_handler;
    const lomodelapi::IteratorType m_type;
    const std::vector<lomodelapi::TableSelection> m_selections;
    const std::vector<int> m_columns;
    const std::vector<lomodelapi::TableOrder> m_orders;
    TableIteratorObject* m_iterator = nullptr;
    std::shared_ptr<TableAccess> m_tableAccess;  // empty until the first create()
};

}  // namespace velmora::system::access
