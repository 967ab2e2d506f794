// The interfaces tvsimd serves. Each adds one interface (or family of
// objects) to the bus; the parts a call passes must outlive the bus.
#pragma once

#include "bus_parts.h"

#include <tvsim/tv_control.h>

#include <systemd/sd-bus.h>

namespace tvsimd {

void addControlInterface(sd_bus* bus, ControlParts& parts);
void addFaultsInterface(sd_bus* bus, tvsim::TvControl& control);
void addRespondersInterface(sd_bus* bus, tvsim::TvControl& control);
void addRecordsInterface(sd_bus* bus, RecordsParts& parts);
// Answers a Records.Wait call with what the wait found (RecordWaits' answer).
int replyRecordWait(sd_bus_message* call, const tvsim::RecordWait& wait);
void addPlatformInterface(sd_bus* bus, ClientParts& parts);
void addModelObjectInterfaces(sd_bus* bus, ClientParts& parts);  // the enumerator and the four below
void addObjectInterface(sd_bus* bus, ClientParts& parts);
void addValueInterface(sd_bus* bus, ClientParts& parts);
void addActionInterface(sd_bus* bus, ClientParts& parts);
void addTableInterface(sd_bus* bus, ClientParts& parts);
void addIteratorInterface(sd_bus* bus, ClientParts& parts);
void addScenarioInterface(sd_bus* bus, ScenarioRuns& runs);

}  // namespace tvsimd
