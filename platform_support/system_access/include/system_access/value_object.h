// ValueObject: the tagged value that carries every model value across the library's boundary.
//
// A ValueObject holds one kind of value at a time, named by m_type: a 32- or 64-bit integer, a bool, a float or
// double, a string, a point, or a list of ValueObjects that may nest to any depth. It converts to every native type
// without failing (a kind that does not fit gives the target's zero; text is never parsed), to a string form for
// display and logging, and to lists of unsigned integers or strings.
//
// Threads: a ValueObject is an independent value with no internal locking. Using one object from several threads
// needs the caller's own lock; copies share nothing and may be handed to other threads. Nothing throws except
// std::bad_alloc while a string or a list is copied.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <base/container/point.h>
#include <system_access/export.h>

namespace velmora::system::access {

class SYSTEM_ACCESS_EXPORT ValueObject {
public:
    // The numbers are part of the interface: callers store and compare them. 11 to 254 are not assigned.
    enum ValueType : std::int32_t {
        VALUE_TYPE_NULL = 0,
        VALUE_TYPE_INT = 1,
        VALUE_TYPE_UINT = 2,
        VALUE_TYPE_INT64 = 3,
        VALUE_TYPE_UINT64 = 4,
        VALUE_TYPE_BOOL = 5,
        VALUE_TYPE_FLOAT = 6,
        VALUE_TYPE_DOUBLE = 7,
        VALUE_TYPE_STRING = 8,
        VALUE_TYPE_POINT = 9,
        VALUE_TYPE_VECTOR = 10,
        VALUE_TYPE_UNDEFINED = 255,
    };

    // Only the member that belongs to m_type is meaningful.
    union Value {
        int intValue;
        unsigned int uintValue;
        long long int64Value;
        unsigned long long uint64Value;
        bool boolValue;
        float floatValue;
        double doubleValue;
    };

    // Construction from a native value sets the matching kind. `long` and `unsigned long` always take the 64-bit
    // kinds, so the kind does not depend on the host's width of `long`. A `const char*` makes a string (without
    // it, "abc" would pick the bool constructor); a null pointer makes the empty string.
    ValueObject() = default;
    ValueObject(bool value);
    ValueObject(int value);
    ValueObject(unsigned int value);
    ValueObject(long value);
    ValueObject(unsigned long value);
    ValueObject(long long value);
    ValueObject(unsigned long long value);
    ValueObject(float value);
    ValueObject(double value);
    ValueObject(const std::string& value);
    ValueObject(std::string&& value);
    ValueObject(const char* value);
    ValueObject(const base::container::Point& value);

    // Copy and move construction take the kind and only the member of that kind (a string or list left over
    // from an earlier kind is not carried); copy and move assignment take every member. A moved-from object
    // keeps its kind, scalar and point, with an empty string and an empty list.
    ValueObject(const ValueObject& other);
    ValueObject(ValueObject&& other) noexcept;
    ValueObject& operator=(const ValueObject& other);
    ValueObject& operator=(ValueObject&& other) noexcept;

    // Assigning a native value writes the kind and that kind's member; the other members stay as they were.
    ValueObject& operator=(bool value);
    ValueObject& operator=(int value);
    ValueObject& operator=(unsigned int value);
    ValueObject& operator=(long value);
    ValueObject& operator=(unsigned long value);
    ValueObject& operator=(long long value);
    ValueObject& operator=(unsigned long long value);
    ValueObject& operator=(float value);
    ValueObject& operator=(double value);
    ValueObject& operator=(const std::string& value);
    ValueObject& operator=(std::string&& value);
    ValueObject& operator=(const char* value);
    ValueObject& operator=(const base::container::Point& value);

    ValueType type() const { return m_type; }

    // Total conversions. 64-bit integers give their low 32 bits to 32-bit targets; floating values are truncated
    // toward zero and saturate at the target's limits (negative gives 0 for unsigned targets, NaN gives 0 and
    // counts as true). Kinds that are not numbers give zero. `long` follows the 32- or 64-bit rules of its width.
    operator bool() const;
    operator int() const;
    operator unsigned int() const;
    operator long() const;
    operator unsigned long() const;
    operator long long() const;
    operator unsigned long long() const;
    operator float() const;
    operator double() const;
    operator base::container::Point() const;  // (0, 0) unless the kind is VALUE_TYPE_POINT

    // The string form: "null", decimal integers, "TRUE"/"FALSE", doubles as a default string stream under the
    // global locale writes them (six significant digits; floats widened first), the stored string itself,
    // "(x,y)", "[a,b,...]" recursively for lists, "Undefined", and "" for unassigned kinds.
    std::string convertToStringType() const;
    operator std::string() const;

    // A list reads element by element through operator unsigned int or the string form; any other kind reads as
    // a one-element list. The argument only selects T (instantiated for unsigned int and std::string).
    template <typename T>
    std::vector<T> convertToVectorT(T selector) const;
    operator std::vector<unsigned int>() const;
    operator std::vector<std::string>() const;

    // A list value is built by default-constructing, setting m_type to VALUE_TYPE_VECTOR, reserving m_vector and
    // appending each element by move.
    ValueType m_type = VALUE_TYPE_UNDEFINED;
    Value m_value = Value();  // zeroed, so that copying an unset value never reads indeterminate bytes
    base::container::Point m_point;
    std::string m_string;
    std::vector<ValueObject> m_vector;
};

extern template SYSTEM_ACCESS_EXPORT std::vector<unsigned int> ValueObject::convertToVectorT<unsigned int>(
    unsigned int) const;
extern template SYSTEM_ACCESS_EXPORT std::vector<std::string> ValueObject::convertToVectorT<std::string>(
    std::string) const;

}  // namespace velmora::system::access
