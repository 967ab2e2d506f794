#include <system_access/table_access.h>

#include <base/blog.h>
#include <lomodelapi/model_objects.h>

namespace velmora::system::access {

TableAccess::TableAccess(std::string path, std::shared_ptr<TableHandler> handler)
    : ValueAccessBase(path), m_handler(std::move(handler)) {}

TableAccess::TableAccess(std::string path) : ValueAccessBase(path) {}

// The platform calls the observer until it has the object back.
TableAccess::~TableAccess() {
    if (modelObject() != nullptr) {
        TableAccess::disconnect();
    }
}

int TableAccess::connect(int timeoutMs) {
    int status = ValueAccessBase::connect(timeoutMs, static_cast<lomodelapi::ObserverTable*>(this),
                                          lomodelapi::OBJECT_TYPE_TABLE, "ObserverTable");
    // The type code 6 is the platform's promise that the object is a table.
    m_table = static_cast<TableObject*>(modelObject());
    return status;
}

int TableAccess::disconnect() {
    ValueAccessBase::disconnect(static_cast<lomodelapi::ObserverTable*>(this));
    m_table = nullptr;
    return 0;
}

int TableAccess::setActionResultHandler(std::shared_ptr<TableHandler> handler) {
    m_handler.store(std::move(handler));
    return 0;
}

// Platform callback thread; touches nothing of the accessor.
void TableAccess::notifyUpdate(int) {
    BLOG_TRACE();
}

}  // namespace velmora::system::access
