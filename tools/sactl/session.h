// What every sactl command works with: the simulated TV (in this process or
// the TV service on D-Bus), the output in text or JSON form, and the one kind
// of error a command reports.
#pragma once

#include "value_text.h"

#include <tvsim/model_file.h>
#include <tvsim/tv_control.h>

#include <nlohmann/json.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace sactl {

// A command's failure: its message is the one line sactl prints on standard error.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct GlobalOptions {
    std::string modelFile;  // empty: the default model
    std::string bus;        // the TV service's bus address or "session"; empty: TVSIM_BUS decides
    std::string logLevel;   // empty: SYSACCESS_LOG_LEVEL if set, otherwise no library lines
    bool json = false;
    int timeoutMs = 5000;  // how long invoke and source operations wait for an outcome
};

// The TV service's bus the options choose: --bus, else TVSIM_BUS; empty for the TV in this process.
std::string chooseBus(const GlobalOptions& options);

// Result lines on standard output: text for people, or one JSON object per line for scripts.
class Output {
public:
    explicit Output(bool json) : m_json(json) {}

    bool json() const { return m_json; }
    // A write that fails (a full disk, a closed standard output) is a CommandError.
    void result(const std::string& text, const nlohmann::json& object) const;
    void narrate(const std::string& text) const;  // the demo's story; {"narration": ...} in JSON

private:
    bool m_json;
};

// A library status with its name where it has one: "5 (STATUS_ERR_CONNECT_FAILED)".
std::string describeStatus(int status);

// Writes the whole file anew; one that cannot be written is a CommandError.
void writeFile(const std::string& path, const std::string& text);

// The time of day with milliseconds, "14:03:07.250", for watch lines.
std::string timestampNow();

// The TV's controls, as sactl drives them: the simulator in this process, or
// the TV service's over D-Bus. Either refuses with a tvsim::ControlError.
class Tv {
public:
    virtual ~Tv() = default;
    virtual tvsim::TvControl& control() = 0;
    // Until every notification the TV queued so far has run in this process's library.
    virtual void flushNotifications() = 0;
};

class Session {
public:
    // Sets the log threshold and starts the TV: the simulator in this process
    // with its model, or, when a bus is chosen (the option, else TVSIM_BUS),
    // a connection to the TV service, which the library in this process is
    // told to reach too. Bad options are CommandErrors.
    explicit Session(const GlobalOptions& options);
    ~Session();

    tvsim::TvControl& tv() { return m_tv->control(); }
    void flushNotifications() { m_tv->flushNotifications(); }
    const Output& out() const { return m_output; }
    int timeoutMs() const { return m_timeoutMs; }

    bool has(const std::string& path);

private:
    Output m_output;
    int m_timeoutMs;
    std::unique_ptr<Tv> m_tv;
};

}  // namespace sactl
