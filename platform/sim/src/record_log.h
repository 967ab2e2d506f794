// One kind of call record, oldest first, kept within a limit: beyond it the
// oldest goes and is counted. Guarded by the model's mutex.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace tvsim {

template <typename Record>
class RecordLog {
public:
    void add(Record record, std::size_t limit) {
        m_kept.push_back(std::move(record));
        trim(limit);
    }

    void trim(std::size_t limit) {
        while (m_kept.size() > limit) {
            m_kept.pop_front();
            ++m_dropped;
        }
    }

    std::vector<Record> copy() const { return {m_kept.begin(), m_kept.end()}; }
    std::uint64_t recorded() const { return m_dropped + m_kept.size(); }  // kept and dropped
    std::uint64_t dropped() const { return m_dropped; }

    // Newest first, for filling in what a recent record learns later.
    auto newest() { return m_kept.rbegin(); }
    auto oldestEnd() { return m_kept.rend(); }

private:
    std::deque<Record> m_kept;
    std::uint64_t m_dropped = 0;
};

}  // namespace tvsim
