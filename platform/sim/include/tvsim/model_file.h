// Model files: a simulated TV described in JSON, and the small TV built into
// the simulator (the default model).
//
// A model file lists values with their initial values, actions with a
// declarative reply or a built-in responder, and tables with their columns and
// rows; docs/model-files.md describes the format. Loading runs in two steps:
// parseModel...() checks the whole document into a ModelDescription, and
// applyModel() adds a checked description to a Simulator. A refused document
// therefore leaves the simulator as it was. Every fault is one ModelFileError
// whose message names the file, the line (JSON syntax) or the JSON pointer of
// the offending entry (everything else), and what is wrong, on one line:
//   tv.json:7: invalid JSON: syntax error while parsing object - ...
//   tv.json: /values/3/value: 3000000000 is out of range for a 32-bit integer (-2147483648 to 2147483647)
//
// Applying adds to the simulator's model: a path it already holds is replaced.
// Call the load functions from any thread except the simulator's callback thread.
#pragma once

#include <tvsim/model_value.h>
#include <tvsim/simulator.h>
#include <tvsim/source_switch.h>

#include <lomodelapi/object_type_spec.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace tvsim {

class ModelFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// ---- The checked form of a model file ----

struct ValueEntry {
    std::string path;
    ModelValue value;
};

// An action answered by SourceSwitchResponder.
struct SourceSwitchEntry {
    std::shared_ptr<const ChannelList> channels;  // shared by the entries that name the same table
    std::string channelNamePath;                  // a string value set to the current channel's name; empty for none
};

struct ActionEntry {
    std::string path;
    std::variant<Reply, SourceSwitchEntry> answer;
};

struct TableEntry {
    std::string path;
    std::vector<std::string> columns;
    std::vector<Row> rows;
};

struct ModelDescription {
    std::string source;  // the file name (or the name given with the text)
    std::string name;    // the model's own "name", empty when it has none
    std::vector<ValueEntry> values;
    std::vector<ActionEntry> actions;
    std::vector<TableEntry> tables;

    const TableEntry* table(const std::string& path) const;  // null when the model has no such table
};

struct LoadedModel {
    ModelDescription description;
    // The built-in responders by action path; copies share the responder's state.
    std::map<std::string, SourceSwitchResponder> sourceSwitches;
    // What applying gave each action: its reply, or the built-in responder with
    // the channel-name value following it.
    std::map<std::string, Responder> ownResponders;

    const SourceSwitchResponder* sourceSwitch(const std::string& actionPath) const;  // null when none
    // How the model has the action answer, everything it does included. Empty when the model has no such action.
    Responder ownResponder(const std::string& actionPath) const;
};

// A text of more than 4 MiB is a ModelFileError, as a file's.
ModelDescription parseModelText(const std::string& text, const std::string& sourceName);
// An unreadable file is a ModelFileError too, and so is anything but a regular
// file of at most 4 MiB.
ModelDescription parseModelFile(const std::string& path);
LoadedModel applyModel(ModelDescription description, Simulator& simulator);

LoadedModel loadModelText(const std::string& text, const std::string& sourceName, Simulator& simulator);
LoadedModel loadModelFile(const std::string& path, Simulator& simulator);

// ---- The default model ----

constexpr const char* kDefaultModelSource = "default model";
constexpr const char* kSourceSwitchPath = "orvik.sl2.action.source.switch";

const std::string& defaultModelText();  // the JSON compiled into the simulator
LoadedModel loadDefaultModel(Simulator& simulator);

}  // namespace tvsim
