// getValue and setValue on a connected accessor, beside the same call made on
// the simulator's model object directly (connected by hand, with an observer
// that ignores notifications). Logging is off. A write is notified to every
// connected observer on the callback thread in both cases, so both loops
// drain that queue at the same pace. A second baseline also asks the object
// for its type before each call, as the accessor must: what is left between
// it and the accessor is the library's own work.
#include "bench_platform.h"

#include <system_access/value_access.h>

#include <benchmark/benchmark.h>
#include <frame/process.h>
#include <lomodelapi/model_objects.h>

#include <string>

namespace {

using velmora::system::access::ValueAccessT;

constexpr char kRootInterfaceName[] = "orvik.lm.interfaces.tvapi.RootInterface";
// Writes queue notifications; draining every so often keeps the queue short.
constexpr int kWritesPerDrain = 1024;

struct IntegerCase {
    using Observer = lomodelapi::ObserverNumericInteger;
    using Object = NumericIntegerObject;
    using Value = int;
    // Runs on the callback thread; ignores the notification.
    struct IgnoringObserver final : Observer {
        void notifyNewValue(int) override {}
    };
    static constexpr const char* kPath = benchsupport::kIntegerPath;
    static Value sample() { return 42; }
    static void read(Object& object, Value& out) { out = object.getValue(); }
    static void write(Object& object, const Value& value) { object.setValue(value); }
};

struct StringCase {
    using Observer = lomodelapi::ObserverString;
    using Object = StringObject;
    using Value = std::string;
    // Runs on the callback thread; ignores the notification.
    struct IgnoringObserver final : Observer {
        void notifyNewValue(const std::string&) override {}
    };
    static constexpr const char* kPath = benchsupport::kStringPath;
    static Value sample() { return Value(16, 'v'); }
    static void read(Object& object, Value& out) { object.getValue(out); }
    static void write(Object& object, const Value& value) { object.setValue(value); }
};

// The figure: the library's accessor, connected once.
template <typename CaseT>
class ThroughAccessor {
public:
    using Case = CaseT;

    ThroughAccessor() : m_accessor(Case::kPath), m_connected(m_accessor.connect(1000) == 0) {}

    bool connected() const { return m_connected; }
    void get(typename Case::Value& out) { benchmark::DoNotOptimize(m_accessor.getValue(out)); }
    void set(const typename Case::Value& value) { benchmark::DoNotOptimize(m_accessor.setValue(value)); }

private:
    ValueAccessT<typename Case::Observer> m_accessor;
    bool m_connected;
};

// The baseline: the model object, connected through the root interface by hand and given back at the end.
template <typename CaseT, bool kAsksType>
class ThroughModelObject {
public:
    using Case = CaseT;

    ThroughModelObject() {
        boost::shared_ptr<frame::Interface> reference;
        frame::Process::getInstance().getInterfaceReference(reference, kRootInterfaceName);
        m_root = reference ? static_cast<RootInterface*>(reference->getObject()) : nullptr;
        ModelObject* object = nullptr;
        if (m_root != nullptr && m_root->connect(Case::kPath, &m_observer, object) == 0) {
            m_object = static_cast<typename Case::Object*>(object);
        }
    }
    ~ThroughModelObject() {
        if (m_object != nullptr) {
            m_root->disconnect(Case::kPath, &m_observer, m_object);
        }
    }

    ThroughModelObject(const ThroughModelObject&) = delete;
    ThroughModelObject& operator=(const ThroughModelObject&) = delete;

    bool connected() const { return m_object != nullptr; }
    void get(typename Case::Value& out) {
        askType();
        Case::read(*m_object, out);
    }
    void set(const typename Case::Value& value) {
        askType();
        Case::write(*m_object, value);
    }

private:
    void askType() {
        if constexpr (kAsksType) {
            lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
            m_object->getType(type);
            benchmark::DoNotOptimize(type);
        }
    }

    typename Case::IgnoringObserver m_observer;
    RootInterface* m_root = nullptr;
    typename Case::Object* m_object = nullptr;
};

template <typename Access>
void getValue(benchmark::State& state) {
    benchsupport::sharedSimulator();
    Access access;
    if (!access.connected()) {
        state.SkipWithError("not connected");
        return;
    }
    typename Access::Case::Value out = Access::Case::sample();
    for (auto _ : state) {
        access.get(out);
        benchmark::DoNotOptimize(out);
    }
}

template <typename Access>
void setValue(benchmark::State& state) {
    tvsim::Simulator& simulator = benchsupport::sharedSimulator();
    {
        Access access;
        if (!access.connected()) {
            state.SkipWithError("not connected");
            return;
        }
        const typename Access::Case::Value value = Access::Case::sample();
        int writes = 0;
        for (auto _ : state) {
            access.set(value);
            if (++writes % kWritesPerDrain == 0) {
                simulator.flush();
            }
        }
    }
    simulator.flush();
}

template <typename Case>
using Direct = ThroughModelObject<Case, false>;
template <typename Case>
using DirectWithType = ThroughModelObject<Case, true>;

}  // namespace

BENCHMARK(getValue<ThroughAccessor<IntegerCase>>)->Name("GetSet/accessor_get_int");
BENCHMARK(getValue<Direct<IntegerCase>>)->Name("GetSet/model_object_get_int");
BENCHMARK(getValue<DirectWithType<IntegerCase>>)->Name("GetSet/model_object_type_and_get_int");
BENCHMARK(getValue<ThroughAccessor<StringCase>>)->Name("GetSet/accessor_get_string");
BENCHMARK(getValue<Direct<StringCase>>)->Name("GetSet/model_object_get_string");
BENCHMARK(getValue<DirectWithType<StringCase>>)->Name("GetSet/model_object_type_and_get_string");
// A write also costs the callback thread its delivery, so writes are judged on
// the CPU time of the whole process, which preemption by other programs on a
// shared machine does not inflate.
BENCHMARK(setValue<ThroughAccessor<IntegerCase>>)->Name("GetSet/accessor_set_int")->MeasureProcessCPUTime();
BENCHMARK(setValue<Direct<IntegerCase>>)->Name("GetSet/model_object_set_int")->MeasureProcessCPUTime();
BENCHMARK(setValue<DirectWithType<IntegerCase>>)->Name("GetSet/model_object_type_and_set_int")->MeasureProcessCPUTime();
BENCHMARK(setValue<ThroughAccessor<StringCase>>)->Name("GetSet/accessor_set_string")->MeasureProcessCPUTime();
BENCHMARK(setValue<Direct<StringCase>>)->Name("GetSet/model_object_set_string")->MeasureProcessCPUTime();
BENCHMARK(setValue<DirectWithType<StringCase>>)
    ->Name("GetSet/model_object_type_and_set_string")
    ->MeasureProcessCPUTime();
