// Fuzzes ValueObject's conversions with properties, not a second model of the
// type. The input makes numbers from native types (floats and doubles from raw
// bits, so NaNs and infinities occur) and texts, and nests earlier values into
// lists. For each value made, a broken property traps:
// - no conversion throws or crashes;
// - a number's text is what a default string stream writes, and it converts
//   back to its own value: integers as C++ casts do, floating values truncated
//   toward zero and held within the target's range (NaN gives 0);
// - a list's text and list conversions are its elements', one by one;
// - copies, assignments and moves keep the kind and the text.
#include <system_access/value_object.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using velmora::system::access::ValueObject;

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

template <typename Integer, typename Native>
bool convertsTo(const ValueObject& value, Native native) {
    if constexpr (std::is_floating_point_v<Native>) {
        using Limits = std::numeric_limits<Integer>;
        const long double truncated = std::trunc(static_cast<long double>(native));  // exact at every limit
        return static_cast<Integer>(value) ==
               (std::isnan(native)
                    ? 0
                    : static_cast<Integer>(std::clamp<long double>(truncated, Limits::min(), Limits::max())));
    } else {
        return static_cast<Integer>(value) == static_cast<Integer>(native);
    }
}

template <typename Native>
ValueObject number(Native native) {
    const ValueObject value(native);
    require(convertsTo<int>(value, native) && convertsTo<unsigned>(value, native) && convertsTo<long>(value, native) &&
            convertsTo<unsigned long>(value, native) && convertsTo<long long>(value, native) &&
            convertsTo<unsigned long long>(value, native));
    require(static_cast<bool>(value) == (native != 0));  // NaN is true
    std::ostringstream stream;
    if constexpr (std::is_floating_point_v<Native>) {
        stream << static_cast<double>(native);  // a float's text is its double's
        require(std::isnan(native) ? std::isnan(static_cast<double>(value)) : static_cast<double>(value) == native);
    } else {
        stream << native;
    }
    require(value.convertToStringType() == (std::is_same_v<Native, bool> ? (native ? "TRUE" : "FALSE") : stream.str()));
    return value;
}

template <typename Floating, typename Bits>
ValueObject floating(FuzzedDataProvider& input) {
    const Bits bits = input.ConsumeIntegral<Bits>();
    Floating native;
    std::memcpy(&native, &bits, sizeof native);
    return number(native);
}

using Maker = ValueObject (*)(FuzzedDataProvider&);
const Maker kMakers[] = {
    [](FuzzedDataProvider& input) { return number(input.ConsumeBool()); },
    [](FuzzedDataProvider& input) { return number(input.ConsumeIntegral<int>()); },
    [](FuzzedDataProvider& input) { return number(input.ConsumeIntegral<unsigned>()); },
    [](FuzzedDataProvider& input) { return number(input.ConsumeIntegral<long long>()); },
    [](FuzzedDataProvider& input) { return number(input.ConsumeIntegral<unsigned long long>()); },
    floating<float, std::uint32_t>,
    floating<double, std::uint64_t>,
    [](FuzzedDataProvider& input) { return ValueObject(input.ConsumeRandomLengthString(48).c_str()); },
};

// A value from a native constructor, or a list of the last values made, built as the library's callers build one.
ValueObject made(FuzzedDataProvider& input, std::vector<ValueObject>& values) {
    const std::size_t choice = input.ConsumeIntegralInRange<std::size_t>(0, std::size(kMakers));
    if (choice < std::size(kMakers)) {
        return kMakers[choice](input);
    }
    ValueObject list;
    list.m_type = ValueObject::VALUE_TYPE_VECTOR;
    for (std::size_t count = input.ConsumeIntegralInRange(0, 4); count > 0 && !values.empty(); --count) {
        list.m_vector.push_back(std::move(values.back()));
        values.pop_back();
    }
    return list;
}

void checkForms(const ValueObject& value) {
    const std::string text = value.convertToStringType();
    require(static_cast<std::string>(value) == text);
    const std::vector<std::string> strings = value;
    const std::vector<unsigned> numbers = value;
    const bool list = value.type() == ValueObject::VALUE_TYPE_VECTOR;
    const std::vector<ValueObject> elements = list ? value.m_vector : std::vector<ValueObject>{value};
    require(strings.size() == elements.size() && numbers.size() == elements.size());
    std::string joined;
    for (std::size_t index = 0; index < elements.size(); ++index) {
        require(strings[index] == elements[index].convertToStringType());
        require(numbers[index] == static_cast<unsigned>(elements[index]));
        joined += (index == 0 ? "" : ",") + strings[index];
    }
    require(text == (list ? "[" + joined + "]" : joined));
    ValueObject copy(value);
    ValueObject assigned;
    assigned = copy;
    const ValueObject moved(std::move(copy));
    require(assigned.type() == value.type() && assigned.convertToStringType() == text);
    require(moved.type() == value.type() && moved.convertToStringType() == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    std::vector<ValueObject> values;
    try {
        while (input.remaining_bytes() > 0) {
            values.push_back(made(input, values));
            checkForms(values.back());
        }
    } catch (...) {
        __builtin_trap();
    }
    return 0;
}
