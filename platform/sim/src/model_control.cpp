// Model control: forwards to the model of the running simulator.
#include <tvsim/model_control.h>

#include "simulator_core.h"

#include <variant>

namespace tvsim {

void ModelControl::addInteger(const std::string& path, int value) {
    core().model.addValue(path, value);
}
void ModelControl::addInt64(const std::string& path, long long value) {
    core().model.addValue(path, value);
}
void ModelControl::addString(const std::string& path, const std::string& value) {
    core().model.addValue(path, value);
}
void ModelControl::addIntegerVector(const std::string& path, const std::vector<int>& value) {
    core().model.addValue(path, value);
}
void ModelControl::addStringVector(const std::string& path, const std::vector<std::string>& value) {
    core().model.addValue(path, value);
}
void ModelControl::addValue(const std::string& path, const ModelValue& value) {
    core().model.addValue(path, value);
}
void ModelControl::addAction(const std::string& path, Responder responder) {
    core().model.addAction(path, std::move(responder));
}
void ModelControl::addTable(const std::string& path, const std::vector<std::string>& columns,
                            const std::vector<Row>& rows) {
    core().model.addTable(path, columns, rows);
}
void ModelControl::remove(const std::string& path) {
    core().model.remove(path);
}
bool ModelControl::has(const std::string& path) const {
    return core().model.has(path);
}
std::vector<ModelEntry> ModelControl::list(const std::string& prefix) const {
    return core().model.list(prefix);
}
lomodelapi::ObjectTypeSpec ModelControl::typeAt(const std::string& path) const {
    return core().model.typeAt(path);
}
std::uint64_t ModelControl::generation() const {
    return core().model.generation();
}
void ModelControl::waitForChange(std::uint64_t seen, std::chrono::steady_clock::time_point deadline) const {
    core().model.waitForChange(seen, deadline);
}
std::vector<StampedEntry> ModelControl::stampedList() const {
    return core().model.stampedList();
}

void ModelControl::setInteger(const std::string& path, int value) {
    core().model.changeValue(path, value);
}
void ModelControl::setInt64(const std::string& path, long long value) {
    core().model.changeValue(path, value);
}
void ModelControl::setString(const std::string& path, const std::string& value) {
    core().model.changeValue(path, value);
}
void ModelControl::setIntegerVector(const std::string& path, const std::vector<int>& value) {
    core().model.changeValue(path, value);
}
void ModelControl::setStringVector(const std::string& path, const std::vector<std::string>& value) {
    core().model.changeValue(path, value);
}
void ModelControl::setValue(const std::string& path, const ModelValue& value) {
    core().model.changeValue(path, value);
}
void ModelControl::setValues(const std::string& path, const std::vector<ModelValue>& values) {
    core().model.changeValues(path, values);
}
void ModelControl::setRows(const std::string& path, const std::vector<Row>& rows) {
    core().model.setRows(path, rows);
}

int ModelControl::integer(const std::string& path) const {
    return std::get<int>(core().model.value(path, ValueType::INTEGER));
}
long long ModelControl::int64(const std::string& path) const {
    return std::get<long long>(core().model.value(path, ValueType::INT64));
}
std::string ModelControl::string(const std::string& path) const {
    return std::get<std::string>(core().model.value(path, ValueType::STRING));
}
std::vector<int> ModelControl::integerVector(const std::string& path) const {
    return std::get<std::vector<int>>(core().model.value(path, ValueType::INTEGER_VECTOR));
}
std::vector<std::string> ModelControl::stringVector(const std::string& path) const {
    return std::get<std::vector<std::string>>(core().model.value(path, ValueType::STRING_VECTOR));
}
ModelValue ModelControl::value(const std::string& path) const {
    return core().model.value(path);
}
std::vector<std::string> ModelControl::columns(const std::string& path) const {
    return core().model.columns(path);
}
std::vector<Row> ModelControl::rows(const std::string& path) const {
    return core().model.rows(path);
}

void ModelControl::setResponder(const std::string& path, Responder responder) {
    core().model.setResponder(path, std::move(responder));
}
void ModelControl::emitResult(const std::string& path, unsigned int actionId,
                              const std::vector<lomodelapi::Argument>& results) {
    core().model.emitResult(path, actionId, results);
}
void ModelControl::emitExecutionError(const std::string& path, unsigned int actionId, int error) {
    core().model.emitExecutionError(path, actionId, error);
}

}  // namespace tvsim
