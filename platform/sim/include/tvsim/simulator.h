// Control side of the host simulator of the TV platform.
//
// A Simulator object is the running platform: while it lives, the process
// framework hands out "orvik.lm.interfaces.tvapi.RootInterface" and the model
// it holds is reachable through the platform's headers. One Simulator at a
// time per process. Its control operations may be called from any thread,
// including from observer callbacks (on the callback thread).
//
// Every notification (value changes, action outcomes, iterator events) is
// delivered on one callback thread, in order. flush() waits until everything
// queued so far, delayed outcomes included, has been delivered. Once
// RootInterface::disconnect has returned on another thread, that observer gets
// no further call; a disconnect made on the callback thread itself (from inside
// a notification) stops later calls but cannot wait for the one in progress.
// Either way its delayed outcomes are dropped at once.
//
// Control operations given a path that holds no object, or an object of
// another type, throw std::invalid_argument. Never destroy the Simulator on
// the callback thread.
#pragma once

#include <lomodelapi/argument.h>
#include <lomodelapi/model_objects.h>
#include <lomodelapi/object_type_spec.h>
#include <lomodelapi/table_types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tvsim {

// Platform statuses the simulator answers besides those tests choose:
// getInterfaceReference with a name nothing is registered under,
constexpr int kStatusNoSuchInterface = 1;
// RootInterface::connect with a path that holds no model object,
constexpr int kStatusUnknownPath = 2;
// disconnect or destroyIterator with something the simulator did not hand out
// (or that was already given back; a disconnect must also name its path and observer).
constexpr int kStatusUnknownObject = 3;

using Row = std::vector<std::string>;

// What an action answers for one invocation.
struct Reply {
    enum class Kind { Results, Failure, NoReply };

    Kind kind = Kind::Results;
    std::vector<lomodelapi::Argument> results;  // Kind::Results
    int error = 0;                              // Kind::Failure; 0 is a legal code
    std::chrono::milliseconds delay{0};         // delivered this long after invoke
    int copies = 1;                             // more than 1 delivers duplicates
    bool beforeInvokeReturns = false;           // delivered (on the callback thread) before invoke returns

    static Reply withResults(std::vector<lomodelapi::Argument> results);
    static Reply failure(int error);
    static Reply none();
};

// Decides the reply to one invocation. Runs on the invoking client's thread,
// inside ActionObject::invoke, with no simulator lock held.
using Responder = std::function<Reply(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments)>;

struct ConnectRecord {
    std::string path;
    lomodelapi::Observer* observer;
    ModelObject* object;  // what the platform handed out; null on failure
    int status;
};

struct DisconnectRecord {
    std::string path;
    lomodelapi::Observer* observer;
    ModelObject* object;
};

struct InvokeRecord {
    std::string path;
    unsigned int actionId;  // 0 when refused
    std::vector<lomodelapi::Argument> arguments;
    int status;
};

struct CreateIteratorRecord {
    std::string path;
    lomodelapi::IteratorType type;
    lomodelapi::ObserverTableIterator* observer;
    std::vector<lomodelapi::TableSelection> selections;
    std::vector<int> columns;
    std::vector<lomodelapi::TableOrder> orders;
    TableIteratorObject* iterator;  // what was returned (null when made to fail)
};

struct ModelEntry {
    std::string path;
    lomodelapi::ObjectTypeSpec type;
};

class Simulator {
public:
    Simulator();  // starts the platform with an empty model
    // Drops the delayed outcomes not yet due, delivers everything else queued,
    // unregisters the interface and frees the model: it never waits for a delay.
    ~Simulator();

    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // The running simulator, or null.
    static Simulator* current();

    // ---- Model: creating objects ----
    // A path holds one object: adding to a taken path replaces the object, and
    // connections made to the old one keep working on it until disconnected.
    void addInteger(const std::string& path, int value);
    void addInt64(const std::string& path, long long value);
    void addString(const std::string& path, const std::string& value);
    void addIntegerVector(const std::string& path, const std::vector<int>& value);
    void addStringVector(const std::string& path, const std::vector<std::string>& value);
    void addAction(const std::string& path, Responder responder);
    void addTable(const std::string& path, const std::vector<std::string>& columns, const std::vector<Row>& rows);
    void remove(const std::string& path);
    bool has(const std::string& path) const;
    std::vector<ModelEntry> list(const std::string& prefix = "") const;  // sorted by path

    // ---- Model: platform-originated changes, notified to every connected observer ----
    void setInteger(const std::string& path, int value);
    void setInt64(const std::string& path, long long value);
    void setString(const std::string& path, const std::string& value);
    void setIntegerVector(const std::string& path, const std::vector<int>& value);
    void setStringVector(const std::string& path, const std::vector<std::string>& value);

    // ---- Model: reading what the platform holds (client writes included) ----
    int integer(const std::string& path) const;
    long long int64(const std::string& path) const;
    std::string string(const std::string& path) const;
    std::vector<int> integerVector(const std::string& path) const;
    std::vector<std::string> stringVector(const std::string& path) const;
    std::vector<std::string> columns(const std::string& path) const;  // of a table
    std::vector<Row> rows(const std::string& path) const;             // of a table

    // ---- Actions ----
    // ActionObject::invoke answers a fresh id (1, 2, 3, ... per simulator) and
    // queues the responder's reply to every observer connected to the action.
    // Without a responder the reply is success with no results.
    void setResponder(const std::string& path, Responder responder);
    // The next `count` invokes answer `status` without an id or an outcome.
    void refuseNextInvokes(const std::string& path, int count, int status);
    // Platform-originated outcomes, queued to every observer connected to the action.
    void emitResult(const std::string& path, unsigned int actionId, const std::vector<lomodelapi::Argument>& results);
    void emitExecutionError(const std::string& path, unsigned int actionId, int error);

    // ---- Tables ----
    // Notifies notifyUpdate(new row count) to table observers and to the observers of its iterators.
    void setRows(const std::string& path, const std::vector<Row>& rows);
    void failNextCreateIterators(const std::string& path, int count);  // createIterator answers null

    // ---- Faults ----
    void refuseInterfaceReference(bool refuse, int status = -1);            // getInterfaceReference answers status
    void emptyInterfaceReference(bool empty);                               // answers 0 and leaves the reference empty
    void nullRootObject(bool null);                                         // Interface::getObject answers null
    void failNextConnects(const std::string& path, int count, int status);  // status != 0, null object
    void nullObjectOnNextConnects(const std::string& path, int count);      // status 0, null object
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type);  // getType lies from now on
    void failGetter(const std::string& path, int status);  // string/vector getValue answers status, 0 heals

    // ---- Observation ----
    std::vector<ConnectRecord> connects() const;
    std::vector<DisconnectRecord> disconnects() const;
    std::vector<InvokeRecord> invokes() const;
    std::vector<CreateIteratorRecord> createIterators() const;
    std::vector<TableIteratorObject*> destroyIterators() const;
    int connectedObservers(const std::string& path) const;
    int setterCalls(const std::string& path) const;  // client writes through model objects
    // The map the last client setValues call on a vector path received (empty when none).
    std::map<int, int> lastIntegerMap(const std::string& path) const;
    std::map<int, std::string> lastStringMap(const std::string& path) const;
    void clearRecords();  // every record list, counter and last map

    // ---- Callback thread ----
    void flush();
    bool onCallbackThread() const;

    class Impl;

private:
    std::unique_ptr<Impl> m_impl;
};

// The simulator's own iterator operations, for clients that read rows through
// an iterator made by TableObject::createIterator. Events reach the iterator's
// observer on the callback thread. A newly created iterator reports
// notifyIteratorReady(0) and notifyTotalCount(rows).
class SimIterator {
public:
    // The simulator's view of a platform iterator; null for anything else.
    static SimIterator* from(TableIteratorObject* iterator);

    virtual ~SimIterator() = default;
    // Rows run from 0 to rowCount() - 1; the cursor may also stand at rowCount() (the end).
    // seekToRow: notifySeekToRow(row), notifyCursorPosition(row); a row outside
    // 0..rowCount() reports -1 and the unchanged cursor.
    virtual void seekToRow(int row) = 0;
    // notifySeekToContent(first row holding a cell equal to it, or -1); a found row becomes the cursor.
    virtual void seekToContent(const std::string& cell) = 0;
    // notifyReadRow(row at cursor), cursor moves on, notifyCursorPosition; at the end an empty row.
    virtual void readRow() = 0;
    virtual void readRows(int count) = 0;  // notifyReadRowChunk(up to count rows), cursor moves on
    virtual void commit() = 0;             // notifyCommit(0)
    virtual int rowCount() const = 0;
    virtual int cursor() const = 0;

    // Raw platform-originated events, with any argument.
    virtual void emitCommit(int status) = 0;
    virtual void emitTotalCount(int count) = 0;
    virtual void emitSeekToRow(int row) = 0;
    virtual void emitSeekToContent(int row) = 0;
    virtual void emitCursorPosition(int row) = 0;
    virtual void emitReadRow(const Row& row) = 0;
    virtual void emitReadRowChunk(const std::vector<Row>& rows) = 0;
    virtual void emitIteratorReady(int status) = 0;
    virtual void emitUpdate(int change) = 0;
};

}  // namespace tvsim
