// The D-Bus errors tvsimd answers, and the exception that carries one out of
// a method handler. Every message is one sentence naming what was wrong. A
// refused control (tvsim::ControlError) is the error of the same name under
// io.sysaccess.TvSim.Error, and turns back into that ControlError in a proxy.
#pragma once

#include <tvsim/control_error.h>

#include <systemd/sd-bus.h>

#include <optional>

#include <functional>
#include <stdexcept>
#include <string>

namespace tvsim::bus {

constexpr const char* kErrorPrefix = "io.sysaccess.TvSim.Error.";
constexpr const char* kErrorUnknownPath = "io.sysaccess.TvSim.Error.UnknownPath";
constexpr const char* kErrorWrongType = "io.sysaccess.TvSim.Error.WrongType";
constexpr const char* kErrorOutOfRange = "io.sysaccess.TvSim.Error.OutOfRange";
constexpr const char* kErrorInvalidArgument = "io.sysaccess.TvSim.Error.InvalidArgument";
constexpr const char* kErrorBadModelFile = "io.sysaccess.TvSim.Error.BadModelFile";
constexpr const char* kErrorUnknownConnection = "io.sysaccess.TvSim.Error.UnknownConnection";
// A scenario play or recording is in progress: the service runs one at a time.
constexpr const char* kErrorBusy = "io.sysaccess.TvSim.Error.Busy";

class BusError : public std::runtime_error {
public:
    BusError(const char* name, const std::string& message) : std::runtime_error(message), m_name(name) {}
    const char* name() const { return m_name; }

private:
    const char* m_name;
};

std::string busErrorName(tvsim::ControlErrorKind kind);  // kErrorPrefix and the kind's name
// The kind whose error this is; nullopt for an error that is not one of the TV's.
std::optional<tvsim::ControlErrorKind> controlErrorKindOf(const std::string& busErrorName);

// Runs a method handler body: a BusError or a ControlError becomes that error, a negative errno
// from sd-bus (thrown as SdBusFailure) or any other exception becomes
// org.freedesktop.DBus.Error.Failed, so one client's bad input never escapes
// into the event loop. Returns what an sd-bus method handler returns.
int handleMethod(sd_bus_error* error, const std::function<int()>& body);

// An sd-bus call that failed with this negative errno, thrown by check().
class SdBusFailure : public std::runtime_error {
public:
    SdBusFailure(const char* what, int result);
    int result() const { return m_result; }

private:
    int m_result;
};

// Returns result when it is not negative; throws SdBusFailure otherwise.
int check(int result, const char* what);

}  // namespace tvsim::bus
