// The one table of what the simulated TV's controls refuse. Every front end
// (the D-Bus service, the dashboard, sactl) shows the same name and sentence in
// its own form: a D-Bus error io.sysaccess.TvSim.Error.<name>, an HTTP status
// with {"error": sentence}, or sactl's one line.
#pragma once

#include <lomodelapi/object_type_spec.h>

#include <stdexcept>
#include <string>

namespace tvsim {

enum class ControlErrorKind {
    UNKNOWN_PATH,        // the model holds no object at the path
    WRONG_TYPE,          // the object is of another kind than the control needs
    OUT_OF_RANGE,        // a number outside what its type or the TV takes
    INVALID_ARGUMENT,    // any other argument the TV cannot take
    BAD_MODEL_FILE,      // a model file that does not load
    UNKNOWN_CONNECTION,  // a connection or iterator the service did not make for this client
};

// "UnknownPath", "WrongType", "OutOfRange", "InvalidArgument", "BadModelFile", "UnknownConnection".
const char* controlErrorName(ControlErrorKind kind);

// A refused control: its what() is one sentence ending in a full stop.
class ControlError : public std::invalid_argument {
public:
    ControlError(ControlErrorKind kind, const std::string& sentence) : std::invalid_argument(sentence), m_kind(kind) {}

    ControlErrorKind kind() const { return m_kind; }
    const char* name() const { return controlErrorName(m_kind); }

    // "The model holds no object at 'PATH'."
    static ControlError unknownPath(const std::string& path);
    // "PATH is an action, not a value." with what the control needed in place of "a value".
    static ControlError wrongType(const std::string& path, lomodelapi::ObjectTypeSpec actual,
                                  const std::string& needed);

private:
    ControlErrorKind m_kind;
};

// "an action", "a string-vector", "a type 7": the kind of object with its article.
std::string describeObjectType(lomodelapi::ObjectTypeSpec type);

}  // namespace tvsim
