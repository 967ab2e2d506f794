// Call records, one facet of the Simulator: what clients asked of the
// simulated platform, in the order it arrived, for tests to read back.
// Operations may be called from any thread; each answers a copy.
//
// A record's observer pointer tells which observer made the call; it may
// point to one that is gone since. A record names the client from the
// observer when the call is made (ClientNamingObserver), so an observer need
// not outlive its connection for the records to name it.
#pragma once

#include <lomodelapi/argument.h>
#include <lomodelapi/model_objects.h>
#include <lomodelapi/table_types.h>
#include <tvsim/model_value.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tvsim {

class SimulatorCore;

// An observer that acts for a named client, as the TV service's do ("<unique
// name>#<connection>"). Implemented beside lomodelapi's observer class.
class ClientNamingObserver {
public:
    virtual const std::string& clientName() const = 0;

protected:
    ~ClientNamingObserver() = default;
};

struct ConnectRecord {
    std::string path;
    lomodelapi::Observer* observer;
    ModelObject* object;  // what the platform handed out; null on failure
    int status;
    std::string client;  // the observer's ClientNamingObserver name; "" for other observers
    std::chrono::steady_clock::time_point at;
    std::uint64_t sequence = 0;  // its place among the connects since the start or clearRecords, from 0
};

struct DisconnectRecord {
    std::string path;
    lomodelapi::Observer* observer;
    ModelObject* object;
    std::string client;
};

// What an accepted invoke got back, as far as the simulator knows now. An
// outcome the platform reports later by itself (emitResult, emitExecutionError)
// fills one that had no reply yet.
struct InvokeOutcome {
    enum class Kind { NoReplyYet, Results, Failure };

    Kind kind = Kind::NoReplyYet;
    std::vector<lomodelapi::Argument> results;  // Kind::Results
    int error = 0;                              // Kind::Failure
    std::chrono::microseconds took{0};          // from the invoke until the outcome was due (its delay included)
};

struct InvokeRecord {
    std::string path;
    unsigned int actionId;  // 0 when refused
    std::vector<lomodelapi::Argument> arguments;
    int status;
    std::chrono::steady_clock::time_point invokedAt;
    InvokeOutcome outcome;
    std::uint64_t sequence = 0;  // its place among the invokes since the start or clearRecords, from 0
};

// A value a client wrote through a model object (setValue, or a by-index
// write: then the whole value after it).
struct WriteRecord {
    std::string path;
    ModelValue value;
    std::string client;  // as ConnectRecord::client
    std::chrono::steady_clock::time_point at;
    std::uint64_t sequence = 0;  // its place among the writes since the start or clearRecords, from 0
};

struct CreateIteratorRecord {
    std::string path;
    lomodelapi::IteratorType type;
    lomodelapi::ObserverTableIterator* observer;
    std::vector<lomodelapi::TableSelection> selections;
    std::vector<int> columns;
    std::vector<lomodelapi::TableOrder> orders;
    TableIteratorObject* iterator;  // what was returned (null when made to fail)
    std::string client;
};

// How many records of each kind went, oldest first, to keep within limitRecords,
// since the simulator started or clearRecords.
struct DroppedRecords {
    std::uint64_t connects = 0;
    std::uint64_t disconnects = 0;
    std::uint64_t invokes = 0;
    std::uint64_t createIterators = 0;
    std::uint64_t destroyIterators = 0;
    std::uint64_t writes = 0;
};

// The values of the kept writes together take at most this many bytes (as
// sizeOf in input_limits.h counts them): beyond it the oldest writes go, and
// are counted as dropped, so that a client writing large vectors cannot fill
// the memory with its records, and the writes fit one D-Bus reply.
constexpr std::size_t kMaxWriteRecordBytes = std::size_t{32} << 20;

class CallRecords {
public:
    // The records of some kinds from a sequence on, taken at one moment, and the
    // sequence the next record of each kind gets.
    struct Since {
        std::vector<ConnectRecord> connects;
        std::vector<InvokeRecord> invokes;
        std::vector<WriteRecord> writes;
        std::uint64_t nextConnect = 0;
        std::uint64_t nextInvoke = 0;
        std::uint64_t nextWrite = 0;
    };

    // Keeps at most perKind records of each kind from now on (at least 1),
    // dropping the oldest. Unbounded until called: a test reads back every
    // call it made, while a long-running service bounds what it keeps.
    void limitRecords(std::size_t perKind);
    DroppedRecords droppedRecords() const;

    std::vector<ConnectRecord> connects() const;
    std::vector<DisconnectRecord> disconnects() const;
    std::vector<InvokeRecord> invokes() const;
    std::vector<WriteRecord> writes() const;
    // Those at or after each sequence (the dropped ones skipped); a sequence
    // beyond the records (they were cleared since) reads from the first kept.
    Since recordsSince(std::uint64_t connect, std::uint64_t invoke, std::uint64_t write) const;
    std::vector<CreateIteratorRecord> createIterators() const;
    std::vector<TableIteratorObject*> destroyIterators() const;
    int connectedObservers(const std::string& path) const;
    int setterCalls(const std::string& path) const;  // client writes through model objects
    // The map the last client setValues call on a vector path received (empty when none).
    std::map<int, int> lastIntegerMap(const std::string& path) const;
    std::map<int, std::string> lastStringMap(const std::string& path) const;
    void clearRecords();  // every record list, counter (the dropped ones' too) and last map

protected:
    CallRecords() = default;
    ~CallRecords() = default;

private:
    virtual SimulatorCore& core() const = 0;  // the running simulator these operations act on
};

}  // namespace tvsim
