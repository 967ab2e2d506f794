#include <system_access/value_access.h>
#include <system_access/value_object.h>

#include "list_value.h"

#include <base/blog.h>

namespace velmora::system::access {

namespace {

// The type code each instantiation connects to, and the name its type-mismatch line gives.
template <typename Observer>
struct ObserverKind;

template <>
struct ObserverKind<lomodelapi::ObserverNumericInteger> {
    static constexpr lomodelapi::ObjectTypeSpec kType = lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER;
    static constexpr const char* kName = "ObserverNumericInteger";
};

template <>
struct ObserverKind<lomodelapi::ObserverNumericInt64> {
    static constexpr lomodelapi::ObjectTypeSpec kType = lomodelapi::OBJECT_TYPE_NUMERIC_INT64;
    static constexpr const char* kName = "ObserverNumericInt64";
};

template <>
struct ObserverKind<lomodelapi::ObserverString> {
    static constexpr lomodelapi::ObjectTypeSpec kType = lomodelapi::OBJECT_TYPE_STRING;
    static constexpr const char* kName = "ObserverString";
};

template <>
struct ObserverKind<lomodelapi::ObserverVectorNumericInteger> {
    static constexpr lomodelapi::ObjectTypeSpec kType = lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static constexpr const char* kName = "ObserverVectorNumericInteger";
};

template <>
struct ObserverKind<lomodelapi::ObserverVectorString> {
    static constexpr lomodelapi::ObjectTypeSpec kType = lomodelapi::OBJECT_TYPE_VECTOR_STRING;
    static constexpr const char* kName = "ObserverVectorString";
};

template <typename Native>
ValueObject makeValue(const Native& value) {
    ValueObject result;
    result = value;
    return result;
}

template <typename Element>
ValueObject makeValue(const std::vector<Element>& values) {
    return makeListValue(values);
}

}  // namespace

template <typename Observer>
ValueAccessT<Observer>::ValueAccessT(std::string path) : ValueAccessBase(path) {}

template <typename Observer>
ValueAccessT<Observer>::ValueAccessT(std::string path, std::shared_ptr<ValueHandler> handler)
    : ValueAccessBase(path, std::move(handler)) {}

// The platform gets the object back before the handler is released.
template <typename Observer>
ValueAccessT<Observer>::~ValueAccessT() {
    if (modelObject() != nullptr) {
        ValueAccessT::disconnect();
    }
}

template <typename Observer>
int ValueAccessT<Observer>::connect(int timeoutMs) {
    return ValueAccessBase::connect(timeoutMs, static_cast<Observer*>(this), ObserverKind<Observer>::kType,
                                    ObserverKind<Observer>::kName);
}

template <typename Observer>
int ValueAccessT<Observer>::disconnect() {
    ValueAccessBase::disconnect(static_cast<Observer*>(this));
    return 0;
}

// Runs on the platform's callback thread, as do the notify operations below.
template <typename Observer>
template <typename Native>
void ValueAccessT<Observer>::forward(const Native& value) {
    if (!hasNewValueHandler()) {
        return;
    }
    onNewValue(makeValue(value));
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(int value) {
    BLOG_TRACE();
    forward(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(long long value) {
    BLOG_TRACE();
    forward(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(const std::string& value) {
    BLOG_TRACE();
    forward(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyIntegerVector(const std::vector<int>& values) {
    BLOG_TRACE();
    forward(values);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyStringVector(const std::vector<std::string>& values) {
    BLOG_TRACE();
    forward(values);
}

template class ValueAccessT<lomodelapi::ObserverNumericInteger>;
template class ValueAccessT<lomodelapi::ObserverNumericInt64>;
template class ValueAccessT<lomodelapi::ObserverString>;
template class ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
template class ValueAccessT<lomodelapi::ObserverVectorString>;

}  // namespace velmora::system::access
