// Model files: parsing a JSON document into a ModelDescription, checking every
// entry on the way, and applying a checked description to the simulator.
#include <tvsim/model_file.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tvsim {
namespace {

using Json = nlohmann::json;

constexpr long long kIntMin = std::numeric_limits<int>::min();
constexpr long long kIntMax = std::numeric_limits<int>::max();
constexpr long long kInt64Min = std::numeric_limits<long long>::min();
constexpr long long kInt64Max = std::numeric_limits<long long>::max();
constexpr long long kMaxPosition = std::numeric_limits<std::int8_t>::max();  // Argument::position is 8 bits
constexpr long long kMaxCopies = 1000;
// A longer delay is a typo more likely than a test, and would hold up shutting the simulator down.
constexpr long long kMaxDelayMs = 60 * 1000;
// Far more than any TV's model; keeps a wrong file (a disk image, a log) from filling the memory.
constexpr long long kMaxFileBytes = 64LL * 1024 * 1024;

// What is wrong at one place of a document: the JSON pointer of the offending
// node and a description. Each entry point turns it into its own message.
struct Fault {
    std::string pointer;
    std::string what;
};

// Bytes that are not UTF-8 become U+FFFD, so that any text can be quoted.
std::string jsonQuoted(const std::string& text) {
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string describe(const Json& value) {
    switch (value.type()) {
        case Json::value_t::object:
            return "an object";
        case Json::value_t::array:
            return "an array";
        case Json::value_t::string:
            return "the string " + jsonQuoted(value.get<std::string>());
        default:
            return value.dump();
    }
}

std::string escapePointerToken(const std::string& token) {
    std::string escaped;
    for (char c : token) {
        escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return escaped;
}

// A parsed document, and the text of each integer in it that is too long for
// 64 bits, by JSON pointer.
struct JsonDocument {
    Json root;
    std::map<std::string, std::string> longIntegers;
};

// A node of the document together with its JSON pointer. The accessors check
// the node's kind and range and throw a Fault naming the node otherwise.
class Node {
public:
    Node(const Json& value, std::string pointer, const JsonDocument& document)
        : m_value(value), m_pointer(std::move(pointer)), m_document(document) {}
    explicit Node(const JsonDocument& document) : Node(document.root, "", document) {}

    const std::string& pointer() const { return m_pointer; }

    [[noreturn]] void fail(const std::string& what) const { throw Fault{m_pointer, what}; }

    // An object whose keys are all among `allowed`.
    void expectObject(std::initializer_list<const char*> allowed) const {
        if (!m_value.is_object()) {
            fail("expected an object, got " + describe(m_value));
        }
        for (const auto& item : m_value.items()) {
            const bool known =
                std::any_of(allowed.begin(), allowed.end(), [&](const char* key) { return item.key() == key; });
            if (!known) {
                std::string names;
                for (const char* key : allowed) {
                    names += (names.empty() ? "" : ", ") + std::string(key);
                }
                child(item.key()).fail("unknown key " + jsonQuoted(item.key()) + " (known keys: " + names + ")");
            }
        }
    }

    bool has(const char* key) const { return m_value.contains(key); }

    Node member(const char* key) const {
        if (!has(key)) {
            fail(std::string("missing key ") + jsonQuoted(key));
        }
        return child(key);
    }

    std::vector<Node> elements() const {
        if (!m_value.is_array()) {
            fail("expected an array, got " + describe(m_value));
        }
        std::vector<Node> nodes;
        for (std::size_t index = 0; index < m_value.size(); ++index) {
            nodes.emplace_back(m_value[index], m_pointer + "/" + std::to_string(index), m_document);
        }
        return nodes;
    }

    // The members of a list given as an object (any keys).
    std::vector<std::pair<std::string, Node>> members() const {
        if (!m_value.is_object()) {
            fail("expected an array or an object, got " + describe(m_value));
        }
        std::vector<std::pair<std::string, Node>> nodes;
        for (const auto& item : m_value.items()) {
            nodes.emplace_back(item.key(), child(item.key()));
        }
        return nodes;
    }

    bool isText() const { return m_value.is_string(); }
    bool isArray() const { return m_value.is_array(); }

    std::string text() const {
        if (!m_value.is_string()) {
            fail("expected a string, got " + describe(m_value));
        }
        return m_value.get<std::string>();
    }

    std::string nonEmptyText() const {
        std::string result = text();
        if (result.empty()) {
            fail("expected a non-empty string");
        }
        return result;
    }

    // A string, or an integer written in decimal (cells, results).
    std::string cellText() const {
        if (m_value.is_string()) {
            return m_value.get<std::string>();
        }
        if (m_value.is_number_integer()) {
            return m_value.dump();
        }
        fail("expected a string or an integer, got " + describe(m_value));
    }

    long long integer(long long low, long long high, const char* noun) const {
        long long result = 0;
        if (m_value.is_number_unsigned()) {
            const std::uint64_t value = m_value.get<std::uint64_t>();
            if (value > static_cast<std::uint64_t>(kInt64Max)) {
                failRange(noun, low, high);
            }
            result = static_cast<long long>(value);
        } else if (m_value.is_number_integer()) {
            result = m_value.get<std::int64_t>();
        } else if (m_document.longIntegers.count(m_pointer) != 0) {
            failRange(noun, low, high);
        } else {
            fail("expected an integer, got " + describe(m_value));
        }
        if (result < low || result > high) {
            failRange(noun, low, high);
        }
        return result;
    }

    bool flag() const {
        if (!m_value.is_boolean()) {
            fail("expected true or false, got " + describe(m_value));
        }
        return m_value.get<bool>();
    }

private:
    Node child(const std::string& key) const {
        return Node(m_value.at(key), m_pointer + "/" + escapePointerToken(key), m_document);
    }

    [[noreturn]] void failRange(const char* noun, long long low, long long high) const {
        const auto longInteger = m_document.longIntegers.find(m_pointer);
        fail((longInteger == m_document.longIntegers.end() ? m_value.dump() : longInteger->second) +
             " is out of range for " + noun + " (" + std::to_string(low) + " to " + std::to_string(high) + ")");
    }

    const Json& m_value;
    std::string m_pointer;
    const JsonDocument& m_document;
};

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

// The line of the last character nlohmann read before it gave up.
std::size_t lineOfByte(const std::string& text, std::size_t byte) {
    const std::size_t end = std::min(text.size(), byte == 0 ? 0 : byte - 1);
    return 1 +
           static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
}

// Text that is not JSON: where nlohmann gave up and its message without its
// "[json.exception...]" prefix and position.
struct SyntaxFault {
    std::size_t byte;
    std::string detail;
};

// Builds the document from nlohmann's parse events. On the way it refuses a
// second occurrence of a key in one object (nlohmann's own builder keeps the
// last one silently) and keeps the text of every integer too long for 64 bits
// (nlohmann makes a double of it), so that it is reported as out of range
// rather than as a fraction. Tracks the JSON pointer of the node being parsed
// so that both name the place.
class DocumentBuilder : public nlohmann::json_sax<Json> {
public:
    explicit DocumentBuilder(JsonDocument& document) : m_document(document) {}

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t& text) override {
        if (text.find_first_of(".eE") == std::string::npos) {
            m_document.longIntegers[pointer()] = text;
        }
        return add(value);
    }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t& value) override { return add(Json::binary(value)); }
    bool start_object(std::size_t /*elements*/) override { return open(Json::object()); }
    bool key(string_t& name) override {
        Frame& frame = m_frames.back();
        frame.key = name;
        if (frame.node->contains(name)) {
            throw Fault{pointer(), "duplicate key " + jsonQuoted(name)};
        }
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t /*elements*/) override { return open(Json::array()); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t byte, const std::string& /*token*/, const Json::exception& error) override {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: <detail>" or
        // "[json.exception.out_of_range.406] <detail>".
        const std::string message = error.what();
        const std::size_t column = message.find(", column ");
        const std::size_t start = column == std::string::npos ? message.find("] ") : message.find(": ", column);
        throw SyntaxFault{byte, start == std::string::npos ? message : message.substr(start + 2)};
    }

private:
    struct Frame {
        Json* node;       // an object or an array, still open
        std::string key;  // the member being parsed (objects)
    };

    // The pointer of the node about to be added. An open container is already
    // the last element of the array that holds it.
    std::string pointer() const {
        std::string result;
        for (std::size_t depth = 0; depth < m_frames.size(); ++depth) {
            const Json& node = *m_frames[depth].node;
            const bool open = depth + 1 < m_frames.size();
            result += "/" + (node.is_object() ? escapePointerToken(m_frames[depth].key)
                                              : std::to_string(node.size() - (open ? 1 : 0)));
        }
        return result;
    }

    Json* place(Json value) {
        if (m_frames.empty()) {
            m_document.root = std::move(value);
            return &m_document.root;
        }
        Frame& frame = m_frames.back();
        if (frame.node->is_array()) {
            frame.node->push_back(std::move(value));
            return &frame.node->back();
        }
        return &((*frame.node)[frame.key] = std::move(value));
    }

    template <typename Value>
    bool add(Value&& value) {
        place(Json(std::forward<Value>(value)));
        return true;
    }

    bool open(Json container) {
        m_frames.push_back(Frame{place(std::move(container)), {}});
        return true;
    }

    bool close() {
        m_frames.pop_back();
        return true;
    }

    JsonDocument& m_document;
    std::vector<Frame> m_frames;
};

// Throws SyntaxFault for text that is not JSON, Fault for a key given twice.
JsonDocument parseJsonText(const std::string& text) {
    JsonDocument document;
    DocumentBuilder builder(document);
    Json::sax_parse(text, &builder);
    return document;
}

bool isValidPath(const std::string& path) {
    return !path.empty() &&
           std::none_of(path.begin(), path.end(), [](unsigned char c) { return std::isspace(c) || std::iscntrl(c); });
}

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
        std::string path = pathNode.text();
        if (!isValidPath(path)) {
            pathNode.fail("a model path is a non-empty text without spaces, not " + jsonQuoted(path));
        }
        const auto claimed = m_pathPointers.emplace(path, pathNode.pointer());
        if (!claimed.second) {
            pathNode.fail("duplicate path " + jsonQuoted(path) + " (first at " + claimed.first->second + ")");
        }
        return path;
    }

    ValueEntry parseValue(const Node& entry) {
        entry.expectObject({"path", "type", "value"});
        ValueEntry value;
        value.path = claimPath(entry);
        value.value = valueFromJson(parseValueType(entry.member("type")), entry.member("value"));
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
        for (const Node& column : columns.elements()) {
            table.columns.push_back(column.nonEmptyText());
            if (std::count(table.columns.begin(), table.columns.end(), table.columns.back()) > 1) {
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
        action.answer = entry.has("reply") ? parseReply(entry.member("reply")) : Reply::withResults({});
        return action;
    }

    static Reply parseReply(const Node& node) {
        node.expectObject({"results", "error", "no-reply", "delay-ms", "copies", "before-invoke-returns"});
        const int outcomes = static_cast<int>(node.has("results")) + static_cast<int>(node.has("error")) +
                             static_cast<int>(node.has("no-reply"));
        if (outcomes > 1) {
            node.fail("give at most one of \"results\", \"error\" and \"no-reply\"");
        }
        Reply reply = Reply::withResults({});
        if (node.has("results")) {
            reply = Reply::withResults(parseResults(node.member("results")));
        } else if (node.has("error")) {
            reply = Reply::failure(static_cast<int>(node.member("error").integer(kIntMin, kIntMax, "an error code")));
        } else if (node.has("no-reply")) {
            if (!node.member("no-reply").flag()) {
                node.member("no-reply").fail("\"no-reply\" is either true or left out");
            }
            reply = Reply::none();
        }
        if (node.has("delay-ms")) {
            reply.delay = std::chrono::milliseconds(node.member("delay-ms").integer(0, kMaxDelayMs, "a delay in ms"));
        }
        if (node.has("copies")) {
            reply.copies = static_cast<int>(node.member("copies").integer(1, kMaxCopies, "copies"));
        }
        if (node.has("before-invoke-returns")) {
            reply.beforeInvokeReturns = node.member("before-invoke-returns").flag();
        }
        return reply;
    }

    // A list fills positions 0, 1, ...; an object names them: {"0": "a", "2": "c"}.
    static std::vector<lomodelapi::Argument> parseResults(const Node& node) {
        std::vector<lomodelapi::Argument> results;
        auto add = [&](long long position, const Node& value) {
            lomodelapi::Argument result;
            result.position = static_cast<std::int8_t>(position);
            result.value = value.cellText();
            results.push_back(std::move(result));
        };
        if (node.isArray()) {
            const std::vector<Node> values = node.elements();
            if (values.size() > static_cast<std::size_t>(kMaxPosition) + 1) {
                node.fail("at most " + std::to_string(kMaxPosition + 1) + " results");
            }
            for (std::size_t position = 0; position < values.size(); ++position) {
                add(static_cast<long long>(position), values[position]);
            }
            return results;
        }
        for (const auto& [key, value] : node.members()) {
            const bool decimal = !key.empty() && key.size() <= 3 &&
                                 std::all_of(key.begin(), key.end(), [](unsigned char c) { return std::isdigit(c); });
            if (!decimal || std::stoll(key) > kMaxPosition) {
                value.fail("a result position is a number from 0 to " + std::to_string(kMaxPosition) + ", not " +
                           jsonQuoted(key));
            }
            add(std::stoll(key), value);
        }
        return results;
    }

    SourceSwitchEntry parseResponder(const Node& entry) const {
        const Node kind = entry.member("responder");
        if (kind.text() != "source-switch") {
            kind.fail("unknown responder " + jsonQuoted(kind.text()) +
                      " (the built-in responder is \"source-switch\")");
        }
        SourceSwitchEntry sourceSwitch;
        sourceSwitch.channels =
            entry.has("channels") ? parseChannels(entry.member("channels")) : SourceSwitchResponder::defaultChannels();
        if (entry.has("channel-name")) {
            const Node nameNode = entry.member("channel-name");
            sourceSwitch.channelNamePath = nameNode.text();
            if (!hasStringValue(sourceSwitch.channelNamePath)) {
                nameNode.fail("the model has no string value " + jsonQuoted(sourceSwitch.channelNamePath));
            }
        }
        return sourceSwitch;
    }

    // A table path of this model, or a list of channel objects.
    std::vector<Channel> parseChannels(const Node& node) const {
        if (node.isText()) {
            return channelsFromTable(node);
        }
        std::vector<Channel> channels;
        for (const Node& item : node.elements()) {
            item.expectObject({"uuid", "uri", "name", "folder-uuid"});
            channels.push_back({item.member("uuid").text(), item.member("uri").text(), item.member("name").text(),
                                item.member("folder-uuid").text()});
        }
        return channels;
    }

    std::vector<Channel> channelsFromTable(const Node& node) const {
        const std::string path = node.text();
        const TableEntry* table = m_description.table(path);
        if (table == nullptr) {
            node.fail("the model has no table " + jsonQuoted(path));
        }
        auto column = [&](const char* name) {
            auto found = std::find(table->columns.begin(), table->columns.end(), name);
            if (found == table->columns.end()) {
                node.fail("the table " + jsonQuoted(path) + " has no column " + jsonQuoted(name));
            }
            return static_cast<std::size_t>(found - table->columns.begin());
        };
        const std::size_t uuid = column("uuid");
        const std::size_t uri = column("uri");
        const std::size_t name = column("name");
        const std::size_t folder = column("folder-uuid");
        std::vector<Channel> channels;
        for (const Row& row : table->rows) {
            channels.push_back({row[uuid], row[uri], row[name], row[folder]});
        }
        return channels;
    }

    bool hasStringValue(const std::string& path) const {
        return std::any_of(m_description.values.begin(), m_description.values.end(), [&](const ValueEntry& value) {
            return value.path == path && valueTypeOf(value.value) == ValueType::STRING;
        });
    }

    ModelDescription m_description;
    std::map<std::string, std::string> m_pathPointers;  // path -> pointer of the entry that claimed it
};

// Keeps the channel-name value in step with the responder's current channel.
// Runs where every responder runs: on the invoking client's thread, with no
// simulator lock held, so it may write the value (the change is queued to the
// callback thread like any other). The mutex keeps the written names in the
// order of the channel changes when clients invoke at once.
class ChannelNameFollower {
public:
    ChannelNameFollower(SourceSwitchResponder responder, Simulator& simulator, std::string path)
        : m_responder(std::move(responder)),
          m_simulator(&simulator),
          m_path(std::move(path)),
          m_mutex(std::make_shared<std::mutex>()) {}

    Reply operator()(unsigned int actionId, const std::vector<lomodelapi::Argument>& arguments) const {
        std::lock_guard<std::mutex> lock(*m_mutex);
        const int before = m_responder.currentChannelIndex();
        Reply reply = m_responder(actionId, arguments);
        if (m_responder.currentChannelIndex() != before) {
            try {
                m_simulator->setString(m_path, m_responder.currentChannel().name);
            } catch (const std::invalid_argument&) {
                // The value was removed or replaced since the model was loaded: nothing to keep in step.
            }
        }
        return reply;
    }

private:
    SourceSwitchResponder m_responder;
    Simulator* m_simulator;
    std::string m_path;
    std::shared_ptr<std::mutex> m_mutex;
};

// One family of the simulator's value operations: add... or set....
struct ValueOperations {
    void (Simulator::*integer)(const std::string&, int);
    void (Simulator::*int64)(const std::string&, long long);
    void (Simulator::*string)(const std::string&, const std::string&);
    void (Simulator::*integerVector)(const std::string&, const std::vector<int>&);
    void (Simulator::*stringVector)(const std::string&, const std::vector<std::string>&);
};

constexpr ValueOperations kAddValue{&Simulator::addInteger, &Simulator::addInt64, &Simulator::addString,
                                    &Simulator::addIntegerVector, &Simulator::addStringVector};
constexpr ValueOperations kSetValue{&Simulator::setInteger, &Simulator::setInt64, &Simulator::setString,
                                    &Simulator::setIntegerVector, &Simulator::setStringVector};

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

void applyValue(Simulator& simulator, const ValueOperations& operations, const std::string& path,
                const ModelValue& value) {
    std::visit(Overloaded{
                   [&](int native) { (simulator.*operations.integer)(path, native); },
                   [&](long long native) { (simulator.*operations.int64)(path, native); },
                   [&](const std::string& native) { (simulator.*operations.string)(path, native); },
                   [&](const std::vector<int>& native) { (simulator.*operations.integerVector)(path, native); },
                   [&](const std::vector<std::string>& native) { (simulator.*operations.stringVector)(path, native); },
               },
               value);
}

const char* fileKind(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFDIR:
            return "a directory";
        case S_IFIFO:
            return "a FIFO";
        case S_IFCHR:
            return "a character device";
        case S_IFBLK:
            return "a block device";
        case S_IFSOCK:
            return "a socket";
        default:
            return "a special file";
    }
}

struct OpenFile {
    ~OpenFile() { ::close(descriptor); }
    int descriptor;
};

// Only a regular file of at most kMaxFileBytes. Opening without blocking keeps
// a FIFO without a writer from hanging the caller before it is refused; the
// size is checked as the file is read too, since it may grow meanwhile.
std::string readFile(const std::string& path) {
    auto refuse = [&](const std::string& why) { return ModelFileError(path + ": cannot read the file: " + why); };
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        throw refuse(std::strerror(errno));
    }
    const OpenFile file{descriptor};
    struct stat status {};
    if (::fstat(file.descriptor, &status) != 0) {
        throw refuse(std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw refuse(std::string("it is ") + fileKind(status.st_mode) + ", not a regular file");
    }
    const std::string tooLarge = "it is larger than 64 MiB, the most a model file may hold";
    if (status.st_size > kMaxFileBytes) {
        throw refuse(tooLarge);
    }
    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(file.descriptor, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw refuse(std::strerror(errno));
        }
        if (count == 0) {
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > static_cast<std::size_t>(kMaxFileBytes)) {
            throw refuse(tooLarge);
        }
    }
}

}  // namespace

// ---- Model values and their text form ----

ValueType valueTypeOf(const ModelValue& value) {
    return static_cast<ValueType>(value.index());
}

ModelValue emptyValueOf(ValueType type) {
    switch (type) {
        case ValueType::INTEGER:
            return 0;
        case ValueType::INT64:
            return 0LL;
        case ValueType::STRING:
            return std::string();
        case ValueType::INTEGER_VECTOR:
            return std::vector<int>();
        case ValueType::STRING_VECTOR:
            break;
    }
    return std::vector<std::string>();
}

bool valueTypeOfObject(lomodelapi::ObjectTypeSpec objectType, ValueType& valueType) {
    switch (objectType) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            valueType = ValueType::INTEGER;
            return true;
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            valueType = ValueType::INT64;
            return true;
        case lomodelapi::OBJECT_TYPE_STRING:
            valueType = ValueType::STRING;
            return true;
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            valueType = ValueType::INTEGER_VECTOR;
            return true;
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING:
            valueType = ValueType::STRING_VECTOR;
            return true;
        default:
            return false;
    }
}

const char* valueTypeName(ValueType type) {
    switch (type) {
        case ValueType::INTEGER:
            return "integer";
        case ValueType::INT64:
            return "int64";
        case ValueType::STRING:
            return "string";
        case ValueType::INTEGER_VECTOR:
            return "integer-vector";
        case ValueType::STRING_VECTOR:
            break;
    }
    return "string-vector";
}

std::string objectTypeName(lomodelapi::ObjectTypeSpec objectType) {
    ValueType valueType;
    if (valueTypeOfObject(objectType, valueType)) {
        return valueTypeName(valueType);
    }
    switch (objectType) {
        case lomodelapi::OBJECT_TYPE_ACTION:
            return "action";
        case lomodelapi::OBJECT_TYPE_TABLE:
            return "table";
        default:
            return "type " + std::to_string(static_cast<int>(objectType));
    }
}

ModelValue parseValueText(ValueType type, const std::string& text) {
    if (type == ValueType::STRING) {
        return text;
    }
    static const char* const kExpected[] = {"an integer", "a 64-bit integer", "",
                                            "a JSON array of integers like [1,2,3]",
                                            "a JSON array of strings like [\"eng\",\"fra\"]"};
    try {
        const JsonDocument parsed = parseJsonText(text);
        return valueFromJson(type, Node(parsed));
    } catch (const SyntaxFault&) {  // a syntax error, or a number beyond a double's range
        throw std::invalid_argument(jsonQuoted(text) + " is not " + kExpected[static_cast<int>(type)]);
    } catch (const Fault& fault) {
        throw std::invalid_argument(fault.pointer.empty() ? fault.what
                                                          : "element " + fault.pointer.substr(1) + ": " + fault.what);
    }
}

std::string formatValueText(const ModelValue& value) {
    switch (valueTypeOf(value)) {
        case ValueType::INTEGER:
            return std::to_string(std::get<int>(value));
        case ValueType::INT64:
            return std::to_string(std::get<long long>(value));
        case ValueType::STRING:
            return std::get<std::string>(value);
        case ValueType::INTEGER_VECTOR:
            return Json(std::get<std::vector<int>>(value)).dump();
        case ValueType::STRING_VECTOR:
            break;
    }
    return Json(std::get<std::vector<std::string>>(value)).dump(-1, ' ', false, Json::error_handler_t::replace);
}

void setModelValue(Simulator& simulator, const std::string& path, const ModelValue& value) {
    applyValue(simulator, kSetValue, path, value);
}

// ---- Descriptions ----

const TableEntry* ModelDescription::table(const std::string& path) const {
    auto found =
        std::find_if(tables.begin(), tables.end(), [&](const TableEntry& table) { return table.path == path; });
    return found == tables.end() ? nullptr : &*found;
}

const SourceSwitchResponder* LoadedModel::sourceSwitch(const std::string& actionPath) const {
    auto found = sourceSwitches.find(actionPath);
    return found == sourceSwitches.end() ? nullptr : &found->second;
}

ModelDescription parseModelText(const std::string& text, const std::string& sourceName) {
    return ModelParser(sourceName).parse(text);
}

ModelDescription parseModelFile(const std::string& path) {
    return parseModelText(readFile(path), path);
}

LoadedModel applyModel(ModelDescription description, Simulator& simulator) {
    LoadedModel loaded;
    for (const ValueEntry& value : description.values) {
        applyValue(simulator, kAddValue, value.path, value.value);
    }
    for (const TableEntry& table : description.tables) {
        simulator.addTable(table.path, table.columns, table.rows);
    }
    for (const ActionEntry& action : description.actions) {
        if (const Reply* reply = std::get_if<Reply>(&action.answer)) {
            simulator.addAction(action.path, [reply = *reply](unsigned int, const std::vector<lomodelapi::Argument>&) {
                return reply;
            });
            continue;
        }
        const SourceSwitchEntry& entry = std::get<SourceSwitchEntry>(action.answer);
        SourceSwitchResponder responder(entry.channels);
        if (entry.channelNamePath.empty()) {
            simulator.addAction(action.path, responder.responder());
        } else {
            simulator.setString(entry.channelNamePath, responder.currentChannel().name);
            simulator.addAction(action.path, ChannelNameFollower(responder, simulator, entry.channelNamePath));
        }
        loaded.sourceSwitches.emplace(action.path, responder);
    }
    loaded.description = std::move(description);
    return loaded;
}

LoadedModel loadModelText(const std::string& text, const std::string& sourceName, Simulator& simulator) {
    return applyModel(parseModelText(text, sourceName), simulator);
}

LoadedModel loadModelFile(const std::string& path, Simulator& simulator) {
    return applyModel(parseModelFile(path), simulator);
}

LoadedModel loadDefaultModel(Simulator& simulator) {
    return loadModelText(defaultModelText(), kDefaultModelSource, simulator);
}

}  // namespace tvsim
