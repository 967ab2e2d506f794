// The JSON library's error texts as model-file messages show them. The texts
// come from the library, translated (its prefix and position dropped, the line
// given instead), so an update of the library can change them: these cases pin
// each kind of syntax fault word for word.
#include <tvsim/model_file.h>

#include <gtest/gtest.h>

namespace {

struct SyntaxCase {
    const char* name;
    const char* text;
    const char* message;  // the whole ModelFileError message for the source "tv.json"
};

const SyntaxCase kSyntaxCases[] = {
    {"EndOfInputInAnObject", "{\n  \"name\": \"tv\"\n",
     "tv.json:3: invalid JSON: syntax error while parsing object - unexpected end of input; expected '}'"},
    {"EmptyText", "",
     "tv.json:1: invalid JSON: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
     "literal"},
    {"MissingComma", "{\n  \"name\": \"a\" \"b\"\n}",
     "tv.json:2: invalid JSON: syntax error while parsing object - unexpected string literal; expected '}'"},
    {"TrailingCommaInAnArray", "{\n  \"values\": [1,]\n}",
     "tv.json:2: invalid JSON: syntax error while parsing value - unexpected ']'; expected '[', '{', or a literal"},
    {"MisspeltLiteral", "{\n  \"name\": tru\n}",
     "tv.json:2: invalid JSON: syntax error while parsing value - invalid literal; last read: '\"name\": tru<U+000A>'"},
    {"UnterminatedString", "{\n  \"name\": \"tv\n}",
     "tv.json:2: invalid JSON: syntax error while parsing value - invalid string: control character U+000A (LF) must "
     "be escaped to \\u000A or \\n; last read: '\"tv<U+000A>'"},
    {"ControlCharacterInAString", "{\n  \"name\": \"a\tb\"\n}",
     "tv.json:2: invalid JSON: syntax error while parsing value - invalid string: control character U+0009 (HT) must "
     "be escaped to \\u0009 or \\t; last read: '\"a<U+0009>'"},
    {"NumberBeyondADouble", "{\n  \"name\": 1e400\n}", "tv.json:2: invalid JSON: number overflow parsing '1e400'"},
    {"TextAfterTheDocument", "{}\n{}",
     "tv.json:2: invalid JSON: syntax error while parsing value - unexpected '{'; expected end of input"},
};

class JsonErrorText : public testing::TestWithParam<SyntaxCase> {};

TEST_P(JsonErrorText, IsTranslatedWordForWord) {
    try {
        tvsim::parseModelText(GetParam().text, "tv.json");
        ADD_FAILURE() << "accepted";
    } catch (const tvsim::ModelFileError& error) {
        EXPECT_EQ(GetParam().message, std::string(error.what()));
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, JsonErrorText, testing::ValuesIn(kSyntaxCases),
                         [](const testing::TestParamInfo<SyntaxCase>& tested) {
                             return std::string(tested.param.name);
                         });

}  // namespace
