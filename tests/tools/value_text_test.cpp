// The text forms of values on sactl's command line: each accepted text reads
// back in its canonical form, and each refused one gets its one-line reason.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "value_text.h"

namespace {

using tvsim::ValueType;

struct TextCase {
    ValueType type;
    std::string text;
    std::string canonical;  // the formatted value; empty when the text is refused
    std::string error;      // the reason when refused
};

const TextCase kCases[] = {
    {ValueType::INTEGER, "-5", "-5", ""},
    {ValueType::INT64, "9000000000000", "9000000000000", ""},
    {ValueType::STRING, "[not json", "[not json", ""},
    {ValueType::INTEGER_VECTOR, "[1, 2,3]", "[1,2,3]", ""},
    {ValueType::STRING_VECTOR, "[ \"eng\",\"fra\"]", "[\"eng\",\"fra\"]", ""},
    {ValueType::INTEGER, "loud", "", "\"loud\" is not an integer"},
    {ValueType::INTEGER, "3000000000", "",
     "3000000000 is out of range for a 32-bit integer (-2147483648 to 2147483647)"},
    // Beyond 64 bits is out of range, not a fraction.
    {ValueType::INTEGER, "99999999999999999999999", "",
     "99999999999999999999999 is out of range for a 32-bit integer (-2147483648 to 2147483647)"},
    {ValueType::INT64, "[\"\xff\"]", "", "\"[\\\"\xEF\xBF\xBD\\\"]\" is not a 64-bit integer"},
    {ValueType::STRING_VECTOR, "[\"a\"", "", "\"[\\\"a\\\"\" is not a JSON array of strings like [\"eng\",\"fra\"]"},
    {ValueType::INTEGER_VECTOR, "[1,\"x\"]", "", "element 1: expected an integer, got the string \"x\""},
};

TEST(ValueTextTest, AcceptedTextsReadBackCanonicalAndRefusedOnesSayWhy) {
    for (const TextCase& textCase : kCases) {
        SCOPED_TRACE(textCase.text);
        try {
            const tvsim::ModelValue value = sactl::parseValueText(textCase.type, textCase.text);
            EXPECT_EQ(textCase.type, tvsim::valueTypeOf(value));
            EXPECT_EQ(textCase.canonical, sactl::formatValueText(value));
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(textCase.error, error.what());
        }
    }
    // Bytes that are not UTF-8 (strings the model holds) print as U+FFFD instead of ending the program.
    EXPECT_EQ("[\"a\xEF\xBF\xBD\"]", sactl::formatValueText(std::vector<std::string>{"a\xff"}));
}

}  // namespace
