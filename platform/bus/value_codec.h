// Model values and action arguments in D-Bus messages.
//   integer i, int64 x, string s, integer-vector ai, string-vector as;
//   an argument or result (tag, position, subtag, value) is (nnns).
// Readers throw BusError with one sentence naming the path and what is wrong.
#pragma once

#include <tvsim/model_control.h>
#include <tvsim/model_value.h>

#include <lomodelapi/argument.h>

#include <systemd/sd-bus.h>

#include <string>
#include <vector>

namespace tvsim::bus {

const char* signatureOf(tvsim::ValueType type);

void appendValue(sd_bus_message* message, const tvsim::ModelValue& value);         // as its bare type
void appendValueVariant(sd_bus_message* message, const tvsim::ModelValue& value);  // wrapped in v
// Reads a variant for the value at the path. Any integer type fits integer and
// int64 when its value is in range (OutOfRange otherwise); other mismatches are WrongType.
tvsim::ModelValue readValueVariant(sd_bus_message* message, tvsim::ValueType expected, const std::string& path);
// Reads a variant holding a value of any of the five types, as its own type.
tvsim::ModelValue readAnyValueVariant(sd_bus_message* message, const std::string& path);
std::vector<std::string> readStrings(sd_bus_message* message);  // as
std::vector<int> readIntegers(sd_bus_message* message);         // ai
// Table rows, aas: a table's rows, an iterator's chunk.
std::vector<std::vector<std::string>> readRows(sd_bus_message* message);
void appendRows(sd_bus_message* message, const std::vector<std::vector<std::string>>& rows);

void appendArguments(sd_bus_message* message, const std::vector<lomodelapi::Argument>& arguments);
// Positions and subtags must fit a signed byte (OutOfRange otherwise).
std::vector<lomodelapi::Argument> readArguments(sd_bus_message* message);

// A reply's kind as SetReply carries it: "results", "failure" or "none".
const char* replyKindName(tvsim::Reply::Kind kind);
// The kind the name stands for; InvalidArgument for any other name.
tvsim::Reply::Kind readReplyKind(const char* name);

}  // namespace tvsim::bus
