// Fuzzes ActionAccess's delivery of outcomes: the input is a stream of result
// lists (any count, any int8 position, negative ones included, any text) and
// failures, fed straight to notifyResult and notifyExecutionError as the
// platform's callback thread would, with the handler now and then cleared or
// set again. Each delivered list must hold N strings where element i is the
// value of the last result with position i, or empty, positions outside
// 0..N-1 dropped; a broken rule traps.
//
// The accessor is never connected: notifications need no model object. Its
// log lines go to the simulator's debug service, which is told to want none.
#include <system_access/action_access.h>
#include <system_access/value_object.h>

#include <tvsim/debug_capture.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using velmora::system::access::ValueObject;

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

// Holds the outcome it expects next and counts what it got; called on the fuzzing thread.
struct CheckingHandler final : velmora::system::access::ActionHandler {
    void onActionResult(unsigned int actionId, const ValueObject& result) override {
        ++calls;
        require(actionId == expectedId && result.type() == ValueObject::VALUE_TYPE_VECTOR);
        for (const ValueObject& element : result.m_vector) {
            require(element.type() == ValueObject::VALUE_TYPE_STRING);
        }
        require(static_cast<std::vector<std::string>>(result) == expectedList);
    }
    void onActionFailed(unsigned int actionId, int error) override {
        ++calls;
        require(actionId == expectedId && error == expectedError);
    }

    unsigned int expectedId = 0;
    std::vector<std::string> expectedList;
    int expectedError = 0;
    int calls = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tvsim::setLogThreshold(tvsim::kLevelNone);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    auto handler = std::make_shared<CheckingHandler>();
    velmora::system::access::ActionAccess access("fuzz.action.results", handler);
    bool delivering = true;
    while (input.remaining_bytes() > 0) {
        handler->expectedId = input.ConsumeIntegral<unsigned int>();
        const int callsBefore = handler->calls;
        switch (input.ConsumeIntegralInRange(0, 3)) {
            case 0:
            case 1: {
                // Up to 300 results, past int8's reach, so some positions can never be filled.
                std::vector<lomodelapi::Argument> results(input.ConsumeIntegralInRange<std::size_t>(0, 300));
                handler->expectedList.assign(results.size(), "");
                for (lomodelapi::Argument& result : results) {
                    result.position = input.ConsumeIntegral<std::int8_t>();
                    result.value = input.ConsumeRandomLengthString(24);
                    if (result.position >= 0 && static_cast<std::size_t>(result.position) < results.size()) {
                        handler->expectedList[static_cast<std::size_t>(result.position)] = result.value;
                    }
                }
                access.notifyResult(handler->expectedId, results);
                break;
            }
            case 2:
                handler->expectedError = input.ConsumeIntegral<int>();
                access.notifyExecutionError(handler->expectedId, handler->expectedError);
                break;
            default:
                delivering = !delivering;
                access.setActionResultHandler(delivering ? handler : nullptr);
                continue;
        }
        require(handler->calls == callsBefore + (delivering ? 1 : 0));
    }
    return 0;
}
