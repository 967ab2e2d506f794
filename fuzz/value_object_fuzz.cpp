// Fuzzes ValueObject: the input is a stream of operations on a small pool of
// values (construction from every native type with any bit pattern, NaN and
// infinities included; native, copy and move assignment, self and own-element
// cases included; copy and move construction; nesting; any 32-bit kind written
// straight into m_type; a locale that groups digits) and every operation is
// followed by the full set of conversions on what it touched. A broken
// invariant traps, so libFuzzer reports it like a crash.
#include <system_access/value_object.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace {

using velmora::base::container::Point;
using velmora::system::access::ValueObject;

constexpr std::size_t kPoolSize = 4;
constexpr std::size_t kMaxDepth = 6;    // list levels below a pool value
constexpr std::size_t kMaxNodes = 160;  // values in one pool value, itself included
constexpr std::size_t kMaxStringLength = 48;

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

// Counted over m_vector whatever the kind: a list left behind by an earlier kind is still carried by assignments.
std::size_t depthOf(const ValueObject& value) {
    std::size_t deepest = 0;
    for (const ValueObject& element : value.m_vector) {
        deepest = std::max(deepest, 1 + depthOf(element));
    }
    return deepest;
}

std::size_t nodesOf(const ValueObject& value) {
    std::size_t nodes = 1;
    for (const ValueObject& element : value.m_vector) {
        nodes += nodesOf(element);
    }
    return nodes;
}

// Digits grouped in threes with an apostrophe and a comma for the point: a global locale that changes number text.
class GroupingPunctuation : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

const std::locale& groupingLocale() {
    static const std::locale locale(std::locale::classic(), new GroupingPunctuation);
    return locale;
}

// What a default string stream under the global locale writes: the reference for every number's text.
template <typename Number>
std::string streamed(Number number) {
    std::ostringstream stream;
    stream << number;
    return stream.str();
}

bool storedBool(const ValueObject& value) {
    unsigned char byte = 0;
    std::memcpy(&byte, &value.m_value, 1);
    return byte != 0;
}

// Truncation toward zero, saturating at the target's limits, NaN giving 0; worked out in long double, which holds
// every float, double and 64-bit limit exactly.
template <typename Integer>
Integer saturated(long double value) {
    if (std::isnan(value)) {
        return 0;
    }
    const long double truncated = std::trunc(value);
    if (truncated >= static_cast<long double>(std::numeric_limits<Integer>::max())) {
        return std::numeric_limits<Integer>::max();
    }
    if (truncated <= static_cast<long double>(std::numeric_limits<Integer>::min())) {
        return std::numeric_limits<Integer>::min();
    }
    return static_cast<Integer>(truncated);
}

// The expected integer conversion: integers keep their low bits (two's complement), floating values saturate.
template <typename Integer>
Integer expectedInteger(const ValueObject& value) {
    using Unsigned = std::make_unsigned_t<Integer>;
    const ValueObject::Value& stored = value.m_value;
    switch (value.m_type) {
        case ValueObject::VALUE_TYPE_INT:
            return static_cast<Integer>(static_cast<Unsigned>(static_cast<long long>(stored.intValue)));
        case ValueObject::VALUE_TYPE_UINT:
            return static_cast<Integer>(static_cast<Unsigned>(stored.uintValue));
        case ValueObject::VALUE_TYPE_INT64:
            return static_cast<Integer>(static_cast<Unsigned>(stored.int64Value));
        case ValueObject::VALUE_TYPE_UINT64:
            return static_cast<Integer>(static_cast<Unsigned>(stored.uint64Value));
        case ValueObject::VALUE_TYPE_BOOL:
            return storedBool(value) ? 1 : 0;
        case ValueObject::VALUE_TYPE_FLOAT:
            return saturated<Integer>(stored.floatValue);
        case ValueObject::VALUE_TYPE_DOUBLE:
            return saturated<Integer>(stored.doubleValue);
        default:
            return 0;
    }
}

bool sameFloating(double left, double right) {
    return (std::isnan(left) && std::isnan(right)) || left == right;
}

std::string expectedStringForm(const ValueObject& value);

std::string expectedListForm(const ValueObject& value) {
    std::string text = "[";
    for (std::size_t index = 0; index < value.m_vector.size(); ++index) {
        text += (index == 0 ? "" : ",") + value.m_vector[index].convertToStringType();
    }
    return text + "]";
}

std::string expectedStringForm(const ValueObject& value) {
    const ValueObject::Value& stored = value.m_value;
    switch (value.m_type) {
        case ValueObject::VALUE_TYPE_NULL:
            return "null";
        case ValueObject::VALUE_TYPE_INT:
            return streamed(stored.intValue);
        case ValueObject::VALUE_TYPE_UINT:
            return streamed(stored.uintValue);
        case ValueObject::VALUE_TYPE_INT64:
            return streamed(stored.int64Value);
        case ValueObject::VALUE_TYPE_UINT64:
            return streamed(stored.uint64Value);
        case ValueObject::VALUE_TYPE_BOOL:
            return storedBool(value) ? "TRUE" : "FALSE";
        case ValueObject::VALUE_TYPE_FLOAT:
            return streamed(static_cast<double>(stored.floatValue));
        case ValueObject::VALUE_TYPE_DOUBLE:
            return streamed(stored.doubleValue);
        case ValueObject::VALUE_TYPE_STRING:
            return value.m_string;
        case ValueObject::VALUE_TYPE_POINT:
            return "(" + streamed(static_cast<int>(value.m_point.x)) + "," +
                   streamed(static_cast<int>(value.m_point.y)) + ")";
        case ValueObject::VALUE_TYPE_VECTOR:
            return expectedListForm(value);
        case ValueObject::VALUE_TYPE_UNDEFINED:
            return "Undefined";
        default:
            return "";
    }
}

// Every conversion of one value, against what its kind and stored member say. None may throw.
void checkConversions(const ValueObject& value) {
    try {
        const ValueObject::ValueType kind = value.type();
        require(kind == value.m_type);
        const bool number = kind >= ValueObject::VALUE_TYPE_INT && kind <= ValueObject::VALUE_TYPE_DOUBLE;

        require(static_cast<int>(value) == expectedInteger<int>(value));
        require(static_cast<unsigned int>(value) == expectedInteger<unsigned int>(value));
        require(static_cast<long>(value) == expectedInteger<long>(value));
        require(static_cast<unsigned long>(value) == expectedInteger<unsigned long>(value));
        require(static_cast<long long>(value) == expectedInteger<long long>(value));
        require(static_cast<unsigned long long>(value) == expectedInteger<unsigned long long>(value));

        bool truth = false;
        double asDouble = 0.0;
        if (kind == ValueObject::VALUE_TYPE_FLOAT) {
            truth = value.m_value.floatValue != 0.0f;  // NaN is true
            asDouble = value.m_value.floatValue;
        } else if (kind == ValueObject::VALUE_TYPE_DOUBLE) {
            truth = value.m_value.doubleValue != 0.0;
            asDouble = value.m_value.doubleValue;
        } else if (number) {
            truth = expectedInteger<unsigned long long>(value) != 0;
        }
        require(static_cast<bool>(value) == truth);
        if (kind == ValueObject::VALUE_TYPE_FLOAT || kind == ValueObject::VALUE_TYPE_DOUBLE) {
            require(sameFloating(static_cast<double>(value), asDouble));
            require(sameFloating(static_cast<float>(value), static_cast<float>(asDouble)));
        } else if (!number) {
            require(static_cast<double>(value) == 0.0 && static_cast<float>(value) == 0.0f);
        }

        const Point point = value;
        const Point expectedPoint = kind == ValueObject::VALUE_TYPE_POINT ? value.m_point : Point();
        require(point.x == expectedPoint.x && point.y == expectedPoint.y);

        const std::string text = value.convertToStringType();
        require(text == static_cast<std::string>(value));
        require(text == expectedStringForm(value));
        if (kind == ValueObject::VALUE_TYPE_VECTOR) {
            require(text.size() >= 2 && text.front() == '[' && text.back() == ']');
        }

        const std::vector<unsigned int> unsignedList = value;
        const std::vector<std::string> stringList = value;
        if (kind == ValueObject::VALUE_TYPE_VECTOR) {
            require(unsignedList.size() == value.m_vector.size() && stringList.size() == value.m_vector.size());
            for (std::size_t index = 0; index < value.m_vector.size(); ++index) {
                require(unsignedList[index] == static_cast<unsigned int>(value.m_vector[index]));
                require(stringList[index] == value.m_vector[index].convertToStringType());
            }
        } else {
            require(unsignedList == std::vector<unsigned int>{static_cast<unsigned int>(value)});
            require(stringList == std::vector<std::string>{text});
        }
    } catch (...) {
        __builtin_trap();
    }
}

// Everything an object holds, as text, for comparing whole objects across copies and moves.
struct Snapshot {
    ValueObject::ValueType type;
    std::uint64_t valueBits;
    Point point;
    std::string string;
    std::string list;  // the elements' string forms
    std::string form;

    explicit Snapshot(const ValueObject& value)
        : type(value.m_type),
          valueBits(0),
          point(value.m_point),
          string(value.m_string),
          list(expectedListForm(value)),
          form(value.convertToStringType()) {
        std::memcpy(&valueBits, &value.m_value, sizeof(valueBits));
    }

    bool sameMembers(const Snapshot& other) const {
        return type == other.type && valueBits == other.valueBits && point.x == other.point.x &&
               point.y == other.point.y && string == other.string && list == other.list;
    }
};

ValueObject::ValueType anyKind(FuzzedDataProvider& input) {
    static const ValueObject::ValueType kinds[] = {
        ValueObject::VALUE_TYPE_NULL,  ValueObject::VALUE_TYPE_INT,    ValueObject::VALUE_TYPE_UINT,
        ValueObject::VALUE_TYPE_INT64, ValueObject::VALUE_TYPE_UINT64, ValueObject::VALUE_TYPE_BOOL,
        ValueObject::VALUE_TYPE_FLOAT, ValueObject::VALUE_TYPE_DOUBLE, ValueObject::VALUE_TYPE_STRING,
        ValueObject::VALUE_TYPE_POINT, ValueObject::VALUE_TYPE_VECTOR, ValueObject::VALUE_TYPE_UNDEFINED,
    };
    if (input.ConsumeBool()) {
        return static_cast<ValueObject::ValueType>(input.ConsumeIntegral<std::int32_t>());
    }
    return input.PickValueInArray(kinds);
}

// A value made by one of the native constructors; floats and doubles from raw bits, so NaNs and infinities occur.
ValueObject constructed(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange(0, 12)) {
        case 0:
            return ValueObject(input.ConsumeBool());
        case 1:
            return ValueObject(input.ConsumeIntegral<int>());
        case 2:
            return ValueObject(input.ConsumeIntegral<unsigned int>());
        case 3:
            return ValueObject(input.ConsumeIntegral<long>());
        case 4:
            return ValueObject(input.ConsumeIntegral<unsigned long>());
        case 5:
            return ValueObject(input.ConsumeIntegral<long long>());
        case 6:
            return ValueObject(input.ConsumeIntegral<unsigned long long>());
        case 7: {
            const std::uint32_t bits = input.ConsumeIntegral<std::uint32_t>();
            float value;
            std::memcpy(&value, &bits, sizeof(value));
            return ValueObject(value);
        }
        case 8: {
            const std::uint64_t bits = input.ConsumeIntegral<std::uint64_t>();
            double value;
            std::memcpy(&value, &bits, sizeof(value));
            return ValueObject(value);
        }
        case 9:
            return ValueObject(input.ConsumeRandomLengthString(kMaxStringLength));
        case 10:
            return ValueObject(input.ConsumeRandomLengthString(kMaxStringLength).c_str());
        case 11:
            return ValueObject(Point{input.ConsumeIntegral<std::int32_t>(), input.ConsumeIntegral<std::int32_t>()});
        default:
            return ValueObject();
    }
}

// Native assignment writes the kind and that kind's member only: what other kinds left behind stays.
void assignNative(ValueObject& target, FuzzedDataProvider& input) {
    const ValueObject source = constructed(input);
    const Snapshot before(target);
    switch (source.type()) {
        case ValueObject::VALUE_TYPE_BOOL:
            target = static_cast<bool>(source);
            break;
        case ValueObject::VALUE_TYPE_INT:
            target = static_cast<int>(source);
            break;
        case ValueObject::VALUE_TYPE_UINT:
            target = static_cast<unsigned int>(source);
            break;
        case ValueObject::VALUE_TYPE_INT64:
            target = static_cast<long long>(source);
            break;
        case ValueObject::VALUE_TYPE_UINT64:
            target = static_cast<unsigned long long>(source);
            break;
        case ValueObject::VALUE_TYPE_FLOAT:
            target = source.m_value.floatValue;
            break;
        case ValueObject::VALUE_TYPE_DOUBLE:
            target = source.m_value.doubleValue;
            break;
        case ValueObject::VALUE_TYPE_STRING:
            target = source.m_string;
            break;
        case ValueObject::VALUE_TYPE_POINT:
            target = source.m_point;
            break;
        default:
            return;  // no native value makes the other kinds
    }
    require(target.type() == source.type());
    require(target.convertToStringType() == source.convertToStringType());
    require(target.m_type == ValueObject::VALUE_TYPE_STRING || target.m_string == before.string);
    require(target.m_type == ValueObject::VALUE_TYPE_POINT ||
            (target.m_point.x == before.point.x && target.m_point.y == before.point.y));
    require(expectedListForm(target) == before.list);
}

// A value somewhere inside `root`'s lists (at least one level down), or null when it has none.
ValueObject* ownElement(ValueObject& root, FuzzedDataProvider& input) {
    ValueObject* element = nullptr;
    for (ValueObject* level = &root; !level->m_vector.empty();) {
        element = &level->m_vector[input.ConsumeIntegralInRange<std::size_t>(0, level->m_vector.size() - 1)];
        if (input.ConsumeBool()) {
            break;
        }
        level = element;
    }
    return element;
}

void runOperation(std::vector<ValueObject>& pool, FuzzedDataProvider& input) {
    ValueObject& target = pool[input.ConsumeIntegralInRange<std::size_t>(0, kPoolSize - 1)];
    ValueObject& source = pool[input.ConsumeIntegralInRange<std::size_t>(0, kPoolSize - 1)];
    switch (input.ConsumeIntegralInRange(0, 10)) {
        case 0: {  // construct, then move-assign into the pool
            ValueObject made = constructed(input);
            checkConversions(made);
            const Snapshot before(made);
            target = std::move(made);
            require(Snapshot(target).sameMembers(before));
            break;
        }
        case 1:
            assignNative(target, input);
            break;
        case 2: {  // copy construction takes the kind and that kind's member only
            const ValueObject copy(source);
            require(copy.type() == source.type());
            require(copy.convertToStringType() == source.convertToStringType());
            checkConversions(copy);
            break;
        }
        case 3: {  // copy assignment, self included, takes every member
            const Snapshot before(source);
            target = source;
            require(Snapshot(target).sameMembers(before));
            require(Snapshot(source).sameMembers(before));
            break;
        }
        case 4: {  // move construction leaves the source its kind, with that kind's string or list emptied
            const Snapshot before(source);
            const ValueObject moved(std::move(source));
            require(moved.type() == before.type && moved.convertToStringType() == before.form);
            require(source.type() == before.type);
            require(source.m_type != ValueObject::VALUE_TYPE_STRING || source.m_string.empty());
            require(source.m_type != ValueObject::VALUE_TYPE_VECTOR || source.m_vector.empty());
            checkConversions(moved);
            break;
        }
        case 5: {  // move assignment takes every member; self-move leaves a usable object
            const Snapshot before(source);
            const bool self = &target == &source;
            target = std::move(source);
            if (!self) {
                require(Snapshot(target).sameMembers(before));
                require(source.type() == before.type && source.m_string.empty() && source.m_vector.empty());
            }
            break;
        }
        case 6:
        case 7: {  // assignment from an element of the target's own lists, at any depth
            ValueObject* element = ownElement(target, input);
            if (element == nullptr) {
                break;
            }
            const Snapshot before(*element);
            if (input.ConsumeBool()) {
                target = *element;
            } else {
                target = std::move(*element);
            }
            require(Snapshot(target).sameMembers(before));
            break;
        }
        case 8: {  // nest: the list-building sequence, bounded
            if (depthOf(source) + 1 > kMaxDepth || nodesOf(target) + nodesOf(source) > kMaxNodes) {
                break;
            }
            ValueObject element(source);
            if (input.ConsumeBool()) {
                target.m_type = ValueObject::VALUE_TYPE_VECTOR;
            }
            target.m_vector.reserve(target.m_vector.size() + 1);
            target.m_vector.push_back(std::move(element));
            break;
        }
        case 9:
            target.m_type = anyKind(input);
            break;
        default:  // the global locale decides how numbers are written
            std::locale::global(input.ConsumeBool() ? groupingLocale() : std::locale::classic());
            break;
    }
    checkConversions(target);
    checkConversions(source);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::locale::global(std::locale::classic());
    FuzzedDataProvider input(data, size);
    std::vector<ValueObject> pool(kPoolSize);
    while (input.remaining_bytes() > 0) {
        runOperation(pool, input);
    }
    for (const ValueObject& value : pool) {
        checkConversions(value);
    }
    std::locale::global(std::locale::classic());
    return 0;
}
