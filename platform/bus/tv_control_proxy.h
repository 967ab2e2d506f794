// The controls of the TV service (tvsimd) as a tvsim::TvControl: each call is
// one blocking method call to io.sysaccess.TvSim's control interfaces, so a
// tool drives the service exactly as it drives the simulator in its process.
// A refusal comes back as the service's tvsim::ControlError; a bus that
// cannot be reached, a call that times out or a reply that does not decode is
// a std::runtime_error of one line. No service on the bus, or none any more,
// is said so with the address: "no TV service answers at 'ADDR' (...)" before
// any call was answered, "the TV service at 'ADDR' went away (...)" after. The bus carries UTF-8 text only: a path
// that is not names nothing the service holds (its model comes from JSON
// files), so it is refused as an unknown path, as the TV in process refuses
// it. Not thread-safe: one caller at a time.
#pragma once

#include "bus_plumbing.h"

#include <tvsim/tv_control.h>

#include <chrono>
#include <functional>
#include <string>

namespace tvsim::bus {

class TvControlProxy final : public tvsim::TvControl {
public:
    // Connects to the bus at the address ("session": the session bus).
    TvControlProxy(const std::string& address, std::chrono::milliseconds timeout);

    std::vector<tvsim::ModelEntry> list(const std::string& prefix) override;
    lomodelapi::ObjectTypeSpec typeAt(const std::string& path) override;
    tvsim::ModelValue value(const std::string& path) override;
    void setValue(const std::string& path, const tvsim::ModelValue& value) override;
    void setValues(const std::string& path, const std::vector<tvsim::ModelValue>& values) override;
    std::vector<std::string> columns(const std::string& table) override;
    std::vector<tvsim::Row> rows(const std::string& table) override;
    void setRows(const std::string& table, const std::vector<tvsim::Row>& rows) override;
    void loadModel(const std::string& file) override;
    void loadModelText(const std::string& text, const std::string& name) override;
    // Until the service has sent every notification queued so far; the order
    // it gives holds for this connection's own signals only.
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

    void setReply(const std::string& action, const tvsim::Reply& reply) override;
    void resetReply(const std::string& action) override;
    void emitResult(const std::string& action, unsigned int actionId,
                    const std::vector<lomodelapi::Argument>& results) override;
    void emitExecutionError(const std::string& action, unsigned int actionId, int error) override;
    std::optional<tvsim::SourceSwitchState> sourceSwitch(const std::string& action) override;

    std::vector<tvsim::ClientConnect> connects() override;
    std::vector<tvsim::InvokeRecord> invokes() override;
    std::vector<tvsim::WriteRecord> writes() override;
    // From the whole lists and the dropped counts, a call for each; the bus
    // carries no record times, so each record's `at` is left unset.
    tvsim::NewRecords recordsSince(const tvsim::RecordCursor& cursor) override;
    tvsim::DroppedRecords droppedRecords() override;
    void clearRecords() override;
    // One Records.Wait call, given the wait's timeout on top of the proxy's own to answer.
    tvsim::RecordWait waitForRecord(const tvsim::RecordPattern& pattern, std::chrono::milliseconds timeout) override;

private:
    using Append = std::function<void(sd_bus_message*)>;

    // Calls the member on the control object; append writes its arguments. The reply may take `longer`
    // on top of the proxy's timeout.
    Message call(const char* interface, const char* member, const Append& append,
                 std::chrono::milliseconds longer = std::chrono::milliseconds(0));
    template <typename... Arguments>
    Message callWith(const char* interface, const char* member, const char* types, Arguments... arguments);
    // The same with a model path first.
    template <typename... Arguments>
    Message callOnPath(const char* interface, const char* member, const std::string& path, const char* types,
                       Arguments... arguments);
    std::vector<tvsim::ModelEntry> listCarried(const std::string& prefix);

    std::string m_address;
    std::chrono::milliseconds m_timeout;
    Bus m_bus;
    bool m_answered = false;  // whether the service has answered a call
};

}  // namespace tvsim::bus
