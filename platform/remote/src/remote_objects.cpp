#include "remote_objects.h"

#include "bus_error.h"
#include "bus_names.h"
#include "remote_root.h"
#include "value_codec.h"

namespace tvsim::remote {
namespace {

using bus::check;

// What every object shares: its connection and getType, which the library
// asks before every read and write. The type comes with the connection and
// with each change the service sends, not from a call of its own, so that a
// read or write is one round trip.
template <typename Base>
class RemoteObject : public Base {
public:
    RemoteObject(RemoteRoot& root, RemoteConnection& connection) : m_root(root), m_connection(connection) {}

    int getType(lomodelapi::ObjectTypeSpec& type) override {
        type = lomodelapi::OBJECT_TYPE_NONE;
        return m_root.reportedType(m_connection, type);
    }

protected:
    int call(const char* interface, const char* member, const RemoteRoot::Append& append,
             const RemoteRoot::Read& read) {
        return m_root.callObject(m_connection, interface, member, append, read);
    }

    // Value.GetValue: the status, and the value into out when it is 0.
    template <typename T>
    int read(ValueType type, T& out) {
        return call(
            bus::kValueInterface, "GetValue", [](sd_bus_message*) {},
            [&](sd_bus_message* reply) {
                const int status = bus::readStatus(reply);
                ModelValue value = bus::readValueVariant(reply, type, m_connection.modelPath);
                if (status == 0) {
                    out = std::get<T>(std::move(value));
                }
                return status;
            });
    }

    int write(const ModelValue& value) {
        return call(
            bus::kValueInterface, "SetValue", [&](sd_bus_message* request) { bus::appendValueVariant(request, value); },
            bus::readStatus);
    }

    // SetIntegers or SetStrings: a dictionary from index to element. sd-bus wants
    // the braces around an array's entry type but only the contents when the
    // entry itself is opened, so both signatures are given.
    template <typename T>
    int writeMap(const char* member, const char* entryType, const char* entryContents, char elementType,
                 const std::map<int, T>& byIndex) {
        return call(
            bus::kValueInterface, member,
            [&](sd_bus_message* request) {
                check(sd_bus_message_open_container(request, 'a', entryType), "open map");
                for (const auto& [index, element] : byIndex) {
                    check(sd_bus_message_open_container(request, 'e', entryContents), "open entry");
                    check(sd_bus_message_append_basic(request, 'i', &index), "append index");
                    if constexpr (std::is_same_v<T, std::string>) {
                        check(sd_bus_message_append_basic(request, elementType, element.c_str()), "append element");
                    } else {
                        check(sd_bus_message_append_basic(request, elementType, &element), "append element");
                    }
                    check(sd_bus_message_close_container(request), "close entry");
                }
                check(sd_bus_message_close_container(request), "close map");
            },
            bus::readStatus);
    }

    RemoteRoot& m_root;
    RemoteConnection& m_connection;
};

// The numeric getters have no status: a failed read answers 0.
class IntegerObject final : public RemoteObject<NumericIntegerObject> {
public:
    using RemoteObject::RemoteObject;
    int setValue(int value) override { return write(value); }
    int getValue() override {
        int value = 0;
        return read(ValueType::INTEGER, value) == 0 ? value : 0;
    }
};

class Int64Object final : public RemoteObject<NumericInt64Object> {
public:
    using RemoteObject::RemoteObject;
    int setValue(long long value) override { return write(value); }
    long long getValue() override {
        long long value = 0;
        return read(ValueType::INT64, value) == 0 ? value : 0;
    }
};

class TextObject final : public RemoteObject<StringObject> {
public:
    using RemoteObject::RemoteObject;
    int getValue(std::string& out) override { return read(ValueType::STRING, out); }
    int setValue(const std::string& value) override { return write(value); }
};

class IntegerVectorObject final : public RemoteObject<VectorNumericIntegerObject> {
public:
    using RemoteObject::RemoteObject;
    int setValues(const std::map<int, int>& byIndex) override {
        return writeMap("SetIntegers", "{ii}", "ii", 'i', byIndex);
    }
    int getValue(std::vector<int>& out) override { return read(ValueType::INTEGER_VECTOR, out); }
};

class StringVectorObject final : public RemoteObject<VectorStringObject> {
public:
    using RemoteObject::RemoteObject;
    int setValues(const std::map<int, std::string>& byIndex) override {
        return writeMap("SetStrings", "{is}", "is", 's', byIndex);
    }
    int getValue(std::vector<std::string>& out) override { return read(ValueType::STRING_VECTOR, out); }
};

class InvocableObject final : public RemoteObject<ActionObject> {
public:
    using RemoteObject::RemoteObject;
    int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) override {
        return m_root.invoke(m_connection, arguments, actionId);
    }
};

class RemoteTable final : public RemoteObject<TableObject> {
public:
    using RemoteObject::RemoteObject;
    TableIteratorObject* createIterator(const lomodelapi::IteratorType& type,
                                        lomodelapi::ObserverTableIterator* observer,
                                        const std::vector<lomodelapi::TableSelection>& selections,
                                        const std::vector<int>& columns,
                                        const std::vector<lomodelapi::TableOrder>& orders) override {
        return m_root.createIterator(m_connection, observer, IteratorRequest{type, selections, columns, orders});
    }
    int destroyIterator(TableIteratorObject* iterator) override {
        return m_root.destroyIterator(m_connection, iterator);
    }
};

class PlainObject final : public RemoteObject<ModelObject> {
public:
    using RemoteObject::RemoteObject;
};

}  // namespace

std::unique_ptr<ModelObject> makeRemoteObject(RemoteRoot& root, RemoteConnection& connection) {
    switch (connection.realType) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            return std::make_unique<IntegerObject>(root, connection);
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            return std::make_unique<Int64Object>(root, connection);
        case lomodelapi::OBJECT_TYPE_STRING:
            return std::make_unique<TextObject>(root, connection);
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return std::make_unique<IntegerVectorObject>(root, connection);
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
            return std::make_unique<StringVectorObject>(root, connection);
        case lomodelapi::OBJECT_TYPE_ACTION:
            return std::make_unique<InvocableObject>(root, connection);
        case lomodelapi::OBJECT_TYPE_TABLE:
            return std::make_unique<RemoteTable>(root, connection);
        default:
            return std::make_unique<PlainObject>(root, connection);
    }
}

}  // namespace tvsim::remote
