// The controls on the simulator in this process: each forwards to the facet
// that owns its rule; what only the controls know (the loaded models, the
// replies chosen) is kept here under one mutex.
#include <tvsim/local_tv_control.h>

#include <tvsim/input_limits.h>

#include <common/mutex.h>

#include <cctype>

namespace tvsim {
namespace {

using common::Lock;
using common::Mutex;

Responder answering(const Reply& reply) {
    return [reply](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; };
}

std::vector<ClientConnect> clientConnects(const std::vector<ConnectRecord>& connects) {
    std::vector<ClientConnect> records;
    records.reserve(connects.size());
    for (const ConnectRecord& connect : connects) {
        records.push_back(
            {connect.path, connect.client, connect.status, connect.object != nullptr, connect.at, connect.sequence});
    }
    return records;
}

}  // namespace

// What the loaded models say of each action, the most recent model that
// defines it winning. Only the answers are kept, not the models, so that
// loading again and again does not grow the service.
class LocalTvControl::Models {
public:
    explicit Models(LoadedModel initial) { add(std::move(initial)); }

    void add(LoadedModel model) SYSACCESS_EXCLUDES(m_mutex) {
        Lock lock(m_mutex);
        for (auto& [action, responder] : model.ownResponders) {
            m_chosen.erase(action);
            m_sourceSwitches.erase(action);
            m_ownResponders[action] = std::move(responder);
        }
        for (auto& [action, responder] : model.sourceSwitches) {
            m_sourceSwitches.insert_or_assign(action, std::move(responder));
        }
    }

    // The answer the most recent model that defines the action gave it; success with no results otherwise.
    Responder ownResponder(const std::string& action) const SYSACCESS_EXCLUDES(m_mutex) {
        Lock lock(m_mutex);
        const auto found = m_ownResponders.find(action);
        return found != m_ownResponders.end() ? found->second : answering(Reply());
    }

    // The built-in responder of the most recent model that defines the action; shares its state.
    std::optional<SourceSwitchResponder> sourceSwitch(const std::string& action) const SYSACCESS_EXCLUDES(m_mutex) {
        Lock lock(m_mutex);
        const auto found = m_sourceSwitches.find(action);
        return found != m_sourceSwitches.end() ? std::optional<SourceSwitchResponder>(found->second) : std::nullopt;
    }

    void chose(const std::string& action, const Reply& reply) SYSACCESS_EXCLUDES(m_mutex) {
        Lock lock(m_mutex);
        m_chosen[action] = reply;
    }
    void forget(const std::string& action) SYSACCESS_EXCLUDES(m_mutex) {
        Lock lock(m_mutex);
        m_chosen.erase(action);
    }
    std::map<std::string, Reply> chosen() const SYSACCESS_EXCLUDES(m_mutex) {
        Lock lock(m_mutex);
        return m_chosen;
    }

private:
    mutable Mutex m_mutex;
    std::map<std::string, Responder> m_ownResponders SYSACCESS_GUARDED_BY(m_mutex);
    std::map<std::string, SourceSwitchResponder> m_sourceSwitches SYSACCESS_GUARDED_BY(m_mutex);
    std::map<std::string, Reply> m_chosen SYSACCESS_GUARDED_BY(m_mutex);
};

LocalTvControl::LocalTvControl(Simulator& simulator, LoadedModel loaded)
    : m_simulator(simulator), m_models(std::make_unique<Models>(std::move(loaded))) {}

LocalTvControl::~LocalTvControl() = default;

std::map<std::string, Reply> LocalTvControl::chosenReplies() const {
    return m_models->chosen();
}

std::vector<ModelEntry> LocalTvControl::list(const std::string& prefix) {
    return m_simulator.list(prefix);
}

lomodelapi::ObjectTypeSpec LocalTvControl::typeAt(const std::string& path) {
    return m_simulator.typeAt(path);
}

ModelValue LocalTvControl::value(const std::string& path) {
    return m_simulator.value(path);
}

void LocalTvControl::setValue(const std::string& path, const ModelValue& value) {
    m_simulator.setValue(path, value);
}

void LocalTvControl::setValues(const std::string& path, const std::vector<ModelValue>& values) {
    m_simulator.setValues(path, values);
}

std::vector<std::string> LocalTvControl::columns(const std::string& table) {
    return m_simulator.columns(table);
}

std::vector<Row> LocalTvControl::rows(const std::string& table) {
    return m_simulator.rows(table);
}

void LocalTvControl::setRows(const std::string& table, const std::vector<Row>& rows) {
    m_simulator.setRows(table, rows);
}

void LocalTvControl::loadModel(const std::string& file) {
    requireModelFileName(file);
    try {
        m_models->add(loadModelFile(file, m_simulator));
    } catch (const ModelFileError& error) {
        throw ControlError(ControlErrorKind::BAD_MODEL_FILE, error.what());
    }
}

void LocalTvControl::loadModelText(const std::string& text, const std::string& name) {
    requireModelFileName(name);
    try {
        m_models->add(tvsim::loadModelText(text, name, m_simulator));
    } catch (const ModelFileError& error) {
        throw ControlError(ControlErrorKind::BAD_MODEL_FILE, error.what());
    }
}

void LocalTvControl::flush() {
    m_simulator.flush();
}

void LocalTvControl::failNextConnects(const std::string& path, int count, int status) {
    m_simulator.failNextConnects(path, count, status);
}
void LocalTvControl::nullObjectOnNextConnects(const std::string& path, int count) {
    m_simulator.nullObjectOnNextConnects(path, count);
}
void LocalTvControl::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    m_simulator.reportType(path, type);
}
void LocalTvControl::failGetter(const std::string& path, int status) {
    m_simulator.failGetter(path, status);
}
void LocalTvControl::refuseNextInvokes(const std::string& path, int count, int status) {
    m_simulator.refuseNextInvokes(path, count, status);
}
void LocalTvControl::failNextCreateIterators(const std::string& path, int count) {
    m_simulator.failNextCreateIterators(path, count);
}
void LocalTvControl::clearFaults(const std::string& path) {
    m_simulator.clearFaults(path);
}
void LocalTvControl::refuseInterfaceReference(bool refuse, int status) {
    m_simulator.refuseInterfaceReference(refuse, status);
}
void LocalTvControl::emptyInterfaceReference(bool empty) {
    m_simulator.emptyInterfaceReference(empty);
}
void LocalTvControl::nullRootObject(bool null) {
    m_simulator.nullRootObject(null);
}

void LocalTvControl::setReply(const std::string& action, const Reply& reply) {
    requireType(action, lomodelapi::OBJECT_TYPE_ACTION);
    std::string refusal = replyRefusal(reply);
    if (!refusal.empty()) {
        refusal[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(refusal[0])));
        throw ControlError(ControlErrorKind::INVALID_ARGUMENT, refusal + ".");
    }
    m_simulator.setResponder(action, answering(reply));
    m_models->chose(action, reply);
}

void LocalTvControl::resetReply(const std::string& action) {
    requireType(action, lomodelapi::OBJECT_TYPE_ACTION);
    m_simulator.setResponder(action, m_models->ownResponder(action));
    m_models->forget(action);
}

void LocalTvControl::emitResult(const std::string& action, unsigned int actionId,
                                const std::vector<lomodelapi::Argument>& results) {
    m_simulator.emitResult(action, actionId, results);
}

void LocalTvControl::emitExecutionError(const std::string& action, unsigned int actionId, int error) {
    m_simulator.emitExecutionError(action, actionId, error);
}

std::optional<SourceSwitchState> LocalTvControl::sourceSwitch(const std::string& action) {
    requireType(action, lomodelapi::OBJECT_TYPE_ACTION);
    const std::optional<SourceSwitchResponder> tv = m_models->sourceSwitch(action);
    if (!tv) {
        return std::nullopt;
    }
    SourceSwitchState state;
    state.video = tv->holder(SourceSwitchResponder::RESOURCE_VIDEO);
    state.audio = tv->holder(SourceSwitchResponder::RESOURCE_AUDIO);
    state.psi = tv->holder(SourceSwitchResponder::RESOURCE_PSI);
    state.playbackStatus = tv->playbackStatus();
    state.channelIndex = tv->currentChannelIndex();
    state.channel = tv->currentChannel();
    const std::vector<SourceSwitchRequest> requests = tv->requests();
    state.lastFailure = requests.empty() ? 0 : requests.back().failure;
    return state;
}

std::vector<ClientConnect> LocalTvControl::connects() {
    return clientConnects(m_simulator.connects());
}

std::vector<InvokeRecord> LocalTvControl::invokes() {
    return m_simulator.invokes();
}

std::vector<WriteRecord> LocalTvControl::writes() {
    return m_simulator.writes();
}

NewRecords LocalTvControl::recordsSince(const RecordCursor& cursor) {
    CallRecords::Since since = m_simulator.recordsSince(cursor.connects, cursor.invokes, cursor.writes);
    return {clientConnects(since.connects),
            std::move(since.invokes),
            std::move(since.writes),
            {since.nextConnect, since.nextInvoke, since.nextWrite}};
}

DroppedRecords LocalTvControl::droppedRecords() {
    return m_simulator.droppedRecords();
}

void LocalTvControl::clearRecords() {
    m_simulator.clearRecords();
}

RecordWait LocalTvControl::waitForRecord(const RecordPattern& pattern, std::chrono::milliseconds timeout) {
    checkWait(pattern, timeout);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const std::uint64_t seen = m_simulator.generation();
        RecordWait wait = findRecord(pattern);
        if (wait.found || std::chrono::steady_clock::now() >= deadline) {
            return wait;
        }
        m_simulator.waitForChange(seen, deadline);
    }
}

}  // namespace tvsim
