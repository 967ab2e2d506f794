#include <tvsim/tv_control.h>

#include <algorithm>

namespace tvsim {
namespace {

// The first match alone, or the closest near misses: at the pattern's path first, newest first.
template <typename Record>
std::vector<Record> matchIn(const RecordPattern& pattern, std::vector<Record> records, RecordWait& wait) {
    const RecordMatcher matcher(pattern);
    for (Record& record : records) {
        if (!matcher.mismatch(record)) {
            wait.found = true;
            return {std::move(record)};
        }
    }
    std::reverse(records.begin(), records.end());
    std::stable_partition(records.begin(), records.end(),
                          [&](const Record& record) { return record.path == pattern.path; });
    records.resize(std::min(records.size(), RECORD_WAIT_CLOSEST));
    for (const Record& record : records) {
        wait.reasons.push_back(*matcher.mismatch(record));
    }
    return records;
}

}  // namespace

ValueType TvControl::valueTypeAt(const std::string& path) {
    const lomodelapi::ObjectTypeSpec type = typeAt(path);
    ValueType valueType{};
    if (!valueTypeOfObject(type, valueType)) {
        throw ControlError::wrongType(path, type, "a value");
    }
    return valueType;
}

void TvControl::requireType(const std::string& path, lomodelapi::ObjectTypeSpec expected) {
    const lomodelapi::ObjectTypeSpec type = typeAt(path);
    if (type != expected) {
        throw ControlError::wrongType(path, type, describeObjectType(expected));
    }
}

RecordWait TvControl::findRecord(const RecordPattern& pattern) {
    RecordWait wait;
    switch (pattern.kind) {
        case RecordPattern::Kind::Connect:
            wait.connects = matchIn(pattern, connects(), wait);
            break;
        case RecordPattern::Kind::Invoke:
            wait.invokes = matchIn(pattern, invokes(), wait);
            break;
        case RecordPattern::Kind::Write:
            wait.writes = matchIn(pattern, writes(), wait);
            break;
    }
    return wait;
}

void TvControl::checkWait(const RecordPattern& pattern, std::chrono::milliseconds timeout) {
    checkPattern(pattern);
    if (timeout.count() < 0 || timeout > RECORD_WAIT_LIMIT) {
        throw ControlError(ControlErrorKind::OUT_OF_RANGE, "A wait lasts 0 to " +
                                                               std::to_string(RECORD_WAIT_LIMIT.count()) + " ms, not " +
                                                               std::to_string(timeout.count()) + ".");
    }
}

}  // namespace tvsim
