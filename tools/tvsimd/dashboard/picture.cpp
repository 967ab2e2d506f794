#include "picture.h"

#include "scenario_view.h"

#include <tvsim/model_file.h>
#include <tvsim/model_value_json.h>

#include <algorithm>
#include <stdexcept>

namespace tvsimd {
namespace {

using nlohmann::json;

constexpr const char* kNoBannerPath = "orvik.sl2.i32.tvservice.no-banner";

json argumentsJson(std::vector<lomodelapi::Argument> arguments) {
    std::stable_sort(arguments.begin(), arguments.end(),
                     [](const auto& left, const auto& right) { return left.position < right.position; });
    json list = json::array();
    for (const lomodelapi::Argument& argument : arguments) {
        list.push_back({{"position", argument.position},
                        {"tag", argument.tag},
                        {"subtag", argument.subtag},
                        {"value", argument.value}});
    }
    return list;
}

const char* outcomeName(const tvsim::InvokeRecord& record) {
    if (record.status != 0) {
        return "refused";
    }
    switch (record.outcome.kind) {
        case tvsim::InvokeOutcome::Kind::Results:
            return "results";
        case tvsim::InvokeOutcome::Kind::Failure:
            return "failure";
        case tvsim::InvokeOutcome::Kind::NoReplyYet:
            break;
    }
    return "no reply yet";
}

json requestJson(const tvsim::InvokeRecord& record, std::uint64_t index, std::chrono::steady_clock::time_point start) {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    json entry = {{"index", index},
                  {"path", record.path},
                  {"actionId", record.actionId},
                  {"status", record.status},
                  {"arguments", argumentsJson(record.arguments)},
                  {"outcome", outcomeName(record)},
                  {"atMs", Milliseconds(record.invokedAt - start).count()}};
    if (record.status == 0 && record.outcome.kind != tvsim::InvokeOutcome::Kind::NoReplyYet) {
        entry["tookMs"] = Milliseconds(record.outcome.took).count();
    }
    if (record.outcome.kind == tvsim::InvokeOutcome::Kind::Results) {
        entry["results"] = argumentsJson(record.outcome.results);
    } else if (record.outcome.kind == tvsim::InvokeOutcome::Kind::Failure) {
        entry["error"] = record.outcome.error;
    }
    return entry;
}

json answerJson(const tvsim::Reply& reply) {
    const char* kind = reply.kind == tvsim::Reply::Kind::Results   ? "success"
                       : reply.kind == tvsim::Reply::Kind::Failure ? "failure"
                                                                   : "none";
    return {{"answer", kind}, {"error", reply.error}, {"delayMs", reply.delay.count()}};
}

json faultsJson(const tvsim::Simulator& simulator) {
    json paths = json::object();
    for (const auto& [path, faults] : simulator.pathFaults()) {
        json entry = json::object();
        if (faults.getterStatus != 0) {
            entry["fail-getter"] = {{"status", faults.getterStatus}};
        }
        if (faults.failingConnects > 0) {
            entry["fail-connects"] = {{"count", faults.failingConnects}, {"status", faults.failingConnectStatus}};
        }
        if (faults.nullConnects > 0) {
            entry["null-object-on-connects"] = {{"count", faults.nullConnects}};
        }
        if (faults.reportedType) {
            entry["report-type"] = {{"type", static_cast<int>(*faults.reportedType)}};
        }
        if (faults.refusedInvokes > 0) {
            entry["refuse-invokes"] = {{"count", faults.refusedInvokes}, {"status", faults.refusedInvokeStatus}};
        }
        if (faults.failingCreateIterators > 0) {
            entry["fail-create-iterators"] = {{"count", faults.failingCreateIterators}};
        }
        paths[path] = entry;
    }
    const tvsim::FrameworkFaults framework = simulator.frameworkFaults();
    return {{"paths", paths},
            {"framework",
             {{"refuse-interface-reference", framework.refusingInterfaceReference},
              {"refusal-status", framework.refusalStatus},
              {"empty-interface-reference", framework.emptyInterfaceReference},
              {"null-root-object", framework.nullRootObject}}}};
}

const char* holderName(tvsim::ResourceHolder holder) {
    return holder == tvsim::ResourceHolder::WEB_ENGINE ? "web engine" : "system";
}

// The channel's number from a channel table of the model (columns "uuid" and "number"); "" when none lists it.
std::string channelNumber(const json& tables, const std::string& uuid) {
    for (const auto& table : tables) {
        const json& columns = table["columns"];
        const auto uuidColumn = std::find(columns.begin(), columns.end(), "uuid");
        const auto numberColumn = std::find(columns.begin(), columns.end(), "number");
        if (uuidColumn == columns.end() || numberColumn == columns.end()) {
            continue;
        }
        const auto uuidAt = static_cast<std::size_t>(uuidColumn - columns.begin());
        const auto numberAt = static_cast<std::size_t>(numberColumn - columns.begin());
        for (const json& row : table["rows"]) {
            if (row.size() > std::max(uuidAt, numberAt) && row[uuidAt] == uuid) {
                return row[numberAt].get<std::string>();
            }
        }
    }
    return "";
}

// The value as the page shows it, cut to kMaxShownValueBytes.
json shownValue(tvsim::ValueType type, const tvsim::ModelValue& value) {
    json shown = {{"type", tvsim::valueTypeName(type)}, {"value", tvsim::valueToJson(value)}};
    std::string text = shown["value"].is_string() ? shown["value"].get<std::string>() : jsonText(shown["value"]);
    if (text.size() > kMaxShownValueBytes) {
        std::size_t size = kMaxShownValueBytes;
        while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) {
            --size;  // to the start of the UTF-8 character it would split
        }
        shown["cut"] = text.size();
        text.resize(size);
        shown["value"] = std::move(text);
    }
    return shown;
}

// Puts the part read now into the picture, and into the changes when it differs.
void replacePart(json& changes, const char* name, json& part, json now) {
    if (part != now) {
        changes[name] = now;
        part = std::move(now);
    }
}

}  // namespace

TvReader::TvReader(const tvsim::Simulator& simulator, tvsim::LocalTvControl& control, const ScenarioSnapshot& scenario)
    : m_simulator(simulator), m_control(control), m_scenario(scenario) {}

json TvReader::update(TvPicture& picture) const {
    json changes = json::object();
    const std::uint64_t generation = m_simulator.generation();
    if (picture.generation != generation) {
        const bool tablesChanged = updateObjects(picture, changes);
        replacePart(changes, "faults", picture.faults, faultsJson(m_simulator));
        updateRequests(picture, changes);
        replacePart(changes, "panel", picture.panel, readPanel(picture, tablesChanged));
        picture.generation = generation;
    }
    updateScenario(picture, changes);
    if (changes.empty()) {
        return nullptr;
    }
    changes["requestCount"] = picture.requestCount;
    changes["requestsDropped"] = picture.requestsDropped;
    return changes;
}

bool TvReader::updateObjects(TvPicture& picture, json& changes) const {
    const std::map<std::string, tvsim::Reply> chosen = m_control.chosenReplies();
    json actions = json::object();
    json values = json::object();
    bool tablesChanged = false;
    std::map<std::string, std::uint64_t> stamps;
    for (const tvsim::StampedEntry& stamped : m_simulator.stampedList()) {
        const std::string& path = stamped.entry.path;
        tvsim::ValueType type{};
        const bool isValue = tvsim::valueTypeOfObject(stamped.entry.type, type);
        if (stamped.entry.type == lomodelapi::OBJECT_TYPE_ACTION) {
            const auto found = chosen.find(path);
            actions[path] = found == chosen.end() ? json(nullptr) : answerJson(found->second);
        }
        if (!isValue && stamped.entry.type != lomodelapi::OBJECT_TYPE_TABLE) {
            continue;
        }
        const auto known = picture.stamps.find(path);
        if (known != picture.stamps.end() && known->second == stamped.changedAt) {
            stamps.emplace_hint(stamps.end(), path, stamped.changedAt);
            continue;
        }
        // A path another thread removes meanwhile is simply left out of this picture.
        try {
            if (isValue) {
                json shown = shownValue(type, m_simulator.value(path));
                tablesChanged |= picture.tables.erase(path) != 0;
                if (!picture.values.contains(path) || picture.values[path] != shown) {
                    values[path] = shown;
                    picture.values[path] = std::move(shown);
                }
            } else {
                json table = {{"columns", m_simulator.columns(path)}, {"rows", m_simulator.rows(path)}};
                if (picture.values.erase(path) != 0) {
                    values[path] = nullptr;
                }
                if (!picture.tables.contains(path) || picture.tables[path] != table) {
                    tablesChanged = true;
                    picture.tables[path] = std::move(table);
                }
            }
            stamps.emplace_hint(stamps.end(), path, stamped.changedAt);
        } catch (const std::invalid_argument&) {
            continue;
        }
    }
    for (auto* part : {&picture.values, &picture.tables}) {
        for (auto gone = part->begin(); gone != part->end();) {
            if (stamps.count(gone.key()) != 0) {
                ++gone;
                continue;
            }
            if (part == &picture.values) {
                values[gone.key()] = nullptr;
            }
            tablesChanged |= part == &picture.tables;
            gone = part->erase(gone);
        }
    }
    picture.stamps = std::move(stamps);
    if (!values.empty()) {
        changes["values"] = std::move(values);
    }
    if (tablesChanged) {
        changes["tables"] = picture.tables;
    }
    replacePart(changes, "actions", picture.actions, std::move(actions));
    return tablesChanged;
}

void TvReader::updateRequests(TvPicture& picture, json& changes) const {
    const std::vector<tvsim::InvokeRecord> records = m_simulator.invokes();
    // Keyed by their place among every invoke, which stays put while the oldest records are dropped.
    const std::uint64_t count = records.empty() ? 0 : records.back().sequence + 1;
    std::vector<json> shown;
    for (std::size_t index = records.size() > kMaxRequests ? records.size() - kMaxRequests : 0; index < records.size();
         ++index) {
        shown.push_back(requestJson(records[index], records[index].sequence, m_start));
    }
    if (count < picture.requestCount) {
        changes["requestsReset"] = true;
        changes["requests"] = shown;
    } else {
        // A changed entry is one whose outcome arrived.
        json requests = json::array();
        const std::size_t first = picture.requests.empty() ? 0 : picture.requests.front()["index"].get<std::size_t>();
        for (const json& entry : shown) {
            const std::size_t index = entry["index"].get<std::size_t>();
            const bool known = !picture.requests.empty() && index >= first && index < picture.requestCount;
            if (!known || picture.requests[index - first] != entry) {
                requests.push_back(entry);
            }
        }
        if (!requests.empty()) {
            changes["requests"] = std::move(requests);
        }
    }
    picture.requestCount = count;
    picture.requestsDropped = records.empty() ? 0 : records.front().sequence;
    picture.requests = std::move(shown);
}

json TvReader::readPanel(const TvPicture& picture, bool tablesChanged) const {
    json panel = {{"noBanner", nullptr}, {"channel", nullptr}};
    if (const auto noBanner = picture.values.find(kNoBannerPath); noBanner != picture.values.end()) {
        panel["noBanner"] = (*noBanner)["value"];
    }
    std::optional<tvsim::SourceSwitchState> tv;
    if (picture.actions.contains(tvsim::kSourceSwitchPath)) {
        try {
            tv = m_control.sourceSwitch(tvsim::kSourceSwitchPath);
        } catch (const tvsim::ControlError&) {
            // Removed since the picture listed it.
        }
    }
    if (!tv) {
        return panel;
    }
    panel["video"] = holderName(tv->video);
    panel["audio"] = holderName(tv->audio);
    panel["psi"] = holderName(tv->psi);
    panel["playbackStatus"] = tv->playbackStatus;
    if (tv->channelIndex >= 0) {
        const tvsim::Channel& channel = tv->channel;
        // Looked up in the tables again only when they changed: a channel table may be long.
        const json shown = picture.panel.value("channel", json());
        const bool known = !tablesChanged && shown.is_object() && shown.value("uuid", "") == channel.uuid;
        panel["channel"] = {
            {"number", known ? shown["number"].get<std::string>() : channelNumber(picture.tables, channel.uuid)},
            {"name", channel.name},
            {"uri", channel.uri},
            {"uuid", channel.uuid}};
    }
    return panel;
}

void TvReader::updateScenario(TvPicture& picture, json& changes) const {
    const auto [published, report] = m_scenario.latest();
    if (published == picture.scenarioPublished) {
        return;
    }
    picture.scenarioPublished = published;
    replacePart(changes, "scenario", picture.scenario, report == nullptr ? json(nullptr) : scenarioView(*report));
}

json wholePicture(const TvPicture& picture) {
    return {{"panel", picture.panel},
            {"values", picture.values},
            {"actions", picture.actions},
            {"tables", picture.tables},
            {"faults", picture.faults},
            {"requests", picture.requests},
            {"requestCount", picture.requestCount},
            {"requestsDropped", picture.requestsDropped},
            {"scenario", picture.scenario}};
}

std::string jsonText(const json& json) {
    return json.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace tvsimd
