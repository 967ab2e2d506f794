// Recording a session as a scenario: a journal of the changes the TV's
// controls made (the TV's side, as steps) beside the records of what its
// clients asked (their side, as expectations).
#pragma once

#include <tvsim/scenario.h>
#include <tvsim/tv_control.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace tvsim {

// The most journal entries one recording keeps, as many as a scenario has steps: later changes are not noted
// (journalFull() tells), so that a control left journaling cannot fill the memory.
constexpr std::size_t kMaxJournalEntries = kMaxScenarioSteps;

// A TvControl that forwards every call to another and, while journaling, notes each change a control makes to
// the TV (set-value, set-rows, set-reply, reset-reply, fault, clear-faults, emit-result/emit-failure) as a step
// with its time: only the changes the TV took (a refused one throws and is not noted). Thread-safe (front ends
// call it from several threads); the journal's lock is never held while the inner control is called.
class JournalingTvControl final : public TvControl {
public:
    struct Entry {
        std::chrono::steady_clock::time_point at;
        ScenarioStep step;
    };

    explicit JournalingTvControl(TvControl& inner);
    ~JournalingTvControl() override;

    JournalingTvControl(const JournalingTvControl&) = delete;
    JournalingTvControl& operator=(const JournalingTvControl&) = delete;

    void startJournal(std::chrono::steady_clock::time_point now);  // clears the records too
    bool journaling() const;
    std::vector<Entry> takeJournal();  // and stops journaling
    // Whether changes went unnoted since startJournal because the journal held kMaxJournalEntries.
    bool journalFull() const;

    std::vector<ModelEntry> list(const std::string& prefix) override;
    lomodelapi::ObjectTypeSpec typeAt(const std::string& path) override;
    ModelValue value(const std::string& path) override;
    void setValue(const std::string& path, const ModelValue& value) override;
    void setValues(const std::string& path, const std::vector<ModelValue>& values) override;
    std::vector<std::string> columns(const std::string& table) override;
    std::vector<Row> rows(const std::string& table) override;
    void setRows(const std::string& table, const std::vector<Row>& rows) override;
    void loadModel(const std::string& file) override;
    void loadModelText(const std::string& text, const std::string& name) override;
    void flush() override;

    void failNextConnects(const std::string& path, int count, int status) override;
    void nullObjectOnNextConnects(const std::string& path, int count) override;
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) override;
    void failGetter(const std::string& path, int status) override;
    void refuseNextInvokes(const std::string& path, int count, int status) override;
    void failNextCreateIterators(const std::string& path, int count) override;
    void clearFaults(const std::string& path) override;
    void refuseInterfaceReference(bool refuse, int status) override;
    void emptyInterfaceReference(bool empty) override;
    void nullRootObject(bool null) override;

    void setReply(const std::string& action, const Reply& reply) override;
    void resetReply(const std::string& action) override;
    void emitResult(const std::string& action, unsigned int actionId,
                    const std::vector<lomodelapi::Argument>& results) override;
    void emitExecutionError(const std::string& action, unsigned int actionId, int error) override;
    std::optional<SourceSwitchState> sourceSwitch(const std::string& action) override;

    std::vector<ClientConnect> connects() override;
    std::vector<InvokeRecord> invokes() override;
    std::vector<WriteRecord> writes() override;
    NewRecords recordsSince(const RecordCursor& cursor) override;
    DroppedRecords droppedRecords() override;
    void clearRecords() override;
    RecordWait waitForRecord(const RecordPattern& pattern, std::chrono::milliseconds timeout) override;

private:
    class Journal;

    // Makes the change, then notes it if the TV took it.
    template <typename Change>
    void journaled(ScenarioAction action, Change change);

    TvControl& m_inner;
    std::unique_ptr<Journal> m_journal;
};

// The scenario that replays a recorded session: the TV's side as steps, the clients' side as expectations (each
// path's requests in the order they came, one sequence per path, repeated ones kept; tag-like arguments, a word
// followed by digits "_" digits, become patterns). Steps are anchored to the last client request before them
// (after its expectation, with the delay) or to the start.
Scenario recordedScenario(const ScenarioTv& tv, std::chrono::steady_clock::time_point start,
                          const std::vector<JournalingTvControl::Entry>& journal, const NewRecords& records,
                          std::chrono::milliseconds duration);

}  // namespace tvsim
