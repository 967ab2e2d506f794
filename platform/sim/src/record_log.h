// One kind of call record, oldest first, kept within a limit: beyond it the
// oldest goes and is counted. Guarded by the model's mutex.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace tvsim {

// What a record weighs against a log's byte limit; most weigh nothing.
template <typename Record>
std::size_t recordBytes(const Record& /*record*/) {
    return 0;
}

template <typename Record>
class RecordLog {
public:
    // Keeps at most `limit` records whose recordBytes total at most `byteLimit`
    // (the newest one always).
    void add(Record record, std::size_t limit, std::size_t byteLimit = SIZE_MAX) {
        m_bytes += recordBytes(record);
        m_kept.push_back(std::move(record));
        trim(limit);
        while (m_bytes > byteLimit && m_kept.size() > 1) {
            dropOldest();
        }
    }

    void trim(std::size_t limit) {
        while (m_kept.size() > limit) {
            dropOldest();
        }
    }

    std::vector<Record> copy() const { return {m_kept.begin(), m_kept.end()}; }
    // The records whose sequence (dropped-so-far + index) is `sequence` or later;
    // all kept ones for a sequence beyond them (they were cleared since).
    std::vector<Record> since(std::uint64_t sequence) const {
        if (sequence > recorded()) {
            return copy();
        }
        const std::uint64_t first = std::max(sequence, m_dropped) - m_dropped;
        return {m_kept.begin() + static_cast<std::ptrdiff_t>(first), m_kept.end()};
    }
    std::uint64_t recorded() const { return m_dropped + m_kept.size(); }  // kept and dropped
    std::uint64_t dropped() const { return m_dropped; }

    // Newest first, for filling in what a recent record learns later.
    auto newest() { return m_kept.rbegin(); }
    auto oldestEnd() { return m_kept.rend(); }

private:
    void dropOldest() {
        m_bytes -= recordBytes(m_kept.front());
        m_kept.pop_front();
        ++m_dropped;
    }

    std::deque<Record> m_kept;
    std::uint64_t m_dropped = 0;
    std::size_t m_bytes = 0;  // of the kept records
};

}  // namespace tvsim
