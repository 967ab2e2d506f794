// The model parser: checks a whole JSON document, entry by entry, into a
// ModelDescription, and names the place of the first fault it finds.
#include "model_parser.h"

#include "json_error_text.h"
#include "model_file_reader.h"

#include <tvsim/control_error.h>
#include <tvsim/input_limits.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <set>

namespace tvsim {
namespace modelfile {

namespace {

constexpr long long kIntMin = std::numeric_limits<int>::min();
constexpr long long kIntMax = std::numeric_limits<int>::max();
constexpr long long kInt64Min = std::numeric_limits<long long>::min();
constexpr long long kInt64Max = std::numeric_limits<long long>::max();

}  // namespace

ModelValue valueFromJson(ValueType type, const Node& node) {
    switch (type) {
        case ValueType::INTEGER:
            return static_cast<int>(node.integer(kIntMin, kIntMax, "a 32-bit integer"));
        case ValueType::INT64:
            return node.integer(kInt64Min, kInt64Max, "a 64-bit integer");
        case ValueType::STRING:
            return node.text();
        case ValueType::INTEGER_VECTOR: {
            std::vector<int> values;
            for (const Node& element : node.elements()) {
                values.push_back(static_cast<int>(element.integer(kIntMin, kIntMax, "a 32-bit integer")));
            }
            return values;
        }
        case ValueType::STRING_VECTOR: {
            std::vector<std::string> values;
            for (const Node& element : node.elements()) {
                values.push_back(element.text());
            }
            return values;
        }
    }
    node.fail("unknown value type");
}

Reply replyFromJson(const Node& node) {
    node.expectObject({"results", "error", "no-reply", "delay-ms", "copies", "before-invoke-returns"});
    const int outcomes = static_cast<int>(node.has("results")) + static_cast<int>(node.has("error")) +
                         static_cast<int>(node.has("no-reply"));
    if (outcomes > 1) {
        node.fail("give at most one of \"results\", \"error\" and \"no-reply\"");
    }
    Reply reply = Reply::withResults({});
    if (node.has("results")) {
        reply = Reply::withResults(resultsFromJson(node.member("results")));
    } else if (node.has("error")) {
        reply = Reply::failure(static_cast<int>(node.member("error").integer(kIntMin, kIntMax, "an error code")));
    } else if (node.has("no-reply")) {
        if (!node.member("no-reply").flag()) {
            node.member("no-reply").fail("\"no-reply\" is either true or left out");
        }
        reply = Reply::none();
    }
    if (node.has("delay-ms")) {
        reply.delay =
            std::chrono::milliseconds(node.member("delay-ms").integer(0, kMaxReplyDelay.count(), "a delay in ms"));
    }
    if (node.has("copies")) {
        reply.copies = static_cast<int>(node.member("copies").integer(1, kMaxReplyCopies, "copies"));
    }
    if (node.has("before-invoke-returns")) {
        reply.beforeInvokeReturns = node.member("before-invoke-returns").flag();
    }
    const std::string refusal = replyRefusal(reply);
    if (!refusal.empty()) {
        node.fail(refusal);
    }
    return reply;
}

std::vector<lomodelapi::Argument> resultsFromJson(const Node& node) {
    std::vector<lomodelapi::Argument> results;
    auto add = [&](long long position, const Node& value) {
        lomodelapi::Argument result;
        result.position = static_cast<std::int8_t>(position);
        result.value = value.cellText();
        results.push_back(std::move(result));
    };
    if (node.isArray()) {
        const std::vector<Node> values = node.elements();
        if (values.size() > static_cast<std::size_t>(kMaxArgumentPosition) + 1) {
            node.fail("at most " + std::to_string(kMaxArgumentPosition + 1) + " results");
        }
        for (std::size_t position = 0; position < values.size(); ++position) {
            add(static_cast<long long>(position), values[position]);
        }
        return results;
    }
    for (const auto& [key, value] : node.members()) {
        std::int8_t position = 0;
        if (!parseArgumentPosition(key, position)) {
            value.fail("a result position is a number from 0 to " + std::to_string(kMaxArgumentPosition) + ", not " +
                       jsonQuoted(key));
        }
        add(position, value);
    }
    return results;
}

bool isModelPath(const std::string& path) {
    return !path.empty() && path.size() <= kMaxPathBytes &&
           std::none_of(path.begin(), path.end(), [](unsigned char c) { return std::isspace(c) || std::iscntrl(c); });
}

std::string modelPathFromJson(const Node& node) {
    std::string path = node.text();
    requireWithin(node, [&] { requireModelPath(path); });
    if (!isModelPath(path)) {
        node.fail("a model path is a non-empty text without spaces, not " + jsonQuoted(path));
    }
    return path;
}

namespace {

// Checks a whole document into a ModelDescription. Values come first, then
// tables, then actions, so that a responder can refer to both.
class ModelParser {
public:
    explicit ModelParser(std::string source) { m_description.source = std::move(source); }

    ModelDescription parse(const std::string& text) {
        try {
            const JsonDocument document = parseJson(text);
            parseDocument(Node(document));
        } catch (const Fault& fault) {
            throw ModelFileError(m_description.source + ": " + (fault.pointer.empty() ? "top level" : fault.pointer) +
                                 ": " + fault.what);
        }
        return std::move(m_description);
    }

    ModelDescription check(const Node& root) {
        parseDocument(root);
        return std::move(m_description);
    }

private:
    JsonDocument parseJson(const std::string& text) const {
        try {
            return parseJsonText(text);
        } catch (const SyntaxFault& fault) {
            throw ModelFileError(m_description.source + ":" + std::to_string(lineOfByte(text, fault.byte)) +
                                 ": invalid JSON: " + fault.detail);
        }
    }

    void parseDocument(const Node& root) {
        root.expectObject({"name", "values", "tables", "actions"});
        if (root.has("name")) {
            m_description.name = root.member("name").text();
        }
        forEachEntry(root, "values", [&](const Node& entry) { m_description.values.push_back(parseValue(entry)); });
        forEachEntry(root, "tables", [&](const Node& entry) { m_description.tables.push_back(parseTable(entry)); });
        forEachEntry(root, "actions", [&](const Node& entry) { m_description.actions.push_back(parseAction(entry)); });
    }

    template <typename Parse>
    static void forEachEntry(const Node& root, const char* section, Parse parse) {
        if (root.has(section)) {
            for (const Node& entry : root.member(section).elements()) {
                parse(entry);
            }
        }
    }

    std::string claimPath(const Node& entry) {
        const Node pathNode = entry.member("path");
        std::string path = modelPathFromJson(pathNode);
        const auto claimed = m_claimedPaths.emplace(path, pathNode);
        if (!claimed.second) {
            pathNode.fail("duplicate path " + jsonQuoted(path) + " (first at " + claimed.first->second.pointer() + ")");
        }
        return path;
    }

    ValueEntry parseValue(const Node& entry) {
        entry.expectObject({"path", "type", "value"});
        ValueEntry value;
        value.path = claimPath(entry);
        value.value = valueFromJson(parseValueType(entry.member("type")), entry.member("value"));
        if (valueTypeOf(value.value) == ValueType::STRING) {
            m_stringValues.insert(value.path);
        }
        requireWithin(entry.member("value"), [&] { requireValue(value.value); });
        return value;
    }

    static ValueType parseValueType(const Node& node) {
        const std::string name = node.text();
        for (ValueType type : {ValueType::INTEGER, ValueType::INT64, ValueType::STRING, ValueType::INTEGER_VECTOR,
                               ValueType::STRING_VECTOR}) {
            if (name == valueTypeName(type)) {
                return type;
            }
        }
        node.fail("unknown type " + jsonQuoted(name) +
                  " (types: integer, int64, string, integer-vector, string-vector)");
    }

    TableEntry parseTable(const Node& entry) {
        entry.expectObject({"path", "columns", "rows"});
        TableEntry table;
        table.path = claimPath(entry);
        const Node columns = entry.member("columns");
        std::set<std::string> names;
        for (const Node& column : columns.elements()) {
            table.columns.push_back(column.nonEmptyText());
            if (!names.insert(table.columns.back()).second) {
                column.fail("duplicate column " + jsonQuoted(table.columns.back()));
            }
        }
        if (table.columns.empty()) {
            columns.fail("a table needs at least one column");
        }
        for (const Node& rowNode : entry.member("rows").elements()) {
            const std::vector<Node> cells = rowNode.elements();
            if (cells.size() != table.columns.size()) {
                rowNode.fail("the row has " + std::to_string(cells.size()) + " cells but the table has " +
                             std::to_string(table.columns.size()) + " columns");
            }
            Row row;
            for (const Node& cell : cells) {
                row.push_back(cell.cellText());
            }
            table.rows.push_back(std::move(row));
        }
        m_tables.emplace(table.path, m_description.tables.size());
        requireWithin(entry.member("rows"), [&] { requireRows(table.rows); });
        return table;
    }

    ActionEntry parseAction(const Node& entry) {
        entry.expectObject({"path", "reply", "responder", "channels", "channel-name"});
        ActionEntry action;
        action.path = claimPath(entry);
        if (entry.has("responder")) {
            if (entry.has("reply")) {
                entry.member("reply").fail("an action has a reply or a responder, not both");
            }
            action.answer = parseResponder(entry);
            return action;
        }
        for (const char* key : {"channels", "channel-name"}) {
            if (entry.has(key)) {
                entry.member(key).fail(std::string(jsonQuoted(key)) + " goes with \"responder\": \"source-switch\"");
            }
        }
        action.answer = entry.has("reply") ? replyFromJson(entry.member("reply")) : Reply::withResults({});
        return action;
    }

    SourceSwitchEntry parseResponder(const Node& entry) {
        const Node kind = entry.member("responder");
        if (kind.text() != "source-switch") {
            kind.fail("unknown responder " + jsonQuoted(kind.text()) +
                      " (the built-in responder is \"source-switch\")");
        }
        SourceSwitchEntry sourceSwitch;
        sourceSwitch.channels = entry.has("channels")
                                    ? parseChannels(entry.member("channels"))
                                    : std::make_shared<const ChannelList>(SourceSwitchResponder::defaultChannels());
        if (entry.has("channel-name")) {
            const Node nameNode = entry.member("channel-name");
            sourceSwitch.channelNamePath = nameNode.text();
            if (m_stringValues.count(sourceSwitch.channelNamePath) == 0) {
                nameNode.fail("the model has no string value " + jsonQuoted(sourceSwitch.channelNamePath));
            }
        }
        return sourceSwitch;
    }

    // A table path of this model, or a list of channel objects.
    std::shared_ptr<const ChannelList> parseChannels(const Node& node) {
        if (node.isText()) {
            return channelsFromTable(node);
        }
        ChannelList channels;
        for (const Node& item : node.elements()) {
            item.expectObject({"uuid", "uri", "name", "folder-uuid"});
            channels.push_back({item.member("uuid").text(), item.member("uri").text(), item.member("name").text(),
                                item.member("folder-uuid").text()});
        }
        return std::make_shared<const ChannelList>(std::move(channels));
    }

    // One list for every action on the table, so that the model takes no more memory than its file.
    std::shared_ptr<const ChannelList> channelsFromTable(const Node& node) {
        const std::string path = node.text();
        const auto index = m_tables.find(path);
        if (index == m_tables.end()) {
            node.fail("the model has no table " + jsonQuoted(path));
        }
        if (auto shared = m_tableChannels.find(path); shared != m_tableChannels.end()) {
            return shared->second;
        }
        const TableEntry& table = m_description.tables[index->second];
        auto column = [&](const char* name) {
            auto found = std::find(table.columns.begin(), table.columns.end(), name);
            if (found == table.columns.end()) {
                node.fail("the table " + jsonQuoted(path) + " has no column " + jsonQuoted(name));
            }
            return static_cast<std::size_t>(found - table.columns.begin());
        };
        const std::size_t uuid = column("uuid");
        const std::size_t uri = column("uri");
        const std::size_t name = column("name");
        const std::size_t folder = column("folder-uuid");
        ChannelList channels;
        for (const Row& row : table.rows) {
            channels.push_back({row[uuid], row[uri], row[name], row[folder]});
        }
        return m_tableChannels[path] = std::make_shared<const ChannelList>(std::move(channels));
    }

    ModelDescription m_description;
    // Lookups into what was parsed so far, each a map so that checking stays linear in the document.
    std::map<std::string, Node> m_claimedPaths;  // path -> the "path" of the entry that claimed it
    std::set<std::string> m_stringValues;
    std::map<std::string, std::size_t> m_tables;  // path -> index in m_description.tables
    std::map<std::string, std::shared_ptr<const ChannelList>> m_tableChannels;
};

}  // namespace

ModelDescription modelFromJson(const Node& root, const std::string& source) {
    return ModelParser(source).check(root);
}

}  // namespace modelfile

const TableEntry* ModelDescription::table(const std::string& path) const {
    auto found =
        std::find_if(tables.begin(), tables.end(), [&](const TableEntry& table) { return table.path == path; });
    return found == tables.end() ? nullptr : &*found;
}

ModelDescription parseModelText(const std::string& text, const std::string& sourceName) {
    if (text.size() > modelfile::kMaxFileBytes) {
        throw ModelFileError(sourceName + ": " + modelfile::kTooLarge);
    }
    return modelfile::ModelParser(sourceName).parse(text);
}

ModelDescription parseModelFile(const std::string& path) {
    return parseModelText(modelfile::readModelFile(path), path);
}

}  // namespace tvsim
