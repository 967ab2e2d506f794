// Decoding scenario files: JSON checked node by node as model files are
// (json_document.h), their parts (paths, replies, results, a whole model) by
// the model file's own checks, and the first fault named by its JSON pointer.
#include <tvsim/scenario_file.h>

#include "json_error_text.h"
#include "model_file_reader.h"
#include "model_parser.h"

#include <tvsim/input_limits.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>

namespace tvsim {
namespace {

using modelfile::Fault;
using modelfile::Json;
using modelfile::jsonQuoted;
using modelfile::Node;

constexpr long long kInt64Min = std::numeric_limits<long long>::min();
constexpr long long kInt64Max = std::numeric_limits<long long>::max();
constexpr long long kIntMin = std::numeric_limits<int>::min();
constexpr long long kIntMax = std::numeric_limits<int>::max();

std::chrono::milliseconds timeFromJson(const Node& node) {
    return std::chrono::milliseconds(node.integer(0, kMaxScenarioTimeLimit.count(), "a time in ms"));
}

int intFromJson(const Node& node, const char* noun) {
    return static_cast<int>(node.integer(kIntMin, kIntMax, noun));
}

// A model value of any type: an integer, a string, or an array of integers or of strings.
void checkValueShape(const Node& node) {
    const Json& json = node.json();
    if (json.is_string()) {
        return;
    }
    if (json.is_array()) {
        const std::vector<Node> elements = node.elements();
        for (const Node& element : elements) {
            if (elements.front().isText()) {
                element.text();
            } else {
                element.integer(kInt64Min, kInt64Max, "a 64-bit integer");
            }
        }
        return;
    }
    if (!json.is_number_integer() && !modelfile::isLongInteger(json)) {
        node.fail("expected an integer, a string or an array of them, got " + modelfile::describe(json));
    }
    node.integer(kInt64Min, kInt64Max, "a 64-bit integer");
}

// The one key of `keys` the node holds: "a step takes one action, not both "set-value" and "wait"", "a step needs
// an action: set-value, ... or wait".
const char* oneOf(const Node& node, std::initializer_list<const char*> keys, const char* one, const char* none) {
    const char* found = nullptr;
    std::string names;
    for (const char* key : keys) {
        names += std::string(names.empty() ? "" : key == *std::prev(keys.end()) ? " or " : ", ") + key;
        if (!node.has(key)) {
            continue;
        }
        if (found != nullptr) {
            node.member(key).fail(std::string(one) + ", not both " + jsonQuoted(found) + " and " + jsonQuoted(key));
        }
        found = key;
    }
    if (found == nullptr) {
        node.fail(std::string(none) + ": " + names);
    }
    return found;
}

// "exact" (a string, or for a written value any value in its text form), {"any": true} or {"regex": "ERE"}.
ArgumentMatcher matcherFromJson(const Node& node, int position, const std::string& path, bool anyValue) {
    ArgumentMatcher matcher;
    matcher.position = position;
    if (node.json().is_object()) {
        node.expectObject({"any", "regex"});
        if (node.has("any") == node.has("regex")) {
            node.fail("give one of \"any\" and \"regex\"");
        }
        if (node.has("any")) {
            if (!node.member("any").flag()) {
                node.member("any").fail("\"any\" is either true or left out");
            }
            matcher.kind = ArgumentMatcher::Kind::Any;
            return matcher;
        }
        matcher.kind = ArgumentMatcher::Kind::Regex;
        matcher.text = node.member("regex").text();
    } else if (anyValue) {
        checkValueShape(node);
        matcher.text = node.isText() ? node.text() : node.json().dump();
    } else {
        matcher.text = node.text();
    }
    modelfile::requireWithin(node, [&] { checkPattern(RecordPattern{RecordPattern::Kind::Invoke, path, {matcher}}); });
    return matcher;
}

// Checks a whole document into a Scenario. References between ids are resolved at the end, so that a step may
// name an expectation listed after it.
class ScenarioParser {
public:
    ScenarioParser(std::string name, std::string folder) : m_name(std::move(name)), m_folder(std::move(folder)) {}

    Scenario parse(const std::string& text) {
        if (text.size() > kMaxScenarioFileBytes) {
            throw ScenarioFileError(m_name + ": the text is larger than 4 MiB, the most a scenario file may hold");
        }
        try {
            const modelfile::JsonDocument document = parseJson(text);
            parseDocument(Node(document));
        } catch (const Fault& fault) {
            throw ScenarioFileError(m_name + ": " + (fault.pointer.empty() ? "top level" : fault.pointer) + ": " +
                                    fault.what);
        }
        return std::move(m_scenario);
    }

private:
    // What an id names, and what it waits for.
    struct Claim {
        Node id;
        bool step;
        std::size_t index;
        std::string after;  // the id it is due or open after; empty for none
        std::optional<Node> afterNode;
        enum class Walk { NotYet, Walking, Done } walk = Walk::NotYet;  // resolveReferences's look for loops
    };
    struct Reference {
        Node node;
        std::string id;
        bool invokeExpectation;  // an action id: the id of an invoke expectation
    };

    modelfile::JsonDocument parseJson(const std::string& text) const {
        try {
            return modelfile::parseJsonText(text);
        } catch (const modelfile::SyntaxFault& fault) {
            throw ScenarioFileError(m_name + ":" + std::to_string(modelfile::lineOfByte(text, fault.byte)) +
                                    ": invalid JSON: " + fault.detail);
        }
    }

    void parseDocument(const Node& root) {
        root.expectObject(
            {"name", "tv", "time-limit-ms", "client-must-succeed", "steps", "expectations", "nothing-else"});
        if (root.has("name")) {
            m_scenario.name = root.member("name").text();
        }
        if (root.has("tv")) {
            m_scenario.tv = parseTv(root.member("tv"));
        }
        if (root.has("time-limit-ms")) {
            m_scenario.timeLimit = std::chrono::milliseconds(
                root.member("time-limit-ms").integer(1, kMaxScenarioTimeLimit.count(), "a time limit in ms"));
        }
        if (root.has("client-must-succeed")) {
            m_scenario.clientMustSucceed = root.member("client-must-succeed").flag();
        }
        for (const Node& step : listOf(root, "steps", kMaxScenarioSteps)) {
            m_scenario.steps.push_back(parseStep(step));
        }
        for (const Node& expectation : listOf(root, "expectations", kMaxScenarioExpectations)) {
            m_scenario.expectations.push_back(parseExpectation(expectation));
        }
        for (const Node& path : listOf(root, "nothing-else", kMaxScenarioExpectations)) {
            m_scenario.nothingElse.push_back(modelfile::modelPathFromJson(path));
        }
        resolveReferences();
    }

    static std::vector<Node> listOf(const Node& root, const char* key, std::size_t most) {
        if (!root.has(key)) {
            return {};
        }
        std::vector<Node> elements = root.member(key).elements();
        if (elements.size() > most) {
            root.member(key).fail("at most " + std::to_string(most) + " entries; got " +
                                  std::to_string(elements.size()));
        }
        return elements;
    }

    ScenarioTv parseTv(const Node& node) const {
        node.expectObject({"default", "model", "content"});
        if (static_cast<int>(node.has("default")) + static_cast<int>(node.has("model")) +
                static_cast<int>(node.has("content")) !=
            1) {
            node.fail("give one of \"default\", \"model\" and \"content\"");
        }
        ScenarioTv tv;
        if (node.has("default")) {
            if (!node.member("default").flag()) {
                node.member("default").fail("\"default\" is either true or left out");
            }
        } else if (node.has("model")) {
            const Node model = node.member("model");
            tv.kind = ScenarioTv::Kind::File;
            tv.file = model.nonEmptyText();
            if (tv.file.front() != '/' && !m_folder.empty()) {
                tv.file = m_folder + (m_folder.back() == '/' ? "" : "/") + tv.file;
            }
            modelfile::requireWithin(model, [&] { requireModelFileName(tv.file); });
        } else {
            const Node content = node.member("content");
            tv.kind = ScenarioTv::Kind::Content;
            tv.name = m_name + "#/tv/content";
            modelfile::modelFromJson(content, tv.name);
            tv.content = content.json().dump();
        }
        return tv;
    }

    ScenarioStep parseStep(const Node& node) {
        node.expectObject({"id", "at-ms", "after", "delay-ms", "set-value", "set-rows", "set-reply", "reset-reply",
                           "fault", "clear-faults", "emit-result", "emit-failure", "platform-away", "wait"});
        ScenarioStep step;
        step.id = claimId(node, true, m_scenario.steps.size());
        if (node.has("after")) {
            if (node.has("at-ms")) {
                node.member("at-ms").fail("a step is due \"at-ms\" or \"after\" another, not both");
            }
            step.after = anchor(node.member("after"));
            noteAnchor(step.id, node.member("after"));
            if (node.has("delay-ms")) {
                step.at = timeFromJson(node.member("delay-ms"));
            }
        } else if (node.has("delay-ms")) {
            node.member("delay-ms").fail("\"delay-ms\" goes with \"after\"");
        } else if (node.has("at-ms")) {
            step.at = timeFromJson(node.member("at-ms"));
        }
        const char* action = oneOf(node,
                                   {"set-value", "set-rows", "set-reply", "reset-reply", "fault", "clear-faults",
                                    "emit-result", "emit-failure", "platform-away", "wait"},
                                   "a step takes one action", "a step needs an action");
        step.action = parseAction(action, node.member(action));
        return step;
    }

    ScenarioAction parseAction(const std::string& key, const Node& node) {
        if (key == "platform-away") {
            node.expectObject({"for-ms"});
            return PlatformAwayStep{timeFromJson(node.member("for-ms"))};
        }
        if (key == "wait") {
            node.expectObject({"ms"});
            return WaitStep{timeFromJson(node.member("ms"))};
        }
        if (key == "set-value") {
            node.expectObject({"path", "value"});
            checkValueShape(node.member("value"));
            return SetValueStep{path(node), node.member("value").json().dump()};
        }
        if (key == "set-rows") {
            node.expectObject({"path", "rows"});
            SetRowsStep step{path(node), {}};
            for (const Node& row : node.member("rows").elements()) {
                step.rows.emplace_back();
                for (const Node& cell : row.elements()) {
                    step.rows.back().push_back(cell.cellText());
                }
            }
            modelfile::requireWithin(node.member("rows"), [&] { requireRows(step.rows); });
            return step;
        }
        if (key == "set-reply") {
            node.expectObject({"path", "reply"});
            return SetReplyStep{path(node), modelfile::replyFromJson(node.member("reply"))};
        }
        if (key == "reset-reply") {
            node.expectObject({"path"});
            return ResetReplyStep{path(node)};
        }
        if (key == "clear-faults") {
            node.expectObject({"path"});
            return ClearFaultsStep{path(node)};
        }
        if (key == "fault") {
            return parseFault(node);
        }
        if (key == "emit-result") {
            node.expectObject({"path", "action-id", "results"});
            return EmitResultStep{path(node), actionId(node.member("action-id")),
                                  modelfile::resultsFromJson(node.member("results"))};
        }
        node.expectObject({"path", "action-id", "error"});
        return EmitFailureStep{path(node), actionId(node.member("action-id")),
                               intFromJson(node.member("error"), "an error code")};
    }

    static FaultStep parseFault(const Node& node) {
        node.expectObject({"kind", "path", "count", "status", "type"});
        const Node kindNode = node.member("kind");
        const std::optional<ScenarioFaultKind> kind = scenarioFaultKind(kindNode.text());
        if (!kind) {
            kindNode.fail("unknown fault " + jsonQuoted(kindNode.text()) +
                          " (faults: fail-connects, null-connects, report-type, fail-getter, refuse-invokes, "
                          "fail-iterators)");
        }
        FaultStep fault{*kind, path(node)};
        const auto setting = [&](const char* key, bool takes) {
            if (node.has(key) && !takes) {
                node.member(key).fail(jsonQuoted(key) + " does not go with " + jsonQuoted(kindNode.text()));
            }
            return takes && node.has(key);
        };
        if (setting("count", scenarioFaultHasCount(fault.kind))) {
            fault.count = static_cast<int>(node.member("count").integer(0, kMaxFaultCount, "a count"));
        }
        if (setting("status", scenarioFaultHasStatus(fault.kind))) {
            fault.status = intFromJson(node.member("status"), "a status");
        }
        if (fault.kind == ScenarioFaultKind::ReportType) {
            const Node type = node.member("type");
            if (type.isText()) {
                const std::optional<lomodelapi::ObjectTypeSpec> named = objectTypeNamed(type.text());
                if (!named) {
                    type.fail("unknown type " + jsonQuoted(type.text()) +
                              " (types: integer, int64, string, integer-vector, string-vector, action, table, or a "
                              "type code)");
                }
                fault.type = *named;
            } else {
                fault.type = static_cast<lomodelapi::ObjectTypeSpec>(intFromJson(type, "a type code"));
            }
        } else {
            setting("type", false);
        }
        return fault;
    }

    ScenarioExpectation parseExpectation(const Node& node) {
        node.expectObject({"id", "connect", "invoke", "write", "window", "sequence", "group"});
        ScenarioExpectation expectation;
        expectation.id = claimId(node, false, m_scenario.expectations.size());
        const char* kind = oneOf(node, {"connect", "invoke", "write"}, "an expectation is of one record",
                                 "an expectation needs a record");
        expectation.pattern = parsePattern(*recordKind(kind), node.member(kind));
        if (node.has("window")) {
            expectation.window = parseWindow(node.member("window"));
            if (!expectation.window.after.empty()) {
                noteAnchor(expectation.id, node.member("window").member("after"));
            }
        }
        for (auto [key, name] : {std::pair{"sequence", &expectation.sequence}, {"group", &expectation.group}}) {
            if (node.has(key)) {
                *name = boundedName(node.member(key), "a name", true);
            }
        }
        return expectation;
    }

    static RecordPattern parsePattern(RecordPattern::Kind kind, const Node& node) {
        RecordPattern pattern;
        pattern.kind = kind;
        switch (kind) {
            case RecordPattern::Kind::Connect:
                node.expectObject({"path"});
                pattern.path = path(node);
                break;
            case RecordPattern::Kind::Invoke:
                node.expectObject({"path", "arguments"});
                pattern.path = path(node);
                if (node.has("arguments")) {
                    for (const auto& [key, value] : node.member("arguments").members()) {
                        std::int8_t position = 0;
                        if (!parseArgumentPosition(key, position)) {
                            value.fail("an argument position is a number from 0 to " +
                                       std::to_string(kMaxArgumentPosition) + ", not " + jsonQuoted(key));
                        }
                        pattern.arguments.push_back(matcherFromJson(value, position, pattern.path, false));
                    }
                    std::sort(pattern.arguments.begin(), pattern.arguments.end(),
                              [](const ArgumentMatcher& left, const ArgumentMatcher& right) {
                                  return left.position < right.position;
                              });
                }
                break;
            case RecordPattern::Kind::Write:
                node.expectObject({"path", "value"});
                pattern.path = path(node);
                if (node.has("value")) {
                    pattern.arguments.push_back(matcherFromJson(node.member("value"), 0, pattern.path, true));
                }
                break;
        }
        return pattern;
    }

    ScenarioWindow parseWindow(const Node& node) {
        node.expectObject({"after", "from-ms", "to-ms"});
        ScenarioWindow window;
        if (node.has("after")) {
            window.after = anchor(node.member("after"));
        }
        if (node.has("from-ms")) {
            window.from = timeFromJson(node.member("from-ms"));
        }
        if (node.has("to-ms")) {
            window.to = timeFromJson(node.member("to-ms"));
            if (*window.to < window.from) {
                node.member("to-ms").fail("the window closes (" + std::to_string(window.to->count()) +
                                          " ms) before it opens (" + std::to_string(window.from.count()) + " ms)");
            }
        }
        return window;
    }

    static std::string path(const Node& node) { return modelfile::modelPathFromJson(node.member("path")); }

    static std::string boundedName(const Node& node, const char* noun, bool mayBeEmpty = false) {
        std::string name = mayBeEmpty ? node.text() : node.nonEmptyText();
        if (name.size() > kMaxScenarioIdBytes) {
            node.fail(std::string(noun) + " is at most " + std::to_string(kMaxScenarioIdBytes) + " bytes; got " +
                      std::to_string(name.size()));
        }
        return name;
    }

    std::string claimId(const Node& node, bool step, std::size_t index) {
        if (!node.has("id")) {
            return {};
        }
        const Node idNode = node.member("id");
        std::string id = boundedName(idNode, "an id");
        const auto claimed = m_claims.emplace(id, Claim{idNode, step, index, {}, std::nullopt, Claim::Walk::NotYet});
        if (!claimed.second) {
            idNode.fail("the id '" + id + "' is taken (at " + claimed.first->second.id.pointer() + ")");
        }
        return id;
    }

    // The id a step is due after, or a window opens after.
    std::string anchor(const Node& node) {
        std::string id = node.nonEmptyText();
        m_references.push_back(Reference{node, id, false});
        return id;
    }

    // What the entry with this id (if it has one) waits for, to find entries that wait on themselves.
    void noteAnchor(const std::string& id, const Node& after) {
        if (!id.empty()) {
            Claim& claim = m_claims.at(id);
            claim.after = after.text();
            claim.afterNode = after;
        }
    }

    ScenarioActionId actionId(const Node& node) {
        if (node.isText()) {
            ScenarioActionId id{0, node.nonEmptyText()};
            m_references.push_back(Reference{node, id.expectation, true});
            return id;
        }
        return ScenarioActionId{
            static_cast<unsigned int>(node.integer(0, std::numeric_limits<unsigned int>::max(), "an action id")), {}};
    }

    void resolveReferences() {
        for (const Reference& reference : m_references) {
            const auto claim = m_claims.find(reference.id);
            if (claim == m_claims.end()) {
                reference.node.fail("no step or expectation has the id '" + reference.id + "'");
            }
            if (reference.invokeExpectation &&
                (claim->second.step ||
                 m_scenario.expectations[claim->second.index].pattern.kind != RecordPattern::Kind::Invoke)) {
                reference.node.fail("'" + reference.id + "' is not an invoke expectation");
            }
        }
        // Each entry waits for at most one other, so the entries and what they wait for form chains: walked
        // once each, an entry met again on the walk that reached it closes a loop.
        for (auto& entry : m_claims) {
            std::vector<std::string> walk;
            std::string id = entry.first;
            while (!id.empty() && m_claims.at(id).walk == Claim::Walk::NotYet) {
                m_claims.at(id).walk = Claim::Walk::Walking;
                walk.push_back(id);
                id = m_claims.at(id).after;
            }
            if (!id.empty() && m_claims.at(id).walk == Claim::Walk::Walking) {
                std::string what = "'" + id + "' waits for itself: ";
                for (auto link = std::find(walk.begin(), walk.end(), id); link != walk.end(); ++link) {
                    what += *link;
                    what += " -> ";
                }
                what += id;
                m_claims.at(id).afterNode->fail(what);
            }
            for (const std::string& walked : walk) {
                m_claims.at(walked).walk = Claim::Walk::Done;
            }
        }
    }

    std::string m_name;
    std::string m_folder;
    Scenario m_scenario;
    std::map<std::string, Claim> m_claims;
    std::vector<Reference> m_references;
};

}  // namespace

Scenario parseScenarioText(const std::string& text, const std::string& name, const std::string& folder) {
    return ScenarioParser(name, folder).parse(text);
}

Scenario readScenarioFile(const std::string& path) {
    std::string text;
    try {
        text = modelfile::readBoundedFile(path, "a scenario file");
    } catch (const modelfile::UnreadableFile& unreadable) {
        throw ScenarioFileError(unreadable.what());
    }
    const std::size_t slash = path.rfind('/');
    return parseScenarioText(text, path, slash == std::string::npos ? "" : path.substr(0, slash + 1));
}

}  // namespace tvsim
