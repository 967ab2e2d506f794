// ValueAccessBase: what every accessor shares. A model path, the connection to
// its platform model object (made on demand by every getter and setter, with
// the stored time-out, 1000 ms unless connect(int) was given another), the
// client's ValueHandler, and synchronous typed reads and writes.
//
// Threads: getters, setters and connect run on the caller's thread and block
// it for the platform call and, while connecting, up to the time-out (the
// connect loop retries every 100 ms). onNewValue runs on the platform's
// callback thread with no library lock held, so a handler may call back into
// the accessor. The handler may be replaced or cleared from any thread at any
// time: each notification works on its own reference to it.
#pragma once

#include <system_access/export.h>
#include <system_access/handler_slot.h>

#include <lomodelapi/object_type_spec.h>

#include <memory>
#include <string>
#include <vector>

class ModelObject;
class RootInterface;
namespace lomodelapi {
class Observer;
}

namespace velmora::system::access {

class ValueObject;

enum : int {
    STATUS_ERR_CONNECT_FAILED = 5,       // no model object within the time-out
    STATUS_ERR_VALUE_TYPE_MISMATCH = 6,  // the object's type does not fit (or a value out of the 32-bit range)
};

// The client's callback for new values; runs on the platform's callback thread.
class SYSTEM_ACCESS_EXPORT ValueHandler {
public:
    virtual void onNewValue(const ValueObject& value) = 0;
    virtual ~ValueHandler() = default;
};

class SYSTEM_ACCESS_EXPORT ValueAccessBase {
public:
    explicit ValueAccessBase(const std::string& name);
    virtual ~ValueAccessBase();

    ValueAccessBase(const ValueAccessBase&) = delete;
    ValueAccessBase& operator=(const ValueAccessBase&) = delete;

    // Replaces the handler; an empty pointer stops delivery.
    virtual void setNewValueHandler(std::shared_ptr<ValueHandler> handler);
    // 0, STATUS_ERR_CONNECT_FAILED or STATUS_ERR_VALUE_TYPE_MISMATCH. Stores the time-out in every case.
    virtual int connect(int timeoutMs) = 0;
    virtual int disconnect() = 0;
    // The connected object's type code; OBJECT_TYPE_NONE (and an error line) while not connected.
    virtual lomodelapi::ObjectTypeSpec getType();
    virtual std::string getName();

    // Reads: 0 or a status; the output is written only by a successful read.
    virtual int getValue(std::string& out);
    virtual int getValue(int& out);        // integer objects only
    virtual int getValue(long long& out);  // int64 objects only
    virtual int getValue(std::vector<std::string>& out);
    virtual int getValue(std::vector<int>& out);

    // Writes: 0 once the platform was called, or a status.
    virtual int setValue(const std::string& value);
    virtual int setValue(int value);        // integer or int64 objects
    virtual int setValue(long long value);  // int64, or integer when within the 32-bit range
    virtual int setValue(const std::vector<std::string>& value);
    virtual int setValue(const std::vector<int>& value);

    // Hands a value to the handler, if one is set, on the calling thread.
    virtual void onNewValue(const ValueObject& value);

    // Connects with the stored time-out unless connected; 0 or the connect status.
    int tryConnectIfNeeded();

    // The platform's root interface, looked up anew on every call; null when refused.
    static RootInterface* getRootInterface();
    static const char* accessTypeName(lomodelapi::ObjectTypeSpec type);

protected:
    ValueAccessBase(const std::string& name, std::shared_ptr<ValueHandler> handler);

    // The connect loop shared by every accessor: attempts every 100 ms until the
    // time-out is used up, then checks the object's type against `expectedType`.
    int connect(int timeoutMs, lomodelapi::Observer* observer, lomodelapi::ObjectTypeSpec expectedType,
                const char* observerName);
    // Gives the object (also a null one) back for `observer` and forgets it.
    void disconnect(lomodelapi::Observer* observer);

    ModelObject* modelObject() const { return m_object; }
    bool hasNewValueHandler() const;

private:
    template <typename Object, typename Read>
    int getValue(lomodelapi::ObjectTypeSpec accepted, Read read);
    template <typename Object, typename Write>
    int setValue(lomodelapi::ObjectTypeSpec accepted, Write write);

    ModelObject* m_object = nullptr;
    HandlerSlot<ValueHandler> m_handler;
    std::string m_name;
    int m_timeout = 1000;
};

}  // namespace velmora::system::access
