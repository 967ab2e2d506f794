// Scenario files: what the decoder refuses, each with its one line, and the
// file form that writing a decoded scenario gives back.
#include <tvsim/scenario_file.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace {

TEST(ScenarioFileTest, RefusedFilesNameThePlaceAndTheFaultInOneLine) {
    const std::string steps = R"({"steps": [)";
    const std::string wait = R"({"wait": {"ms": 1}})";
    std::string tooMany = steps + wait;
    for (int step = 0; step < 1000; ++step) {
        tooMany += "," + wait;
    }
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{\n\"steps\": [}",
         "s.json:2: invalid JSON: syntax error while parsing value - unexpected '}'; expected "
         "'[', '{', or a literal"},
        {R"({"stepz": []})",
         "s.json: /stepz: unknown key \"stepz\" (known keys: name, tv, time-limit-ms, "
         "client-must-succeed, steps, expectations, nothing-else)"},
        {steps + R"({"wait": {"ms": 1}, "set-value": {"path": "a", "value": 1}}]})",
         "s.json: /steps/0/wait: a step takes one action, not both \"set-value\" and \"wait\""},
        {steps + R"({"at-ms": 5, "after": "a", "wait": {"ms": 1}}]})",
         "s.json: /steps/0/at-ms: a step is due \"at-ms\" or \"after\" another, not both"},
        {steps + wait + R"(, {"after": "x", "wait": {"ms": 1}}]})",
         "s.json: /steps/1/after: no step or expectation has the id 'x'"},
        {steps + R"({"id": "a", "wait": {"ms": 1}}], "expectations": [{"id": "a", "connect": {"path": "p"}}]})",
         "s.json: /expectations/0/id: the id 'a' is taken (at /steps/0/id)"},
        {steps + R"({"id": "a", "after": "b", "wait": {"ms": 1}}], "expectations": [{"id": "b", "connect": )"
                 R"({"path": "p"}, "window": {"after": "a"}}]})",
         "s.json: /steps/0/after: 'a' waits for itself: a -> b -> a"},
        {steps + R"({"emit-result": {"path": "p", "action-id": "c", "results": []}}], "expectations": )"
                 R"([{"id": "c", "connect": {"path": "p"}}]})",
         "s.json: /steps/0/emit-result/action-id: 'c' is not an invoke expectation"},
        {steps + R"({"fault": {"kind": "fail-getter", "path": "p", "count": 2}}]})",
         "s.json: /steps/0/fault/count: \"count\" does not go with \"fail-getter\""},
        {steps + R"({"set-reply": {"path": "p", "reply": {"error": 7, "no-reply": true}}}]})",
         "s.json: /steps/0/set-reply/reply: give at most one of \"results\", \"error\" and \"no-reply\""},
        {steps + R"({"set-value": {"path": "a", "value": [1, "x"]}}]})",
         "s.json: /steps/0/set-value/value/1: expected an integer, got the string \"x\""},
        {R"({"tv": {"content": {"values": [{"path": "a", "type": "float", "value": 1}]}}})",
         "s.json: /tv/content/values/0/type: unknown type \"float\" (types: integer, int64, string, integer-vector, "
         "string-vector)"},
        {R"({"expectations": [{"invoke": {"path": "p", "arguments": {"0": {"regex": "(a)\\1"}}}}]})",
         "s.json: /expectations/0/invoke/arguments/0: '(a)\\1' is not a regular expression (POSIX extended, no "
         "back-references)"},
        {R"({"expectations": [{"write": {"path": "p", "value": 1.5}}]})",
         "s.json: /expectations/0/write/value: expected an integer, a string or an array of them, got 1.5"},
        {R"({"expectations": [{"connect": {"path": "p"}, "window": {"from-ms": 200, "to-ms": 100}}]})",
         "s.json: /expectations/0/window/to-ms: the window closes (100 ms) before it opens (200 ms)"},
        {R"({"expectations": [{"connect": {"path": "p"}, "group": ")" + std::string(129, 'g') + "\"}]}",
         "s.json: /expectations/0/group: a name is at most 128 bytes; got 129"},
        {R"({"time-limit-ms": 600001})",
         "s.json: /time-limit-ms: 600001 is out of range for a time limit in ms (1 to 600000)"},
        {tooMany + "]}", "s.json: /steps: at most 1000 entries; got 1001"},
        {std::string(4 << 20, ' ') + "{}", "s.json: the text is larger than 4 MiB, the most a scenario file may hold"},
    };
    for (const auto& [text, message] : cases) {
        try {
            tvsim::parseScenarioText(text, "s.json", "");
            ADD_FAILURE() << "accepted: " << message;
        } catch (const tvsim::ScenarioFileError& error) {
            EXPECT_EQ(message, error.what());
        }
    }
    EXPECT_THROW(tvsim::readScenarioFile("/nonexistent/s.json"), tvsim::ScenarioFileError);
}

// Every kind of step and expectation written back as it was read; reading what was written gives it again.
TEST(ScenarioFileTest, WritingADecodedScenarioGivesItsFileBack) {
    const std::string text = R"({"name": "all", "tv": {"content": {"values": [{"path": "v", "type": "integer",
      "value": 1}]}}, "time-limit-ms": 5000, "client-must-succeed": true, "steps": [
      {"id": "s", "at-ms": 10, "set-value": {"path": "v", "value": [1, 2]}},
      {"after": "s", "delay-ms": 5, "set-rows": {"path": "t", "rows": [["a", "1"]]}},
      {"after": "e", "set-reply": {"path": "a", "reply": {"results": {"2": "x"}, "delay-ms": 5, "copies": 2}}},
      {"at-ms": 0, "reset-reply": {"path": "a"}},
      {"at-ms": 0, "fault": {"kind": "fail-connects", "path": "v", "count": 2, "status": 7}},
      {"at-ms": 0, "fault": {"kind": "report-type", "path": "v", "type": "string"}},
      {"at-ms": 0, "clear-faults": {"path": "v"}},
      {"at-ms": 0, "emit-result": {"path": "a", "action-id": "e", "results": ["r"]}},
      {"at-ms": 0, "emit-failure": {"path": "a", "action-id": 4, "error": 3}},
      {"at-ms": 0, "platform-away": {"for-ms": 300}}, {"at-ms": 0, "wait": {"ms": 20}}],
    "expectations": [
      {"id": "e", "invoke": {"path": "a", "arguments": {"0": {"regex": "t[0-9]+"}, "2": "x", "10": {"any": true}}},
       "window": {"after": "s", "from-ms": 1, "to-ms": 2}, "sequence": "q", "group": "g"},
      {"write": {"path": "v", "value": [1, 2]}}, {"write": {"path": "v", "value": "[1, 2]"}},
      {"write": {"path": "v", "value": 30}}, {"connect": {"path": "v"}}],
    "nothing-else": ["a"]})";
    const std::string written = tvsim::scenarioText(tvsim::parseScenarioText(text, "s.json", ""));
    EXPECT_EQ(nlohmann::json::parse(text), nlohmann::json::parse(written));
    EXPECT_EQ(written, tvsim::scenarioText(tvsim::parseScenarioText(written, "s.json", "")));
    EXPECT_EQ("dir/tv.json", tvsim::parseScenarioText(R"({"tv": {"model": "tv.json"}})", "s", "dir").tv.file);
}

}  // namespace
