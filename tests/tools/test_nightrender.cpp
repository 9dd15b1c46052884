// Looks and motion blur in headless renders (EGL surfaceless, DISPLAY unset),
// read back from PNG frames: without a look every frame is byte for byte what
// the renderer drew before looks existed; in the night look a bright star
// glows smoothly around it and keeps its hue, the lake mirrors a burst below
// the horizon line, darker, smoke appears after a break, drifts downwind and
// is lit only near bursts; a motion-blurred spark leaves a streak as long as
// its travel while the shutter is open.
#include "firework/loadsave.h"
#include "render/showcamera.h"
#include "tests/firework/scenes.h"
#include "tools/render/renderjob.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using vexlor::firework_t;

struct image_t {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb;
    const unsigned char* at(int x, int y) const { return &rgb[(static_cast<std::size_t>(y) * width + x) * 3]; }
    int luma(int x, int y) const { return (at(x, y)[0] * 2 + at(x, y)[1] * 5 + at(x, y)[2]) / 8; }
};

image_t readpng(const std::string& path)
{
    image_t image;
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) return image;
    png.format = PNG_FORMAT_RGB;
    image.width = static_cast<int>(png.width);
    image.height = static_cast<int>(png.height);
    image.rgb.resize(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, image.rgb.data(), 0, nullptr)) image = {};
    return image;
}

// Where a world point of the show (launch sites lifted by 1000) falls in a
// frame, in pixels from the top left.
struct pixel_t {
    double x, y;
};

pixel_t project(float x, float y, float z, int width, int height)
{
    vexlor::showcamera_t camera;
    camera.setup();
    const geokit::vector3w_t clip =
        (geokit::vector3w_t{x, y, z, 1.0f} * camera.modelmtx) * vexlor::showprojection(width, height);
    return {(clip.x / clip.w + 1.0) * 0.5 * width, (1.0 - clip.y / clip.w) * 0.5 * height};
}

// Stars that stay where the shell burst (speed 0), `copies` on top of each
// other, each glowing `seconds` in `color`, drawn `size` eye units wide.
vexlor::fire_t star(float size, geokit::color3a_t color, float seconds = 10.0f)
{
    return vexlor::fire_t{{0, 0, 0}, 0.0f, {{0.0f, size, 0.9f, {{seconds, color, color}}}}};
}

// A shell launched at `time` from (x, y, 0) straight up at 20 m/s, bursting
// 2 s later 18.4 m up (drag 0.95).
firework_t shell(float time, float x, float y, std::vector<vexlor::fire_t> fires, float size = 250.0f)
{
    return firework_t{false, false, time, {x, y, 0}, {0, 0, 20}, 2.0f, size, 0.95f, {1, 1, 1, 1}, std::move(fires)};
}

class NightRender : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        unsetenv("DISPLAY");
        s_dir = new tempdir;
    }
    static void TearDownTestSuite() { delete s_dir; }

    // One frame at time t of `scene` (or of the show file `show` when set),
    // `width` x `height`, with the look and motion blur asked for.
    static image_t frame(const std::string& name, const std::vector<firework_t>& scene, double t,
                         const std::string& look, int width = 320, int height = 180, int blur = 1,
                         const std::string& show = "")
    {
        vexlor::renderoptions_t o;
        o.show = show.empty() ? name : show;
        o.output = s_dir->path + "/" + name + "/";
        o.width = width;
        o.height = height;
        o.fps = 10.0;
        o.from = t;
        o.to = t + 0.05;
        o.quiet = true;
        o.argv0 = "test_nightrender";
        o.motionblur = blur;
        std::string problem;
        EXPECT_TRUE(vexlor::parselook(look, o.look, problem)) << problem;
        vexlor::renderstats_t stats;
        testing::internal::CaptureStderr();
        const int status = show.empty() ? vexlor::render(o, scene, stats) : vexlor::render(o, stats);
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(status, 0) << err;
        return readpng(o.output + "frame000000.png");
    }

    // What `scene` adds to the scenery: the same scene launched long after
    // the frame leaves the scenery alone.
    static std::vector<firework_t> later(std::vector<firework_t> scene)
    {
        for (firework_t& f : scene) f.time += 1000.0f;
        return scene;
    }

    static tempdir* s_dir;
};
tempdir* NightRender::s_dir = nullptr;

// Decoded pixels, so that the test does not depend on how libpng packs them.
void expectsamepixels(const image_t& got, const std::string& golden, const std::string& what)
{
    const image_t want = readpng(std::string(GOLDEN) + "/" + golden);
    ASSERT_EQ(want.width, got.width) << golden;
    ASSERT_EQ(want.height, got.height) << golden;
    std::size_t differ = 0;
    for (std::size_t i = 0; i < want.rgb.size(); ++i) differ += want.rgb[i] != got.rgb[i] ? 1 : 0;
    EXPECT_EQ(differ, 0u) << what << ": " << golden;
}

// The goldens were drawn by vexlor-render before looks existed (Mesa 22.3
// llvmpipe): the mixed gallery show at 2.5, 4.5 and 6.5 s and the susuki
// show with trails at 3.3 s, 192x108.
TEST_F(NightRender, WithoutALookEveryFrameIsTheSameAsBefore)
{
    const std::string mixed = std::string(SHOWS) + "/mixed.vexlor.toml";
    std::string text;
    {
        std::ifstream is(mixed);
        text.assign(std::istreambuf_iterator<char>(is), std::istreambuf_iterator<char>());
    }
    // The show asks for the night look; the command line's plain look wins.
    const std::string asksnight = s_dir->write("mixed-night.toml", text + "\n[look]\nname = \"night\"\nwater = true\n");
    for (const auto& [t, golden] : {std::pair{2.5, "mixed-2.5s.png"}, {4.5, "mixed-4.5s.png"}, {6.5, "mixed-6.5s.png"}}) {
        expectsamepixels(frame("mixed", {}, t, "plain", 192, 108, 1, mixed), golden, "no look");
        expectsamepixels(frame("mixed-plain", {}, t, "plain", 192, 108, 1, asksnight), golden, "--look plain over [look]");
    }
    // A look named nowhere is the plain look.
    vexlor::renderoptions_t o;
    o.show = "susuki";
    o.output = s_dir->path + "/trails/";
    o.width = 192;
    o.height = 108;
    o.fps = 5.0;
    o.from = 1.5;
    o.to = 3.5;
    o.trails = true;
    o.quiet = true;
    o.argv0 = "test_nightrender";
    vexlor::renderstats_t stats;
    testing::internal::CaptureStderr();
    ASSERT_EQ(vexlor::render(o, stats), 0);
    testing::internal::GetCapturedStderr();
    expectsamepixels(readpng(o.output + "frame000009.png"), "susuki-trails-3.3s.png", "trails");
}

// Thirty red stars on top of each other: light thirty times what the screen
// shows as full. The plain look keeps the brightest, the night look adds
// them up, maps the sum without clipping it to white, and spreads a glow.
TEST_F(NightRender, ABrightStarGlowsSmoothlyAroundItAndKeepsItsHue)
{
    const geokit::color3a_t red{1.0f, 0.25f, 0.1f, 1.0f};
    const std::vector<firework_t> scene{shell(0.0f, 0.0f, 0.0f, std::vector<vexlor::fire_t>(30, star(700.0f, red)))};
    const image_t plain = frame("glow-plain", scene, 2.2, "plain");
    const image_t night = frame("glow-night", scene, 2.2, "night,smoke=false");
    const image_t sky = frame("glow-sky", later(scene), 2.2, "night,smoke=false");

    int cx = 0, cy = 0;
    for (int y = 0; y < plain.height; ++y)
        for (int x = 0; x < plain.width; ++x)
            if (plain.at(x, y)[0] > plain.at(cx, cy)[0]) cx = x, cy = y;
    EXPECT_EQ(plain.at(cx, cy)[0], 255);
    // The star's rim in the plain look, along its row.
    int rim = 0;
    while (cx + rim + 1 < plain.width && plain.at(cx + rim + 1, cy)[0] != 46) ++rim;
    ASSERT_GE(rim, 5);

    // Not white: the sum keeps the star's own proportions (1 : 0.25 : 0.1).
    const unsigned char* centre = night.at(cx, cy);
    EXPECT_GE(centre[0], 240);
    EXPECT_NEAR(static_cast<double>(centre[1]) / centre[0], 0.25, 0.08) << int(centre[1]);
    EXPECT_LT(static_cast<double>(centre[2]) / centre[0], 0.2) << int(centre[2]);

    // Beyond the rim the glow: above the sky for several pixels, falling
    // without steps, red like the star, and gone far away.
    std::vector<int> glow;
    for (int r = rim + 1; r <= rim + 40 && cx + r < night.width; ++r)
        glow.push_back(night.luma(cx + r, cy) - sky.luma(cx + r, cy));
    ASSERT_GE(glow.size(), 30u);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_GE(glow[i], 3) << "glow " << i + 1 << " pixels past the rim";
    for (std::size_t i = 0; i + 1 < glow.size(); ++i) {
        EXPECT_LE(glow[i + 1], glow[i] + 1) << i;
        EXPECT_LE(glow[i] - glow[i + 1], std::max(4, glow[i] / 3)) << "a step at " << i;
    }
    EXPECT_LT(glow.back() * 4, glow.front());
    const unsigned char* halo = night.at(cx + rim + 3, cy);
    const unsigned char* behind = sky.at(cx + rim + 3, cy);
    EXPECT_GT(halo[0] - behind[0], 2 * (halo[2] - behind[2]));
}

// A star 18 m up, 400 m away, over the lake: its image stands mirrored in the
// water plane, below the horizon line, darker than the star. The far waves
// are too small for a pixel there, so the image is where a flat mirror puts it.
TEST_F(NightRender, TheLakeMirrorsABurstBelowTheHorizonDarker)
{
    const std::vector<firework_t> scene{shell(0.0f, 0.0f, 300.0f, {star(2000.0f, {1, 1, 1, 1})})};
    const image_t lake = frame("lake", scene, 2.2, "night,water,smoke=false");
    const image_t lakesky = frame("lake-sky", later(scene), 2.2, "night,water,smoke=false");
    const image_t land = frame("land", scene, 2.2, "night,smoke=false");
    const image_t landsky = frame("land-sky", later(scene), 2.2, "night,smoke=false");

    // The star: the middle of what it adds to the sky, where it is brightest.
    const auto spot = [](const image_t& image, const image_t& background, int fromrow, int torow, double& x,
                         double& y) {
        int peak = 0;
        for (int row = fromrow; row < torow; ++row)
            for (int col = 0; col < image.width; ++col) peak = std::max(peak, image.luma(col, row) - background.luma(col, row));
        double sx = 0, sy = 0, sum = 0;
        for (int row = fromrow; row < torow; ++row)
            for (int col = 0; col < image.width; ++col) {
                const int d = image.luma(col, row) - background.luma(col, row);
                if (2 * d < peak) continue;
                sx += d * col;
                sy += d * row;
                sum += d;
            }
        x = sum > 0 ? sx / sum : -1;
        y = sum > 0 ? sy / sum : -1;
        return peak;
    };
    const pixel_t horizon = project(0.0f, 400.0f, 1000.0f, lake.width, lake.height); // the far shore, 500 m out
    const int shore = static_cast<int>(horizon.y);
    double sx = 0, sy = 0;
    const int peak = spot(lake, lakesky, 0, shore, sx, sy);
    const pixel_t seen = project(0.0f, 300.0f, 1000.0f + 18.2f, lake.width, lake.height);
    EXPECT_NEAR(sx, seen.x, 1.0);
    EXPECT_NEAR(sy, seen.y, 1.0);
    // Its image mirrored in the water plane z = 1000, below the far shore.
    // Nearer the viewer the ripples catch its light as glints, further down
    // than the image reaches.
    const pixel_t image = project(0.0f, 300.0f, 1000.0f - 18.2f, lake.width, lake.height);
    ASSERT_GT(image.y, horizon.y + 10.0);
    double mx = 0, my = 0;
    const int mirrored = spot(lake, lakesky, shore + 2, static_cast<int>(horizon.y + 1.6 * (image.y - horizon.y)), mx, my);
    EXPECT_NEAR(mx, image.x, 1.5);
    EXPECT_NEAR(my, image.y, 1.5);
    EXPECT_GE(mirrored, 20) << "the image is seen";
    const int ix = static_cast<int>(std::lround(mx)), iy = static_cast<int>(std::lround(my));
    const int brightest = lake.luma(static_cast<int>(std::lround(sx)), static_cast<int>(std::lround(sy)));
    EXPECT_LT(lake.luma(ix, iy), brightest * 9 / 10) << "darker than the star";
    // No lake, no image; the star itself is there with or without the lake.
    EXPECT_LE(land.luma(ix, iy) - landsky.luma(ix, iy), 2);
    EXPECT_NEAR(land.luma(static_cast<int>(std::lround(sx)), static_cast<int>(std::lround(sy))), brightest, 3);
    EXPECT_GT(peak, 60);
}

// Smoke is what the same frame with smoke has more than without it.
struct smokemap_t {
    int width = 0;
    std::vector<int> diff; // luma with smoke less luma without
    int at(int x, int y) const { return diff[static_cast<std::size_t>(y) * width + x]; }
    long total() const
    {
        long sum = 0;
        for (int d : diff) sum += std::abs(d);
        return sum;
    }
    // Where the smoke is across the frame, lit (brighter) or not (darker).
    double centrex() const
    {
        double sx = 0, sum = 0;
        for (std::size_t i = 0; i < diff.size(); ++i) {
            const int d = std::abs(diff[i]);
            sx += d * static_cast<double>(i % width);
            sum += d;
        }
        return sum > 0 ? sx / sum : -1.0;
    }
    int brightest(int fromx, int tox) const
    {
        int most = 0;
        for (std::size_t i = 0; i < diff.size(); ++i) {
            const int x = static_cast<int>(i % width);
            if (x >= fromx && x < tox) most = std::max(most, diff[i]);
        }
        return most;
    }
};

smokemap_t smokeof(const image_t& with, const image_t& without)
{
    smokemap_t map;
    map.width = with.width;
    for (int y = 0; y < with.height; ++y)
        for (int x = 0; x < with.width; ++x) map.diff.push_back(with.luma(x, y) - without.luma(x, y));
    return map;
}

// A ring of 24 stars thrown out at 12 m/s across the view, glowing `seconds`.
std::vector<vexlor::fire_t> ring(float seconds)
{
    std::vector<vexlor::fire_t> fires;
    for (int k = 0; k < 24; ++k) {
        const float a = 0.2617994f * static_cast<float>(k);
        fires.push_back({{std::cos(a), 0.0f, std::sin(a)}, 12.0f,
                         {{0.0f, 40.0f, 0.9f, {{seconds, {1, 0.8f, 0.5f, 1}, {1, 0.8f, 0.5f, 1}}}}}});
    }
    return fires;
}

TEST_F(NightRender, SmokeAppearsAfterABreakDriftsDownwindAndIsLitOnlyNearBursts)
{
    const std::vector<firework_t> one{shell(0.0f, 0.0f, 0.0f, ring(10.0f))};
    const auto smoke = [&](const std::string& name, const std::vector<firework_t>& scene, double t,
                           const std::string& wind) {
        return smokeof(frame(name + "-on", scene, t, "night,wind=" + wind),
                       frame(name + "-off", scene, t, "night,smoke=false,wind=" + wind));
    };
    EXPECT_EQ(smoke("before", one, 1.9, "0").total(), 0) << "no smoke before the break";
    const smokemap_t early = smoke("early", one, 3.0, "3");
    EXPECT_GT(early.total(), 2000) << "smoke after the break";

    // With the wind to the right it moves right; to the left, left: 3 m/s
    // for 4 s, as far as the frame shows 12 m at the burst's distance.
    const double right = smoke("right", one, 7.0, "3").centrex() - early.centrex();
    const double left = smoke("left", one, 7.0, "-3").centrex() - smoke("early-left", one, 3.0, "-3").centrex();
    const pixel_t a = project(0.0f, 0.0f, 1018.0f, 320, 180), b = project(12.0f, 0.0f, 1018.0f, 320, 180);
    const double downwind = b.x - a.x;
    EXPECT_NEAR(right, downwind, 0.35 * downwind);
    EXPECT_NEAR(left, -downwind, 0.35 * downwind);

    // Two breaks 50 m apart, each one's stars out after 2.5 s: at 3 s the
    // left one lights its smoke and there is none on the right; at 11.5 s the
    // right one has just burst and lights its own, while the left smoke,
    // still there, is dark.
    const std::vector<firework_t> two{shell(0.0f, -25.0f, 0.0f, ring(2.5f)), shell(9.0f, 25.0f, 0.0f, ring(2.5f))};
    const int middle = static_cast<int>(project(0.0f, 0.0f, 1018.0f, 320, 180).x);
    const smokemap_t first = smoke("first", two, 3.0, "0"), second = smoke("second", two, 11.5, "0");
    EXPECT_GT(first.brightest(0, middle), 20);
    EXPECT_EQ(first.brightest(middle, 320), 0) << "no smoke on the right yet";
    EXPECT_GT(second.brightest(middle, 320), 20);
    EXPECT_LT(second.brightest(0, middle), 3) << "the left smoke is not lit by a burst 50 m away";
    EXPECT_GT(second.total() - second.brightest(middle, 320), 0);
}

// A shell flying right at 100 m/s, 100 m in front of the eye, in a 10 fps
// render with the shutter open half a frame: 5 m of travel while it is open.
// A streak is the shell's sprite drawn all along its travel, so its light
// stands at half its full height exactly where the travel begins and ends,
// whatever the sprite's size.
TEST_F(NightRender, AFastSparksStreakIsAsLongAsItsTravelWhileTheShutterIsOpen)
{
    firework_t fast = shell(0.0f, -20.0f, 0.0f, {});
    fast.position.z = 2.0f; // above the ground all the while: the night look hides what is below
    fast.velocity = {100.0f, 0.0f, 0.0f};
    fast.drag = 1.0f;
    fast.fuse = 10.0f;
    const std::vector<firework_t> scene{fast};
    const pixel_t from = project(-20.0f + 22.5f, 0.0f, 1001.7f, 320, 180);
    const pixel_t to = project(-20.0f + 27.5f, 0.0f, 1001.7f, 320, 180);
    const double travel = to.x - from.x;
    ASSERT_GT(travel, 15.0);

    // Light above the background along the row where it is brightest: the
    // plain look's levels are light as they are; the night look's are brought
    // back through its tone map (level = sqrt(m / (1 + m)), m = 3 light).
    const auto light = [](int level, bool night) {
        if (!night) return static_cast<double>(level);
        const double c = std::min(level / 255.0, 0.999);
        return c * c / (1.0 - c * c) / 3.0;
    };
    // Half-height width and middle of the light along its brightest row.
    const auto measure = [&](const image_t& image, const image_t& background, bool night, double& middle) {
        int row = 0;
        double most = 0;
        for (int y = 0; y < image.height; ++y)
            for (int x = 0; x < image.width; ++x) {
                const double d = light(image.at(x, y)[1], night) - light(background.at(x, y)[1], night);
                if (d > most) most = d, row = y;
            }
        // Along the row, the crossings of half the plateau, between pixels.
        std::vector<double> d;
        for (int x = 0; x < image.width; ++x)
            d.push_back(light(image.at(x, row)[1], night) - light(background.at(x, row)[1], night));
        double plateau = 0;
        for (double v : d) plateau = std::max(plateau, v);
        const double half = plateau / 2;
        double first = -1, last = -1;
        for (std::size_t x = 1; x < d.size(); ++x) {
            if (d[x - 1] < half && d[x] >= half && first < 0) first = x - 1 + (half - d[x - 1]) / (d[x] - d[x - 1]);
            if (d[x - 1] >= half && d[x] < half) last = x - 1 + (d[x - 1] - half) / (d[x - 1] - d[x]);
        }
        middle = 0.5 * (first + last);
        return last - first;
    };
    for (const std::string look : {"plain", "night,smoke=false,glow=0"}) {
        const bool night = look != "plain";
        const std::string name = std::string("blur-") + (night ? "night" : "plain");
        const image_t background = frame(name + "-sky", later(scene), 0.25, look);
        const image_t still = frame(name + "-still", scene, 0.25, look);
        const image_t streak = frame(name + "-streak", scene, 0.25, look, 320, 180, 32);
        double stillmiddle = 0, streakmiddle = 0;
        const double width = measure(still, background, night, stillmiddle);
        const double length = measure(streak, background, night, streakmiddle);
        EXPECT_LT(width, travel / 2) << look << ": the sprite alone is smaller";
        EXPECT_NEAR(length, travel, 1.0) << look;
        EXPECT_NEAR(streakmiddle, stillmiddle, 1.0) << look << ": the shutter is open around the frame's time";
    }
}

// The README's picture, taken when VEXLOR_PICTURES names a folder; always a
// frame of a gallery show in the night look over a lake, checked for its sky.
TEST_F(NightRender, APictureOfTheNightLook)
{
    const char* folder = std::getenv("VEXLOR_PICTURES");
    const int width = folder ? 960 : 320, height = folder ? 540 : 180;
    const image_t picture = frame("picture", {}, 6.5, "night,water,wind=2", width, height, folder ? 4 : 1,
                                  std::string(SHOWS) + "/mixed.vexlor.toml");
    ASSERT_EQ(picture.width, width);
    // A dark blue night above, no grey: the top rows bluer than red, and dark.
    double red = 0, blue = 0;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < width; ++x) {
            red += picture.at(x, y)[0];
            blue += picture.at(x, y)[2];
        }
    EXPECT_LT(red / (3 * width), 40);
    EXPECT_GT(blue, red * 1.2);
    if (folder)
        fs::copy_file(s_dir->path + "/picture/frame000000.png", std::string(folder) + "/night.png",
                      fs::copy_options::overwrite_existing);
}

} // namespace
