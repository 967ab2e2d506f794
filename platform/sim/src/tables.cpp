// Tables of the simulated model and their iterators.
#include "tables.h"

#include <tvsim/control_error.h>
#include <tvsim/input_limits.h>

#include <algorithm>

namespace tvsim {

IteratorMoves* IteratorMoves::from(TableIteratorObject* iterator) {
    return dynamic_cast<IteratorMoves*>(iterator);
}

SimIterator* SimIterator::from(TableIteratorObject* iterator) {
    return dynamic_cast<SimIterator*>(iterator);
}

SimTableIterator::SimTableIterator(Model& model, CallbackThread& callbacks, std::shared_ptr<Entry> table,
                                   lomodelapi::ObserverTableIterator* observer)
    : m_model(model),
      m_callbacks(callbacks),
      m_table(std::move(table)),
      m_observer(observer),
      m_subscription(std::make_shared<Subscription>()) {}

// An iterator has no type code of its own in the platform's list.
int SimTableIterator::getType(lomodelapi::ObjectTypeSpec& type) {
    type = lomodelapi::OBJECT_TYPE_NONE;
    return 0;
}

template <typename Notify>
void SimTableIterator::post(Notify notify) {
    if (m_observer != nullptr) {
        m_callbacks.post(m_subscription, [observer = m_observer, notify = std::move(notify)] { notify(*observer); });
    }
}

// The chunk's rows stay in the snapshot the call holds, so the pointers stay valid during the notification.
void SimTableIterator::postChunk(Rows rows, std::size_t first, std::size_t last) {
    post([rows = std::move(rows), first, last](lomodelapi::ObserverTableIterator& observer) {
        std::vector<const std::vector<std::string>*> chunk;
        chunk.reserve(last - first);
        for (std::size_t index = first; index < last; ++index) {
            chunk.push_back(&(*rows)[index]);
        }
        observer.notifyReadRowChunk(chunk);
    });
}

void SimTableIterator::seekToRow(int row) {
    const int count = rowCount();
    Lock lock(m_mutex);
    const bool inRange = row >= 0 && row <= count;
    if (inRange) {
        m_cursor = row;
    }
    post([found = inRange ? row : -1](auto& observer) { observer.notifySeekToRow(found); });
    post([position = m_cursor](auto& observer) { observer.notifyCursorPosition(position); });
}

void SimTableIterator::seekToContent(const std::string& cell) {
    const Rows rows = m_model.rows(*m_table);
    auto holds = [&](const Row& row) { return std::find(row.begin(), row.end(), cell) != row.end(); };
    auto found = std::find_if(rows->begin(), rows->end(), holds);
    const int row = found == rows->end() ? -1 : static_cast<int>(found - rows->begin());
    Lock lock(m_mutex);
    if (row >= 0) {
        m_cursor = row;
    }
    post([row](auto& observer) { observer.notifySeekToContent(row); });
}

void SimTableIterator::readRow() {
    const Rows rows = m_model.rows(*m_table);
    Lock lock(m_mutex);
    const auto index = static_cast<std::size_t>(m_cursor);
    if (index < rows->size()) {
        post([rows, index](auto& observer) { observer.notifyReadRow((*rows)[index]); });
        ++m_cursor;
    } else {
        post([](auto& observer) { observer.notifyReadRow(Row()); });
    }
    post([position = m_cursor](auto& observer) { observer.notifyCursorPosition(position); });
}

void SimTableIterator::readRows(int count) {
    const Rows rows = m_model.rows(*m_table);
    Lock lock(m_mutex);
    const std::size_t first = std::min(static_cast<std::size_t>(m_cursor), rows->size());
    const std::size_t last = std::min(rows->size(), first + static_cast<std::size_t>(std::max(count, 0)));
    m_cursor = static_cast<int>(last);
    postChunk(rows, first, last);
}

void SimTableIterator::commit() {
    Lock lock(m_mutex);
    post([](auto& observer) { observer.notifyCommit(0); });
}

int SimTableIterator::rowCount() const {
    return static_cast<int>(m_model.rows(*m_table)->size());
}

int SimTableIterator::cursor() const {
    Lock lock(m_mutex);
    return m_cursor;
}

// Raw events take no lock of the iterator: the model queues some of them while holding its own.
void SimTableIterator::emitCommit(int status) {
    post([status](auto& observer) { observer.notifyCommit(status); });
}

void SimTableIterator::emitTotalCount(int count) {
    post([count](auto& observer) { observer.notifyTotalCount(count); });
}

void SimTableIterator::emitSeekToRow(int row) {
    post([row](auto& observer) { observer.notifySeekToRow(row); });
}

void SimTableIterator::emitSeekToContent(int row) {
    post([row](auto& observer) { observer.notifySeekToContent(row); });
}

void SimTableIterator::emitCursorPosition(int row) {
    post([row](auto& observer) { observer.notifyCursorPosition(row); });
}

void SimTableIterator::emitReadRow(const Row& row) {
    post([row](auto& observer) { observer.notifyReadRow(row); });
}

void SimTableIterator::emitReadRowChunk(const std::vector<Row>& rows) {
    postChunk(std::make_shared<const std::vector<Row>>(rows), 0, rows.size());
}

void SimTableIterator::emitIteratorReady(int status) {
    post([status](auto& observer) { observer.notifyIteratorReady(status); });
}

void SimTableIterator::emitUpdate(int change) {
    post([change](auto& observer) { observer.notifyUpdate(change); });
}

// ---- The model's table operations ----

Rows Model::rows(const Entry& table) const {
    Lock lock(m_mutex);
    return table.rows;
}

std::vector<std::string> Model::columns(const std::string& path) const {
    Lock lock(m_mutex);
    return entryOf(path, lomodelapi::OBJECT_TYPE_TABLE).columns;
}

std::vector<Row> Model::rows(const std::string& path) const {
    Lock lock(m_mutex);
    return *entryOf(path, lomodelapi::OBJECT_TYPE_TABLE).rows;
}

void Model::setRows(const std::string& path, std::vector<Row> rows) {
    requireRows(rows);
    Lock lock(m_mutex);
    Entry& table = entryOf(path, lomodelapi::OBJECT_TYPE_TABLE);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (rows[row].size() != table.columns.size()) {
            throw ControlError(ControlErrorKind::INVALID_ARGUMENT,
                               "Row " + std::to_string(row) + " has " + std::to_string(rows[row].size()) + " cells; " +
                                   path + " has " + std::to_string(table.columns.size()) + " columns.");
        }
    }
    table.rows = std::make_shared<const std::vector<Row>>(std::move(rows));
    changed(&table);
    notifyTableUpdate(table, static_cast<int>(table.rows->size()));
}

void Model::notifyTableUpdate(const Entry& table, int change) {
    for (const Connection* connection : table.connections) {
        postTo<lomodelapi::ObserverTable>(*connection, [change](auto& observer) { observer.notifyUpdate(change); });
    }
    for (SimTableIterator* iterator : table.iterators) {
        iterator->emitUpdate(change);
    }
}

void Model::failNextCreateIterators(const std::string& path, int count) {
    Lock lock(m_mutex);
    faultsFor(path, lomodelapi::OBJECT_TYPE_TABLE, count).failingCreateIterators = count;
    changed();
}

TableIteratorObject* Model::createIterator(const std::shared_ptr<Entry>& table, lomodelapi::IteratorType type,
                                           lomodelapi::ObserverTableIterator* observer,
                                           const std::vector<lomodelapi::TableSelection>& selections,
                                           const std::vector<int>& columns,
                                           const std::vector<lomodelapi::TableOrder>& orders) {
    std::string client = clientNameOf(observer);
    Lock lock(m_mutex);
    TableIteratorObject* created = nullptr;
    PathFaults& faults = m_faults[table->path];
    if (faults.failingCreateIterators > 0) {
        --faults.failingCreateIterators;
    } else {
        auto iterator = std::make_unique<SimTableIterator>(*this, m_callbacks, table, observer);
        iterator->emitIteratorReady(0);
        iterator->emitTotalCount(static_cast<int>(table->rows->size()));
        created = iterator.get();
        const auto place = table->iterators.insert(table->iterators.end(), iterator.get());
        m_iterators.emplace(created, MadeIterator{std::move(iterator), place});
    }
    m_records.createIterators.add(
        {table->path, type, observer, selections, columns, orders, created, std::move(client)}, m_recordLimit);
    changed();
    return created;
}

int Model::destroyIterator(TableIteratorObject* iterator) {
    std::unique_ptr<SimTableIterator> ended;
    {
        Lock lock(m_mutex);
        m_records.destroyIterators.add(iterator, m_recordLimit);
        changed();
        auto found = m_iterators.find(iterator);
        if (found == m_iterators.end()) {
            return kStatusUnknownObject;
        }
        ended = std::move(found->second.iterator);
        ended->table()->iterators.erase(found->second.place);
        m_iterators.erase(found);
    }
    m_callbacks.end(ended->subscription());
    return 0;
}

}  // namespace tvsim
