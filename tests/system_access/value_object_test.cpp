// ValueObject: every conversion of every kind at its boundaries, what
// construction, assignment, copy and move take, and the string form (classic
// and under another global locale) of scalars and nested lists.
#include <system_access/value_object.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::system::access {
namespace {

using Point = base::container::Point;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr float kNanF = std::numeric_limits<float>::quiet_NaN();

ValueObject withKind(ValueObject value, int kind) {
    value.m_type = static_cast<ValueObject::ValueType>(kind);
    return value;
}

ValueObject listOf(std::vector<ValueObject> elements) {
    ValueObject list;
    list.m_type = ValueObject::VALUE_TYPE_VECTOR;
    list.m_vector = std::move(elements);
    return list;
}

template <typename Number>
std::string streamText(Number number) {
    std::stringstream stream;
    stream << number;
    return stream.str();
}

bool sameFloating(double actual, double expected) {
    return std::isnan(expected) ? std::isnan(actual) : actual == expected;
}

struct ConversionCase {
    const char* name;
    ValueObject value;
    bool asBool;
    int asInt;
    unsigned int asUint;
    long long asInt64;
    unsigned long long asUint64;
    float asFloat;
    double asDouble;
    Point asPoint;
};

class ValueObjectConversion : public testing::TestWithParam<ConversionCase> {};

TEST_P(ValueObjectConversion, GivesTheTableValueForEveryTarget) {
    const ConversionCase& c = GetParam();
    const ValueObject& value = c.value;
    EXPECT_EQ(static_cast<bool>(value), c.asBool);
    EXPECT_EQ(static_cast<int>(value), c.asInt);
    EXPECT_EQ(static_cast<unsigned int>(value), c.asUint);
    EXPECT_EQ(static_cast<long long>(value), c.asInt64);
    EXPECT_EQ(static_cast<unsigned long long>(value), c.asUint64);
    EXPECT_PRED2(sameFloating, static_cast<float>(value), c.asFloat);
    EXPECT_PRED2(sameFloating, static_cast<double>(value), c.asDouble);
    // long follows the rules of its width: 32 bits on armhf, 64 on x86-64.
    EXPECT_EQ(static_cast<long>(value), sizeof(long) == 8 ? static_cast<long>(c.asInt64) : static_cast<long>(c.asInt));
    EXPECT_EQ(static_cast<unsigned long>(value),
              sizeof(long) == 8 ? static_cast<unsigned long>(c.asUint64) : static_cast<unsigned long>(c.asUint));
    const Point point = value;
    EXPECT_EQ(point.x, c.asPoint.x);
    EXPECT_EQ(point.y, c.asPoint.y);
}

constexpr long long kInt64Min = LLONG_MIN;
constexpr unsigned long long kUint64Max = ULLONG_MAX;

using C = ConversionCase;
constexpr float kInfF = std::numeric_limits<float>::infinity();

// clang-format off
INSTANTIATE_TEST_SUITE_P(KindsAndBoundaries, ValueObjectConversion, testing::Values(
    //  name                 value                             bool   int      unsigned     long long      unsigned long long        float            double
    C{"Default",             ValueObject(),                    false, 0,       0,           0,             0,                        0.0f,            0.0, {}},
    C{"Point",               ValueObject(Point{3, -4}),        false, 0,       0,           0,             0,                        0.0f,            0.0, {3, -4}},
    C{"List",                listOf({ValueObject(5)}),         false, 0,       0,           0,             0,                        0.0f,            0.0, {}},
    C{"NullOverInt",         withKind(ValueObject(7), 0),      false, 0,       0,           0,             0,                        0.0f,            0.0, {}},
    C{"Kind11OverInt",       withKind(ValueObject(7), 11),     false, 0,       0,           0,             0,                        0.0f,            0.0, {}},
    C{"BoolKindOverInt7",    withKind(ValueObject(7), 5),      true,  1,       1,           1,             1,                        1.0f,            1.0, {}},
    C{"MinusOne",            ValueObject(-1),                  true,  -1,      UINT_MAX,    -1,            kUint64Max,               -1.0f,           -1.0, {}},
    C{"IntMin",              ValueObject(INT_MIN),             true,  INT_MIN, 2147483648u, INT_MIN,       18446744071562067968ull,  -2147483648.0f,  -2147483648.0, {}},
    C{"UintMax",             ValueObject(UINT_MAX),            true,  -1,      UINT_MAX,    4294967295ll,  4294967295ull,            4294967296.0f,   4294967295.0, {}},
    C{"TwoPow32Plus5",       ValueObject(4294967301ll),        true,  5,       5,           4294967301ll,  4294967301ull,            4294967296.0f,   4294967301.0, {}},
    C{"Int64Min",            ValueObject(kInt64Min),           true,  0,       0,           kInt64Min,     9223372036854775808ull,   -9.223372e18f,   -9223372036854775808.0, {}},
    C{"Uint64Max",           ValueObject(kUint64Max),          true,  -1,      UINT_MAX,    -1,            kUint64Max,               1.8446744e19f,   18446744073709551616.0, {}},
    C{"True",                ValueObject(true),                true,  1,       1,           1,             1,                        1.0f,            1.0, {}},
    C{"Plus399",             ValueObject(3.99),                true,  3,       3,           3,             3,                        3.99f,           3.99, {}},
    C{"Minus399",            ValueObject(-3.99),               true,  -3,      0,           -3,            0,                        -3.99f,          -3.99, {}},
    C{"FloatOneE10",         ValueObject(1e10f),               true,  INT_MAX, UINT_MAX,    10000000000ll, 10000000000ull,           1e10f,           1e10, {}},
    C{"NanFloat",            ValueObject(kNanF),               true,  0,       0,           0,             0,                        kNanF,           kNan, {}},
    C{"NanDouble",           ValueObject(kNan),                true,  0,       0,           0,             0,                        kNanF,           kNan, {}},
    C{"NegativeNanDouble",   ValueObject(-kNan),               true,  0,       0,           0,             0,                        kNanF,           kNan, {}},
    C{"PlusInf",             ValueObject(kInf),                true,  INT_MAX, UINT_MAX,    LLONG_MAX,     kUint64Max,               kInfF,           kInf, {}},
    C{"MinusInf",            ValueObject(-kInf),               true,  INT_MIN, 0,           kInt64Min,     0,                        -kInfF,          -kInf, {}},
    C{"TwoPow31",            ValueObject(2147483648.0),        true,  INT_MAX, 2147483648u, 2147483648ll,  2147483648ull,            2147483648.0f,   2147483648.0, {}},
    C{"JustBelowIntMax",     ValueObject(2147483647.5),        true,  INT_MAX, 2147483647u, 2147483647ll,  2147483647ull,            2147483648.0f,   2147483647.5, {}},
    C{"TwoPow63",            ValueObject(9223372036854775808.0), true, INT_MAX, UINT_MAX,   LLONG_MAX,     9223372036854775808ull,   9.223372e18f,    9223372036854775808.0, {}},
    C{"BeyondUint64",        ValueObject(1e20),                true,  INT_MAX, UINT_MAX,    LLONG_MAX,     kUint64Max,               1e20f,           1e20, {}},
    C{"BelowInt64",          ValueObject(-1e19),               true,  INT_MIN, 0,           kInt64Min,     0,                        -1e19f,          -1e19, {}},
    C{"BeyondFloat",         ValueObject(1e300),               true,  INT_MAX, UINT_MAX,    LLONG_MAX,     kUint64Max,               kInfF,           1e300, {}}),
    [](const testing::TestParamInfo<ConversionCase>& caseInfo) { return std::string(caseInfo.param.name); });
// clang-format on

constexpr Point kSamplePoint{1, 2};

struct NativeCase {
    ValueObject::ValueType kind;
    ValueObject constructed;
    std::function<void(ValueObject&)> assign;
};

TEST(ValueObjectKind, NativeValuesConstructAndAssignTheirKindOnly) {
    using V = ValueObject;
    const std::vector<NativeCase> cases = {
        {V::VALUE_TYPE_BOOL, V(true), [](V& v) { v = true; }},
        {V::VALUE_TYPE_INT, V(-7), [](V& v) { v = -7; }},
        {V::VALUE_TYPE_UINT, V(7u), [](V& v) { v = 7u; }},
        {V::VALUE_TYPE_INT64, V(-7l), [](V& v) { v = -7l; }},
        {V::VALUE_TYPE_UINT64, V(7ul), [](V& v) { v = 7ul; }},
        {V::VALUE_TYPE_INT64, V(-7ll), [](V& v) { v = -7ll; }},
        {V::VALUE_TYPE_UINT64, V(7ull), [](V& v) { v = 7ull; }},
        {V::VALUE_TYPE_FLOAT, V(1.5f), [](V& v) { v = 1.5f; }},
        {V::VALUE_TYPE_DOUBLE, V(1.5), [](V& v) { v = 1.5; }},
        {V::VALUE_TYPE_STRING, V(std::string("s")), [](V& v) { v = std::string("s"); }},
        {V::VALUE_TYPE_STRING, V("s"), [](V& v) { v = "s"; }},
        {V::VALUE_TYPE_STRING, V(static_cast<const char*>(nullptr)),
         [](V& v) { v = static_cast<const char*>(nullptr); }},
        {V::VALUE_TYPE_POINT, V(kSamplePoint), [](V& v) { v = kSamplePoint; }},
    };
    for (const NativeCase& c : cases) {
        EXPECT_EQ(c.constructed.type(), c.kind);
        ValueObject target("stale");
        target.m_point = Point{8, 9};
        c.assign(target);
        EXPECT_EQ(target.type(), c.kind);
        EXPECT_EQ(target.convertToStringType(), c.constructed.convertToStringType());
        // The members of other kinds stay as they were, unseen.
        EXPECT_EQ(target.m_string, c.kind == V::VALUE_TYPE_STRING ? c.constructed.m_string : "stale");
        EXPECT_EQ(target.m_point.x, c.kind == V::VALUE_TYPE_POINT ? 1 : 8);
    }
    EXPECT_EQ(V().type(), V::VALUE_TYPE_UNDEFINED);
}

// Construction copies or takes only the member of the kind; assignment takes every member and leaves a
// moved-from object its kind, scalar and point, with no text and no list.
TEST(ValueObjectCopyMove, ConstructionTakesTheKindsMemberAssignmentTakesEveryMember) {
    ValueObject source(std::string("stale"));
    source.m_point = Point{1, 2};
    source.m_vector.push_back(ValueObject(3));
    source = 7;
    const ValueObject copy(source);
    EXPECT_EQ(static_cast<int>(copy), 7);
    EXPECT_TRUE(copy.m_string.empty() && copy.m_vector.empty());
    EXPECT_EQ(copy.m_point.x, 0);
    ValueObject copied(2.5);
    copied = source;
    EXPECT_EQ(static_cast<int>(copied), 7);
    EXPECT_EQ(copied.m_string, "stale");
    EXPECT_EQ(copied.m_point.y, 2);
    EXPECT_EQ(copied.m_vector.size(), 1u);

    const ValueObject moved(std::move(source));
    EXPECT_EQ(static_cast<int>(moved), 7);
    EXPECT_TRUE(moved.m_string.empty());
    EXPECT_EQ(source.m_string, "stale");  // not the kind's member, so not taken
    ValueObject assigned;
    assigned = std::move(source);
    EXPECT_EQ(static_cast<int>(assigned), 7);
    EXPECT_EQ(assigned.m_string, "stale");
    EXPECT_EQ(assigned.m_vector.size(), 1u);
    EXPECT_EQ(assigned.m_point.y, 2);
    EXPECT_EQ(source.type(), ValueObject::VALUE_TYPE_INT);
    EXPECT_EQ(static_cast<int>(source), 7);
    EXPECT_EQ(source.m_point.x, 1);
    EXPECT_TRUE(source.m_string.empty() && source.m_vector.empty());

    for (ValueObject taken :
         {ValueObject(std::string(100, 'x')), listOf({ValueObject(1), ValueObject(2)}), ValueObject(Point{5, 6})}) {
        const std::string text = taken.convertToStringType();
        const ValueObject taker(std::move(taken));
        EXPECT_EQ(taker.convertToStringType(), text);
        EXPECT_EQ(taken.type(), taker.type());  // the source keeps its kind, emptied of text and list
        EXPECT_EQ(taken.convertToStringType(), taken.type() == ValueObject::VALUE_TYPE_VECTOR  ? "[]"
                                               : taken.type() == ValueObject::VALUE_TYPE_POINT ? "(5,6)"
                                                                                               : "");
    }
}

TEST(ValueObjectCopyMove, NestedListsCopyDeeplyAndSurviveSelfReference) {
    const ValueObject source = listOf({ValueObject(1), listOf({ValueObject("a"), listOf({ValueObject("b")})})});
    ValueObject constructed(source);
    ValueObject assigned;
    assigned = source;
    constructed.m_vector[1].m_vector[1].m_vector[0] = "changed";
    assigned.m_vector[1].m_vector[0] = 9;
    EXPECT_EQ(source.convertToStringType(), "[1,[a,[b]]]");
    EXPECT_EQ(constructed.convertToStringType(), "[1,[a,[changed]]]");
    EXPECT_EQ(assigned.convertToStringType(), "[1,[9,[b]]]");

    // Assigning an object one of its own elements, which the assignment destroys, or itself.
    ValueObject holder = listOf({listOf({ValueObject("p"), ValueObject("q"), ValueObject("r")})});
    holder = holder.m_vector[0];
    EXPECT_EQ(holder.convertToStringType(), "[p,q,r]");
    holder = std::move(holder.m_vector[2]);
    EXPECT_EQ(holder.convertToStringType(), "r");
    ValueObject& alias = holder;  // through a reference, so compilers do not warn of the self-assignments
    holder = static_cast<const ValueObject&>(alias);
    holder = std::move(alias);
    EXPECT_EQ(holder.convertToStringType(), "r");

    // Recursion is per level: a deep chain copies, prints and is destroyed.
    ValueObject deep;
    for (int level = 0; level < 1000; ++level) {
        deep = listOf({std::move(deep)});
    }
    EXPECT_EQ(ValueObject(deep).convertToStringType(), std::string(1000, '[') + "Undefined" + std::string(1000, ']'));
}

// Numbers beyond these are checked against the stream below.
TEST(ValueObjectStringForm, WritesTheTextOfEveryKind) {
    // clang-format off
    const std::pair<ValueObject, std::string> cases[] = {
        {ValueObject(4294967295u), "4294967295"}, {ValueObject(true), "TRUE"}, {ValueObject(false), "FALSE"},
        {withKind(ValueObject(2), 5), "TRUE"}, {ValueObject(1234567.0), "1.23457e+06"}, {ValueObject(-kNan), "-nan"},
        {ValueObject(-kNanF), "-nan"}, {ValueObject(0.1f), "0.1"}, {ValueObject("x y"), "x y"},
        {ValueObject(Point{3, -4}), "(3,-4)"}, {listOf({}), "[]"},
        {listOf({ValueObject(1), listOf({ValueObject("a"), ValueObject("b")})}), "[1,[a,b]]"},
        {listOf({ValueObject("a,b"), ValueObject(), withKind(ValueObject(), 0), withKind(ValueObject(1), 11)}),
         "[a,b,Undefined,null,]"},
        {ValueObject(), "Undefined"}, {withKind(ValueObject(1), 0), "null"}, {withKind(ValueObject(1), 11), ""},
        {withKind(ValueObject("s"), 254), ""}, {withKind(ValueObject(1), -1), ""},
    };
    // clang-format on
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(value.convertToStringType(), text);
        EXPECT_EQ(static_cast<std::string>(value), text);
    }
}

// Every kind of double (normal, subnormal, huge, tiny, round) and integer boundaries: the text without a stream
// must be the stream's text, character for character.
TEST(ValueObjectStringForm, EqualsTheDefaultStreamTextForGeneratedNumbers) {
    std::mt19937_64 random(20240611);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        for (double each : {number, std::ldexp(bits % 1000000, static_cast<int>(bits % 200) - 100),
                            std::round(bits % 2000000 / 10.0) - 0.5, 999999.5, 0.000099999950000000}) {
            ASSERT_EQ(ValueObject(each).convertToStringType(), streamText(each));
            ASSERT_EQ(ValueObject(static_cast<float>(each)).convertToStringType(),
                      streamText(static_cast<double>(static_cast<float>(each))));
        }
        ASSERT_EQ(ValueObject(bits >> (bits % 64)).convertToStringType(), streamText(bits >> (bits % 64)));
        ASSERT_EQ(ValueObject(static_cast<long long>(bits)).convertToStringType(),
                  streamText(static_cast<long long>(bits)));
    }
}

// Groups thousands with ',' so that any text not written through the locale shows.
struct ThousandsGrouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ValueObjectStringForm, FollowsANonClassicGlobalLocale) {
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new ThousandsGrouping));
    EXPECT_EQ(ValueObject(1234567).convertToStringType(), "1,234,567");
    EXPECT_EQ(ValueObject(kUint64Max).convertToStringType(), "18,446,744,073,709,551,615");
    EXPECT_EQ(ValueObject(1234.5).convertToStringType(), "1,234.5");
    EXPECT_EQ(ValueObject(Point{1000, -2000}).convertToStringType(), "(1,000,-2,000)");
    EXPECT_EQ(listOf({ValueObject(1000), ValueObject("x"), ValueObject(true)}).convertToStringType(), "[1,000,x,TRUE]");
    EXPECT_EQ(ValueObject("12345").convertToStringType(), "12345");
    EXPECT_EQ(ValueObject(-999).convertToStringType(), "-999");
    std::locale::global(previous);
}

TEST(ValueObjectListConversion, ReadsListsElementWiseAndScalarsAsOneElement) {
    using Unsigned = std::vector<unsigned int>;
    using Strings = std::vector<std::string>;
    const std::tuple<ValueObject, Unsigned, Strings> cases[] = {
        {ValueObject(), {0}, {"Undefined"}},
        {ValueObject(-1), {4294967295u}, {"-1"}},
        {ValueObject("x y"), {0}, {"x y"}},
        {withKind(ValueObject(3), 0), {0}, {"null"}},
        {listOf({}), {}, {}},
        {listOf({ValueObject(1), listOf({ValueObject("a")}), ValueObject(-1), ValueObject(2.5), ValueObject("7")}),
         {1, 0, 4294967295u, 2, 0},
         {"1", "[a]", "-1", "2.5", "7"}},
    };
    for (const auto& [value, unsignedList, stringList] : cases) {
        EXPECT_EQ(static_cast<Unsigned>(value), unsignedList) << value.convertToStringType();
        EXPECT_EQ(static_cast<Strings>(value), stringList) << value.convertToStringType();
    }
}

}  // namespace
}  // namespace velmora::system::access
