// The interfaces tvsimd serves. Each adds one interface (or family of
// objects) to the bus; the parts a call passes must outlive the bus.
#pragma once

#include "bus_parts.h"

#include <tvsim/tv_control.h>

#include <systemd/sd-bus.h>

namespace tvsimd {

void addControlInterface(BusParts& parts);
void addFaultsInterface(sd_bus* bus, tvsim::TvControl& control);
void addRespondersInterface(sd_bus* bus, tvsim::TvControl& control);
void addRecordsInterface(BusParts& parts);
void addPlatformInterface(BusParts& parts);
void addModelObjectInterfaces(BusParts& parts);  // the enumerator and the four below
void addObjectInterface(BusParts& parts);
void addValueInterface(BusParts& parts);
void addActionInterface(BusParts& parts);
void addTableInterface(BusParts& parts);
void addIteratorInterface(BusParts& parts);

}  // namespace tvsimd
