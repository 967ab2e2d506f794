#include "model_objects.h"

namespace tvsim {
namespace {

// What every per-connection object shares: the model, its entry, and a type
// code that follows reportType.
template <typename Base>
class ConnectedObject : public Base {
public:
    ConnectedObject(Model& model, std::shared_ptr<Entry> entry, std::string client)
        : m_model(model), m_entry(std::move(entry)), m_client(std::move(client)) {}

    int getType(lomodelapi::ObjectTypeSpec& type) override {
        type = m_model.reportedType(*m_entry);
        return 0;
    }

protected:
    Model& m_model;
    const std::shared_ptr<Entry> m_entry;
    const std::string m_client;
};

class IntegerObject final : public ConnectedObject<NumericIntegerObject> {
public:
    using ConnectedObject::ConnectedObject;
    int setValue(int value) override { return m_model.write(*m_entry, value, m_client); }
    int getValue() override { return m_model.read<int>(*m_entry); }
};

class Int64Object final : public ConnectedObject<NumericInt64Object> {
public:
    using ConnectedObject::ConnectedObject;
    int setValue(long long value) override { return m_model.write(*m_entry, value, m_client); }
    long long getValue() override { return m_model.read<long long>(*m_entry); }
};

class TextObject final : public ConnectedObject<StringObject> {
public:
    using ConnectedObject::ConnectedObject;
    int getValue(std::string& out) override { return m_model.readInto(*m_entry, out); }
    int setValue(const std::string& value) override { return m_model.write(*m_entry, value, m_client); }
};

class IntegerVectorObject final : public ConnectedObject<VectorNumericIntegerObject> {
public:
    using ConnectedObject::ConnectedObject;
    int setValues(const std::map<int, int>& byIndex) override { return m_model.writeMap(*m_entry, byIndex, m_client); }
    int getValue(std::vector<int>& out) override { return m_model.readInto(*m_entry, out); }
};

class StringVectorObject final : public ConnectedObject<VectorStringObject> {
public:
    using ConnectedObject::ConnectedObject;
    int setValues(const std::map<int, std::string>& byIndex) override {
        return m_model.writeMap(*m_entry, byIndex, m_client);
    }
    int getValue(std::vector<std::string>& out) override { return m_model.readInto(*m_entry, out); }
};

class InvocableObject final : public ConnectedObject<ActionObject> {
public:
    using ConnectedObject::ConnectedObject;
    int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) override {
        return m_model.invoke(*m_entry, actionId, arguments);
    }
};

class RowTableObject final : public ConnectedObject<TableObject> {
public:
    using ConnectedObject::ConnectedObject;
    TableIteratorObject* createIterator(const lomodelapi::IteratorType& type,
                                        lomodelapi::ObserverTableIterator* observer,
                                        const std::vector<lomodelapi::TableSelection>& selections,
                                        const std::vector<int>& columns,
                                        const std::vector<lomodelapi::TableOrder>& orders) override {
        return m_model.createIterator(m_entry, type, observer, selections, columns, orders);
    }
    int destroyIterator(TableIteratorObject* iterator) override { return m_model.destroyIterator(iterator); }
};

}  // namespace

std::unique_ptr<ModelObject> makeModelObject(Model& model, const std::shared_ptr<Entry>& entry,
                                             const std::string& client) {
    switch (entry->type) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            return std::make_unique<IntegerObject>(model, entry, client);
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            return std::make_unique<Int64Object>(model, entry, client);
        case lomodelapi::OBJECT_TYPE_STRING:
            return std::make_unique<TextObject>(model, entry, client);
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return std::make_unique<IntegerVectorObject>(model, entry, client);
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
            return std::make_unique<StringVectorObject>(model, entry, client);
        case lomodelapi::OBJECT_TYPE_ACTION:
            return std::make_unique<InvocableObject>(model, entry, client);
        case lomodelapi::OBJECT_TYPE_TABLE:
            return std::make_unique<RowTableObject>(model, entry, client);
        default:
            return nullptr;
    }
}

}  // namespace tvsim
