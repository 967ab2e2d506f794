// The dashboard's picture of the TV: what the page shows, read from the
// simulator as JSON parts, and brought up to date with what changed, which is
// what the page applies to what it shows. The reader runs on the dashboard's
// sampling thread; the simulator and the answer choices may be used from any
// thread.
#pragma once

#include "scenario_snapshot.h"

#include <tvsim/local_tv_control.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tvsimd {

// NOLINTNEXTLINE(bugprone-exception-escape): its moves are nlohmann::json's, noexcept; the check cannot see it.
struct TvPicture {
    std::optional<std::uint64_t> generation;            // the simulator's generation it was read at
    std::map<std::string, std::uint64_t> stamps;        // path -> its stamp when read, of the values and tables
    nlohmann::json panel = nlohmann::json::object();    // channel (number, name, URI), holders, playback, no-banner
    nlohmann::json values = nlohmann::json::object();   // path -> {"type", "value"} (and "cut", see below)
    nlohmann::json actions = nlohmann::json::object();  // path -> the answer chosen for it, or null for its own
    nlohmann::json tables = nlohmann::json::object();   // path -> {"columns", "rows"}
    nlohmann::json faults = nlohmann::json::object();   // {"paths": {path: {...}}, "framework": {...}}
    std::uint64_t requestCount = 0;                     // invokes recorded, the dropped ones included
    std::uint64_t requestsDropped = 0;                  // the oldest, dropped to keep within the records' limit
    std::vector<nlohmann::json> requests;               // the last kMaxRequests of them, oldest first
    std::uint64_t scenarioPublished = 0;                // the scenario snapshot's count of reports when read
    nlohmann::json scenario;                            // scenarioView of its report; null before the first play
};

// The request log the page gets is the tail of the simulator's invoke records.
constexpr std::size_t kMaxRequests = 500;
// The most bytes of one value the page gets: a longer one comes as the start of its text (a string's own
// text, the JSON of other types), with "cut" the whole text's length in bytes.
constexpr std::size_t kMaxShownValueBytes = 4096;

class TvReader {
public:
    // The panel shows the state of the model's source-switch action, when it has one.
    TvReader(const tvsim::Simulator& simulator, tvsim::LocalTvControl& control, const ScenarioSnapshot& scenario);

    // Brings the picture up to date: nothing is read while the simulator's generation stands still, and
    // only the values and tables whose stamps moved are read again (the scenario only when a report was
    // published). Answers what differs: changed or added values (removed ones as null), whole parts that
    // differ, request log entries that are new or changed (all of them, with "requestsReset", once records
    // were cleared); null when nothing differs.
    nlohmann::json update(TvPicture& picture) const;

private:
    // Reads the values and tables whose stamps moved; true when a table came, changed or went.
    bool updateObjects(TvPicture& picture, nlohmann::json& changes) const;
    void updateRequests(TvPicture& picture, nlohmann::json& changes) const;
    nlohmann::json readPanel(const TvPicture& picture, bool tablesChanged) const;
    void updateScenario(TvPicture& picture, nlohmann::json& changes) const;

    const tvsim::Simulator& m_simulator;
    tvsim::LocalTvControl& m_control;
    const ScenarioSnapshot& m_scenario;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

// Every part, for a page that starts (or starts over).
nlohmann::json wholePicture(const TvPicture& picture);

// One line of JSON; bytes that are not UTF-8 (a client may write any) become U+FFFD.
std::string jsonText(const nlohmann::json& json);

}  // namespace tvsimd
