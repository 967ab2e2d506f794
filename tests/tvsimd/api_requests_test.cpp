// The dashboard's request decoding: every body either decodes into the command
// it says or is refused with the status and message the page shows.
#include <api_requests.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace tvsimd::web {
namespace {

struct Refusal {
    const char* name;
    std::function<void()> decode;
    const char* message;  // a part of it
};

TEST(ApiRequests, RefusedBodiesGetStatus400AndSayWhy) {
    const tvsim::ValueType integer = tvsim::ValueType::INTEGER;
    const Refusal refusals[] = {
        {"not JSON", [] { decodeSetValue("{\"path\":"); }, "not valid JSON"},
        {"not an object", [] { decodeFault("[1]"); }, "must be a JSON object"},
        {"unknown field", [] { decodeSetValue(R"({"path":"a","value":1,"extra":0})"); }, "unknown field 'extra'"},
        {"path not a string", [] { decodeSetValue(R"({"path":3,"value":1})"); }, "'path' must be a string"},
        {"empty path", [] { decodeAnswer(R"({"path":"","answer":"own"})"); }, "must not be empty"},
        {"no value", [] { decodeSetValue(R"({"path":"a"})"); }, "'value' is missing"},
        {"unknown fault", [] { decodeFault(R"({"fault":"melt","path":"a"})"); }, "unknown fault 'melt'"},
        {"framework fault with a path", [] { decodeFault(R"({"fault":"null-root-object","path":"a"})"); },
         "takes no path"},
        {"report-type without type", [] { decodeFault(R"({"fault":"report-type","path":"a"})"); }, "'type' is missing"},
        {"clear not a flag", [] { decodeFault(R"({"fault":"fail-getter","path":"a","clear":1})"); }, "true or false"},
        {"unknown answer", [] { decodeAnswer(R"({"path":"a","answer":"maybe"})"); }, "got 'maybe'"},
        // The value's own checks are parseValueJson's; here only that a refusal is a 400.
        {"integer as text", [&] { decodeValue(integer, nlohmann::json("7")); }, "expected an integer"},
    };
    for (const Refusal& refusal : refusals) {
        try {
            refusal.decode();
            ADD_FAILURE() << refusal.name << ": accepted";
        } catch (const ApiError& error) {
            EXPECT_EQ(error.status(), 400) << refusal.name;
            EXPECT_NE(std::string(error.what()).find(refusal.message), std::string::npos)
                << refusal.name << ": " << error.what();
        }
    }
}

TEST(ApiRequests, BodiesDecodeIntoTheirCommands) {
    const SetValueRequest set = decodeSetValue(R"({"path":"orvik.sl2.vstr.audio.languages","value":["eng","nor"]})");
    EXPECT_EQ(set.path, "orvik.sl2.vstr.audio.languages");
    EXPECT_EQ(decodeValue(tvsim::ValueType::STRING_VECTOR, set.value),
              tvsim::ModelValue(std::vector<std::string>{"eng", "nor"}));

    const FaultRequest refuse = decodeFault(R"({"fault":"refuse-invokes","path":"a.b","count":3,"status":9})");
    EXPECT_EQ(refuse.kind, FaultKind::RefuseInvokes);
    EXPECT_EQ(refuse.path, "a.b");
    EXPECT_EQ(refuse.count, 3);
    EXPECT_EQ(refuse.status, 9);
    EXPECT_FALSE(refuse.clear);
    const FaultRequest heal = decodeFault(R"({"fault":"fail-getter","path":"a","clear":true})");
    EXPECT_TRUE(heal.clear);
    const FaultRequest framework = decodeFault(R"({"fault":"refuse-interface-reference","status":4})");
    EXPECT_EQ(framework.kind, FaultKind::RefuseInterfaceReference);
    EXPECT_TRUE(framework.path.empty());
    EXPECT_EQ(framework.status, 4);

    const AnswerRequest late = decodeAnswer(R"({"path":"act","answer":"failure","error":7,"delayMs":250})");
    EXPECT_EQ(late.kind, AnswerKind::Failure);
    EXPECT_EQ(late.error, 7);
    EXPECT_EQ(late.delay.count(), 250);
    EXPECT_EQ(decodeAnswer(R"({"path":"act","answer":"none"})").kind, AnswerKind::NoReply);
}

TEST(ApiRequests, ErrorBodiesStayOneLineOfJson) {
    const std::string body = errorBody("bad \"x\"\nand \xff");
    EXPECT_EQ(body.find('\n'), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(body).at("error").get<std::string>(), "bad \"x\"\nand \xef\xbf\xbd");
}

}  // namespace
}  // namespace tvsimd::web
