#include <system_access/value_access_base.h>
#include <system_access/value_object.h>

#include <base/blog.h>
#include <frame/process.h>
#include <lomodelapi/model_objects.h>

#include <unistd.h>
#include <climits>
#include <cstdio>
#include <map>

namespace velmora::system::access {

namespace {

constexpr char kRootInterfaceName[] = "orvik.lm.interfaces.tvapi.RootInterface";
constexpr int kRetryStepMs = 100;
// A missing root interface counts as a failed attempt with this status.
constexpr int kNoRootInterfaceStatus = -1;

template <typename Element>
std::map<int, Element> byIndex(const std::vector<Element>& values) {
    std::map<int, Element> result;
    for (size_t index = 0; index < values.size(); ++index) {
        result.emplace_hint(result.end(), static_cast<int>(index), values[index]);
    }
    return result;
}

}  // namespace

ValueAccessBase::ValueAccessBase(const std::string& name) : m_name(name) {}

ValueAccessBase::ValueAccessBase(const std::string& name, std::shared_ptr<ValueHandler> handler)
    : m_handler(std::move(handler)), m_name(name) {}

ValueAccessBase::~ValueAccessBase() = default;

void ValueAccessBase::setNewValueHandler(std::shared_ptr<ValueHandler> handler) {
    BLOG_TRACE();
    m_handler.store(std::move(handler));
}

bool ValueAccessBase::hasNewValueHandler() const {
    return m_handler.isSet();
}

lomodelapi::ObjectTypeSpec ValueAccessBase::getType() {
    if (m_object == nullptr) {
        BLOG_ERROR("Unknown Type since value is not connected  : %s.", m_name.c_str());
        return lomodelapi::OBJECT_TYPE_NONE;
    }
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    m_object->getType(type);
    return type;
}

std::string ValueAccessBase::getName() {
    return m_name;
}

RootInterface* ValueAccessBase::getRootInterface() {
    boost::shared_ptr<frame::Interface> reference;
    int status = frame::Process::getInstance().getInterfaceReference(reference, std::string(kRootInterfaceName));
    if (status != 0) {
        std::puts("get interface Reference failed.");
        return nullptr;
    }
    // An empty reference under status 0 is a refusal too.
    if (!reference) {
        return nullptr;
    }
    return static_cast<RootInterface*>(reference->getObject());
}

const char* ValueAccessBase::accessTypeName(lomodelapi::ObjectTypeSpec type) {
    switch (type) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            return "OBJECT_TYPE_NUMERIC_INTEGER";
        case lomodelapi::OBJECT_TYPE_STRING:
            return "OBJECT_TYPE_STRING";
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER";
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
            return "OBJECT_TYPE_VECTOR_STRING";
        case lomodelapi::OBJECT_TYPE_ACTION:
            return "OBJECT_TYPE_ACTION";
        case lomodelapi::OBJECT_TYPE_TABLE:
            return "OBJECT_TYPE_TABLE";
        case lomodelapi::OBJECT_TYPE_VECTOR_INTEGER:
            return "OBJECT_TYPE_VECTOR_INTEGER";
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            return "OBJECT_TYPE_NUMERIC_INT64";
        default:
            return "OBJECT_TYPE_NONE";
    }
}

int ValueAccessBase::connect(int timeoutMs, lomodelapi::Observer* observer, lomodelapi::ObjectTypeSpec expectedType,
                             const char* observerName) {
    m_timeout = timeoutMs;
    if (m_object != nullptr) {
        return 0;
    }
    // The remaining time counts 100 per pause, not elapsed time: the platform's
    // own call time is not counted, and every failed attempt made while time
    // remained is followed by a pause, the last one included.
    RootInterface* root = nullptr;
    ModelObject* object = nullptr;
    int status = kNoRootInterfaceStatus;
    for (int remaining = timeoutMs;;) {
        if (root == nullptr) {
            root = getRootInterface();  // the platform may still be starting: look again next time
        }
        status = root != nullptr ? root->connect(m_name, observer, object) : kNoRootInterfaceStatus;
        if (status == 0 && object != nullptr) {
            break;
        }
        if (remaining > 0) {
            usleep(kRetryStepMs * 1000);
            remaining -= kRetryStepMs;
        }
        if (remaining <= 0) {
            BLOG_ERROR("Failed %d", status);
            return STATUS_ERR_CONNECT_FAILED;
        }
    }

    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    object->getType(type);
    if (type != expectedType) {
        BLOG_ERROR("Observer Type not match for %s,( %d ) vs %s ", m_name.c_str(), static_cast<int>(type),
                   observerName);
        root->disconnect(m_name, observer, object);
        return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    m_object = object;
    return 0;
}

void ValueAccessBase::disconnect(lomodelapi::Observer* observer) {
    if (RootInterface* root = getRootInterface()) {
        root->disconnect(m_name, observer, m_object);
    }
    m_object = nullptr;
}

int ValueAccessBase::tryConnectIfNeeded() {
    if (m_object != nullptr) {
        return 0;
    }
    int status = connect(m_timeout);
    // An accessor whose connect answers 0 without binding an object (the
    // iterator accessor binds its table elsewhere) has nothing to read or write.
    if (status == 0 && m_object == nullptr) {
        status = STATUS_ERR_CONNECT_FAILED;
    }
    if (status != 0) {
        BLOG_ERROR("BizValue connect failed:'%s', ret: %d", getName().c_str(), status);
        return status;
    }
    BLOG_INFO("BizValue connect successfully:'%s'.", getName().c_str());
    return 0;
}

// The type code is the platform's promise of the object's class, so the
// accepted code makes the downcast safe. Reads and writes keep separate
// templates because the mismatch line names its operation, getValue or setValue.
template <typename Object, typename Read>
int ValueAccessBase::getValue(lomodelapi::ObjectTypeSpec accepted, Read read) {
    if (int status = tryConnectIfNeeded()) {
        return status;
    }
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    m_object->getType(type);
    if (type != accepted) {
        BLOG_ERROR("Object Type mismatch:  %s", accessTypeName(getType()));
        return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    return read(*static_cast<Object*>(m_object));
}

template <typename Object, typename Write>
int ValueAccessBase::setValue(lomodelapi::ObjectTypeSpec accepted, Write write) {
    if (int status = tryConnectIfNeeded()) {
        return status;
    }
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    m_object->getType(type);
    if (type != accepted) {
        BLOG_ERROR("Object Type mismatch:  %s", accessTypeName(getType()));
        return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    write(*static_cast<Object*>(m_object));
    return 0;
}

int ValueAccessBase::getValue(std::string& out) {
    return getValue<StringObject>(lomodelapi::OBJECT_TYPE_STRING,
                                  [&](StringObject& object) { return object.getValue(out); });
}

int ValueAccessBase::getValue(int& out) {
    return getValue<NumericIntegerObject>(lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, [&](NumericIntegerObject& object) {
        out = object.getValue();
        return 0;
    });
}

int ValueAccessBase::getValue(long long& out) {
    return getValue<NumericInt64Object>(lomodelapi::OBJECT_TYPE_NUMERIC_INT64, [&](NumericInt64Object& object) {
        out = object.getValue();
        return 0;
    });
}

int ValueAccessBase::getValue(std::vector<std::string>& out) {
    return getValue<VectorStringObject>(lomodelapi::OBJECT_TYPE_VECTOR_STRING,
                                        [&](VectorStringObject& object) { return object.getValue(out); });
}

int ValueAccessBase::getValue(std::vector<int>& out) {
    return getValue<VectorNumericIntegerObject>(
        lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
        [&](VectorNumericIntegerObject& object) { return object.getValue(out); });
}

int ValueAccessBase::setValue(const std::string& value) {
    BLOG_TRACE();
    return setValue<StringObject>(lomodelapi::OBJECT_TYPE_STRING,
                                  [&](StringObject& object) { object.setValue(value); });
}

int ValueAccessBase::setValue(int value) {
    BLOG_TRACE();
    if (int status = tryConnectIfNeeded()) {
        return status;
    }
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    m_object->getType(type);
    switch (type) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            static_cast<NumericIntegerObject*>(m_object)->setValue(value);
            return 0;
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            static_cast<NumericInt64Object*>(m_object)->setValue(static_cast<long long>(value));
            return 0;
        default:
            BLOG_ERROR("STATUS_ERR_VALUE_TYPE_MISMATCH");
            return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
}

int ValueAccessBase::setValue(long long value) {
    BLOG_TRACE();
    if (int status = tryConnectIfNeeded()) {
        return status;
    }
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    m_object->getType(type);
    switch (type) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            if (value < INT_MIN || value > INT_MAX) {
                BLOG_ERROR("Value is too large for int32 value:  [%lld] ", value);
                return STATUS_ERR_VALUE_TYPE_MISMATCH;
            }
            static_cast<NumericIntegerObject*>(m_object)->setValue(static_cast<int>(value));
            return 0;
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            static_cast<NumericInt64Object*>(m_object)->setValue(value);
            return 0;
        default:
            BLOG_ERROR("STATUS_ERR_VALUE_TYPE_MISMATCH");
            return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
}

int ValueAccessBase::setValue(const std::vector<std::string>& value) {
    BLOG_TRACE();
    return setValue<VectorStringObject>(lomodelapi::OBJECT_TYPE_VECTOR_STRING,
                                        [&](VectorStringObject& object) { object.setValues(byIndex(value)); });
}

int ValueAccessBase::setValue(const std::vector<int>& value) {
    BLOG_TRACE();
    return setValue<VectorNumericIntegerObject>(
        lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
        [&](VectorNumericIntegerObject& object) { object.setValues(byIndex(value)); });
}

void ValueAccessBase::onNewValue(const ValueObject& value) {
    BLOG_TRACE();
    m_handler.forward(&ValueHandler::onNewValue, value);
}

}  // namespace velmora::system::access
