#include "picture.h"

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

}  // namespace

TvReader::TvReader(const tvsim::Simulator& simulator, tvsim::LocalTvControl& control)
    : m_simulator(simulator), m_control(control) {}

TvPicture TvReader::read() const {
    TvPicture picture;
    picture.values = json::object();
    picture.actions = json::object();
    picture.tables = json::object();
    const std::map<std::string, tvsim::Reply> chosen = m_control.chosenReplies();
    for (const tvsim::ModelEntry& entry : m_simulator.list()) {
        // A path another thread removes meanwhile is simply left out of this picture.
        try {
            tvsim::ValueType type{};
            if (tvsim::valueTypeOfObject(entry.type, type)) {
                picture.values[entry.path] = {{"type", tvsim::valueTypeName(type)},
                                              {"value", tvsim::valueToJson(m_simulator.value(entry.path))}};
            } else if (entry.type == lomodelapi::OBJECT_TYPE_ACTION) {
                const auto found = chosen.find(entry.path);
                picture.actions[entry.path] = found == chosen.end() ? json(nullptr) : answerJson(found->second);
            } else if (entry.type == lomodelapi::OBJECT_TYPE_TABLE) {
                picture.tables[entry.path] = {{"columns", m_simulator.columns(entry.path)},
                                              {"rows", m_simulator.rows(entry.path)}};
            }
        } catch (const std::invalid_argument&) {
            continue;
        }
    }
    picture.faults = faultsJson(m_simulator);
    // Keyed by their place among every invoke, which stays put while the oldest records are dropped.
    const std::vector<tvsim::InvokeRecord> records = m_simulator.invokes();
    picture.requestCount = records.empty() ? 0 : records.back().sequence + 1;
    picture.requestsDropped = records.empty() ? 0 : records.front().sequence;
    const std::size_t first = records.size() > kMaxRequests ? records.size() - kMaxRequests : 0;
    for (std::size_t index = first; index < records.size(); ++index) {
        picture.requests.push_back(requestJson(records[index], records[index].sequence, m_start));
    }
    picture.panel = readPanel(picture);
    return picture;
}

json TvReader::readPanel(const TvPicture& picture) const {
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
        panel["channel"] = {{"number", channelNumber(picture.tables, channel.uuid)},
                            {"name", channel.name},
                            {"uri", channel.uri},
                            {"uuid", channel.uuid}};
    }
    return panel;
}

json wholePicture(const TvPicture& picture) {
    return {{"panel", picture.panel},
            {"values", picture.values},
            {"actions", picture.actions},
            {"tables", picture.tables},
            {"faults", picture.faults},
            {"requests", picture.requests},
            {"requestCount", picture.requestCount},
            {"requestsDropped", picture.requestsDropped}};
}

json pictureChanges(const TvPicture& before, const TvPicture& after) {
    json changes = json::object();
    json values = json::object();
    for (const auto& [path, value] : after.values.items()) {
        const auto old = before.values.find(path);
        if (old == before.values.end() || *old != value) {
            values[path] = value;
        }
    }
    for (const auto& [path, value] : before.values.items()) {
        if (!after.values.contains(path)) {
            values[path] = nullptr;
        }
    }
    if (!values.empty()) {
        changes["values"] = std::move(values);
    }
    for (const auto& [name, part] :
         {std::pair{"panel", &TvPicture::panel}, std::pair{"actions", &TvPicture::actions},
          std::pair{"tables", &TvPicture::tables}, std::pair{"faults", &TvPicture::faults}}) {
        if (before.*part != after.*part) {
            changes[name] = after.*part;
        }
    }
    if (after.requestCount < before.requestCount) {
        changes["requestsReset"] = true;
        changes["requests"] = after.requests;
    } else {
        // Entries are keyed by their index among all records; a changed one is one whose outcome arrived.
        json requests = json::array();
        for (const json& entry : after.requests) {
            const std::size_t index = entry["index"].get<std::size_t>();
            const bool known =
                !before.requests.empty() && index >= before.requests.front()["index"] && index < before.requestCount;
            if (!known || before.requests[index - before.requests.front()["index"].get<std::size_t>()] != entry) {
                requests.push_back(entry);
            }
        }
        if (!requests.empty()) {
            changes["requests"] = std::move(requests);
        }
    }
    if (changes.empty()) {
        return nullptr;
    }
    changes["requestCount"] = after.requestCount;
    changes["requestsDropped"] = after.requestsDropped;
    return changes;
}

std::string jsonText(const json& json) {
    return json.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace tvsimd
