// The controls of the simulated TV in this process: TvControl on a running
// Simulator and the model files loaded into it. Any thread may call it except
// the simulator's callback thread (model loads and flushes wait for it).
#pragma once

#include <tvsim/model_file.h>
#include <tvsim/simulator.h>
#include <tvsim/tv_control.h>

#include <map>
#include <memory>
#include <string>

namespace tvsim {

class LocalTvControl final : public TvControl {
public:
    // `loaded` is what the simulator's model was made of so far: the actions'
    // own answers that resetReply gives back.
    explicit LocalTvControl(Simulator& simulator, LoadedModel loaded = {});
    ~LocalTvControl() override;

    LocalTvControl(const LocalTvControl&) = delete;
    LocalTvControl& operator=(const LocalTvControl&) = delete;

    // The replies setReply gave actions, and not taken back since.
    std::map<std::string, Reply> chosenReplies() const;

    std::vector<ModelEntry> list(const std::string& prefix) override;
    lomodelapi::ObjectTypeSpec typeAt(const std::string& path) override;
    ModelValue value(const std::string& path) override;
    void setValue(const std::string& path, const ModelValue& value) override;
    void setValues(const std::string& path, const std::vector<ModelValue>& values) override;
    std::vector<std::string> columns(const std::string& table) override;
    std::vector<Row> rows(const std::string& table) override;
    void setRows(const std::string& table, const std::vector<Row>& rows) override;
    void loadModel(const std::string& file) override;
    void loadModelText(const std::string& text, const std::string& name) override;
    void flush() override;

    void failNextConnects(const std::string& path, int count, int status) override;
    void nullObjectOnNextConnects(const std::string& path, int count) override;
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) override;
    void failGetter(const std::string& path, int status) override;
    void refuseNextInvokes(const std::string& path, int count, int status) override;
    void failNextCreateIterators(const std::string& path, int count) override;
    void clearFaults(const std::string& path) override;
    void refuseInterfaceReference(bool refuse, int status) override;
    void emptyInterfaceReference(bool empty) override;
    void nullRootObject(bool null) override;

    void setReply(const std::string& action, const Reply& reply) override;
    void resetReply(const std::string& action) override;
    void emitResult(const std::string& action, unsigned int actionId,
                    const std::vector<lomodelapi::Argument>& results) override;
    void emitExecutionError(const std::string& action, unsigned int actionId, int error) override;
    std::optional<SourceSwitchState> sourceSwitch(const std::string& action) override;

    std::vector<ClientConnect> connects() override;
    std::vector<InvokeRecord> invokes() override;
    std::vector<WriteRecord> writes() override;
    NewRecords recordsSince(const RecordCursor& cursor) override;
    DroppedRecords droppedRecords() override;
    void clearRecords() override;
    // Sleeps until the model records something (ModelControl::waitForChange), then looks again.
    RecordWait waitForRecord(const RecordPattern& pattern, std::chrono::milliseconds timeout) override;

private:
    class Models;

    Simulator& m_simulator;
    std::unique_ptr<Models> m_models;
};

}  // namespace tvsim
