// The journaling control: every call goes on to the TV's own controls; while a
// recording lasts, each change the TV took is noted as the step that makes it.
#include <tvsim/scenario_recorder.h>

#include <common/mutex.h>

namespace tvsim {

class JournalingTvControl::Journal {
public:
    void start() {
        const common::Lock lock(m_mutex);
        m_journaling = true;
        m_full = false;
        m_entries.clear();
    }

    bool journaling() const {
        const common::Lock lock(m_mutex);
        return m_journaling;
    }

    bool full() const {
        const common::Lock lock(m_mutex);
        return m_full;
    }

    std::vector<Entry> take() {
        const common::Lock lock(m_mutex);
        m_journaling = false;
        return std::move(m_entries);
    }

    void add(std::chrono::steady_clock::time_point at, ScenarioAction action) {
        Entry entry{at, ScenarioStep{{}, {}, std::chrono::milliseconds(0), std::move(action)}};
        const common::Lock lock(m_mutex);
        if (!m_journaling) {
            return;
        }
        if (m_entries.size() == kMaxJournalEntries) {
            m_full = true;
            return;
        }
        m_entries.push_back(std::move(entry));
    }

private:
    mutable common::Mutex m_mutex;
    bool m_journaling SYSACCESS_GUARDED_BY(m_mutex) = false;
    bool m_full SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::vector<Entry> m_entries SYSACCESS_GUARDED_BY(m_mutex);
};

JournalingTvControl::JournalingTvControl(TvControl& inner) : m_inner(inner), m_journal(std::make_unique<Journal>()) {}

JournalingTvControl::~JournalingTvControl() = default;

// Entries carry their own times; `now` is where the caller's recording starts, which it gives recordedScenario.
void JournalingTvControl::startJournal(std::chrono::steady_clock::time_point /*now*/) {
    m_inner.clearRecords();
    m_journal->start();
}

bool JournalingTvControl::journaling() const {
    return m_journal->journaling();
}

std::vector<JournalingTvControl::Entry> JournalingTvControl::takeJournal() {
    return m_journal->take();
}

bool JournalingTvControl::journalFull() const {
    return m_journal->full();
}

// The time is taken before the change is made: a client that answers the change (its notification may reach
// the client before the change returns) comes after it in the recording.
template <typename Change>
void JournalingTvControl::journaled(ScenarioAction action, Change change) {
    const auto at = std::chrono::steady_clock::now();
    change();
    m_journal->add(at, std::move(action));
}

// ---- Changes, noted ----

void JournalingTvControl::setValue(const std::string& path, const ModelValue& value) {
    journaled(SetValueStep{path, valueJsonText(value)}, [&] { m_inner.setValue(path, value); });
}

void JournalingTvControl::setValues(const std::string& path, const std::vector<ModelValue>& values) {
    const auto at = std::chrono::steady_clock::now();
    m_inner.setValues(path, values);
    for (const ModelValue& value : values) {
        m_journal->add(at, SetValueStep{path, valueJsonText(value)});
    }
}

void JournalingTvControl::setRows(const std::string& table, const std::vector<Row>& rows) {
    journaled(SetRowsStep{table, rows}, [&] { m_inner.setRows(table, rows); });
}

void JournalingTvControl::failNextConnects(const std::string& path, int count, int status) {
    journaled(FaultStep{ScenarioFaultKind::FailConnects, path, count, status},
              [&] { m_inner.failNextConnects(path, count, status); });
}

void JournalingTvControl::nullObjectOnNextConnects(const std::string& path, int count) {
    journaled(FaultStep{ScenarioFaultKind::NullConnects, path, count},
              [&] { m_inner.nullObjectOnNextConnects(path, count); });
}

void JournalingTvControl::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    journaled(FaultStep{ScenarioFaultKind::ReportType, path, 1, 0, type}, [&] { m_inner.reportType(path, type); });
}

void JournalingTvControl::failGetter(const std::string& path, int status) {
    journaled(FaultStep{ScenarioFaultKind::FailGetter, path, 1, status}, [&] { m_inner.failGetter(path, status); });
}

void JournalingTvControl::refuseNextInvokes(const std::string& path, int count, int status) {
    journaled(FaultStep{ScenarioFaultKind::RefuseInvokes, path, count, status},
              [&] { m_inner.refuseNextInvokes(path, count, status); });
}

void JournalingTvControl::failNextCreateIterators(const std::string& path, int count) {
    journaled(FaultStep{ScenarioFaultKind::FailIterators, path, count},
              [&] { m_inner.failNextCreateIterators(path, count); });
}

void JournalingTvControl::clearFaults(const std::string& path) {
    journaled(ClearFaultsStep{path}, [&] { m_inner.clearFaults(path); });
}

void JournalingTvControl::setReply(const std::string& action, const Reply& reply) {
    journaled(SetReplyStep{action, reply}, [&] { m_inner.setReply(action, reply); });
}

void JournalingTvControl::resetReply(const std::string& action) {
    journaled(ResetReplyStep{action}, [&] { m_inner.resetReply(action); });
}

void JournalingTvControl::emitResult(const std::string& action, unsigned int actionId,
                                     const std::vector<lomodelapi::Argument>& results) {
    journaled(EmitResultStep{action, {actionId, {}}, results}, [&] { m_inner.emitResult(action, actionId, results); });
}

void JournalingTvControl::emitExecutionError(const std::string& action, unsigned int actionId, int error) {
    journaled(EmitFailureStep{action, {actionId, {}}, error},
              [&] { m_inner.emitExecutionError(action, actionId, error); });
}

// ---- Everything else, as it is ----

std::vector<ModelEntry> JournalingTvControl::list(const std::string& prefix) {
    return m_inner.list(prefix);
}

lomodelapi::ObjectTypeSpec JournalingTvControl::typeAt(const std::string& path) {
    return m_inner.typeAt(path);
}

ModelValue JournalingTvControl::value(const std::string& path) {
    return m_inner.value(path);
}

std::vector<std::string> JournalingTvControl::columns(const std::string& table) {
    return m_inner.columns(table);
}

std::vector<Row> JournalingTvControl::rows(const std::string& table) {
    return m_inner.rows(table);
}

void JournalingTvControl::loadModel(const std::string& file) {
    m_inner.loadModel(file);
}

void JournalingTvControl::loadModelText(const std::string& text, const std::string& name) {
    m_inner.loadModelText(text, name);
}

void JournalingTvControl::flush() {
    m_inner.flush();
}

void JournalingTvControl::refuseInterfaceReference(bool refuse, int status) {
    m_inner.refuseInterfaceReference(refuse, status);
}

void JournalingTvControl::emptyInterfaceReference(bool empty) {
    m_inner.emptyInterfaceReference(empty);
}

void JournalingTvControl::nullRootObject(bool null) {
    m_inner.nullRootObject(null);
}

std::optional<SourceSwitchState> JournalingTvControl::sourceSwitch(const std::string& action) {
    return m_inner.sourceSwitch(action);
}

std::vector<ClientConnect> JournalingTvControl::connects() {
    return m_inner.connects();
}

std::vector<InvokeRecord> JournalingTvControl::invokes() {
    return m_inner.invokes();
}

std::vector<WriteRecord> JournalingTvControl::writes() {
    return m_inner.writes();
}

NewRecords JournalingTvControl::recordsSince(const RecordCursor& cursor) {
    return m_inner.recordsSince(cursor);
}

DroppedRecords JournalingTvControl::droppedRecords() {
    return m_inner.droppedRecords();
}

void JournalingTvControl::clearRecords() {
    m_inner.clearRecords();
}

RecordWait JournalingTvControl::waitForRecord(const RecordPattern& pattern, std::chrono::milliseconds timeout) {
    return m_inner.waitForRecord(pattern, timeout);
}

}  // namespace tvsim
