// A pattern for what a client asked of the TV: a connect to a path, an invoke
// of an action with its arguments matched by position, or a write of a value
// (matched at position 0 against the value's text form, valueText). Scripts and
// tests wait on one (TvControl::waitForRecord) instead of polling the records.
#pragma once

#include <tvsim/call_records.h>
#include <tvsim/model_value.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tvsim {

struct ClientConnect;

// One argument an invoke's pattern asks for, at its 0-based position.
struct ArgumentMatcher {
    enum class Kind { Exact, Any, Regex };

    int position = 0;
    Kind kind = Kind::Exact;
    std::string text;  // Exact: the value; Regex: a POSIX extended expression (no back-references)
                       // the whole value matches; Any: unused
};

struct RecordPattern {
    enum class Kind { Connect, Invoke, Write };

    Kind kind = Kind::Invoke;
    std::string path;
    // Invoke: an argument the pattern names nothing of may be anything. Write: at most one, at position 0,
    // for the written value; none: any value.
    std::vector<ArgumentMatcher> arguments;
};

// "exact", "any", "regex" and back; nullopt for another word.
const char* argumentMatcherName(ArgumentMatcher::Kind kind);
std::optional<ArgumentMatcher::Kind> argumentMatcherKind(const std::string& name);
// "connect", "invoke", "write" and back.
const char* recordKindName(RecordPattern::Kind kind);
std::optional<RecordPattern::Kind> recordKind(const std::string& name);

// The text a write's matcher meets: an integer in decimal, a string as itself,
// a vector as its JSON text ([1,2], ["a","b"]).
std::string valueText(const ModelValue& value);

// A matcher's text (a value or an expression) is as long as an invoke's arguments may be. A pattern names at
// most kMaxArgumentPosition + 1 positions, each once.
constexpr std::size_t kMaxMatcherBytes = 4096;

// Refuses (InvalidArgument) a pattern with an empty path, arguments on a
// connect, a position outside 0 to kMaxArgumentPosition or repeated, a text
// longer than kMaxMatcherBytes or a regular expression that does not compile
// or holds a back-reference.
void checkPattern(const RecordPattern& pattern);

// A pattern that checkPattern took, held against many records: its
// expressions are compiled once. It refers to the pattern, which must outlive it.
class RecordMatcher {
public:
    explicit RecordMatcher(const RecordPattern& pattern);
    ~RecordMatcher();

    RecordMatcher(const RecordMatcher&) = delete;
    RecordMatcher& operator=(const RecordMatcher&) = delete;

    // Why the record does not match, in one short phrase ("another path",
    // "position 2: 'dvb://1.1.5' is not 'dvb://1.1.4'", "no argument at
    // position 3"); nullopt when it matches.
    std::optional<std::string> mismatch(const ClientConnect& connect) const;
    std::optional<std::string> mismatch(const InvokeRecord& invoke) const;
    // "value: '3' is not '30'" and the like.
    std::optional<std::string> mismatch(const WriteRecord& write) const;

private:
    class Expression;
    friend void checkPattern(const RecordPattern& pattern);  // compiles each expression to refuse a bad one

    std::optional<std::string> argumentMismatch(std::size_t index,
                                                const std::vector<lomodelapi::Argument>& arguments) const;
    // The matcher's verdict on a value, the phrase starting with `at` ("position 2", "value").
    std::optional<std::string> textMismatch(std::size_t index, const std::string& at, const std::string& value) const;

    const RecordPattern& m_pattern;
    std::vector<std::unique_ptr<Expression>> m_expressions;  // by matcher; null but for a regex
};

}  // namespace tvsim
