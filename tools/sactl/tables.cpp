#include "tables.h"

#include <system_access/iterator_access.h>

#include <algorithm>
#include <mutex>

namespace sactl {
namespace {

namespace access = velmora::system::access;

// Runs on the simulator's callback thread: copies what the iterator reports
// under its own mutex. The session flushes the callback thread before reading.
class RowCollector : public access::IteratorHandler {
public:
    void onCommit(int) override {}
    void onTotalCount(int count) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_totalCount = count;
    }
    void onSeekToRow(int) override {}
    void onSeekToContent(int) override {}
    void onCursorPosition(int) override {}
    void onReadRow(const std::vector<std::string>& row) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_rows.push_back(row);
    }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const std::vector<std::string>* row : rows) {
            m_rows.push_back(*row);
        }
    }
    void onIteratorReady(int) override {}
    void onUpdate(int) override {}

    int totalCount() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_totalCount;
    }
    std::vector<tvsim::Row> rows() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_rows;
    }

private:
    mutable std::mutex m_mutex;
    int m_totalCount = 0;
    std::vector<tvsim::Row> m_rows;
};

// Creates the iterator and destroys it again when the read is over.
class IteratorSession {
public:
    IteratorSession(const std::string& path, std::shared_ptr<RowCollector> collector)
        : m_access(path, std::move(collector), lomodelapi::ITERATOR_TYPE_SNAPSHOT, {}, {}, {}) {
        const int status = m_access.create();
        if (status != 0) {
            throw CommandError("creating an iterator over '" + path + "' failed with status " + describeStatus(status));
        }
        m_iterator = tvsim::SimIterator::from(m_access.getIterator());
        if (m_iterator == nullptr) {
            m_access.destroy();
            throw CommandError("the platform gave no iterator over '" + path + "'");
        }
    }
    ~IteratorSession() { m_access.destroy(); }

    tvsim::SimIterator& iterator() { return *m_iterator; }

private:
    access::IteratorAccess m_access;
    tvsim::SimIterator* m_iterator = nullptr;
};

}  // namespace

TableContents readTable(Session& session, const std::string& path) {
    session.requireType(path, lomodelapi::OBJECT_TYPE_TABLE);
    auto collector = std::make_shared<RowCollector>();
    {
        IteratorSession iteration(path, collector);
        session.tv().flush();  // the new iterator reports its total count
        iteration.iterator().seekToRow(0);
        iteration.iterator().readRows(collector->totalCount());
        session.tv().flush();
    }
    TableContents table;
    table.rows = collector->rows();
    table.columns = session.tv().columns(path);
    return table;
}

void printTable(const Session& session, const std::string& path, const TableContents& table) {
    if (session.out().json()) {
        for (std::size_t index = 0; index < table.rows.size(); ++index) {
            nlohmann::json cells = nlohmann::json::object();
            for (std::size_t column = 0; column < table.rows[index].size(); ++column) {
                const bool named = column < table.columns.size();
                cells[named ? table.columns[column] : "column " + std::to_string(column)] = table.rows[index][column];
            }
            session.out().result("", {{"table", path}, {"row", index}, {"cells", cells}});
        }
        return;
    }
    std::vector<tvsim::Row> lines;
    if (!table.columns.empty()) {
        lines.push_back(table.columns);
    }
    lines.insert(lines.end(), table.rows.begin(), table.rows.end());
    std::vector<std::size_t> widths;
    for (const tvsim::Row& line : lines) {
        widths.resize(std::max(widths.size(), line.size()));
        for (std::size_t column = 0; column < line.size(); ++column) {
            widths[column] = std::max(widths[column], line[column].size());
        }
    }
    for (const tvsim::Row& line : lines) {
        std::string text;
        for (std::size_t column = 0; column < line.size(); ++column) {
            const bool last = column + 1 == line.size();
            text += last ? line[column] : line[column] + std::string(widths[column] - line[column].size() + 2, ' ');
        }
        session.out().result(text, nullptr);
    }
}

}  // namespace sactl
