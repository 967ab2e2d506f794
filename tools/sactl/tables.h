// Reading a model table's rows through IteratorAccess and the platform iterator's moves.
#pragma once

#include "session.h"

#include <string>
#include <vector>

namespace sactl {

struct TableContents {
    std::vector<std::string> columns;
    std::vector<tvsim::Row> rows;
};

// The rows come through an iterator made by IteratorAccess::create and moved
// with its tvsim::IteratorMoves, in this process or on the TV service; the
// column names come from the TV's controls. Failures are CommandErrors.
TableContents readTable(Session& session, const std::string& path);

// Text: a header and one aligned line per row. JSON: one object per row.
void printTable(const Session& session, const std::string& path, const TableContents& table);

}  // namespace sactl
