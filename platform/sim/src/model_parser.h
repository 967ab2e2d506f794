// The checks a model file's values pass, shared by the model parser and
// parseValueJson (values written as JSON by tools).
#pragma once

#include "json_document.h"

#include <tvsim/model_file.h>

namespace tvsim::modelfile {

// The node as a value of the type: integers within the type's range, strings,
// arrays of them. Throws Fault naming the offending node.
ModelValue valueFromJson(ValueType type, const Node& node);

}  // namespace tvsim::modelfile
