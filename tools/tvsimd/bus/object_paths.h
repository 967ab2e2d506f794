// Model paths as D-Bus object paths. Each dot-separated element of a model
// path becomes one path element under /io/sysaccess/TvSim/model, so busctl
// shows the model as a tree: "orvik.sl2.i32.audio.volume" is
// /io/sysaccess/TvSim/model/orvik/sl2/i32/audio/volume. Letters and digits
// stay; every other byte, '_' included, becomes '_' and two lower-case hex
// digits; an empty element is a lone '_'. The mapping is one to one.
#pragma once

#include "bus_names.h"

#include <string>

namespace tvsimd {

std::string objectPathOf(const std::string& modelPath);
// The model path behind an object path under kModelPrefix; false for any other path.
bool modelPathOf(const std::string& objectPath, std::string& modelPath);

}  // namespace tvsimd
