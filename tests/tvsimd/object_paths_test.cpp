// Model paths as object paths: every model path, however hostile, becomes a
// valid object path that gives it back, and no other object path names one.
#include <object_paths.h>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <string>

namespace tvsimd {
namespace {

const std::string kModel = "/io/sysaccess/TvSim/model";

TEST(ObjectPaths, EveryModelPathRoundTripsThroughAValidObjectPath) {
    const struct {
        std::string modelPath;
        std::string objectPath;
    } cases[] = {
        {"orvik.sl2.i32.audio.volume", kModel + "/orvik/sl2/i32/audio/volume"},
        {"", kModel + "/_"},
        {"a..b.", kModel + "/a/_/b/_"},
        {"under_score", kModel + "/under_5fscore"},
        {"_41", kModel + "/_5f41"},
        {"a/b c", kModel + "/a_2fb_20c"},
        {std::string("nul\0byte", 8), kModel + "/nul_00byte"},
        {"\xc3\xa9\xff", kModel + "/_c3_a9_ff"},
    };
    for (const auto& c : cases) {
        const std::string objectPath = objectPathOf(c.modelPath);
        EXPECT_EQ(c.objectPath, objectPath);
        EXPECT_GT(sd_bus_object_path_is_valid(objectPath.c_str()), 0) << objectPath;
        std::string modelPath;
        ASSERT_TRUE(modelPathOf(objectPath, modelPath)) << objectPath;
        EXPECT_EQ(c.modelPath, modelPath);
    }
}

TEST(ObjectPaths, OtherObjectPathsNameNoModelPath) {
    const std::string refused[] = {
        kModel,                          // the prefix alone
        kModel + "/",                    // an empty element
        kModel + "/a//b",                // an empty element inside
        "/io/sysaccess/TvSim/modelx/a",  // another prefix that starts alike
        "/io/sysaccess/TvSim/iterator/1",
        kModel + "/_41",  // a plain letter escaped: a second name for "A"
        kModel + "/_2E",  // upper-case hex
        kModel + "/a_2",  // an escape cut short
        kModel + "/__",   // a lone '_' is the empty element only
    };
    for (const std::string& objectPath : refused) {
        std::string modelPath = "untouched";
        EXPECT_FALSE(modelPathOf(objectPath, modelPath)) << objectPath;
        EXPECT_EQ("untouched", modelPath) << objectPath;
    }
}

}  // namespace
}  // namespace tvsimd
