// The checks of model files, shared with what embeds their parts: parseValueJson
// (values written as JSON by tools) and scenario files (paths, replies, whole models).
#pragma once

#include "json_document.h"

#include <tvsim/control_error.h>
#include <tvsim/model_file.h>

#include <cctype>

namespace tvsim::modelfile {

// The node as a value of the type: integers within the type's range, strings,
// arrays of them. Throws Fault naming the offending node.
ModelValue valueFromJson(ValueType type, const Node& node);

// A size the TV does not take (tvsim/input_limits.h), as the node's fault: "a value is at most ...".
template <typename Check>
void requireWithin(const Node& node, Check check) {
    try {
        check();
    } catch (const ControlError& refused) {
        std::string what = refused.what();
        what[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(what[0])));
        what.pop_back();
        node.fail(what);
    }
}

// A model path: a non-empty text without spaces or control characters, of at most kMaxPathBytes.
bool isModelPath(const std::string& path);
std::string modelPathFromJson(const Node& node);
// A model file's "reply" object: results, error or no-reply, delay-ms, copies, before-invoke-returns.
Reply replyFromJson(const Node& node);
// Results (or arguments) by position: a list fills positions 0, 1, ...; an object names them: {"0": "a", "2": "c"}.
std::vector<lomodelapi::Argument> resultsFromJson(const Node& node);
// A whole model document at `root`, which may be part of a larger document: faults name its nodes there.
ModelDescription modelFromJson(const Node& root, const std::string& source);

}  // namespace tvsim::modelfile
