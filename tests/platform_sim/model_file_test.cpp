// Model files: what a document may hold, the one-line refusal of everything
// else with nothing loaded, and the documented example.
#include <tvsim/simulator.h>

#include <tvsim/model_file.h>

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using tvsim::ModelFileError;

std::string readText(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

struct BadModelCase {
    const char* name;
    std::string text;
    std::string message;  // the whole one-line message
};

// A valid start, so that a refusal late in the document shows nothing is half-loaded.
#define GOOD_VALUE R"({"path": "a.int", "type": "integer", "value": 1})"

const BadModelCase kBadModels[] = {
    {"SyntaxErrorNamesItsLine", "{\n  \"values\": [\n    {\"path\": \"a\" \"type\": \"integer\"}\n  ]\n}",
     "bad.json:3: invalid JSON: syntax error while parsing object - unexpected string literal; expected '}'"},
    {"EmptyText", "",
     "bad.json:1: invalid JSON: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
     "literal"},
    {"NumberBeyondADouble", "{\n  \"name\": 1e400\n}", "bad.json:2: invalid JSON: number overflow parsing '1e400'"},
    // The JSON library's syntax errors, translated (its prefix and position dropped, the line given instead):
    // an update of the library may change them, so each kind is pinned word for word.
    {"EndOfInputInAnObject", "{\n  \"name\": \"tv\"\n",
     "bad.json:3: invalid JSON: syntax error while parsing object - unexpected end of input; expected '}'"},
    {"TrailingCommaInAnArray", "{\n  \"values\": [1,]\n}",
     "bad.json:2: invalid JSON: syntax error while parsing value - unexpected ']'; expected '[', '{', or a literal"},
    {"MisspeltLiteral", "{\n  \"name\": tru\n}",
     "bad.json:2: invalid JSON: syntax error while parsing value - invalid literal; last read: '\"name\": "
     "tru<U+000A>'"},
    {"UnterminatedString", "{\n  \"name\": \"tv\n}",
     "bad.json:2: invalid JSON: syntax error while parsing value - invalid string: control character U+000A (LF) must "
     "be escaped to \\u000A or \\n; last read: '\"tv<U+000A>'"},
    {"ControlCharacterInAString", "{\n  \"name\": \"a\tb\"\n}",
     "bad.json:2: invalid JSON: syntax error while parsing value - invalid string: control character U+0009 (HT) must "
     "be escaped to \\u0009 or \\t; last read: '\"a<U+0009>'"},
    {"TextAfterTheDocument", "{}\n{}",
     "bad.json:2: invalid JSON: syntax error while parsing value - unexpected '{'; expected end of input"},
    {"TopLevelNotAnObject", "[1, 2]", "bad.json: top level: expected an object, got an array"},
    {"UnknownTopLevelKey", R"({"valuez": []})",
     "bad.json: /valuez: unknown key \"valuez\" (known keys: name, values, tables, actions)"},
    {"MissingValue", R"({"values": [)" GOOD_VALUE R"(, {"path": "b", "type": "integer"}]})",
     "bad.json: /values/1: missing key \"value\""},
    {"UnknownType", R"({"values": [{"path": "a", "type": "float", "value": 1}]})",
     "bad.json: /values/0/type: unknown type \"float\" (types: integer, int64, string, integer-vector, string-vector)"},
    {"IntegerOutOfRange", R"({"values": [{"path": "a", "type": "integer", "value": 3000000000}]})",
     "bad.json: /values/0/value: 3000000000 is out of range for a 32-bit integer (-2147483648 to 2147483647)"},
    {"Int64OutOfRange", R"({"values": [{"path": "a", "type": "int64", "value": 9223372036854775808}]})",
     "bad.json: /values/0/value: 9223372036854775808 is out of range for a 64-bit integer (-9223372036854775808 to "
     "9223372036854775807)"},
    {"FractionForAnInt64", R"({"values": [{"path": "a", "type": "int64", "value": 1.5}]})",
     "bad.json: /values/0/value: expected an integer, got 1.5"},
    {"NumberInAStringVector", R"({"values": [{"path": "a", "type": "string-vector", "value": ["eng", 3]}]})",
     "bad.json: /values/0/value/1: expected a string, got 3"},
    {"PathWithASpace", R"({"values": [{"path": "a b", "type": "integer", "value": 1}]})",
     "bad.json: /values/0/path: a model path is a non-empty text without spaces, not \"a b\""},
    {"DuplicateKey", R"({"values": [{"path": "a", "path": "b", "type": "integer", "value": 1}]})",
     "bad.json: /values/0/path: duplicate key \"path\""},
    {"DuplicatePathAcrossSections",
     R"({"values": [)" GOOD_VALUE R"(], "tables": [{"path": "a.int", "columns": ["x"], "rows": []}]})",
     "bad.json: /tables/0/path: duplicate path \"a.int\" (first at /values/0/path)"},
    {"RowOfTheWrongWidth",
     R"({"tables": [{"path": "t", "columns": ["x", "y", "z"], "rows": [["1", "2", "3"], ["1", "2"]]}]})",
     "bad.json: /tables/0/rows/1: the row has 2 cells but the table has 3 columns"},
    {"DuplicateColumn", R"({"tables": [{"path": "t", "columns": ["x", "x"], "rows": []}]})",
     "bad.json: /tables/0/columns/1: duplicate column \"x\""},
    {"UnknownResponder", R"({"actions": [{"path": "s", "responder": "teletext"}]})",
     "bad.json: /actions/0/responder: unknown responder \"teletext\" (the built-in responder is \"source-switch\")"},
    {"ChannelTableMissing", R"({"actions": [{"path": "s", "responder": "source-switch", "channels": "t"}]})",
     "bad.json: /actions/0/channels: the model has no table \"t\""},
    {"ChannelTableWithoutUri",
     R"({"tables": [{"path": "t", "columns": ["uuid", "name", "folder-uuid"], "rows": []}],
         "actions": [{"path": "s", "responder": "source-switch", "channels": "t"}]})",
     "bad.json: /actions/0/channels: the table \"t\" has no column \"uri\""},
    {"ChannelNameNotAString",
     R"({"values": [)" GOOD_VALUE
     R"(], "actions": [{"path": "s", "responder": "source-switch", "channel-name": "a.int"}]})",
     "bad.json: /actions/0/channel-name: the model has no string value \"a.int\""},
    {"DelayedOutcomeBeforeInvokeReturns",
     R"({"actions": [{"path": "s", "reply": {"delay-ms": 10, "before-invoke-returns": true}}]})",
     "bad.json: /actions/0/reply: an outcome that comes before invoke returns cannot be delayed"},
    {"ReplyAndResponder", R"({"actions": [{"path": "s", "responder": "source-switch", "reply": {}}]})",
     "bad.json: /actions/0/reply: an action has a reply or a responder, not both"},
    {"ChannelsWithoutResponder", R"({"actions": [{"path": "s", "channels": []}]})",
     "bad.json: /actions/0/channels: \"channels\" goes with \"responder\": \"source-switch\""},
    {"TwoOutcomes", R"({"actions": [{"path": "s", "reply": {"results": [], "error": 3}}]})",
     "bad.json: /actions/0/reply: give at most one of \"results\", \"error\" and \"no-reply\""},
    {"ResultPositionOutOfRange", R"({"actions": [{"path": "s", "reply": {"results": {"128": "x"}}}]})",
     "bad.json: /actions/0/reply/results/128: a result position is a number from 0 to 127, not \"128\""},
    {"NegativeDelay", R"({"actions": [{"path": "s", "reply": {"delay-ms": -5}}]})",
     "bad.json: /actions/0/reply/delay-ms: -5 is out of range for a delay in ms (0 to 60000)"},
    {"NoCopies", R"({"actions": [{"path": "s", "reply": {"copies": 0}}]})",
     "bad.json: /actions/0/reply/copies: 0 is out of range for copies (1 to 1000)"},
    {"DelayBeyondAMinute", R"({"actions": [{"path": "s", "reply": {"delay-ms": 60001}}]})",
     "bad.json: /actions/0/reply/delay-ms: 60001 is out of range for a delay in ms (0 to 60000)"},
    {"Int64BeyondSixtyFourBits", R"({"values": [{"path": "a", "type": "int64", "value": -99999999999999999999999}]})",
     "bad.json: /values/0/value: -99999999999999999999999 is out of range for a 64-bit integer "
     "(-9223372036854775808 to 9223372036854775807)"},
    {"VectorElementBeyondSixtyFourBits",
     R"({"values": [{"path": "a", "type": "integer-vector", "value": [1, 18446744073709551616]}]})",
     "bad.json: /values/0/value/1: 18446744073709551616 is out of range for a 32-bit integer "
     "(-2147483648 to 2147483647)"},
    {"IntegerInExponentForm", R"({"values": [{"path": "a", "type": "integer", "value": 1e3}]})",
     "bad.json: /values/0/value: expected an integer, got 1000.0"},
    {"CellBeyondSixtyFourBits", R"({"tables": [{"path": "t", "columns": ["x"], "rows": [[18446744073709551616]]}]})",
     "bad.json: /tables/0/rows/0/0: 18446744073709551616 is out of range for a 64-bit integer "
     "(-9223372036854775808 to 9223372036854775807)"},
    // Each byte of a path may take three characters of a D-Bus object path, which the bus carries up to 64 KiB.
    {"PathLongerThanTheBusCarries",
     R"({"values": [{"path": ")" + std::string(1025, 'a') + R"(", "type": "integer", "value": 1}]})",
     "bad.json: /values/0/path: a model path is at most 1024 bytes; got 1025"},
    {"NestingDeeperThan32", R"({"values": )" + std::string(32, '[') + std::string(32, ']') + "}",
     "bad.json: /values" + std::regex_replace(std::string(31, '0'), std::regex("0"), "/0") +
         ": arrays and objects nest at most 32 deep"},
};

class BadModelTest : public ::testing::TestWithParam<BadModelCase> {};

TEST_P(BadModelTest, IsRefusedWithOneLineNamingThePlaceAndNothingIsLoaded) {
    tvsim::Simulator sim;
    try {
        tvsim::loadModelText(GetParam().text, "bad.json", sim);
        FAIL() << "accepted";
    } catch (const ModelFileError& error) {
        EXPECT_EQ(GetParam().message, error.what());
    }
    EXPECT_TRUE(sim.list().empty());
}

INSTANTIATE_TEST_SUITE_P(ModelFile, BadModelTest, ::testing::ValuesIn(kBadModels),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(ModelFileTest, UnreadableFileIsRefusedNamingIt) {
    try {
        tvsim::parseModelFile("/nonexistent/tv.json");
        FAIL() << "accepted";
    } catch (const ModelFileError& error) {
        EXPECT_STREQ("/nonexistent/tv.json: cannot read the file: No such file or directory", error.what());
    }
}

// The format's documentation shows the model file the tool's tests use; sactl's tests exercise its
// actions and tables, this one the initial values and the channel name that follows the responder.
TEST(ModelFileTest, DocumentedExampleIsTheToolsModelFileAndLoadsItsValues) {
    const std::string example = readText(SYSACCESS_SOURCE_DIR "/tests/tools/models/example_tv.json");
    const std::string documentation = readText(SYSACCESS_SOURCE_DIR "/docs/model-files.md");
    const std::size_t start = documentation.find("```json\n");
    ASSERT_NE(std::string::npos, start);
    EXPECT_EQ(example, documentation.substr(start + 8, example.size()));

    tvsim::Simulator sim;
    const tvsim::LoadedModel model = tvsim::loadModelText(example, "example_tv.json", sim);
    EXPECT_EQ("Example TV", model.description.name);
    EXPECT_EQ(4000000000LL, sim.int64("example.i64.system.serial"));
    EXPECT_EQ((std::vector<int>{10, 20, 30}), sim.integerVector("example.vi32.picture.presets"));
    EXPECT_EQ((std::vector<std::string>{"eng", "fra"}), sim.stringVector("example.vstr.audio.languages"));
    EXPECT_EQ("Alpha", sim.string("example.str.tvservice.channel-name"));
}

// ---- Hostile input ----

// What is not a regular file of at most 4 MiB is refused before it is read; a device would never end.
TEST(ModelFileTest, HostileFilesAreRefusedWithTheirReason) {
    const std::string folder = ::testing::TempDir() + "hostile_models_" + std::to_string(::getpid());
    ASSERT_EQ(0, ::mkdir(folder.c_str(), 0700));
    ASSERT_EQ(0, ::mkfifo((folder + "/fifo").c_str(), 0600));
    std::ofstream(folder + "/huge").put('{');
    ASSERT_EQ(0, ::truncate((folder + "/huge").c_str(), 4 * 1024 * 1024 + 1));  // sparse: takes no disk
    const std::pair<std::string, std::string> files[] = {
        {folder, "it is a directory, not a regular file"},
        {"/dev/zero", "it is a character device, not a regular file"},
        {folder + "/fifo", "it is a FIFO, not a regular file"},
        {folder + "/huge", "it is larger than 4 MiB, the most a model file may hold"},
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
}

}  // namespace
