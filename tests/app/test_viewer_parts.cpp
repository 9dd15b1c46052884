// Parts of the viewer that need no window: the camera and the command line.
#include "app/usage.h"
#include "render/showcamera.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

geokit::vector3w_t transform(float x, float y, float z, const geokit::matrix3w_t& m)
{
    // The shaders' row vector times row-major matrix.
    return geokit::vector3w_t{x, y, z, 1.0f} * m;
}

TEST(ViewerCamera, LooksAlongPlusYFromInFrontOfTheLiftedLaunchSite)
{
    vexlor::showcamera_t camera;
    camera.setup();
    const auto& mtx = camera.mtx;
    const auto& inv = camera.inv;
    const auto& modelmtx = camera.modelmtx;

    // The launch point, lifted by 1000, lies 100 ahead and 10 below the eye.
    const auto launch = transform(0, 0, 1000, mtx);
    EXPECT_NEAR(launch.x, 0.0f, 1e-3);
    EXPECT_NEAR(launch.y, -10.0f, 1e-3);
    EXPECT_NEAR(launch.z, -100.0f, 1e-3);
    // Further along +y is further away; +x stays to the right; +z is up.
    const auto beyond = transform(3, 50, 1030, mtx);
    EXPECT_NEAR(beyond.x, 3.0f, 1e-3);
    EXPECT_NEAR(beyond.y, 20.0f, 1e-3);
    EXPECT_NEAR(beyond.z, -150.0f, 1e-3);

    // inv undoes mtx.
    const auto back = transform(launch.x, launch.y, launch.z, inv);
    EXPECT_NEAR(back.x, 0.0f, 1e-3);
    EXPECT_NEAR(back.y, 0.0f, 1e-3);
    EXPECT_NEAR(back.z, 1000.0f, 1e-2);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(modelmtx.m[i], mtx.m[i]);
}

int run(std::vector<std::string> args, std::string& out, std::string& err, vexlor::viewoptions_t* into = nullptr)
{
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    vexlor::viewoptions_t options;
    const int status = vexlor::commandline(static_cast<int>(argv.size()), argv.data(), into ? *into : options);
    out = testing::internal::GetCapturedStdout();
    err = testing::internal::GetCapturedStderr();
    return status;
}

TEST(CommandLine, HelpVersionUnknownOptionsAndSceneFiles)
{
    std::string out, err;
    EXPECT_EQ(run({"vexlor", "--help"}, out, err), 0);
    EXPECT_EQ(out.rfind("usage: vexlor", 0), 0u);
    EXPECT_NE(out.find("Enter"), std::string::npos) << "the keys are listed";
    EXPECT_EQ(err, "");

    EXPECT_EQ(run({"vexlor", "--version"}, out, err), 0);
    EXPECT_EQ(out, std::string("vexlor ") + VEXLOR_VERSION + "\n");

    EXPECT_EQ(run({"vexlor", "--bogus"}, out, err), 2);
    EXPECT_EQ(out, "");
    EXPECT_NE(err.find("--bogus"), std::string::npos);

    // One line each, naming what is wrong; nothing is started.
    const std::pair<std::vector<std::string>, const char*> refused[] = {
        {{"vexlor", "a.scene", "b.scene"}, "'b.scene' is one too many"},
        {{"vexlor", ""}, "the show's file name is empty"},
    };
    for (const auto& [args, what] : refused) {
        EXPECT_EQ(run(args, out, err), 2) << what;
        EXPECT_EQ(out, "");
        EXPECT_NE(err.find(what), std::string::npos) << err;
        EXPECT_EQ(err.find('\n'), err.size() - 1) << err;
    }

    vexlor::viewoptions_t options;
    EXPECT_EQ(run({"vexlor"}, out, err, &options), -1) << "no argument plays the built-in show";
    EXPECT_EQ(options.show, "");
    EXPECT_EQ(options.look.fields, 0u) << "no look asked for: the show's own";
    EXPECT_EQ(run({"vexlor", "show.scene"}, out, err, &options), -1);
    EXPECT_EQ(options.show, "show.scene");
    EXPECT_EQ(run({"vexlor", "-"}, out, err), -1) << "a lone dash is a file name";
    EXPECT_EQ(out + err, "");
}

// --look before or after the show, in either spelling; a bad one is one line
// naming the value and what is allowed, and nothing starts.
TEST(CommandLine, LooksAreReadAndCheckedBeforeAnythingStarts)
{
    std::string out, err;
    vexlor::viewoptions_t options;
    EXPECT_EQ(run({"vexlor", "--look", "night,water,wind=3", "finale.vexlor.toml"}, out, err, &options), -1) << err;
    EXPECT_EQ(options.show, "finale.vexlor.toml");
    EXPECT_TRUE(options.look.look.night());
    EXPECT_TRUE(options.look.look.water);
    EXPECT_EQ(options.look.look.wind.x, 3.0f);
    EXPECT_EQ(run({"vexlor", "random", "--look=plain"}, out, err, &options), -1) << err;
    EXPECT_EQ(options.show, "random");
    EXPECT_EQ(options.look.fields, static_cast<unsigned>(vexlor::look_name));
    EXPECT_FALSE(options.look.look.night());

    const std::pair<std::vector<std::string>, const char*> refused[] = {
        {{"vexlor", "--look", "dawn"}, "--look dawn: unknown look 'dawn' (choose plain or night)"},
        {{"vexlor", "--look", "night,fog"}, "--look night,fog: unknown setting 'fog'"},
        {{"vexlor", "--look", "night,wind=30:0:0"}, "a wind of 30 m/s is too strong (at most 20 m/s)"},
        {{"vexlor", "--look"}, "--look needs a look (plain or night"},
        {{"vexlor", "a.scene", "--look", "night", "b.scene"}, "'b.scene' is one too many"},
    };
    for (const auto& [args, what] : refused) {
        EXPECT_EQ(run(args, out, err), 2) << what;
        EXPECT_EQ(out, "");
        EXPECT_NE(err.find(what), std::string::npos) << err;
        EXPECT_EQ(err.find('\n'), err.size() - 1) << err;
    }
}

} // namespace
