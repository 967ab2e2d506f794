// The largest model files of the worst shapes load, or are refused, within
// bounds (docs/model-files.md): the nested over-64-bit integers that once took
// a JSON pointer each, and the rows of empty cells that take the most nodes per
// byte of what the TV takes.
// Only native builds without sanitizers register it; those have costs of their own.
#include <tvsim/model_file.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include <sys/resource.h>

namespace {

// The item repeated, comma-separated, between head and tail: 4 MiB, the most a model file may hold.
std::string largestDocument(const std::string& head, const std::string& item, const std::string& tail) {
    std::string text = head + item;
    while (text.size() + 1 + item.size() + tail.size() <= std::size_t{4} * 1024 * 1024) {
        text += "," + item;
    }
    return text + tail;
}

TEST(ModelFileCostTest, LargestFilesOfTheWorstShapesTakeAtMostThreeSecondsAnd512MB) {
    const std::string path = ::testing::TempDir() + "largest_model.json";
    const std::string nested = "1" + std::string(30, '0');
    for (const auto& [text, refusal] :
         {std::pair{largestDocument(R"({"values": )" + std::string(31, '['), nested, std::string(31, ']') + "}"),
                    path + ": /values/0: expected an object, got an array"},
          std::pair{largestDocument(R"({"tables": [{"path": "t", "columns": ["c"], "rows": [)", "[\"\"]", "]}]}"),
                    std::string()}}) {
        std::ofstream(path) << text;
        tvsim::Simulator sim;
        const auto start = std::chrono::steady_clock::now();
        try {
            tvsim::loadModelFile(path, sim);
            EXPECT_EQ("", refusal);
        } catch (const tvsim::ModelFileError& error) {
            EXPECT_EQ(refusal, error.what());
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << refusal;
    }
    std::remove(path.c_str());
    rusage usage{};
    ASSERT_EQ(0, getrusage(RUSAGE_SELF, &usage));
    EXPECT_LT(usage.ru_maxrss, 512 * 1024) << "peak resident set size in KiB";
}

}  // namespace
