// Record patterns: which record a wait answers, and why the others did not match.
#include <tvsim/control_error.h>
#include <tvsim/record_pattern.h>
#include <tvsim/tv_control.h>

#include <regex.h>

#include <algorithm>
#include <cctype>
#include <set>

namespace tvsim {
namespace {

ControlError refused(const std::string& sentence) {
    return ControlError(ControlErrorKind::INVALID_ARGUMENT, sentence);
}

}  // namespace

// A POSIX extended expression that the whole value must match. The C library
// matches one without back-references in time polynomial in the value's
// length, without recursion; a backtracking engine takes exponential time on
// patterns such as (a*)*b, and a client's pattern runs on the service's bus thread.
class RecordMatcher::Expression {
public:
    explicit Expression(const std::string& text)
        : m_compiled(!hasBackReference(text) &&
                     regcomp(&m_regex, ("^(" + text + ")$").c_str(), REG_EXTENDED | REG_NOSUB) == 0) {}
    ~Expression() {
        if (m_compiled) {
            regfree(&m_regex);
        }
    }
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    bool compiled() const { return m_compiled; }
    bool matches(const std::string& value) const { return regexec(&m_regex, value.c_str(), 0, nullptr, 0) == 0; }

private:
    static bool hasBackReference(const std::string& text) {
        for (std::size_t at = 0; at + 1 < text.size(); ++at) {
            if (text[at] == '\\') {
                if (std::isdigit(static_cast<unsigned char>(text[at + 1])) != 0) {
                    return true;
                }
                ++at;  // an escaped character, a backslash included
            }
        }
        return false;
    }

    regex_t m_regex{};
    const bool m_compiled;
};

const char* argumentMatcherName(ArgumentMatcher::Kind kind) {
    switch (kind) {
        case ArgumentMatcher::Kind::Exact:
            return "exact";
        case ArgumentMatcher::Kind::Any:
            return "any";
        case ArgumentMatcher::Kind::Regex:
            break;
    }
    return "regex";
}

std::optional<ArgumentMatcher::Kind> argumentMatcherKind(const std::string& name) {
    for (ArgumentMatcher::Kind kind :
         {ArgumentMatcher::Kind::Exact, ArgumentMatcher::Kind::Any, ArgumentMatcher::Kind::Regex}) {
        if (name == argumentMatcherName(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

const char* recordKindName(RecordPattern::Kind kind) {
    switch (kind) {
        case RecordPattern::Kind::Connect:
            return "connect";
        case RecordPattern::Kind::Invoke:
            return "invoke";
        case RecordPattern::Kind::Write:
            break;
    }
    return "write";
}

std::optional<RecordPattern::Kind> recordKind(const std::string& name) {
    for (RecordPattern::Kind kind :
         {RecordPattern::Kind::Connect, RecordPattern::Kind::Invoke, RecordPattern::Kind::Write}) {
        if (name == recordKindName(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

void checkPattern(const RecordPattern& pattern) {
    if (pattern.path.empty()) {
        throw refused("A record pattern needs a path.");
    }
    if (pattern.kind == RecordPattern::Kind::Connect && !pattern.arguments.empty()) {
        throw refused("A connect has no arguments to match.");
    }
    if (pattern.kind == RecordPattern::Kind::Write &&
        (pattern.arguments.size() > 1 || (!pattern.arguments.empty() && pattern.arguments[0].position != 0))) {
        throw refused("A write's value is matched at position 0 only.");
    }
    std::set<int> positions;
    for (const ArgumentMatcher& matcher : pattern.arguments) {
        if (matcher.position < 0 || matcher.position > kMaxArgumentPosition ||
            !positions.insert(matcher.position).second) {
            throw refused("Argument position " + std::to_string(matcher.position) + " is outside 0 to " +
                          std::to_string(kMaxArgumentPosition) + " or named twice.");
        }
        if (matcher.text.size() > kMaxMatcherBytes) {
            throw refused("A matcher's text takes at most " + std::to_string(kMaxMatcherBytes) + " bytes.");
        }
        if (matcher.kind != ArgumentMatcher::Kind::Regex) {
            continue;
        }
        if (!RecordMatcher::Expression(matcher.text).compiled()) {
            throw refused("'" + matcher.text + "' is not a regular expression (POSIX extended, no back-references).");
        }
    }
}

RecordMatcher::RecordMatcher(const RecordPattern& pattern) : m_pattern(pattern) {
    for (const ArgumentMatcher& matcher : pattern.arguments) {
        m_expressions.push_back(
            matcher.kind == ArgumentMatcher::Kind::Regex ? std::make_unique<Expression>(matcher.text) : nullptr);
    }
}

RecordMatcher::~RecordMatcher() = default;

std::string valueText(const ModelValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return *text;
    }
    return valueJsonText(value);
}

std::optional<std::string> RecordMatcher::mismatch(const ClientConnect& connect) const {
    if (m_pattern.kind != RecordPattern::Kind::Connect) {
        return "a connect";
    }
    if (connect.path != m_pattern.path) {
        return "another path";
    }
    return std::nullopt;
}

std::optional<std::string> RecordMatcher::mismatch(const InvokeRecord& invoke) const {
    if (m_pattern.kind != RecordPattern::Kind::Invoke) {
        return "an invoke";
    }
    if (invoke.path != m_pattern.path) {
        return "another path";
    }
    for (std::size_t index = 0; index < m_pattern.arguments.size(); ++index) {
        if (auto why = argumentMismatch(index, invoke.arguments)) {
            return why;
        }
    }
    return std::nullopt;
}

std::optional<std::string> RecordMatcher::mismatch(const WriteRecord& write) const {
    if (m_pattern.kind != RecordPattern::Kind::Write) {
        return "a write";
    }
    if (write.path != m_pattern.path) {
        return "another path";
    }
    if (m_pattern.arguments.empty()) {
        return std::nullopt;
    }
    return textMismatch(0, "value", valueText(write.value));
}

std::optional<std::string> RecordMatcher::argumentMismatch(std::size_t index,
                                                           const std::vector<lomodelapi::Argument>& arguments) const {
    const ArgumentMatcher& matcher = m_pattern.arguments[index];
    const std::string at = "position " + std::to_string(matcher.position);
    const auto found = std::find_if(arguments.begin(), arguments.end(), [&](const lomodelapi::Argument& argument) {
        return argument.position == matcher.position;
    });
    if (found == arguments.end()) {
        return "no argument at " + at;
    }
    return textMismatch(index, at, found->value);
}

std::optional<std::string> RecordMatcher::textMismatch(std::size_t index, const std::string& at,
                                                       const std::string& value) const {
    const ArgumentMatcher& matcher = m_pattern.arguments[index];
    switch (matcher.kind) {
        case ArgumentMatcher::Kind::Any:
            return std::nullopt;
        case ArgumentMatcher::Kind::Exact:
            if (value == matcher.text) {
                return std::nullopt;
            }
            return at + ": '" + value + "' is not '" + matcher.text + "'";
        case ArgumentMatcher::Kind::Regex:
            break;
    }
    if (m_expressions[index]->matches(value)) {
        return std::nullopt;
    }
    return at + ": '" + value + "' does not match /" + matcher.text + "/";
}

}  // namespace tvsim
