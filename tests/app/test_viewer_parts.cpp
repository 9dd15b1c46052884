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

int run(std::vector<std::string> args, std::string& out, std::string& err)
{
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = vexlor::commandline(static_cast<int>(argv.size()), argv.data());
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

    EXPECT_EQ(run({"vexlor"}, out, err), -1) << "no argument plays the built-in show";
    EXPECT_EQ(run({"vexlor", "show.scene"}, out, err), -1);
    EXPECT_EQ(run({"vexlor", "-"}, out, err), -1) << "a lone dash is a file name";
    EXPECT_EQ(out + err, "");
}

} // namespace
