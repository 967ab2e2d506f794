// Fuzzes ValueObject's conversions: the input makes values from native types
// (floats and doubles from raw bits, so NaNs and infinities occur) and nests
// them into lists. Each value made must keep these properties, and a broken
// one traps:
// - a number converts to every integer type as a C++ cast would, except that
//   floating values truncate and saturate (NaN gives 0);
// - a number's text is what a default string stream writes;
// - a list's text and list conversions are its elements', one by one;
// - copies and moves keep the kind and the text; no conversion throws.
#include <system_access/value_object.h>

#include <fuzzer/FuzzedDataProvider.h>

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

template <typename Number>
std::string streamed(Number number) {
    std::ostringstream stream;
    stream << number;
    return stream.str();
}

template <typename Integer, typename Native>
Integer expectedInteger(Native native) {
    if constexpr (std::is_floating_point_v<Native>) {
        const long double truncated = std::trunc(static_cast<long double>(native));  // exact for every limit
        if (std::isnan(truncated)) {
            return 0;
        }
        if (truncated >= static_cast<long double>(std::numeric_limits<Integer>::max())) {
            return std::numeric_limits<Integer>::max();
        }
        if (truncated <= static_cast<long double>(std::numeric_limits<Integer>::min())) {
            return std::numeric_limits<Integer>::min();
        }
        return static_cast<Integer>(truncated);
    } else {
        return static_cast<Integer>(native);
    }
}

template <typename Native, typename... Integers>
bool integersHold(const ValueObject& value, Native native) {
    return ((static_cast<Integers>(value) == expectedInteger<Integers>(native)) && ...);
}

template <typename Native>
ValueObject number(Native native) {
    const ValueObject value(native);
    require(integersHold<Native, int, unsigned, long, unsigned long, long long, unsigned long long>(value, native));
    require(static_cast<bool>(value) == (native != 0));  // NaN is true
    if constexpr (std::is_same_v<Native, bool>) {
        require(value.convertToStringType() == (native ? "TRUE" : "FALSE"));
    } else if constexpr (std::is_floating_point_v<Native>) {
        const double widened = native;
        require(value.convertToStringType() == streamed(widened));
        require(std::isnan(native) ? std::isnan(static_cast<double>(value)) : static_cast<double>(value) == widened);
    } else {
        require(value.convertToStringType() == streamed(native));
    }
    return value;
}

template <typename Floating, typename Bits>
ValueObject floating(Bits bits) {
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
    [](FuzzedDataProvider& input) { return floating<float>(input.ConsumeIntegral<std::uint32_t>()); },
    [](FuzzedDataProvider& input) { return floating<double>(input.ConsumeIntegral<std::uint64_t>()); },
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
    if (value.type() == ValueObject::VALUE_TYPE_VECTOR) {
        std::string joined = "[";
        require(strings.size() == value.m_vector.size() && numbers.size() == value.m_vector.size());
        for (std::size_t index = 0; index < strings.size(); ++index) {
            require(strings[index] == value.m_vector[index].convertToStringType());
            require(numbers[index] == static_cast<unsigned>(value.m_vector[index]));
            joined += (index == 0 ? "" : ",") + strings[index];
        }
        require(text == joined + "]");
    } else {
        require(strings == std::vector<std::string>{text});
        require(numbers == std::vector<unsigned>{static_cast<unsigned>(value)});
    }
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
