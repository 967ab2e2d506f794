// A JSON document as model files are checked: parsed with nlohmann, then read
// through Node, which checks each node's kind and range and names the node by
// its JSON pointer when something is wrong. Reading costs the same however
// deep a node is: the pointer is worked out for the fault reported only.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace tvsim::modelfile {

using Json = nlohmann::json;

// What is wrong at one place of a document: the JSON pointer of the offending
// node and a description. Each entry point turns it into its own message.
struct Fault {
    std::string pointer;
    std::string what;
};

// Text that is not JSON: where nlohmann gave up and its message without its
// "[json.exception...]" prefix and position.
struct SyntaxFault {
    std::size_t byte;
    std::string detail;
};

// Bytes that are not UTF-8 become U+FFFD, so that any text can be quoted.
std::string jsonQuoted(const std::string& text);
std::string describe(const Json& value);  // "an object", "the string \"x\"", "12"...
std::string escapePointerToken(const std::string& token);

// An integer too long for 64 bits is kept in the document as its text, in a
// binary node (JSON text has no binary values of its own).
bool isLongInteger(const Json& value);
std::string longIntegerText(const Json& value);

// A parsed document.
// NOLINTNEXTLINE(bugprone-exception-escape): its moves are nlohmann::json's, noexcept; the check cannot see it.
struct JsonDocument {
    Json root;

    // The JSON pointer of a node of root: a walk of the document, for a fault being reported.
    std::string pointerOf(const Json& node) const;
};

// Throws SyntaxFault for text that is not JSON, Fault for a key given twice or
// arrays and objects nested more than 32 deep.
JsonDocument parseJsonText(const std::string& text);

// A node of the document. The accessors check the node's kind and range and
// throw a Fault naming the node otherwise.
class Node {
public:
    Node(const Json& value, const JsonDocument& document) : m_value(&value), m_document(&document) {}
    explicit Node(const JsonDocument& document) : Node(document.root, document) {}

    std::string pointer() const { return m_document->pointerOf(*m_value); }
    const Json& json() const { return *m_value; }

    [[noreturn]] void fail(const std::string& what) const { throw Fault{pointer(), what}; }

    // An object whose keys are all among `allowed`.
    void expectObject(std::initializer_list<const char*> allowed) const {
        if (!m_value->is_object()) {
            fail("expected an object, got " + describe(*m_value));
        }
        for (const auto& item : m_value->items()) {
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

    bool has(const char* key) const { return m_value->contains(key); }

    Node member(const char* key) const {
        if (!has(key)) {
            fail(std::string("missing key ") + jsonQuoted(key));
        }
        return child(key);
    }

    std::vector<Node> elements() const {
        if (!m_value->is_array()) {
            fail("expected an array, got " + describe(*m_value));
        }
        std::vector<Node> nodes;
        nodes.reserve(m_value->size());
        for (const Json& element : *m_value) {
            nodes.emplace_back(element, *m_document);
        }
        return nodes;
    }

    // The members of a list given as an object (any keys).
    std::vector<std::pair<std::string, Node>> members() const {
        if (!m_value->is_object()) {
            fail("expected an array or an object, got " + describe(*m_value));
        }
        std::vector<std::pair<std::string, Node>> nodes;
        for (auto item = m_value->begin(); item != m_value->end(); ++item) {
            nodes.emplace_back(item.key(), Node(item.value(), *m_document));
        }
        return nodes;
    }

    bool isText() const { return m_value->is_string(); }
    bool isArray() const { return m_value->is_array(); }

    std::string text() const {
        if (!m_value->is_string()) {
            fail("expected a string, got " + describe(*m_value));
        }
        return m_value->get<std::string>();
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
        if (m_value->is_string()) {
            return m_value->get<std::string>();
        }
        if (m_value->is_number_integer()) {
            return m_value->dump();
        }
        if (isLongInteger(*m_value)) {
            failRange("a 64-bit integer", std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max());
        }
        fail("expected a string or an integer, got " + describe(*m_value));
    }

    long long integer(long long low, long long high, const char* noun) const {
        long long result = 0;
        if (m_value->is_number_unsigned()) {
            const std::uint64_t value = m_value->get<std::uint64_t>();
            if (value > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) {
                failRange(noun, low, high);
            }
            result = static_cast<long long>(value);
        } else if (m_value->is_number_integer()) {
            result = m_value->get<std::int64_t>();
        } else if (isLongInteger(*m_value)) {
            failRange(noun, low, high);
        } else {
            fail("expected an integer, got " + describe(*m_value));
        }
        if (result < low || result > high) {
            failRange(noun, low, high);
        }
        return result;
    }

    bool flag() const {
        if (!m_value->is_boolean()) {
            fail("expected true or false, got " + describe(*m_value));
        }
        return m_value->get<bool>();
    }

private:
    Node child(const std::string& key) const { return Node(m_value->at(key), *m_document); }

    [[noreturn]] void failRange(const char* noun, long long low, long long high) const {
        fail((isLongInteger(*m_value) ? longIntegerText(*m_value) : m_value->dump()) + " is out of range for " + noun +
             " (" + std::to_string(low) + " to " + std::to_string(high) + ")");
    }

    // Pointers, so that nodes can be kept in containers and assigned.
    const Json* m_value;
    const JsonDocument* m_document;
};

}  // namespace tvsim::modelfile
