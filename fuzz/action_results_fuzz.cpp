// Fuzzes ActionAccess's delivery of outcomes: the input is a stream of result
// lists (any count, any int8 position, negative ones included, any text) and
// failures, fed straight to notifyResult and notifyExecutionError as the
// platform's callback thread would, with the handler now and then cleared or
// replaced. The handler checks every delivered list against the rule: a list
// of N strings where element i is the value of the last result with position
// i, or empty, and positions outside 0..N-1 are dropped. A broken rule traps.
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

using velmora::system::access::ActionAccess;
using velmora::system::access::ActionHandler;
using velmora::system::access::ValueObject;

constexpr std::size_t kMaxResults = 300;  // past int8's reach, so some positions can never be filled
constexpr std::size_t kMaxValueLength = 24;

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

// What the handler must receive for a result list, worked out independently of the library.
std::vector<std::string> expectedList(const std::vector<lomodelapi::Argument>& results) {
    std::vector<std::string> list(results.size());
    for (const lomodelapi::Argument& result : results) {
        const int position = result.position;
        if (position >= 0 && position < static_cast<int>(list.size())) {
            list[static_cast<std::size_t>(position)] = result.value;
        }
    }
    return list;
}

// Holds the outcome it expects next and counts what it got. Called on the
// fuzzing thread, since the notifications are called directly.
class CheckingHandler final : public ActionHandler {
public:
    void expectResult(unsigned int actionId, std::vector<std::string> list) {
        m_actionId = actionId;
        m_list = std::move(list);
    }
    void expectFailure(unsigned int actionId, int error) {
        m_actionId = actionId;
        m_error = error;
    }
    int calls() const { return m_calls; }

    void onActionResult(unsigned int actionId, const ValueObject& result) override {
        ++m_calls;
        require(actionId == m_actionId);
        require(result.type() == ValueObject::VALUE_TYPE_VECTOR);
        require(result.m_vector.size() == m_list.size());
        for (std::size_t index = 0; index < m_list.size(); ++index) {
            require(result.m_vector[index].type() == ValueObject::VALUE_TYPE_STRING);
            require(result.m_vector[index].m_string == m_list[index]);
        }
        const std::vector<std::string> asStrings = result;
        require(asStrings == m_list);
    }

    void onActionFailed(unsigned int actionId, int error) override {
        ++m_calls;
        require(actionId == m_actionId && error == m_error);
    }

private:
    unsigned int m_actionId = 0;
    std::vector<std::string> m_list;
    int m_error = 0;
    int m_calls = 0;
};

std::vector<lomodelapi::Argument> resultList(FuzzedDataProvider& input) {
    std::vector<lomodelapi::Argument> results(input.ConsumeIntegralInRange<std::size_t>(0, kMaxResults));
    const bool numbered = input.ConsumeBool();  // mostly in range, as a platform numbers them
    for (lomodelapi::Argument& result : results) {
        result.tag = input.ConsumeIntegral<std::int16_t>();
        if (numbered && !results.empty() && input.ConsumeBool()) {
            const int last = static_cast<int>(std::min<std::size_t>(results.size(), 128)) - 1;
            result.position = static_cast<std::int8_t>(input.ConsumeIntegralInRange(0, last));
        } else {
            result.position = input.ConsumeIntegral<std::int8_t>();
        }
        result.subtag = input.ConsumeIntegral<std::int8_t>();
        result.value = input.ConsumeRandomLengthString(kMaxValueLength);
    }
    return results;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tvsim::setLogThreshold(tvsim::kLevelNone);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    auto handler = std::make_shared<CheckingHandler>();
    ActionAccess access("fuzz.action.results", handler);
    bool delivering = true;
    while (input.remaining_bytes() > 0) {
        const unsigned int actionId = input.ConsumeIntegral<unsigned int>();
        const int callsBefore = handler->calls();
        switch (input.ConsumeIntegralInRange(0, 3)) {
            case 0:
            case 1: {
                const std::vector<lomodelapi::Argument> results = resultList(input);
                handler->expectResult(actionId, expectedList(results));
                access.notifyResult(actionId, results);
                break;
            }
            case 2: {
                const int error = input.ConsumeIntegral<int>();
                handler->expectFailure(actionId, error);
                access.notifyExecutionError(actionId, error);
                break;
            }
            default:  // stop or resume delivery
                delivering = !delivering;
                access.setActionResultHandler(delivering ? handler : nullptr);
                continue;
        }
        require(handler->calls() == callsBefore + (delivering ? 1 : 0));
    }
    return 0;
}
