// The dashboard's JSON API requests: each body decoded into one command, or an
// ApiError carrying the HTTP status and a one-line message. Pure functions with
// no simulator and no I/O, so the server, the unit test and the fuzz target
// all feed them bodies the same way.
#pragma once

#include <tvsim/control_error.h>
#include <tvsim/model_value.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tvsimd::web {

class ApiError : public std::runtime_error {
public:
    ApiError(int status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    int status() const { return m_status; }

private:
    int m_status;
};

// {"path": "...", "value": <JSON of the path's type>}
// NOLINTNEXTLINE(bugprone-exception-escape): its moves are nlohmann::json's, noexcept; the check cannot see it.
struct SetValueRequest {
    std::string path;
    nlohmann::json value;  // checked against the path's type by decodeValue once the type is known
};

enum class FaultKind {
    FailGetter,                // path, status
    FailConnects,              // path, count, status (not 0)
    NullObjectOnConnects,      // path, count
    ReportType,                // path, type
    RefuseInvokes,             // path, count, status
    FailCreateIterators,       // path, count
    RefuseInterfaceReference,  // status
    EmptyInterfaceReference,
    NullRootObject,
};

// {"fault": "<name>", "path": "...", "count": n, "status": n, "type": n, "clear": bool}
// Names are those of faultName(); a clear needs only the fault and, for a path fault, the path.
struct FaultRequest {
    FaultKind kind = FaultKind::FailGetter;
    std::string path;  // empty for the process framework's faults
    bool clear = false;
    int count = 1;
    int status = -1;
    int type = 0;
};

enum class AnswerKind { Own, Results, Failure, NoReply };

// {"path": "...", "answer": "own" | "success" | "failure" | "none", "error": n, "delayMs": n}
// "own" gives the action back the answer its model defines.
struct AnswerRequest {
    std::string path;
    AnswerKind kind = AnswerKind::Own;
    int error = 0;
    std::chrono::milliseconds delay{0};
};

const char* faultName(FaultKind kind);
bool isPathFault(FaultKind kind);

SetValueRequest decodeSetValue(std::string_view body);
FaultRequest decodeFault(std::string_view body);
AnswerRequest decodeAnswer(std::string_view body);
// The value for a path of that type; 400 when it is JSON of another shape or out of range.
tvsim::ModelValue decodeValue(tvsim::ValueType type, const nlohmann::json& value);

// The HTTP status of a refused control: 404 for what does not exist, 400 for the rest.
int httpStatusOf(tvsim::ControlErrorKind kind);

// {"error":"<message>"} on one line.
std::string errorBody(const std::string& message);

}  // namespace tvsimd::web
