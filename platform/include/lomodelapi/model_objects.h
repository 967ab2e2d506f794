// The platform's root model interface and model objects, as the platform
// hands them out. The platform owns every object; clients hold raw pointers
// and give model objects back through RootInterface::disconnect.
// Reserved slots keep the virtual tables in the platform's order.
#pragma once

#include <lomodelapi/argument.h>
#include <lomodelapi/object_type_spec.h>
#include <lomodelapi/observer.h>
#include <lomodelapi/table_types.h>

#include <map>
#include <string>
#include <vector>

// The platform exports its classes; clients compiled with hidden visibility
// must still see them as the platform's (template instantiations over them included).
#pragma GCC visibility push(default)

class ModelObject {
public:
    virtual ~ModelObject() = default;
    virtual void reservedModelSlot() {}
    virtual int getType(lomodelapi::ObjectTypeSpec& type) = 0;
};

class NumericIntegerObject : public ModelObject {
public:
    virtual int setValue(int value) = 0;
    virtual int getValue() = 0;
    virtual void reservedNumericIntegerSlot() {}
};

class NumericInt64Object : public ModelObject {
public:
    virtual int setValue(long long value) = 0;
    virtual long long getValue() = 0;
    virtual void reservedNumericInt64Slot() {}
};

class StringObject : public ModelObject {
public:
    virtual int getValue(std::string& out) = 0;
    virtual int setValue(const std::string& value) = 0;
    virtual void reservedStringSlot() {}
};

class VectorNumericIntegerObject : public ModelObject {
public:
    virtual void reservedVectorNumericIntegerSlot() {}
    virtual int setValues(const std::map<int, int>& byIndex) = 0;
    virtual int getValue(std::vector<int>& out) = 0;
};

class VectorStringObject : public ModelObject {
public:
    virtual void reservedVectorStringSlot() {}
    virtual int setValues(const std::map<int, std::string>& byIndex) = 0;
    virtual int getValue(std::vector<std::string>& out) = 0;
};

class ActionObject : public ModelObject {
public:
    virtual void reservedActionSlot1() {}
    virtual void reservedActionSlot2() {}
    // Starts the action; writes the id under which the outcome will be reported.
    virtual int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) = 0;
};

class TableIteratorObject : public ModelObject {};

class TableObject : public ModelObject {
public:
    virtual TableIteratorObject* createIterator(const lomodelapi::IteratorType& type,
                                                lomodelapi::ObserverTableIterator* observer,
                                                const std::vector<lomodelapi::TableSelection>& selections,
                                                const std::vector<int>& columns,
                                                const std::vector<lomodelapi::TableOrder>& orders) = 0;
    virtual int destroyIterator(TableIteratorObject* iterator) = 0;
};

// The root of the model, registered with the process framework under
// "orvik.lm.interfaces.tvapi.RootInterface". Lives as long as the process.
class RootInterface {
public:
    virtual ~RootInterface() = default;
    virtual void reservedRootSlot1() {}
    virtual void reservedRootSlot2() {}
    virtual void reservedRootSlot3() {}
    virtual void reservedRootSlot4() {}
    // Connects the object at the path for the observer. 0 and a non-null object on success.
    virtual int connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object) = 0;
    // Ends that connection and gives the object back. Once it has returned, the
    // observer receives no further call (unless called on the callback thread).
    virtual int disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object) = 0;
};

#pragma GCC visibility pop
