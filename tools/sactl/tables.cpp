#include "tables.h"

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/unique_lock.h>
#include <system_access/iterator_access.h>

#include <algorithm>
#include <chrono>
#include <optional>

namespace sactl {
namespace {

namespace access = velmora::system::access;

// How long a table's events may take to come, from a TV service under load.
constexpr std::chrono::seconds kEventWait(5);

// Runs on the platform's callback thread: copies what the iterator reports
// under its own mutex, for the main thread that waits for it.
class RowCollector final : public access::IteratorHandler {
public:
    void onCommit(int) override {}
    void onTotalCount(int count) override {
        velmora::base::UniqueLock lock(&m_mutex);
        m_totalCount = count;
        m_changed.notify_all();
    }
    void onSeekToRow(int) override {}
    void onSeekToContent(int) override {}
    void onCursorPosition(int) override {}
    void onReadRow(const std::vector<std::string>& row) override {
        velmora::base::UniqueLock lock(&m_mutex);
        m_rows.push_back(row);
    }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        velmora::base::UniqueLock lock(&m_mutex);
        for (const std::vector<std::string>* row : rows) {
            m_rows.push_back(*row);
        }
        m_chunkCame = true;
        m_changed.notify_all();
    }
    void onIteratorReady(int) override {}
    void onUpdate(int) override {}

    // The total count the new iterator reports; -1 when it did not come in time.
    int waitForTotalCount() {
        const auto deadline = std::chrono::steady_clock::now() + kEventWait;
        velmora::base::UniqueLock lock(&m_mutex);
        while (m_totalCount < 0 && m_changed.wait_until(lock, deadline)) {
        }
        return m_totalCount;
    }
    // The rows read so far, once a chunk of them came; nullopt when none came in time.
    std::optional<std::vector<tvsim::Row>> waitForChunk() {
        const auto deadline = std::chrono::steady_clock::now() + kEventWait;
        velmora::base::UniqueLock lock(&m_mutex);
        while (!m_chunkCame && m_changed.wait_until(lock, deadline)) {
        }
        if (!m_chunkCame) {
            return std::nullopt;
        }
        return m_rows;
    }

private:
    velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_changed;
    int m_totalCount SYSACCESS_GUARDED_BY(m_mutex) = -1;
    bool m_chunkCame SYSACCESS_GUARDED_BY(m_mutex) = false;
    std::vector<tvsim::Row> m_rows SYSACCESS_GUARDED_BY(m_mutex);
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
        m_moves = tvsim::IteratorMoves::from(m_access.getIterator());
        if (m_moves == nullptr) {
            m_access.destroy();
            throw CommandError("the platform gave no iterator over '" + path + "'");
        }
    }
    ~IteratorSession() { m_access.destroy(); }

    tvsim::IteratorMoves& moves() { return *m_moves; }

private:
    access::IteratorAccess m_access;
    tvsim::IteratorMoves* m_moves = nullptr;
};

CommandError late(const std::string& path) {
    return CommandError("the TV did not report the rows of '" + path + "' within " +
                        std::to_string(kEventWait.count()) + " s");
}

}  // namespace

TableContents readTable(Session& session, const std::string& path) {
    session.tv().requireType(path, lomodelapi::OBJECT_TYPE_TABLE);
    auto collector = std::make_shared<RowCollector>();
    TableContents table;
    {
        IteratorSession iteration(path, collector);
        const int total = collector->waitForTotalCount();
        if (total < 0) {
            throw late(path);
        }
        iteration.moves().seekToRow(0);
        iteration.moves().readRows(total);
        std::optional<std::vector<tvsim::Row>> rows = collector->waitForChunk();
        if (!rows) {
            throw late(path);
        }
        table.rows = std::move(*rows);
    }
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
