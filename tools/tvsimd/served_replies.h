// Replies tvsimd refuses although the in-process simulator takes them. The
// service runs an invoke on its bus thread, so an outcome delivered before
// invoke returns and after a delay would stop it serving every client for
// that delay.
#pragma once

#include <tvsim/model_file.h>

#include <stdexcept>
#include <string>

namespace tvsimd {

// Throws std::invalid_argument with one sentence when the service cannot give this reply.
void checkServedReply(const tvsim::Reply& reply);
// loadModelFile() for the service: also a tvsim::ModelFileError, naming the
// file and the action, when one of the file's replies cannot be served.
tvsim::LoadedModel loadServedModel(const std::string& file, tvsim::Simulator& simulator);

}  // namespace tvsimd
