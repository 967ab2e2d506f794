// The JSON checks of model files: the document builder and the text helpers the checks use.
#include "json_document.h"

#include "json_error_text.h"

namespace tvsim::modelfile {

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
        case Json::value_t::binary:
            return longIntegerText(value);
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

namespace {

// Arrays and objects nest at most this deep: a model file needs five levels, and
// a document of nothing but brackets would otherwise cost a node per byte.
constexpr std::size_t kMaxNesting = 32;

// Builds the document from nlohmann's parse events. On the way it refuses a
// second occurrence of a key in one object (nlohmann's own builder keeps the
// last one silently) and nesting beyond kMaxNesting, and keeps every integer
// too long for 64 bits as its text (nlohmann makes a double of it), so that
// it is reported as out of range rather than as a fraction. Each event costs
// the same however deep it is: the JSON pointer of a place is worked out only
// for the fault that is reported.
class DocumentBuilder : public nlohmann::json_sax<Json> {
public:
    explicit DocumentBuilder(JsonDocument& document) : m_document(document) {}

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t& text) override {
        if (text.find_first_of(".eE") == std::string::npos) {
            return add(Json::binary(Json::binary_t::container_type(text.begin(), text.end())));
        }
        return add(value);
    }
    bool string(string_t& value) override { return add(std::move(value)); }
    // JSON text has none; a binary node of the document is a long integer.
    bool binary(binary_t& /*value*/) override { return false; }
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
        throw SyntaxFault{byte, jsonErrorDetail(error.what())};
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
        if (m_frames.size() == kMaxNesting) {
            throw Fault{pointer(), "arrays and objects nest at most " + std::to_string(kMaxNesting) + " deep"};
        }
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

// Appends the pointer of target within node to pointer; false when target is not in it.
bool findPointer(const Json& node, const Json& target, std::string& pointer) {
    if (&node == &target) {
        return true;
    }
    const std::size_t length = pointer.size();
    if (node.is_object()) {
        for (auto item = node.begin(); item != node.end(); ++item) {
            pointer += "/" + escapePointerToken(item.key());
            if (findPointer(item.value(), target, pointer)) {
                return true;
            }
            pointer.resize(length);
        }
    } else if (node.is_array()) {
        for (std::size_t index = 0; index < node.size(); ++index) {
            pointer += "/" + std::to_string(index);
            if (findPointer(node[index], target, pointer)) {
                return true;
            }
            pointer.resize(length);
        }
    }
    return false;
}

}  // namespace

bool isLongInteger(const Json& value) {
    return value.is_binary();
}

std::string longIntegerText(const Json& value) {
    const Json::binary_t& bytes = value.get_binary();
    return std::string(bytes.begin(), bytes.end());
}

std::string JsonDocument::pointerOf(const Json& node) const {
    std::string pointer;
    findPointer(root, node, pointer);
    return pointer;
}

JsonDocument parseJsonText(const std::string& text) {
    JsonDocument document;
    DocumentBuilder builder(document);
    Json::sax_parse(text, &builder);
    return document;
}

}  // namespace tvsim::modelfile
