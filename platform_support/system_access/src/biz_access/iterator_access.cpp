#include <system_access/iterator_access.h>
#include <system_access/table_access.h>

#include <base/blog.h>
#include <lomodelapi/model_objects.h>

namespace velmora::system::access {

namespace {

constexpr int kTableConnectTimeoutMs = 1000;

}  // namespace

IteratorAccess::IteratorAccess(std::string path, std::shared_ptr<IteratorHandler> handler,
                               const lomodelapi::IteratorType& type,
                               const std::vector<lomodelapi::TableSelection>& selections,
                               const std::vector<int>& columns, const std::vector<lomodelapi::TableOrder>& orders)
    : ValueAccessBase(path),
      m_handler(std::move(handler)),
      m_type(type),
      m_selections(selections),
      m_columns(columns),
      m_orders(orders) {}

// Caller's thread. A web engine tears pages down in any order, so an iterator
// its owner did not destroy is destroyed here: once destroyIterator and the
// table's disconnect have returned, the platform makes no further call. The
// members are released after the trace exit line.
IteratorAccess::~IteratorAccess() {
    BLOG_TRACE();
    if (m_iterator != nullptr) {
        BLOG_ERROR("Table iterator %p was not destroyed by its owner.", static_cast<void*>(m_iterator));
        IteratorAccess::destroy();
    }
    if (m_tableAccess) {
        m_tableAccess->disconnect();
    }
}

int IteratorAccess::connect(int) {
    return 0;
}

int IteratorAccess::disconnect() {
    return 0;
}

// Caller's thread.
int IteratorAccess::create() {
    // A connected table means an earlier create() succeeded. One table connection
    // and one iterator per accessor: a second success would orphan the first
    // ones, since nothing gives them back before they are replaced.
    if (m_tableAccess && m_tableAccess->getAccess() != nullptr) {
        return STATUS_ERR_ALREADY_CREATED;
    }
    std::string path = getName();
    m_tableAccess = std::make_shared<TableAccess>(path);
    if (int status = m_tableAccess->connect(kTableConnectTimeoutMs)) {
        BLOG_ERROR("Error connect name : %s,  status: %d", path.c_str(), status);
        return STATUS_ERR_TABLE_CONNECT;
    }
    m_iterator = m_tableAccess->getAccess()->createIterator(
        m_type, static_cast<lomodelapi::ObserverTableIterator*>(this), m_selections, m_columns, m_orders);
    BLOG_INFO("Table iterator %p is created.", static_cast<void*>(m_iterator));
    return 0;
}

// Caller's thread. The platform delivers no event of the iterator once destroyIterator has returned.
int IteratorAccess::destroy() {
    if (m_iterator == nullptr) {
        return 0;
    }
    m_tableAccess->getAccess()->destroyIterator(m_iterator);
    m_iterator = nullptr;
    return 0;
}

int IteratorAccess::setActionResultHandler(std::shared_ptr<IteratorHandler> handler) {
    m_handler.store(std::move(handler));
    return 0;
}

// The nine events run on the platform's callback thread. Each goes to the
// handler through its own reference; rows and chunks are passed on as the
// platform's objects, not copied.
void IteratorAccess::notifyCommit(int status) {
    m_handler.forward(&IteratorHandler::onCommit, status);
}

void IteratorAccess::notifyTotalCount(int count) {
    m_handler.forward(&IteratorHandler::onTotalCount, count);
}

void IteratorAccess::notifySeekToRow(int row) {
    m_handler.forward(&IteratorHandler::onSeekToRow, row);
}

void IteratorAccess::notifySeekToContent(int row) {
    m_handler.forward(&IteratorHandler::onSeekToContent, row);
}

void IteratorAccess::notifyCursorPosition(int row) {
    m_handler.forward(&IteratorHandler::onCursorPosition, row);
}

void IteratorAccess::notifyReadRow(const std::vector<std::string>& row) {
    m_handler.forward(&IteratorHandler::onReadRow, row);
}

void IteratorAccess::notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) {
    m_handler.forward(&IteratorHandler::onReadRowChunk, rows);
}

void IteratorAccess::notifyIteratorReady(int status) {
    m_handler.forward(&IteratorHandler::onIteratorReady, status);
}

void IteratorAccess::notifyUpdate(int change) {
    m_handler.forward(&IteratorHandler::onUpdate, change);
}

}  // namespace velmora::system::access
