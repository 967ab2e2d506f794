// Model files: what a document may hold, the one-line refusal of everything
// else with nothing loaded, the default model, and the documented example.
#include "recording_observers.h"

#include <tvsim/model_file.h>

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using simtest::ActionObserver;
using simtest::lookUpRoot;
using tvsim::ModelFileError;

lomodelapi::Argument argument(int position, const std::string& value) {
    lomodelapi::Argument result;
    result.position = static_cast<std::int8_t>(position);
    result.value = value;
    return result;
}

std::string readText(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// ---- Refused documents ----

struct BadModelCase {
    const char* name;
    const char* text;
    const char* location;  // ":<line>: " for syntax errors, ": <JSON pointer>: " otherwise
    const char* problem;   // a phrase of the message
};

// A valid start, so that a refusal late in the document shows nothing is half-loaded.
#define GOOD_VALUE R"({"path": "a.int", "type": "integer", "value": 1})"

const BadModelCase kBadModels[] = {
    {"SyntaxErrorNamesItsLine", "{\n  \"values\": [\n    {\"path\": \"a\" \"type\": \"integer\"}\n  ]\n}",
     ":3: ", "invalid JSON"},
    {"TrailingComma", "{\n  \"values\": [" GOOD_VALUE ",]\n}", ":2: ", "invalid JSON"},
    {"EmptyText", "", ":1: ", "unexpected end of input"},
    {"NumberBeyondADouble", "{\n  \"name\": 1e400\n}", ":2: ", "invalid JSON: number overflow parsing '1e400'"},
    {"TopLevelNotAnObject", "[1, 2]", ": top level: ", "expected an object, got an array"},
    {"UnknownTopLevelKey", R"({"valuez": []})", ": /valuez: ", "unknown key \"valuez\""},
    {"UnknownValueKey", R"({"values": [{"path": "a", "type": "integer", "value": 1, "colour": 2}]})",
     ": /values/0/colour: ", "unknown key \"colour\""},
    {"MissingValue", R"({"values": [)" GOOD_VALUE R"(, {"path": "b", "type": "integer"}]})",
     ": /values/1: ", "missing key \"value\""},
    {"UnknownType", R"({"values": [{"path": "a", "type": "float", "value": 1}]})",
     ": /values/0/type: ", "unknown type \"float\""},
    {"VectorForAnInteger", R"({"values": [)" GOOD_VALUE R"(, {"path": "b", "type": "integer", "value": [1]}]})",
     ": /values/1/value: ", "expected an integer, got an array"},
    {"IntegerOutOfRange", R"({"values": [{"path": "a", "type": "integer", "value": 3000000000}]})",
     ": /values/0/value: ", "3000000000 is out of range for a 32-bit integer"},
    {"Int64OutOfRange", R"({"values": [{"path": "a", "type": "int64", "value": 9223372036854775808}]})",
     ": /values/0/value: ", "out of range for a 64-bit integer"},
    {"FractionForAnInt64", R"({"values": [{"path": "a", "type": "int64", "value": 1.5}]})",
     ": /values/0/value: ", "expected an integer, got 1.5"},
    {"NumberInAStringVector", R"({"values": [{"path": "a", "type": "string-vector", "value": ["eng", 3]}]})",
     ": /values/0/value/1: ", "expected a string, got 3"},
    {"PathWithASpace", R"({"values": [{"path": "a b", "type": "integer", "value": 1}]})",
     ": /values/0/path: ", "without spaces"},
    {"DuplicateKey", R"({"values": [{"path": "a", "path": "b", "type": "integer", "value": 1}]})",
     ": /values/0/path: ", "duplicate key \"path\""},
    {"DuplicatePathAcrossSections",
     R"({"values": [)" GOOD_VALUE R"(], "tables": [{"path": "a.int", "columns": ["x"], "rows": []}]})",
     ": /tables/0/path: ", "duplicate path \"a.int\" (first at /values/0/path)"},
    {"RowOfTheWrongWidth",
     R"({"tables": [{"path": "t", "columns": ["x", "y", "z"], "rows": [["1", "2", "3"], ["1", "2"]]}]})",
     ": /tables/0/rows/1: ", "the row has 2 cells but the table has 3 columns"},
    {"DuplicateColumn", R"({"tables": [{"path": "t", "columns": ["x", "x"], "rows": []}]})",
     ": /tables/0/columns/1: ", "duplicate column \"x\""},
    {"UnknownResponder", R"({"actions": [{"path": "s", "responder": "teletext"}]})",
     ": /actions/0/responder: ", "unknown responder \"teletext\""},
    {"ChannelTableMissing", R"({"actions": [{"path": "s", "responder": "source-switch", "channels": "t"}]})",
     ": /actions/0/channels: ", "the model has no table \"t\""},
    {"ChannelTableWithoutUri",
     R"({"tables": [{"path": "t", "columns": ["uuid", "name", "folder-uuid"], "rows": []}],
         "actions": [{"path": "s", "responder": "source-switch", "channels": "t"}]})",
     ": /actions/0/channels: ", "has no column \"uri\""},
    {"ChannelNameNotAString",
     R"({"values": [)" GOOD_VALUE
     R"(], "actions": [{"path": "s", "responder": "source-switch", "channel-name": "a.int"}]})",
     ": /actions/0/channel-name: ", "no string value \"a.int\""},
    {"ReplyAndResponder", R"({"actions": [{"path": "s", "responder": "source-switch", "reply": {}}]})",
     ": /actions/0/reply: ", "a reply or a responder, not both"},
    {"ChannelsWithoutResponder", R"({"actions": [{"path": "s", "channels": []}]})",
     ": /actions/0/channels: ", "goes with \"responder\""},
    {"TwoOutcomes", R"({"actions": [{"path": "s", "reply": {"results": [], "error": 3}}]})",
     ": /actions/0/reply: ", "at most one of"},
    {"ResultPositionOutOfRange", R"({"actions": [{"path": "s", "reply": {"results": {"128": "x"}}}]})",
     ": /actions/0/reply/results/128: ", "a result position is a number from 0 to 127"},
    {"NegativeDelay", R"({"actions": [{"path": "s", "reply": {"delay-ms": -5}}]})",
     ": /actions/0/reply/delay-ms: ", "-5 is out of range"},
    {"NoCopies", R"({"actions": [{"path": "s", "reply": {"copies": 0}}]})",
     ": /actions/0/reply/copies: ", "out of range for copies"},
};

class BadModelTest : public ::testing::TestWithParam<BadModelCase> {
protected:
    tvsim::Simulator m_sim;
};

TEST_P(BadModelTest, IsRefusedWithOneLineNamingThePlaceAndNothingIsLoaded) {
    const BadModelCase& bad = GetParam();
    try {
        tvsim::loadModelText(bad.text, "bad.json", m_sim);
        FAIL() << "accepted";
    } catch (const ModelFileError& error) {
        const std::string message = error.what();
        EXPECT_EQ(0u, message.find(std::string("bad.json") + bad.location)) << message;
        EXPECT_NE(std::string::npos, message.find(bad.problem)) << message;
        EXPECT_EQ(std::string::npos, message.find('\n')) << message;
    }
    EXPECT_TRUE(m_sim.list().empty());
}

INSTANTIATE_TEST_SUITE_P(ModelFile, BadModelTest, ::testing::ValuesIn(kBadModels),
                         [](const ::testing::TestParamInfo<BadModelCase>& param) { return param.param.name; });

TEST(ModelFileTest, UnreadableFileIsRefusedNamingIt) {
    try {
        tvsim::parseModelFile("/nonexistent/tv.json");
        FAIL() << "accepted";
    } catch (const ModelFileError& error) {
        EXPECT_STREQ("/nonexistent/tv.json: cannot read the file: No such file or directory", error.what());
    }
}

// ---- Accepted documents ----

class LoadedModelTest : public ::testing::Test {
protected:
    ~LoadedModelTest() override {
        for (const auto& connection : m_connections) {
            lookUpRoot()->disconnect(connection.first, &m_actions, connection.second);
        }
    }

    // Invokes the action and answers what its observer saw once everything queued was delivered.
    std::vector<std::string> invoke(const std::string& path, const std::vector<lomodelapi::Argument>& arguments = {}) {
        ModelObject*& object = m_connections[path];
        if (object == nullptr) {
            EXPECT_EQ(0, lookUpRoot()->connect(path, &m_actions, object));
        }
        unsigned int id = 0;
        EXPECT_EQ(0, static_cast<ActionObject*>(object)->invoke(id, arguments));
        m_sim.flush();
        std::vector<std::string> events = m_actions.log.events();
        m_actions.log.clear();
        return events;
    }

    tvsim::Simulator m_sim;
    ActionObserver m_actions;
    std::map<std::string, ModelObject*> m_connections;
};

TEST_F(LoadedModelTest, DocumentedExampleIsTheTestedModelFileAndLoadsEveryKindOfEntry) {
    // The format's documentation shows the model file the tool's tests use.
    const std::string example = readText(SYSACCESS_SOURCE_DIR "/tests/tools/models/example_tv.json");
    const std::string documentation = readText(SYSACCESS_SOURCE_DIR "/docs/model-files.md");
    const std::size_t start = documentation.find("```json\n");
    ASSERT_NE(std::string::npos, start);
    EXPECT_EQ(example, documentation.substr(start + 8, example.size()));

    const tvsim::LoadedModel model = tvsim::loadModelText(example, "example_tv.json", m_sim);

    // Values of every type, with their initial values.
    EXPECT_EQ("Example TV", model.description.name);
    EXPECT_EQ(50, m_sim.integer("example.i32.picture.brightness"));
    EXPECT_EQ(4000000000LL, m_sim.int64("example.i64.system.serial"));
    EXPECT_EQ("Example 55", m_sim.string("example.str.system.model"));
    EXPECT_EQ((std::vector<int>{10, 20, 30}), m_sim.integerVector("example.vi32.picture.presets"));
    EXPECT_EQ((std::vector<std::string>{"eng", "fra"}), m_sim.stringVector("example.vstr.audio.languages"));
    // The channel name follows the responder's current channel from the start.
    EXPECT_EQ("Alpha", m_sim.string("example.str.tvservice.channel-name"));

    // Tables with their columns and rows.
    const tvsim::TableEntry* channels = model.description.table("example.table.channels");
    ASSERT_NE(nullptr, channels);
    EXPECT_EQ((std::vector<std::string>{"uuid", "uri", "name", "folder-uuid"}), channels->columns);
    EXPECT_EQ((tvsim::Row{"ch-3", "dvb://9.9.3", "Gamma", "radio"}), channels->rows.at(2));

    // Declarative replies: a list, positions (integers as text), a failure, duplicates, none, the default.
    EXPECT_EQ((std::vector<std::string>{"result 1 0=1.0,1=example"}), invoke("example.action.system.version"));
    EXPECT_EQ((std::vector<std::string>{"result 2 0=done,1=42"}), invoke("example.action.picture.calibrate"));
    EXPECT_EQ((std::vector<std::string>{"error 3 7"}), invoke("example.action.system.reboot"));
    EXPECT_EQ((std::vector<std::string>{"result 4 0=pong", "result 4 0=pong"}), invoke("example.action.system.ping"));
    EXPECT_TRUE(invoke("example.action.system.silent").empty());
    EXPECT_EQ((std::vector<std::string>{"result 6 "}), invoke("example.action.system.idle"));

    const std::vector<tvsim::ModelEntry> entries = m_sim.list("example.action.");
    EXPECT_EQ(6u, entries.size());
    EXPECT_NE(nullptr, model.sourceSwitch(tvsim::kSourceSwitchPath));
}

TEST_F(LoadedModelTest, ExplicitChannelListFeedsTheResponder) {
    const tvsim::LoadedModel model = tvsim::loadModelText(R"({"actions": [{"path": "s", "responder": "source-switch",
        "channels": [{"uuid": "u1", "uri": "dvb://1", "name": "One", "folder-uuid": "f"},
                     {"uuid": "u2", "uri": "dvb://2", "name": "Two", "folder-uuid": "f"}]}]})",
                                                          "list.json", m_sim);
    invoke("s", {argument(0, "tag"), argument(1, "8"), argument(2, "hbbtv"), argument(3, "+1"), argument(5, "2")});
    EXPECT_EQ("Two", model.sourceSwitch("s")->currentChannel().name);
}

// ---- The default model ----

class DefaultModelTest : public LoadedModelTest {
protected:
    DefaultModelTest()
        : m_model(tvsim::loadDefaultModel(m_sim)), m_tv(*m_model.sourceSwitch(tvsim::kSourceSwitchPath)) {}

    void changeChannel(std::vector<std::pair<int, std::string>> own) {
        std::vector<lomodelapi::Argument> arguments{argument(0, "tag"), argument(1, "8"), argument(2, "hbbtv")};
        for (const auto& item : own) {
            arguments.push_back(argument(item.first, item.second));
        }
        EXPECT_EQ((std::vector<std::string>{"result " + std::to_string(++m_invokes) + " "}),
                  invoke(tvsim::kSourceSwitchPath, arguments));
    }

    std::string channelName() const { return m_sim.string("orvik.sl2.str.tvservice.channel-name"); }

    tvsim::LoadedModel m_model;
    tvsim::SourceSwitchResponder m_tv;
    int m_invokes = 0;
};

TEST_F(DefaultModelTest, HoldsTheNoBannerValueAndValuesOfEveryType) {
    EXPECT_EQ(0, m_sim.integer("orvik.sl2.i32.tvservice.no-banner"));
    std::set<lomodelapi::ObjectTypeSpec> types;
    for (const tvsim::ModelEntry& entry : m_sim.list("orvik.")) {
        types.insert(entry.type);
    }
    EXPECT_EQ(
        (std::set<lomodelapi::ObjectTypeSpec>{lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, lomodelapi::OBJECT_TYPE_STRING,
                                              lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
                                              lomodelapi::OBJECT_TYPE_VECTOR_STRING, lomodelapi::OBJECT_TYPE_ACTION,
                                              lomodelapi::OBJECT_TYPE_TABLE, lomodelapi::OBJECT_TYPE_NUMERIC_INT64}),
        types);
}

TEST_F(DefaultModelTest, ResponderMovesThroughTheChannelTable) {
    const tvsim::TableEntry* table = m_model.description.table("orvik.sl2.table.channels");
    ASSERT_NE(nullptr, table);
    ASSERT_EQ(12u, table->rows.size());
    const auto row = [&](std::size_t index) { return table->rows.at(index); };  // uuid, uri, name, number, folder
    EXPECT_EQ(row(0)[2], channelName());

    // Step back from the first channel: wraps round to the last row.
    changeChannel({{3, "-1"}, {5, "2"}});
    EXPECT_EQ(11, m_tv.currentChannelIndex());
    EXPECT_EQ(row(11)[2], channelName());

    changeChannel({{3, "+1"}, {5, "2"}});
    EXPECT_EQ(0, m_tv.currentChannelIndex());

    changeChannel({{3, row(6)[1]}, {4, ""}, {5, "2"}, {5, "1"}});
    EXPECT_EQ(6, m_tv.currentChannelIndex());
    EXPECT_EQ(row(6)[2], channelName());

    changeChannel({{3, row(10)[0]}, {4, row(10)[4]}, {5, "2"}, {5, "0"}});
    EXPECT_EQ(10, m_tv.currentChannelIndex());
    EXPECT_EQ(row(10)[2], channelName());
}

// ---- The text form of values ----

TEST(ValueTextTest, ParsesEachTypeAndRefusesBadTextWithTheReason) {
    using tvsim::ValueType;
    EXPECT_EQ(tvsim::ModelValue(-7), tvsim::parseValueText(ValueType::INTEGER, "-7"));
    EXPECT_EQ(tvsim::ModelValue(5000000000LL), tvsim::parseValueText(ValueType::INT64, "5000000000"));
    EXPECT_EQ(tvsim::ModelValue(std::string("[not json")), tvsim::parseValueText(ValueType::STRING, "[not json"));
    EXPECT_EQ(tvsim::ModelValue(std::vector<int>{1, 2}), tvsim::parseValueText(ValueType::INTEGER_VECTOR, "[1, 2]"));
    EXPECT_EQ("[\"eng\",\"fra\"]",
              tvsim::formatValueText(tvsim::parseValueText(ValueType::STRING_VECTOR, R"(["eng","fra"])")));

    const std::pair<ValueType, const char*> bad[] = {
        {ValueType::INTEGER, "twelve"}, {ValueType::INTEGER, "3000000000"},       {ValueType::INTEGER, "[1]"},
        {ValueType::INT64, "1.5"},      {ValueType::INTEGER_VECTOR, "[1,\"x\"]"}, {ValueType::STRING_VECTOR, "eng"},
    };
    const char* const reasons[] = {"is not an integer",
                                   "out of range",
                                   "expected an integer, got an array",
                                   "expected an integer, got 1.5",
                                   "element 1: expected an integer",
                                   "is not a JSON array of strings"};
    for (std::size_t index = 0; index < std::size(bad); ++index) {
        try {
            tvsim::parseValueText(bad[index].first, bad[index].second);
            ADD_FAILURE() << bad[index].second << " accepted";
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(reasons[index])) << error.what();
        }
    }
}

// ---- Hostile input ----

// What is not a regular file of at most 64 MiB is refused before it is read;
// delays beyond a minute and integers beyond 64 bits are refused with the range.
TEST(ModelFileTest, HostileFilesAndNumbersAreRefusedWithTheirReason) {
    const std::string folder = ::testing::TempDir() + "hostile_models_" + std::to_string(::getpid());
    ASSERT_EQ(0, ::mkdir(folder.c_str(), 0700));
    ASSERT_EQ(0, ::mkfifo((folder + "/fifo").c_str(), 0600));
    std::ofstream(folder + "/huge").put('{');
    ASSERT_EQ(0, ::truncate((folder + "/huge").c_str(), 64 * 1024 * 1024 + 1));  // sparse: takes no disk
    const std::pair<std::string, std::string> files[] = {
        {folder, "it is a directory, not a regular file"},
        {folder + "/fifo", "it is a FIFO, not a regular file"},
        {"/dev/zero", "it is a character device, not a regular file"},
        {folder + "/huge", "it is larger than 64 MiB, the most a model file may hold"},
    };
    for (const auto& [path, reason] : files) {
        try {
            tvsim::parseModelFile(path);
            ADD_FAILURE() << path << " accepted";
        } catch (const ModelFileError& error) {
            EXPECT_EQ(path + ": cannot read the file: " + reason, error.what());
        }
    }
    ::unlink((folder + "/fifo").c_str());
    ::unlink((folder + "/huge").c_str());
    ::rmdir(folder.c_str());

    const std::pair<const char*, const char*> texts[] = {
        {R"({"actions": [{"path": "s", "reply": {"delay-ms": 60001}}]})",
         "t.json: /actions/0/reply/delay-ms: 60001 is out of range for a delay in ms (0 to 60000)"},
        {R"({"values": [{"path": "a", "type": "int64", "value": -99999999999999999999999}]})",
         "t.json: /values/0/value: -99999999999999999999999 is out of range for a 64-bit integer "
         "(-9223372036854775808 to 9223372036854775807)"},
        {R"({"values": [{"path": "a", "type": "integer-vector", "value": [1, 18446744073709551616]}]})",
         "t.json: /values/0/value/1: 18446744073709551616 is out of range for a 32-bit integer "
         "(-2147483648 to 2147483647)"},
        {R"({"values": [{"path": "a", "type": "integer", "value": 1e3}]})",
         "t.json: /values/0/value: expected an integer, got 1000.0"},
    };
    for (const auto& [text, message] : texts) {
        try {
            tvsim::parseModelText(text, "t.json");
            ADD_FAILURE() << text << " accepted";
        } catch (const ModelFileError& error) {
            EXPECT_STREQ(message, error.what());
        }
    }
}

// Integers beyond 64 bits are out of range, not fractions; bytes that are not
// UTF-8 are shown as U+FFFD rather than ending the program.
TEST(ValueTextTest, LongIntegersAndBytesThatAreNotUtf8AreReportedReadably) {
    using tvsim::ValueType;
    const std::pair<ValueType, const char*> bad[] = {{ValueType::INTEGER, "99999999999999999999999"},
                                                     {ValueType::INT64, "[\"\xff\"]"},
                                                     {ValueType::STRING_VECTOR, "[\"\xff\"]"}};
    const char* const messages[] = {("99999999999999999999999 is out of range for a 32-bit integer "
                                     "(-2147483648 to 2147483647)"),
                                    "\"[\\\"\xEF\xBF\xBD\\\"]\" is not a 64-bit integer",
                                    "\"[\\\"\xEF\xBF\xBD\\\"]\" is not a JSON array of strings like [\"eng\",\"fra\"]"};
    for (std::size_t index = 0; index < std::size(bad); ++index) {
        try {
            tvsim::parseValueText(bad[index].first, bad[index].second);
            ADD_FAILURE() << bad[index].second << " accepted";
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(messages[index], error.what());
        }
    }
    EXPECT_EQ("[\"a\xEF\xBF\xBD\"]", tvsim::formatValueText(std::vector<std::string>{"a\xff"}));
}

}  // namespace
