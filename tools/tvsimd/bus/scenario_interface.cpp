// io.sysaccess.TvSim.Scenario: plays of scenarios and recordings of sessions,
// one at a time (ScenarioRuns). The text of a scenario is a client's input:
// the decoder bounds and checks it before anything runs.
#include "bus_error.h"
#include "bus_names.h"
#include "bus_parts.h"
#include "interfaces.h"
#include "method_support.h"

#include <tvsim/scenario_file.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

ScenarioRuns& runsOf(void* userdata) {
    return *static_cast<ScenarioRuns*>(userdata);
}

// Play(s text, s folder): decoded as "scenario", a relative "tv" model file resolved against the folder.
int play(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const std::string text = readString(call);
        const std::string folder = readString(call);
        tvsim::Scenario scenario;
        try {
            scenario = tvsim::parseScenarioText(text, "scenario", folder);
        } catch (const tvsim::ScenarioFileError& refused) {
            throw BusError(kErrorInvalidArgument, refused.what());
        }
        runsOf(userdata).play(senderOf(call), std::move(scenario));
        return replyEmpty(call);
    });
}

int clientEnded(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        runsOf(userdata).clientEnded(senderOf(call), readInt(call));
        return replyEmpty(call);
    });
}

int stop(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        runsOf(userdata).stop(senderOf(call));
        return replyEmpty(call);
    });
}

int report(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] { return replyText(call, "report text", runsOf(userdata).report()); });
}

int wait(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        std::uint32_t timeoutMs = 0;
        check(sd_bus_message_read_basic(call, 'u', &timeoutMs), "read timeout");
        return runsOf(userdata).wait(call, std::chrono::milliseconds(timeoutMs));
    });
}

int startRecording(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        runsOf(userdata).startRecording(senderOf(call));
        return replyEmpty(call);
    });
}

int stopRecording(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(
        error, [&] { return replyText(call, "scenario text", runsOf(userdata).stopRecording(senderOf(call))); });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Play", "ss", SD_BUS_PARAM(text) SD_BUS_PARAM(folder), "", , play,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ClientEnded", "i", SD_BUS_PARAM(status), "", , clientEnded, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Stop", "", "", stop, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Report", "", , "s", SD_BUS_PARAM(report), report, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Wait", "u", SD_BUS_PARAM(timeoutMs), "bs", SD_BUS_PARAM(finished) SD_BUS_PARAM(report),
                             wait, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("StartRecording", "", "", startRecording, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("StopRecording", "", , "s", SD_BUS_PARAM(scenario), stopRecording,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void addScenarioInterface(sd_bus* bus, ScenarioRuns& runs) {
    check(sd_bus_add_object_vtable(bus, nullptr, kControlPath, kScenarioInterface, kVtable, &runs),
          "add io.sysaccess.TvSim.Scenario");
}

}  // namespace tvsimd
