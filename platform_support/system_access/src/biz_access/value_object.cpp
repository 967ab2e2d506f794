#include <system_access/value_object.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>

namespace velmora::system::access {
namespace {

using Point = base::container::Point;

bool holdsScalar(ValueObject::ValueType kind) {
    return kind >= ValueObject::VALUE_TYPE_INT && kind <= ValueObject::VALUE_TYPE_DOUBLE;
}

// A caller may set m_type to VALUE_TYPE_BOOL by hand over another value's bytes; reading the byte rather than the
// bool member keeps that from loading an invalid bool.
bool storedBool(const ValueObject::Value& value) {
    unsigned char byte = 0;
    std::memcpy(&byte, &value, 1);
    return byte != 0;
}

// Truncates toward zero and saturates at the target's limits. Converting a floating value whose truncation does not
// fit is undefined behaviour, so out-of-range values and NaN never reach the cast.
template <typename Integer, typename Floating>
Integer saturatingTruncate(Floating value) {
    using Limits = std::numeric_limits<Integer>;
    // 2^digits: exact in every floating type and the first value past the target's maximum.
    // NOLINTNEXTLINE(bugprone-integer-division): max is 2^digits - 1, so the halving is exact.
    constexpr Floating pastMaximum = static_cast<Floating>(Limits::max() / 2 + 1) * 2;
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= pastMaximum) {
        return Limits::max();
    }
    if (value <= static_cast<Floating>(Limits::min())) {  // the minimum is 0 or -2^digits, both exact
        return Limits::min();
    }
    return static_cast<Integer>(value);
}

template <typename Target, typename Floating>
Target fromFloating(Floating value) {
    if constexpr (std::is_integral_v<Target> && !std::is_same_v<Target, bool>) {
        return saturatingTruncate<Target>(value);
    } else {
        // bool: NaN compares unequal to zero, so it is true. double to float: IEEE rounding, infinity beyond range.
        return static_cast<Target>(value);
    }
}

// Integer narrowing keeps the low bits (modular on every compiler we build with, and so defined from C++20 on).
template <typename Target>
Target convertNumber(const ValueObject& object) {
    const ValueObject::Value& value = object.m_value;
    switch (object.m_type) {
        case ValueObject::VALUE_TYPE_INT:
            return static_cast<Target>(value.intValue);
        case ValueObject::VALUE_TYPE_UINT:
            return static_cast<Target>(value.uintValue);
        case ValueObject::VALUE_TYPE_INT64:
            return static_cast<Target>(value.int64Value);
        case ValueObject::VALUE_TYPE_UINT64:
            return static_cast<Target>(value.uint64Value);
        case ValueObject::VALUE_TYPE_BOOL:
            return static_cast<Target>(storedBool(value));
        case ValueObject::VALUE_TYPE_FLOAT:
            return fromFloating<Target>(value.floatValue);
        case ValueObject::VALUE_TYPE_DOUBLE:
            return fromFloating<Target>(value.doubleValue);
        default:
            return Target();
    }
}

// Where the string form goes. With the classic global locale, std::to_chars writes exactly the characters a default
// string stream would (decimal integers; doubles as %g with six significant digits, "inf", "-nan"), without a
// stream or any allocation beyond the result. Any other global locale may group digits, change the decimal point or
// replace number formatting altogether, so then all text goes through one string stream that uses it.
class ClassicTextSink {
public:
    explicit ClassicTextSink(std::string& text) : m_text(text) {}

    void append(std::string_view part) { m_text.append(part); }
    void append(char character) { m_text.push_back(character); }

    template <typename Number>
    void appendNumber(Number number) {
        char digits[32];  // a 64-bit integer or "-1.23457e-308" fits with room to spare
        std::to_chars_result written;
        if constexpr (std::is_floating_point_v<Number>) {
            written = std::to_chars(std::begin(digits), std::end(digits), number, std::chars_format::general,
                                    kStreamPrecision);
        } else {
            written = std::to_chars(std::begin(digits), std::end(digits), number);
        }
        m_text.append(digits, static_cast<std::size_t>(written.ptr - digits));
    }

private:
    static constexpr int kStreamPrecision = 6;  // a default-constructed stream's precision
    std::string& m_text;
};

class StreamTextSink {
public:
    explicit StreamTextSink(std::ostream& stream) : m_stream(stream) {}

    void append(std::string_view part) { m_stream.write(part.data(), static_cast<std::streamsize>(part.size())); }
    void append(char character) { m_stream.put(character); }

    template <typename Number>
    void appendNumber(Number number) {
        m_stream << number;
    }

private:
    std::ostream& m_stream;
};

// Recurses once per level of list nesting; the frame holds little beyond the element loop and a digit buffer.
template <typename Sink>
void appendStringForm(const ValueObject& object, Sink& sink) {
    switch (object.m_type) {
        case ValueObject::VALUE_TYPE_NULL:
            sink.append("null");
            break;
        case ValueObject::VALUE_TYPE_INT:
            sink.appendNumber(object.m_value.intValue);
            break;
        case ValueObject::VALUE_TYPE_UINT:
            sink.appendNumber(object.m_value.uintValue);
            break;
        case ValueObject::VALUE_TYPE_INT64:
            sink.appendNumber(object.m_value.int64Value);
            break;
        case ValueObject::VALUE_TYPE_UINT64:
            sink.appendNumber(object.m_value.uint64Value);
            break;
        case ValueObject::VALUE_TYPE_BOOL:
            sink.append(storedBool(object.m_value) ? "TRUE" : "FALSE");
            break;
        case ValueObject::VALUE_TYPE_FLOAT:
            sink.appendNumber(static_cast<double>(object.m_value.floatValue));
            break;
        case ValueObject::VALUE_TYPE_DOUBLE:
            sink.appendNumber(object.m_value.doubleValue);
            break;
        case ValueObject::VALUE_TYPE_STRING:
            sink.append(object.m_string);
            break;
        case ValueObject::VALUE_TYPE_POINT:
            sink.append('(');
            sink.appendNumber(static_cast<int>(object.m_point.x));
            sink.append(',');
            sink.appendNumber(static_cast<int>(object.m_point.y));
            sink.append(')');
            break;
        case ValueObject::VALUE_TYPE_VECTOR: {
            sink.append('[');
            bool first = true;
            for (const ValueObject& element : object.m_vector) {
                if (!first) {
                    sink.append(',');
                }
                first = false;
                appendStringForm(element, sink);
            }
            sink.append(']');
            break;
        }
        case ValueObject::VALUE_TYPE_UNDEFINED:
            sink.append("Undefined");
            break;
        default:  // unassigned kinds have no text
            break;
    }
}

bool globalLocaleIsClassic() {
    static const std::locale& classic = std::locale::classic();
    return std::locale() == classic;
}

std::string classicStringForm(const ValueObject& object) {
    std::string text;
    ClassicTextSink sink(text);
    appendStringForm(object, sink);
    return text;
}

std::string streamStringForm(const ValueObject& object) {
    std::ostringstream stream;  // takes the global locale, default flags, precision 6
    StreamTextSink sink(stream);
    appendStringForm(object, sink);
    return std::move(stream).str();
}

}  // namespace

ValueObject::ValueObject(bool value) {
    *this = value;
}
ValueObject::ValueObject(int value) {
    *this = value;
}
ValueObject::ValueObject(unsigned int value) {
    *this = value;
}
ValueObject::ValueObject(long value) {
    *this = value;
}
ValueObject::ValueObject(unsigned long value) {
    *this = value;
}
ValueObject::ValueObject(long long value) {
    *this = value;
}
ValueObject::ValueObject(unsigned long long value) {
    *this = value;
}
ValueObject::ValueObject(float value) {
    *this = value;
}
ValueObject::ValueObject(double value) {
    *this = value;
}
ValueObject::ValueObject(const std::string& value) {
    *this = value;
}
ValueObject::ValueObject(std::string&& value) {
    *this = std::move(value);
}
ValueObject::ValueObject(const char* value) {
    *this = value;
}
ValueObject::ValueObject(const Point& value) {
    *this = value;
}

ValueObject::ValueObject(const ValueObject& other) : m_type(other.m_type) {
    if (holdsScalar(m_type)) {
        m_value = other.m_value;
    } else if (m_type == VALUE_TYPE_STRING) {
        m_string = other.m_string;
    } else if (m_type == VALUE_TYPE_POINT) {
        m_point = other.m_point;
    } else if (m_type == VALUE_TYPE_VECTOR) {
        m_vector = other.m_vector;  // deep: each element is copy-constructed in turn, one recursion per level
    }
}

ValueObject::ValueObject(ValueObject&& other) noexcept : m_type(other.m_type) {
    if (holdsScalar(m_type)) {
        m_value = other.m_value;
    } else if (m_type == VALUE_TYPE_STRING) {
        m_string.swap(other.m_string);  // swapping with our empty member leaves the source empty, as promised
    } else if (m_type == VALUE_TYPE_POINT) {
        m_point = other.m_point;
    } else if (m_type == VALUE_TYPE_VECTOR) {
        m_vector.swap(other.m_vector);
    }
}

// Both assignments take other's list into a local first: other may be one of this object's own elements (at any
// depth), which replacing m_vector destroys, so m_vector is replaced last.
ValueObject& ValueObject::operator=(const ValueObject& other) {
    if (this == &other) {
        return *this;
    }
    std::vector<ValueObject> elements(other.m_vector);
    m_string = other.m_string;  // the last step that may throw: a failed assignment leaves this object unchanged
    m_type = other.m_type;
    m_value = other.m_value;
    m_point = other.m_point;
    m_vector = std::move(elements);
    return *this;
}

ValueObject& ValueObject::operator=(ValueObject&& other) noexcept {
    if (this == &other) {
        return *this;
    }
    std::vector<ValueObject> elements(std::move(other.m_vector));
    m_type = other.m_type;
    m_value = other.m_value;
    m_point = other.m_point;
    m_string = std::move(other.m_string);
    other.m_string.clear();  // the moved-from string is promised empty, not merely unspecified
    m_vector = std::move(elements);
    return *this;
}

ValueObject& ValueObject::operator=(bool value) {
    m_type = VALUE_TYPE_BOOL;
    m_value.boolValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(int value) {
    m_type = VALUE_TYPE_INT;
    m_value.intValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(unsigned int value) {
    m_type = VALUE_TYPE_UINT;
    m_value.uintValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(long value) {
    return *this = static_cast<long long>(value);
}

ValueObject& ValueObject::operator=(unsigned long value) {
    return *this = static_cast<unsigned long long>(value);
}

ValueObject& ValueObject::operator=(long long value) {
    m_type = VALUE_TYPE_INT64;
    m_value.int64Value = value;
    return *this;
}

ValueObject& ValueObject::operator=(unsigned long long value) {
    m_type = VALUE_TYPE_UINT64;
    m_value.uint64Value = value;
    return *this;
}

ValueObject& ValueObject::operator=(float value) {
    m_type = VALUE_TYPE_FLOAT;
    m_value.floatValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(double value) {
    m_type = VALUE_TYPE_DOUBLE;
    m_value.doubleValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(const std::string& value) {
    m_type = VALUE_TYPE_STRING;
    m_string = value;
    return *this;
}

ValueObject& ValueObject::operator=(std::string&& value) {
    m_type = VALUE_TYPE_STRING;
    m_string = std::move(value);
    return *this;
}

ValueObject& ValueObject::operator=(const char* value) {
    m_type = VALUE_TYPE_STRING;
    m_string.assign(value != nullptr ? value : "");
    return *this;
}

ValueObject& ValueObject::operator=(const Point& value) {
    m_type = VALUE_TYPE_POINT;
    m_point = value;
    return *this;
}

ValueObject::operator bool() const {
    return convertNumber<bool>(*this);
}
ValueObject::operator int() const {
    return convertNumber<int>(*this);
}
ValueObject::operator unsigned int() const {
    return convertNumber<unsigned int>(*this);
}
ValueObject::operator long() const {
    return convertNumber<long>(*this);
}
ValueObject::operator unsigned long() const {
    return convertNumber<unsigned long>(*this);
}
ValueObject::operator long long() const {
    return convertNumber<long long>(*this);
}
ValueObject::operator unsigned long long() const {
    return convertNumber<unsigned long long>(*this);
}
ValueObject::operator float() const {
    return convertNumber<float>(*this);
}
ValueObject::operator double() const {
    return convertNumber<double>(*this);
}

ValueObject::operator Point() const {
    return m_type == VALUE_TYPE_POINT ? m_point : Point();
}

std::string ValueObject::convertToStringType() const {
    if (m_type == VALUE_TYPE_STRING) {
        return m_string;
    }
    return globalLocaleIsClassic() ? classicStringForm(*this) : streamStringForm(*this);
}

ValueObject::operator std::string() const {
    return convertToStringType();
}

template <typename T>
std::vector<T> ValueObject::convertToVectorT(T /*selector*/) const {
    std::vector<T> converted;
    if (m_type != VALUE_TYPE_VECTOR) {
        converted.push_back(static_cast<T>(*this));
        return converted;
    }
    converted.reserve(m_vector.size());
    for (const ValueObject& element : m_vector) {
        converted.push_back(static_cast<T>(element));
    }
    return converted;
}

template SYSTEM_ACCESS_EXPORT std::vector<unsigned int> ValueObject::convertToVectorT<unsigned int>(unsigned int) const;
template SYSTEM_ACCESS_EXPORT std::vector<std::string> ValueObject::convertToVectorT<std::string>(std::string) const;

ValueObject::operator std::vector<unsigned int>() const {
    return convertToVectorT<unsigned int>(0);
}

ValueObject::operator std::vector<std::string>() const {
    return convertToVectorT<std::string>(std::string());
}

}  // namespace velmora::system::access
