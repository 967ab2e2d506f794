// The Simulator object: starts the simulated platform and forwards its
// control operations to the model and the callback thread.
#include <tvsim/simulator.h>

#include "callback_thread.h"
#include "model.h"
#include "process_framework.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace tvsim {
namespace {

constexpr const char* kRootInterfaceName = "orvik.lm.interfaces.tvapi.RootInterface";

std::atomic<Simulator*> g_current{nullptr};

class SimRootInterface final : public RootInterface {
public:
    explicit SimRootInterface(Model& model) : m_model(model) {}

    int connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object) override {
        return m_model.connect(path, observer, object);
    }
    int disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object) override {
        return m_model.disconnect(path, observer, object);
    }

private:
    Model& m_model;
};

// What the process framework hands out for the root interface.
class RootInterfaceHandle final : public frame::Interface {
public:
    explicit RootInterfaceHandle(RootInterface* root) : m_root(root) {}

    // Clients turn the pointer back into a RootInterface*, so it is exactly that pointer.
    void* getObject() override { return m_null.load(std::memory_order_relaxed) ? nullptr : static_cast<void*>(m_root); }
    void answerNull(bool null) { m_null.store(null, std::memory_order_relaxed); }

private:
    RootInterface* const m_root;
    std::atomic<bool> m_null{false};
};

}  // namespace

class Simulator::Impl {
public:
    Impl()
        : model(callbacks),
          root(model),
          handle(boost::shared_ptr<RootInterfaceHandle>(new RootInterfaceHandle(&root))) {
        InterfaceRegistry::instance().resetFaults();
        InterfaceRegistry::instance().publish(kRootInterfaceName, handle);
    }

    ~Impl() {
        InterfaceRegistry::instance().withdraw(kRootInterfaceName);
        InterfaceRegistry::instance().resetFaults();
        // Observers may still call into the model while the queue drains.
        callbacks.shutdown();
    }

    CallbackThread callbacks;
    Model model;
    SimRootInterface root;
    boost::shared_ptr<RootInterfaceHandle> handle;
};

Simulator::Simulator() {
    Simulator* expected = nullptr;
    if (!g_current.compare_exchange_strong(expected, this)) {
        std::fputs("tvsim: only one Simulator may run at a time\n", stderr);
        std::abort();
    }
    m_impl = std::make_unique<Impl>();
}

Simulator::~Simulator() {
    m_impl.reset();
    g_current.store(nullptr);
}

Simulator* Simulator::current() {
    return g_current.load();
}

// ---- Model ----

void Simulator::addInteger(const std::string& path, int value) {
    m_impl->model.addValue(path, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, value);
}
void Simulator::addInt64(const std::string& path, long long value) {
    m_impl->model.addValue(path, lomodelapi::OBJECT_TYPE_NUMERIC_INT64, value);
}
void Simulator::addString(const std::string& path, const std::string& value) {
    m_impl->model.addValue(path, lomodelapi::OBJECT_TYPE_STRING, value);
}
void Simulator::addIntegerVector(const std::string& path, const std::vector<int>& value) {
    m_impl->model.addValue(path, lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, value);
}
void Simulator::addStringVector(const std::string& path, const std::vector<std::string>& value) {
    m_impl->model.addValue(path, lomodelapi::OBJECT_TYPE_VECTOR_STRING, value);
}
void Simulator::addAction(const std::string& path, Responder responder) {
    m_impl->model.addAction(path, std::move(responder));
}
void Simulator::addTable(const std::string& path, const std::vector<std::string>& columns,
                         const std::vector<Row>& rows) {
    m_impl->model.addTable(path, columns, rows);
}
void Simulator::remove(const std::string& path) {
    m_impl->model.remove(path);
}
bool Simulator::has(const std::string& path) const {
    return m_impl->model.has(path);
}
std::vector<ModelEntry> Simulator::list(const std::string& prefix) const {
    return m_impl->model.list(prefix);
}

void Simulator::setInteger(const std::string& path, int value) {
    m_impl->model.changeValue(path, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, value);
}
void Simulator::setInt64(const std::string& path, long long value) {
    m_impl->model.changeValue(path, lomodelapi::OBJECT_TYPE_NUMERIC_INT64, value);
}
void Simulator::setString(const std::string& path, const std::string& value) {
    m_impl->model.changeValue(path, lomodelapi::OBJECT_TYPE_STRING, value);
}
void Simulator::setIntegerVector(const std::string& path, const std::vector<int>& value) {
    m_impl->model.changeValue(path, lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, value);
}
void Simulator::setStringVector(const std::string& path, const std::vector<std::string>& value) {
    m_impl->model.changeValue(path, lomodelapi::OBJECT_TYPE_VECTOR_STRING, value);
}

int Simulator::integer(const std::string& path) const {
    return std::get<int>(m_impl->model.value(path, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER));
}
long long Simulator::int64(const std::string& path) const {
    return std::get<long long>(m_impl->model.value(path, lomodelapi::OBJECT_TYPE_NUMERIC_INT64));
}
std::string Simulator::string(const std::string& path) const {
    return std::get<std::string>(m_impl->model.value(path, lomodelapi::OBJECT_TYPE_STRING));
}
std::vector<int> Simulator::integerVector(const std::string& path) const {
    return std::get<std::vector<int>>(m_impl->model.value(path, lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER));
}
std::vector<std::string> Simulator::stringVector(const std::string& path) const {
    return std::get<std::vector<std::string>>(m_impl->model.value(path, lomodelapi::OBJECT_TYPE_VECTOR_STRING));
}

std::vector<std::string> Simulator::columns(const std::string& path) const {
    return m_impl->model.columns(path);
}
std::vector<Row> Simulator::rows(const std::string& path) const {
    return m_impl->model.rows(path);
}

// ---- Actions ----

void Simulator::setResponder(const std::string& path, Responder responder) {
    m_impl->model.setResponder(path, std::move(responder));
}
void Simulator::refuseNextInvokes(const std::string& path, int count, int status) {
    m_impl->model.refuseNextInvokes(path, count, status);
}
void Simulator::emitResult(const std::string& path, unsigned int actionId,
                           const std::vector<lomodelapi::Argument>& results) {
    m_impl->model.emitResult(path, actionId, results);
}
void Simulator::emitExecutionError(const std::string& path, unsigned int actionId, int error) {
    m_impl->model.emitExecutionError(path, actionId, error);
}

// ---- Tables ----

void Simulator::setRows(const std::string& path, const std::vector<Row>& rows) {
    m_impl->model.setRows(path, rows);
}
void Simulator::failNextCreateIterators(const std::string& path, int count) {
    m_impl->model.failNextCreateIterators(path, count);
}

// ---- Faults ----

void Simulator::refuseInterfaceReference(bool refuse, int status) {
    InterfaceRegistry::instance().refuse(refuse, status);
}
void Simulator::emptyInterfaceReference(bool empty) {
    InterfaceRegistry::instance().answerEmpty(empty);
}
void Simulator::nullRootObject(bool null) {
    m_impl->handle->answerNull(null);
}
void Simulator::failNextConnects(const std::string& path, int count, int status) {
    m_impl->model.failNextConnects(path, count, status);
}
void Simulator::nullObjectOnNextConnects(const std::string& path, int count) {
    m_impl->model.nullObjectOnNextConnects(path, count);
}
void Simulator::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    m_impl->model.reportType(path, type);
}
void Simulator::failGetter(const std::string& path, int status) {
    m_impl->model.failGetter(path, status);
}

// ---- Observation ----

std::vector<ConnectRecord> Simulator::connects() const {
    return m_impl->model.recorded(&Records::connects);
}
std::vector<DisconnectRecord> Simulator::disconnects() const {
    return m_impl->model.recorded(&Records::disconnects);
}
std::vector<InvokeRecord> Simulator::invokes() const {
    return m_impl->model.recorded(&Records::invokes);
}
std::vector<CreateIteratorRecord> Simulator::createIterators() const {
    return m_impl->model.recorded(&Records::createIterators);
}
std::vector<TableIteratorObject*> Simulator::destroyIterators() const {
    return m_impl->model.recorded(&Records::destroyIterators);
}
int Simulator::connectedObservers(const std::string& path) const {
    return m_impl->model.connectedObservers(path);
}
int Simulator::setterCalls(const std::string& path) const {
    return m_impl->model.setterCalls(path);
}
std::map<int, int> Simulator::lastIntegerMap(const std::string& path) const {
    return m_impl->model.lastIntegerMap(path);
}
std::map<int, std::string> Simulator::lastStringMap(const std::string& path) const {
    return m_impl->model.lastStringMap(path);
}
void Simulator::clearRecords() {
    m_impl->model.clearRecords();
}

// ---- Callback thread ----

void Simulator::flush() {
    m_impl->callbacks.flush();
}
bool Simulator::onCallbackThread() const {
    return m_impl->callbacks.onCallbackThread();
}

}  // namespace tvsim
