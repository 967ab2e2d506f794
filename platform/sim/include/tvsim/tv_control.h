// The controls of the simulated TV, as every front end drives it: the model
// (values, rows, model files), faults, how actions answer, and what clients
// asked. Two implementations: LocalTvControl on the simulator in this process,
// and the TV service's proxy over D-Bus (platform/bus). Each checks its input
// the same way and refuses with the same ControlError, so sactl, the D-Bus
// interfaces and the dashboard accept and refuse alike.
#pragma once

#include <tvsim/call_records.h>
#include <tvsim/control_error.h>
#include <tvsim/model_control.h>
#include <tvsim/model_value.h>
#include <tvsim/record_pattern.h>
#include <tvsim/source_switch.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tvsim {

// A connect a client made, as any front end can tell it.
struct ClientConnect {
    std::string path;
    std::string client;  // the TV service's name for the client's connection; "" in process
    int status = 0;
    bool object = false;  // whether an object was handed out
    std::chrono::steady_clock::time_point at{};
    std::uint64_t sequence = 0;  // as ConnectRecord::sequence
};

// Where a reader of the records got to: the next sequence of each kind it has not seen.
struct RecordCursor {
    std::uint64_t connects = 0;
    std::uint64_t invokes = 0;
    std::uint64_t writes = 0;
};

// The records a reader has not seen yet, and where it gets to with them.
struct NewRecords {
    std::vector<ClientConnect> connects;
    std::vector<InvokeRecord> invokes;
    std::vector<WriteRecord> writes;
    RecordCursor next;  // the cursor to pass next time
};

// What a source-switch responder holds now.
struct SourceSwitchState {
    ResourceHolder video = ResourceHolder::SYSTEM;
    ResourceHolder audio = ResourceHolder::SYSTEM;
    ResourceHolder psi = ResourceHolder::SYSTEM;
    int playbackStatus = 0;
    int channelIndex = -1;
    Channel channel;
    int lastFailure = 0;  // the failure code the last request got; 0 when it succeeded or none came
};

// What a wait on a record pattern answers. Found: the first record that matches,
// alone in the list of the pattern's kind. Not found: the closest records of that
// kind (at most RECORD_WAIT_CLOSEST, those at the pattern's path first, newest
// first), each with why it did not match in `reasons`, in the same order.
struct RecordWait {
    bool found = false;
    std::vector<ClientConnect> connects;
    std::vector<InvokeRecord> invokes;
    std::vector<WriteRecord> writes;
    std::vector<std::string> reasons;
};

// The longest a wait on a record may last (OutOfRange beyond it) and how many near misses its time-out tells.
inline constexpr std::chrono::milliseconds RECORD_WAIT_LIMIT{60000};
inline constexpr std::size_t RECORD_WAIT_CLOSEST = 5;

class TvControl {
public:
    virtual ~TvControl() = default;

    // ---- The model ----
    virtual std::vector<ModelEntry> list(const std::string& prefix) = 0;  // sorted by path
    virtual lomodelapi::ObjectTypeSpec typeAt(const std::string& path) = 0;
    ValueType valueTypeAt(const std::string& path);                                  // WrongType for a non-value
    void requireType(const std::string& path, lomodelapi::ObjectTypeSpec expected);  // WrongType for another kind
    virtual ModelValue value(const std::string& path) = 0;
    // A platform-originated change, notified to every connected observer.
    virtual void setValue(const std::string& path, const ModelValue& value) = 0;
    // Each value in turn, each notified as a change of its own; every value is
    // checked before the first is set.
    virtual void setValues(const std::string& path, const std::vector<ModelValue>& values) = 0;
    virtual std::vector<std::string> columns(const std::string& table) = 0;
    virtual std::vector<Row> rows(const std::string& table) = 0;
    virtual void setRows(const std::string& table, const std::vector<Row>& rows) = 0;  // a cell per column
    // Adds a model file's objects; its actions answer as it says again. BadModelFile when it does not load.
    virtual void loadModel(const std::string& file) = 0;
    // As loadModel, from a model file's text; `name` stands for the file in its errors.
    virtual void loadModelText(const std::string& text, const std::string& name) = 0;
    virtual void flush() = 0;  // until every notification queued so far is delivered

    // ---- Faults (FaultInjection says what each does and refuses) ----
    virtual void failNextConnects(const std::string& path, int count, int status) = 0;
    virtual void nullObjectOnNextConnects(const std::string& path, int count) = 0;
    virtual void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) = 0;
    virtual void failGetter(const std::string& path, int status) = 0;
    virtual void refuseNextInvokes(const std::string& path, int count, int status) = 0;
    virtual void failNextCreateIterators(const std::string& path, int count) = 0;
    virtual void clearFaults(const std::string& path) = 0;
    virtual void refuseInterfaceReference(bool refuse, int status) = 0;
    virtual void emptyInterfaceReference(bool empty) = 0;
    virtual void nullRootObject(bool null) = 0;

    // ---- How actions answer ----
    // For every invoke from now on; replyRefusal() says which replies are refused (InvalidArgument).
    virtual void setReply(const std::string& action, const Reply& reply) = 0;
    // Back to the action's own answer, with everything it does (the source
    // switch's channel-name value follows its channel again).
    virtual void resetReply(const std::string& action) = 0;
    virtual void emitResult(const std::string& action, unsigned int actionId,
                            const std::vector<lomodelapi::Argument>& results) = 0;
    virtual void emitExecutionError(const std::string& action, unsigned int actionId, int error) = 0;
    // The state of the source-switch responder the model gave the action; nullopt when it has none.
    virtual std::optional<SourceSwitchState> sourceSwitch(const std::string& action) = 0;

    // ---- What clients asked ----
    virtual std::vector<ClientConnect> connects() = 0;
    virtual std::vector<InvokeRecord> invokes() = 0;
    virtual std::vector<WriteRecord> writes() = 0;
    // The records of each kind at or after the cursor's sequence (those dropped meanwhile are skipped), oldest
    // first. LocalTvControl copies only those; over the bus it is worked out from the whole lists.
    virtual NewRecords recordsSince(const RecordCursor& cursor) = 0;
    // What went to keep within the records' limit (CallRecords::limitRecords).
    virtual DroppedRecords droppedRecords() = 0;
    virtual void clearRecords() = 0;
    // Until a record the pattern matches is kept, or the timeout (0 to RECORD_WAIT_LIMIT). Records kept
    // already count, so a wait that starts after the client acted still sees what it did; clearRecords
    // first to wait only for new ones. Refuses a pattern checkPattern refuses.
    virtual RecordWait waitForRecord(const RecordPattern& pattern, std::chrono::milliseconds timeout) = 0;
    // The answer a wait gives for the records kept now.
    RecordWait findRecord(const RecordPattern& pattern);
    // Refuses what waitForRecord refuses.
    static void checkWait(const RecordPattern& pattern, std::chrono::milliseconds timeout);
};

}  // namespace tvsim
