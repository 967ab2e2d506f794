// Model control, one facet of the Simulator: the objects the simulated TV
// holds, their values, the responders that answer its actions and the rows of
// its tables, as the platform itself would create and change them.
//
// Operations may be called from any thread, including observer callbacks.
// One given a path that holds no object, or an object of another type, throws
// ControlError (a std::invalid_argument). Changes are notified to every connected observer on
// the callback thread.
#pragma once

#include <tvsim/model_value.h>

#include <lomodelapi/argument.h>
#include <lomodelapi/object_type_spec.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tvsim {

class SimulatorCore;

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

// The bounds of a reply that model files and the TV service accept. A longer
// delay is a typo more likely than a test, and would hold up shutting down.
constexpr int kMaxReplyCopies = 1000;
constexpr std::chrono::milliseconds kMaxReplyDelay{60 * 1000};

// Why a control of the TV may not give this reply, or empty when it may: copies
// or a delay beyond those bounds, or a delayed outcome that comes before invoke
// returns, which would hold up the invoking client (and, in the TV service,
// every client) for the delay; results beyond kMaxRequestBytes, or results
// times copies beyond kMaxReplyOutcomesBytes (tvsim/input_limits.h), which
// every invoke would queue to every connected observer. Lower case, no full
// stop: "copies are 1 to 1000; got 0".
std::string replyRefusal(const Reply& reply);

// Decides the reply to one invocation. Runs on the invoking client's thread,
// inside ActionObject::invoke, with no simulator lock held.
using Responder = std::function<Reply(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments)>;

struct ModelEntry {
    std::string path;
    lomodelapi::ObjectTypeSpec type;
};

// A model object and the generation() that added it or last changed its value or rows.
struct StampedEntry {
    ModelEntry entry;
    std::uint64_t changedAt;
};

class ModelControl {
public:
    // ---- Creating objects ----
    // A path holds one object: adding to a taken path replaces the object, and
    // connections made to the old one keep working on it until disconnected.
    void addInteger(const std::string& path, int value);
    void addInt64(const std::string& path, long long value);
    void addString(const std::string& path, const std::string& value);
    void addIntegerVector(const std::string& path, const std::vector<int>& value);
    void addStringVector(const std::string& path, const std::vector<std::string>& value);
    void addValue(const std::string& path, const ModelValue& value);  // of the value's type
    void addAction(const std::string& path, Responder responder);
    void addTable(const std::string& path, const std::vector<std::string>& columns, const std::vector<Row>& rows);
    void remove(const std::string& path);
    bool has(const std::string& path) const;
    std::vector<ModelEntry> list(const std::string& prefix = "") const;  // sorted by path
    lomodelapi::ObjectTypeSpec typeAt(const std::string& path) const;

    // ---- Following changes without reading everything ----
    // Grows with every change of what the simulator holds or records: objects, values, rows, responders, faults
    // (the process framework's too) and call records. A reader that saw the same number has nothing new to read.
    std::uint64_t generation() const;
    // Until generation() moves from `seen` by a change of the model's objects or records (not of faults), or
    // the deadline: what waits on records sleeps here rather than polling.
    void waitForChange(std::uint64_t seen, std::chrono::steady_clock::time_point deadline) const;
    // list() of every object, each with its stamp: a reader re-reads only the objects whose stamp moved.
    std::vector<StampedEntry> stampedList() const;

    // ---- Platform-originated changes, notified to every connected observer ----
    void setInteger(const std::string& path, int value);
    void setInt64(const std::string& path, long long value);
    void setString(const std::string& path, const std::string& value);
    void setIntegerVector(const std::string& path, const std::vector<int>& value);
    void setStringVector(const std::string& path, const std::vector<std::string>& value);
    void setValue(const std::string& path, const ModelValue& value);  // the path holds a value of the same type
    // Each in turn, each notified as a change of its own; all are checked before the first is set.
    void setValues(const std::string& path, const std::vector<ModelValue>& values);
    // Tables: notifies notifyUpdate(new row count) to table observers and to the observers of its iterators.
    // Every row has one cell per column.
    void setRows(const std::string& path, const std::vector<Row>& rows);

    // ---- Reading what the platform holds (client writes included) ----
    int integer(const std::string& path) const;
    long long int64(const std::string& path) const;
    std::string string(const std::string& path) const;
    std::vector<int> integerVector(const std::string& path) const;
    std::vector<std::string> stringVector(const std::string& path) const;
    ModelValue value(const std::string& path) const;                  // of any value type
    std::vector<std::string> columns(const std::string& path) const;  // of a table
    std::vector<Row> rows(const std::string& path) const;             // of a table

    // ---- Actions ----
    // ActionObject::invoke answers a fresh id (1, 2, 3, ... per simulator) and
    // queues the responder's reply to every observer connected to the action.
    // Without a responder the reply is success with no results.
    void setResponder(const std::string& path, Responder responder);
    // Platform-originated outcomes, queued to every observer connected to the action.
    void emitResult(const std::string& path, unsigned int actionId, const std::vector<lomodelapi::Argument>& results);
    void emitExecutionError(const std::string& path, unsigned int actionId, int error);

protected:
    ModelControl() = default;
    ~ModelControl() = default;

private:
    virtual SimulatorCore& core() const = 0;  // the running simulator these operations act on
};

}  // namespace tvsim
