#include <tvsim/input_limits.h>

#include <tvsim/control_error.h>

#include <variant>

namespace tvsim {
namespace {

constexpr std::size_t kStringExtra = 8;     // length, terminating NUL, alignment
constexpr std::size_t kArgumentExtra = 24;  // alignment, tag, position, subtag, and the value's string
constexpr std::size_t kIndexBytes = 8;      // a dictionary entry's index and alignment

// `what` is the sentence's subject and verb: "A model path is".
void require(std::size_t size, std::size_t bound, const std::string& what) {
    if (size > bound) {
        throw ControlError(ControlErrorKind::INVALID_ARGUMENT,
                           what + " at most " + std::to_string(bound) + " bytes; got " + std::to_string(size) + ".");
    }
}

}  // namespace

std::size_t sizeOf(const std::string& text) {
    return text.size() + kStringExtra;
}

std::size_t sizeOf(const std::vector<std::string>& texts) {
    std::size_t size = 0;
    for (const std::string& text : texts) {
        size += sizeOf(text);
    }
    return size;
}

std::size_t sizeOf(const ModelValue& value) {
    switch (valueTypeOf(value)) {
        case ValueType::INTEGER:
            return sizeof(std::int32_t);
        case ValueType::INT64:
            return sizeof(std::int64_t);
        case ValueType::STRING:
            return sizeOf(std::get<std::string>(value));
        case ValueType::INTEGER_VECTOR:
            return std::get<std::vector<int>>(value).size() * sizeof(std::int32_t);
        case ValueType::STRING_VECTOR:
            break;
    }
    return sizeOf(std::get<std::vector<std::string>>(value));
}

std::size_t sizeOf(const std::vector<lomodelapi::Argument>& arguments) {
    std::size_t size = 0;
    for (const lomodelapi::Argument& argument : arguments) {
        size += argument.value.size() + kArgumentExtra;
    }
    return size;
}

std::size_t sizeOf(const std::vector<std::vector<std::string>>& rows) {
    std::size_t size = 0;
    for (const std::vector<std::string>& row : rows) {
        size += kStringExtra + sizeOf(row);
    }
    return size;
}

void requireModelPath(const std::string& path) {
    require(path.size(), kMaxPathBytes, "A model path is");
}

void requireModelFileName(const std::string& file) {
    require(file.size(), kMaxModelFileNameBytes, "A model file's name is");
}

void requireValue(const ModelValue& value) {
    require(sizeOf(value), kMaxValueBytes, "A value is");
}

void requireValuesByIndex(const std::map<int, int>& byIndex) {
    require(byIndex.size() * (kIndexBytes + sizeof(std::int32_t)), kMaxValueBytes, "A write by index is");
}

void requireValuesByIndex(const std::map<int, std::string>& byIndex) {
    std::size_t size = 0;
    for (const auto& [index, text] : byIndex) {
        size += kIndexBytes + sizeOf(text);
    }
    require(size, kMaxValueBytes, "A write by index is");
}

void requireSeries(const std::vector<ModelValue>& values) {
    std::size_t size = 0;
    for (const ModelValue& value : values) {
        requireValue(value);
        size += sizeOf(value);
    }
    require(size, kMaxSeriesBytes, "A series of values is");
}

void requireRows(const std::vector<std::vector<std::string>>& rows) {
    require(sizeOf(rows), kMaxRowsBytes, "A table's rows are");
}

void requireArguments(const std::vector<lomodelapi::Argument>& arguments, const std::string& what) {
    require(sizeOf(arguments), kMaxRequestBytes, what);
}

void requireIteratorRequest(const std::vector<lomodelapi::TableSelection>& selections, const std::vector<int>& columns,
                            const std::vector<lomodelapi::TableOrder>& orders) {
    std::size_t size = columns.size() * sizeof(std::int32_t) + orders.size() * sizeof(lomodelapi::TableOrder);
    for (const lomodelapi::TableSelection& selection : selections) {
        size += kIndexBytes + sizeOf(selection.value);
    }
    require(size, kMaxRequestBytes, "An iterator's selections, columns and orders are");
}

void requireSeekText(const std::string& cell) {
    require(sizeOf(cell), kMaxRequestBytes, "A text to seek is");
}

}  // namespace tvsim
