// The dashboard's picture of the TV: what the page shows, read from the
// simulator as JSON parts, and the difference between two pictures that the
// page applies to what it shows. The reader runs on the dashboard's sampling
// thread; the simulator and the answer choices may be used from any thread.
#pragma once

#include <tvsim/local_tv_control.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tvsimd {

// NOLINTNEXTLINE(bugprone-exception-escape): its moves are nlohmann::json's, noexcept; the check cannot see it.
struct TvPicture {
    nlohmann::json panel;               // channel (number, name, URI), who holds video/audio/PSI, playback, no-banner
    nlohmann::json values;              // path -> {"type", "value"}
    nlohmann::json actions;             // path -> the answer chosen for it, or null for its own
    nlohmann::json tables;              // path -> {"columns", "rows"}
    nlohmann::json faults;              // {"paths": {path: {...}}, "framework": {...}}
    std::uint64_t requestCount = 0;     // invokes recorded, the dropped ones included
    std::uint64_t requestsDropped = 0;  // the oldest, dropped to keep within the records' limit
    std::vector<nlohmann::json> requests;  // the last kMaxRequests of them, oldest first
};

// The request log the page gets is the tail of the simulator's invoke records.
constexpr std::size_t kMaxRequests = 500;

class TvReader {
public:
    // The panel shows the state of the model's source-switch action, when it has one.
    TvReader(const tvsim::Simulator& simulator, tvsim::LocalTvControl& control);

    TvPicture read() const;

private:
    nlohmann::json readPanel(const TvPicture& picture) const;

    const tvsim::Simulator& m_simulator;
    tvsim::LocalTvControl& m_control;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

// Every part, for a page that starts (or starts over).
nlohmann::json wholePicture(const TvPicture& picture);
// Only what differs: changed or added values (removed ones as null), whole
// parts that differ, request log entries that are new or changed (all of them,
// with "requestsReset", once records were cleared). Null when nothing differs.
nlohmann::json pictureChanges(const TvPicture& before, const TvPicture& after);

// One line of JSON; bytes that are not UTF-8 (a client may write any) become U+FFFD.
std::string jsonText(const nlohmann::json& json);

}  // namespace tvsimd
