// A value notification from the platform's observer call to the client's
// handler, with a handler set and logging off, with the heap allocations each
// one makes. The baseline is the least any delivery can do: copy the handler's
// shared pointer and make one virtual call with a value built beforehand. A
// second baseline adds the two traced operations every notification passes
// (the notification and onNewValue), showing what tracing alone costs.
#include "allocation_counter.h"
#include "bench_platform.h"
#include "traced_operation.h"

#include <system_access/value_access.h>
#include <system_access/value_object.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using velmora::system::access::ValueAccessT;
using velmora::system::access::ValueHandler;
using velmora::system::access::ValueObject;

constexpr int kListSize = 16;

// Called on the benchmark's thread, which stands in for the platform's callback thread.
class SinkHandler final : public ValueHandler {
public:
    void onNewValue(const ValueObject& value) override { benchmark::DoNotOptimize(&value); }
};

// The platform calls each notification through the observer base of its kind.
void deliver(lomodelapi::ObserverNumericInteger& observer, int value) {
    observer.notifyNewValue(value);
}
void deliver(lomodelapi::ObserverNumericInt64& observer, long long value) {
    observer.notifyNewValue(value);
}
void deliver(lomodelapi::ObserverString& observer, const std::string& value) {
    observer.notifyNewValue(value);
}
void deliver(lomodelapi::ObserverVectorNumericInteger& observer, const std::vector<int>& values) {
    observer.notifyIntegerVector(values);
}
void deliver(lomodelapi::ObserverVectorString& observer, const std::vector<std::string>& values) {
    observer.notifyStringVector(values);
}

// What a string's own text costs: one allocation once it outgrows the small-string buffer.
std::uint64_t textAllocations(std::size_t length) {
    return length > std::string().capacity() ? 1 : 0;
}

template <typename Observer, typename Input>
void notifyHandler(benchmark::State& state, const Input& input, std::uint64_t allowedAllocations) {
    benchsupport::quietLogs();
    ValueAccessT<Observer> accessor("bench.notified.value", std::make_shared<SinkHandler>());
    // Hidden from the optimiser, so that every call goes through the virtual table as the platform's does.
    Observer* platformSide = &accessor;
    benchmark::DoNotOptimize(platformSide);
    benchsupport::AllocationCount allocations;
    for (auto _ : state) {
        deliver(*platformSide, input);
    }
    allocations.report(state, allowedAllocations);
}

void bareHandlerCall(benchmark::State& state, int traceGuards) {
    benchsupport::quietLogs();
    std::shared_ptr<ValueHandler> held = std::make_shared<SinkHandler>();
    benchmark::DoNotOptimize(held);
    const ValueObject value(12345);
    benchsupport::AllocationCount allocations;
    for (auto _ : state) {
        for (int guard = 0; guard < traceGuards; ++guard) {
            benchsupport::tracedEmptyOperation();
        }
        std::shared_ptr<ValueHandler> handler = held;
        handler->onNewValue(value);
    }
    allocations.report(state);
}

template <typename Observer, typename Input>
void registerNotification(const std::string& name, const Input& input, std::uint64_t allowedAllocations) {
    benchmark::RegisterBenchmark(("Notify/" + name).c_str(), notifyHandler<Observer, Input>, input, allowedAllocations);
}

void registerStringCases(std::size_t length) {
    const std::string text(length, 's');
    const std::string suffix = std::to_string(length);
    registerNotification<lomodelapi::ObserverString>("string" + suffix, text, textAllocations(length));
    registerNotification<lomodelapi::ObserverVectorString>("string_vector" + std::to_string(kListSize) + "x" + suffix,
                                                           std::vector<std::string>(kListSize, text),
                                                           1 + kListSize * textAllocations(length));
}

[[maybe_unused]] const bool registered = [] {
    registerNotification<lomodelapi::ObserverNumericInteger>("int", 12345, 0);
    registerNotification<lomodelapi::ObserverNumericInt64>("int64", 1LL << 40, 0);
    std::vector<int> integers(kListSize);
    for (int index = 0; index < kListSize; ++index) {
        integers[index] = index * 1000;
    }
    registerNotification<lomodelapi::ObserverVectorNumericInteger>("int_vector" + std::to_string(kListSize), integers,
                                                                   1);
    // 16 characters, and the longest text that still fits the small-string buffer.
    registerStringCases(16);
    registerStringCases(std::string().capacity());
    benchmark::RegisterBenchmark("Notify/bare_handler_call", bareHandlerCall, 0);
    benchmark::RegisterBenchmark("Notify/bare_handler_call_two_trace_guards", bareHandlerCall, 2);
    return true;
}();

}  // namespace
