// vexlor-render, headless (DISPLAY unset; EGL surfaceless): a small scene of
// known times drawn to PNG frames and read back, its sound track's onsets,
// repeatability, --from/--to, shows that start late or pause, an MP4 through
// ffmpeg, and every refused input.
#include "audio/clipmix.h"
#include "firework/loadsave.h"
#include "firework/openshow.h"
#include "firework/showrunner.h"
#include "tests/firework/scenes.h"
#include "tools/render/renderjob.h"
#include "tools/render/soundtrack.h"

#include <gtest/gtest.h>
#include <png.h>
#include <sndfile.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

namespace {

namespace fs = std::filesystem;
using vexlor::firework_t;

constexpr int k_width = 160;
constexpr int k_height = 90;
constexpr int k_fps = 10;
constexpr int k_background = 46; // 0.18 of 255

// Shell A rises from 0 and bursts at 2 s, above the eye, into one big red
// star that stays where it burst; two shells B rise together at 4 s and
// burst at 6 s into smaller green stars. Each star glows 5.95 s, so the show
// ends at 11.95 s, and the sounds (1.6 s long) never overlap: 0, 2, 4 (twice)
// and 6 s (twice).
std::vector<firework_t> probescene()
{
    const auto star = [](float size, geokit::color3a_t colour) {
        return vexlor::fire_t{{0, 0, 0}, 0.0f, {{0.0f, size, 1.0f, {{5.95f, colour, colour}}}}};
    };
    const auto shell = [](float time, float x, vexlor::fire_t fire) {
        return firework_t{false, false, time, {x, 0, 0}, {0, 0, 20}, 2.0f, 1.0f, 1.0f, {1, 1, 1, 1}, {fire}};
    };
    return {shell(0.0f, 0.0f, star(700.0f, {1, 0, 0, 1})), shell(4.0f, -30.0f, star(300.0f, {0, 1, 0, 1})),
            shell(4.0f, 30.0f, star(300.0f, {0, 1, 0, 1}))};
}

struct image_t {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb;
    const unsigned char* at(int x, int y) const { return &rgb[(static_cast<std::size_t>(y) * width + x) * 3]; }
    bool background(int x, int y) const
    {
        const unsigned char* p = at(x, y);
        return p[0] == k_background && p[1] == k_background && p[2] == k_background;
    }
    int lit() const
    {
        int count = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) count += background(x, y) ? 0 : 1;
        return count;
    }
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

std::vector<short> readwav(const std::string& path, SF_INFO& info)
{
    info = {};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return {};
    std::vector<short> samples(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_short(file, samples.data(), info.frames);
    sf_close(file);
    return samples;
}

std::string bytes(const fs::path& path)
{
    return tempdir::read(path.string());
}

struct result_t {
    int status;
    std::string err;
};

// The program itself, with `environment` put before it (VAR=value ...).
result_t run(const tempdir& dir, const std::string& arguments, const std::string& environment = "")
{
    const std::string err = dir.path + "/stderr";
    const std::string command =
        "env -u DISPLAY " + environment + " " + RENDERTOOL + " " + arguments + " >/dev/null 2>" + err;
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(err)};
}

class Render : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        unsetenv("DISPLAY");
        s_dir = new tempdir;
        s_scene = s_dir->path + "/probe.scene";
        ASSERT_TRUE(vexlor::save(s_scene.c_str(), probescene()));
        s_full = render(s_dir->path + "/full/");
    }
    static void TearDownTestSuite() { delete s_dir; }

    static vexlor::renderoptions_t options(const std::string& output)
    {
        vexlor::renderoptions_t o;
        o.show = s_scene;
        o.output = output;
        o.width = k_width;
        o.height = k_height;
        o.fps = k_fps;
        o.quiet = true;
        o.argv0 = "test_render";
        return o;
    }
    static int render(const vexlor::renderoptions_t& o)
    {
        vexlor::renderstats_t stats;
        testing::internal::CaptureStderr();
        const int status = vexlor::render(o, stats);
        testing::internal::GetCapturedStderr();
        return status;
    }
    static int render(const std::string& output) { return render(options(output)); }
    static fs::path frame(const std::string& dir, int k)
    {
        char name[32];
        std::snprintf(name, sizeof name, "frame%06d.png", k);
        return fs::path(s_dir->path) / dir / name;
    }
    static std::size_t files(const std::string& dir)
    {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : fs::directory_iterator(fs::path(s_dir->path) / dir)) ++count;
        return count;
    }

    static tempdir* s_dir;
    static std::string s_scene;
    static int s_full;
};
tempdir* Render::s_dir = nullptr;
std::string Render::s_scene;
int Render::s_full = -1;

TEST_F(Render, FramesRunUntilNothingIsLeftAndFromToPickTheSameFrames)
{
    ASSERT_EQ(s_full, 0);
    // Frames at 0, 0.1, ... 11.9 s; the one at 12 s has nothing left to draw.
    EXPECT_EQ(files("full"), 120u + 1u) << "frames and sound.wav";
    EXPECT_TRUE(fs::exists(frame("full", 119)));
    EXPECT_FALSE(fs::exists(frame("full", 120)));
    EXPECT_TRUE(fs::exists(fs::path(s_dir->path) / "full" / "sound.wav"));
    EXPECT_TRUE(readpng(frame("full", 0).string()).lit() == 0) << "at 0 s the shell is not launched yet";

    vexlor::renderoptions_t part = options(s_dir->path + "/part/");
    part.from = 4.2;
    part.to = 4.5;
    ASSERT_EQ(render(part), 0);
    EXPECT_EQ(files("part"), 3u + 1u);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(bytes(frame("part", k)), bytes(frame("full", 42 + k))) << k;
}

TEST_F(Render, TheShellRisesAloneUntilItsBurstThenTheStarIsARoundSoftDot)
{
    ASSERT_EQ(s_full, 0);
    const image_t before = readpng(frame("full", 19).string()); // 1.9 s
    const image_t after = readpng(frame("full", 21).string());  // 2.1 s
    ASSERT_EQ(before.width, k_width);
    ASSERT_EQ(before.height, k_height);
    EXPECT_GE(before.lit(), 1) << "the rising shell";
    EXPECT_LE(before.lit(), 2) << "nothing but the rising shell";
    int brightest = 0;
    for (int y = 0; y < before.height; ++y)
        for (int x = 0; x < before.width; ++x) brightest = std::max<int>(brightest, before.at(x, y)[2]);
    EXPECT_EQ(brightest, 255) << "a spark smaller than a pixel keeps its full colour";
    EXPECT_GT(after.lit(), 150) << "the burst's star";

    // The star: its brightest pixel is its centre; every channel but red is
    // background there, and red falls towards the rim, symmetrically.
    int cx = 0, cy = 0;
    for (int y = 0; y < after.height; ++y)
        for (int x = 0; x < after.width; ++x)
            if (after.at(x, y)[0] > after.at(cx, cy)[0]) cx = x, cy = y;
    EXPECT_EQ(after.at(cx, cy)[0], 255) << "the centre keeps the star's full colour";
    EXPECT_EQ(after.at(cx, cy)[1], k_background);
    int radius = 0;
    while (cx + radius + 1 < after.width && !after.background(cx + radius + 1, cy)) ++radius;
    EXPECT_GE(radius, 7);
    EXPECT_LE(radius, 11);
    for (int r = 1; r <= radius; ++r)
        EXPECT_LE(after.at(cx + r, cy)[0], after.at(cx + r - 1, cy)[0]) << "brightness falls at " << r;
    EXPECT_LT(after.at(cx + radius - 1, cy)[0], 200) << "soft towards the rim";
    // Round, not square: the corners of the square around it are background.
    for (const auto& [dx, dy] : {std::pair{1, 1}, {-1, 1}, {1, -1}, {-1, -1}})
        EXPECT_TRUE(after.background(cx + dx * radius, cy + dy * radius)) << dx << "," << dy;
}

TEST_F(Render, SoundOnsetsLandOnTheExactSamplesOfLaunchesAndBursts)
{
    ASSERT_EQ(s_full, 0);
    SF_INFO info;
    const std::vector<short> track = readwav((fs::path(s_dir->path) / "full" / "sound.wav").string(), info);
    ASSERT_EQ(info.samplerate, 48000);
    ASSERT_EQ(info.channels, 2);
    EXPECT_EQ(info.frames, 12 * 48000) << "as long as the frames";

    // Where the burst sound itself first rises above the 16-bit step.
    sndkit::clip_t clip;
    std::string message;
    ASSERT_TRUE(sndkit::loadclip(REVERB_WAV, vexlor::k_soundrate, clip, message)) << message;
    std::size_t first = 0;
    while (first < clip.frames() && std::fabs(clip.samples[2 * first]) * 32767.0f < 1.0f) ++first;
    ASSERT_LT(first, clip.frames());

    const auto energy = [&](std::size_t from, std::size_t count) {
        double sum = 0;
        for (std::size_t i = from; i < from + count; ++i) sum += std::abs(track[2 * i]);
        return sum;
    };
    // A sound begins where the track leaves a tenth of a second of silence.
    std::vector<std::size_t> heard;
    std::size_t silent = 4800;
    for (std::size_t i = 0; i < static_cast<std::size_t>(info.frames); ++i) {
        const bool quiet = track[2 * i] == 0 && track[2 * i + 1] == 0;
        if (!quiet && silent >= 4800) heard.push_back(i - first);
        silent = quiet ? silent + 1 : 0;
    }
    EXPECT_EQ(heard, (std::vector<std::size_t>{0, 96000, 192000, 288000}));
    // The two shells launched together both sound: twice as loud, seen in
    // the tail, where the limiter that tames the doubled peaks has let go.
    ASSERT_EQ(heard.size(), 4u);
    const double one = energy(heard[0] + 24000, 24000);
    EXPECT_NEAR(energy(heard[2] + 24000, 24000) / one, 2.0, 0.01);
}

// The show's music lands on its exact sample, under its gain: the track
// rendered with music less the one without is the music alone (within the
// 16-bit step), at offset - from seconds, and silent outside the track.
TEST_F(Render, MusicLandsOnItsExactSampleUnderItsGain)
{
    // Two clicks in a silent track at 48 kHz: frames 1000 and 30000.
    const std::string track = s_dir->path + "/clicks.wav";
    {
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = 1;
        info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        std::vector<float> samples(40000, 0.0f);
        samples[1000] = 0.5f;
        samples[30000] = 0.25f;
        SNDFILE* file = sf_open(track.c_str(), SFM_WRITE, &info);
        ASSERT_NE(file, nullptr);
        sf_writef_float(file, samples.data(), 40000);
        sf_close(file);
    }
    const std::string shell = "[[shell]]\nkind = \"single\"\ntime = 0\n";
    const struct {
        const char* name;
        double offset, from;
        std::vector<std::pair<std::size_t, float>> clicks; // frame in the render, value before the gain
    } cases[] = {
        {"late", 1.25, 0.5, {{37000, 0.5f}, {66000, 0.25f}}},
        {"early", -0.1, 0.0, {{25200, 0.25f}}},
    };
    for (const auto& c : cases) {
        const std::string show = s_dir->write(std::string(c.name) + ".toml",
                                              shell + "[music]\nfile = \"clicks.wav\"\noffset = " + std::to_string(c.offset)
                                                  + "\ngain = 0.5\n");
        vexlor::renderoptions_t withmusic = options(s_dir->path + "/" + c.name + "/");
        withmusic.show = show;
        withmusic.from = c.from;
        withmusic.to = c.from + 1.5;
        vexlor::renderoptions_t without = withmusic;
        without.show = "single";
        without.output = s_dir->path + "/" + c.name + "-silent/";
        ASSERT_EQ(render(withmusic), 0) << c.name;
        ASSERT_EQ(render(without), 0) << c.name;
        SF_INFO a, b;
        const std::vector<short> mixed = readwav(withmusic.output + "sound.wav", a);
        const std::vector<short> plain = readwav(without.output + "sound.wav", b);
        ASSERT_EQ(mixed.size(), plain.size());
        ASSERT_EQ(mixed.size(), 72000u * 2);
        std::vector<std::pair<std::size_t, float>> heard;
        for (std::size_t i = 0; i < mixed.size() / 2; ++i) {
            const int d = mixed[2 * i] - plain[2 * i];
            EXPECT_EQ(d, mixed[2 * i + 1] - plain[2 * i + 1]) << c.name << " " << i;
            if (std::abs(d) > 2) heard.emplace_back(i, d / 32767.0f / 0.5f);
        }
        ASSERT_EQ(heard.size(), c.clicks.size()) << c.name;
        for (std::size_t k = 0; k < heard.size(); ++k) {
            EXPECT_EQ(heard[k].first, c.clicks[k].first) << c.name;
            EXPECT_NEAR(heard[k].second, c.clicks[k].second, 1e-3) << c.name;
        }
    }
}

TEST(RenderSpan, SoundsAreThoseItsFramesAskForAtTheirOwnTimes)
{
    // From 2.5 s: frame 0 asks for A's launch (0 s) and burst (2 s), which
    // keep their own times, so the burst's tail is heard from the first
    // sample; B launches at 4 s and bursts at 6 s; C, after the span, is
    // never asked for.
    std::vector<firework_t> scene = probescene();
    scene.pop_back();
    scene.push_back(scene.back());
    scene.back().time = 9.0f;
    vexlor::showrunner_t runner;
    runner.load(vexlor::sharescene(std::move(scene)));
    const vexlor::renderspan_t span = runner.renderspan(2.5, 7.0, 10.0);
    EXPECT_EQ(span.frames, 45u);
    std::vector<std::pair<double, std::size_t>> heard;
    const std::vector<vexlor::rendersound_t> sounds = runner.rendersounds(span);
    for (const auto& sound : sounds) heard.emplace_back(sound.time, sound.shell);
    EXPECT_EQ(heard, (std::vector<std::pair<double, std::size_t>>{{0.0, 0}, {2.0, 0}, {4.0, 1}, {6.0, 1}}));
    EXPECT_EQ(sounds[1].what, vexlor::sound_t::burst);

    // Without an end: every frame up to the last spark's.
    vexlor::showrunner_t probe;
    probe.load(vexlor::sharescene(probescene()));
    const vexlor::renderspan_t all = probe.renderspan(0.0, -1.0, 10.0);
    EXPECT_EQ(all.frames, 120u);
    EXPECT_EQ(probe.rendersounds(all).size(), 6u) << "two launches and two bursts at 4 and 6 s";
}

// The track as make() hands it over, block after block.
std::vector<float> made(vexlor::soundtrack_t& track, float ceiling = 0.98f)
{
    std::vector<float> all;
    std::string message;
    const bool ok = track.make([&](const float* samples, std::size_t frames) {
        EXPECT_GT(frames, 0u);
        all.insert(all.end(), samples, samples + frames * 2);
        return true;
    }, message, ceiling);
    EXPECT_TRUE(ok) << message;
    EXPECT_EQ(all.size(), track.frames() * 2);
    return all;
}

TEST(Soundtrack, ClipsLandWhereTheyAreToldAndTheLimiterKeepsEveryPeakInside)
{
    sndkit::clip_t click;
    click.samples = {0.5f, -0.25f, 0.9f, 0.9f, 0.1f, 0.0f};
    // Longer than a block: the clips at the end are mixed in a later one.
    vexlor::soundtrack_t mix(48000);
    mix.add(click, 100);
    mix.add(click, -1);     // only its tail: the last two frames at 0 and 1
    mix.add(click, 47999);  // only its head
    mix.add(click, 48000);  // past the end: nothing
    const std::vector<float> s = made(mix);
    EXPECT_EQ(s[200], 0.5f);
    EXPECT_EQ(s[203], 0.9f);
    EXPECT_EQ(s[0], 0.9f);
    EXPECT_EQ(s[2], 0.1f);
    EXPECT_EQ(s[95998], 0.5f);
    EXPECT_EQ(mix.smallestgain(), 1.0f) << "nothing above the ceiling: left as it was";
    EXPECT_EQ(std::count_if(s.begin(), s.end(), [](float v) { return v != 0.0f; }), 5 + 3 + 2);

    // Forty bursts at once, and one alone much later.
    sndkit::clip_t burst;
    for (int i = 0; i < 4800; ++i) {
        const float v = 0.8f * std::sin(i * 0.05f) * std::exp(-i / 1000.0f);
        burst.samples.insert(burst.samples.end(), {v, -v});
    }
    vexlor::soundtrack_t crowd(48000);
    for (int i = 0; i < 40; ++i) crowd.add(burst, 1000);
    crowd.add(burst, 40000);
    const std::vector<float> c = made(crowd);
    EXPECT_LT(crowd.smallestgain(), 0.05f);
    float peak = 0.0f;
    for (float v : c) peak = std::max(peak, std::fabs(v));
    EXPECT_LE(peak, 0.98f * (1.0f + 1e-6f));
    EXPECT_NEAR(c[2 * 40010], burst.samples[20], 1e-3f) << "the gain is back by then";
}

// A long track is made in blocks: a loud stretch across the blocks' seams is
// held at the ceiling throughout, its gain recovers smoothly after it,
// wherever the seams fall, and nothing is lost or doubled there.
TEST(Soundtrack, BlocksJoinWithoutASeam)
{
    sndkit::clip_t loud, quiet;
    loud.samples.assign(2 * 100000, 1.5f);   // 1.5 everywhere: held at 0.98
    quiet.samples.assign(2 * 200000, 0.25f);
    const std::size_t frames = 400000;
    vexlor::soundtrack_t track(frames);
    track.add(loud, 20000);
    track.add(quiet, 120000);
    std::vector<float> s = made(track);
    for (std::size_t i = 20000 + 200; i < 120000; ++i)
        ASSERT_NEAR(s[2 * i], 0.98f, 1e-5f) << "frame " << i;
    // After the loud part the gain rises back to 1 in small steps, never
    // falling and never jumping, also where a block begins.
    float last = 0.98f / 1.5f;
    for (std::size_t i = 120000; i < 320000; ++i) {
        const float gain = s[2 * i] / 0.25f;
        ASSERT_GE(gain, last - 1e-6f) << "frame " << i;
        ASSERT_LE(gain - last, 1e-3f) << "frame " << i;
        last = gain;
    }
    EXPECT_EQ(last, 1.0f);
    for (std::size_t i = 320000; i < frames; ++i)
        ASSERT_EQ(s[2 * i], 0.0f) << "frame " << i;

    // A peak just past the end of the first block: the gain already falls
    // in the block before, which was handed over first.
    sndkit::clip_t peak;
    peak.samples.assign(2 * 10, 1.5f);
    vexlor::soundtrack_t onset(100000);
    onset.add(quiet, 0);
    onset.add(peak, 32768 + 2);
    s = made(onset);
    EXPECT_LT(s[2 * 32767], 0.25f * 0.99f) << "no look-ahead across the blocks' seam";
    EXPECT_EQ(s[2 * 30000], 0.25f);}

// The music streams through every block of a track far longer than one.
TEST(Soundtrack, MusicStreamsAcrossBlocksOnItsExactSamples)
{
    tempdir dir;
    const std::string path = dir.path + "/ramp.wav";
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    const std::size_t length = 150000;
    std::vector<float> ramp(length * 2);
    for (std::size_t i = 0; i < length; ++i) ramp[2 * i] = ramp[2 * i + 1] = static_cast<float>(i + 1) / length;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(sf_writef_float(file, ramp.data(), static_cast<sf_count_t>(length)), static_cast<sf_count_t>(length));
    sf_close(file);

    // Its first sample at show time 1.5; the track begins at show time 0.5.
    vexlor::soundtrack_t track(200000);
    std::string message;
    ASSERT_TRUE(track.music(path, 1.5, 0.5, 0.5, message)) << message;
    const std::vector<float> s = made(track);
    for (std::size_t i = 0; i < 48000; ++i) ASSERT_EQ(s[2 * i], 0.0f) << "frame " << i;
    for (std::size_t i = 48000; i < 48000 + length; ++i)
        ASSERT_NEAR(s[2 * i], 0.5f * ramp[2 * (i - 48000)], 1e-6f) << "frame " << i;
    for (std::size_t i = 48000 + length; i < 200000; ++i) ASSERT_EQ(s[2 * i], 0.0f) << "frame " << i;

    vexlor::soundtrack_t none(10);
    EXPECT_FALSE(none.music(dir.path + "/missing.wav", 0.0, 1.0, 0.0, message));
    EXPECT_FALSE(message.empty());
}

TEST_F(Render, TheSameRenderTwiceGivesTheSameBytes)
{
    vexlor::renderoptions_t o = options(s_dir->path + "/again/");
    o.to = 2.5;
    ASSERT_EQ(render(o), 0);
    o.output = s_dir->path + "/again2/";
    ASSERT_EQ(render(o), 0);
    ASSERT_EQ(files("again"), 25u + 1u);
    for (const auto& entry : fs::directory_iterator(fs::path(s_dir->path) / "again"))
        EXPECT_EQ(bytes(entry.path()), bytes(fs::path(s_dir->path) / "again2" / entry.path().filename()))
            << entry.path().filename();
}

TEST_F(Render, TrailsKeepWhatEarlierFramesDrew)
{
    vexlor::renderoptions_t o = options(s_dir->path + "/trails/");
    o.to = 1.0;
    o.trails = true;
    ASSERT_EQ(render(o), 0);
    // The rising shell leaves a line of points behind it; alone it is one.
    EXPECT_GE(readpng(frame("trails", 9).string()).lit(), 8);
    EXPECT_LE(readpng(frame("full", 9).string()).lit(), 2);
}

// The big red star's centre after the burst: the centroid of its redness.
std::pair<int, int> redcentre(const image_t& image)
{
    double sx = 0, sy = 0, sum = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const int red = image.at(x, y)[0] - image.at(x, y)[1];
            if (red < 40) continue;
            sx += red * x;
            sy += red * y;
            sum += red;
        }
    if (sum == 0) return {-1, -1};
    return {static_cast<int>(std::lround(sx / sum)), static_cast<int>(std::lround(sy / sum))};
}

TEST_F(Render, Mp4sThatFfprobeReadsShowingWhatThePngsShow)
{
    if (std::system("command -v ffprobe >/dev/null 2>&1") != 0) GTEST_SKIP() << "no ffprobe";
    ASSERT_EQ(s_full, 0);
    const auto [cx, cy] = redcentre(readpng(frame("full", 21).string()));
    // 160 wide: converted to NV12 on the GPU; 162 wide: sent as RGBA.
    for (const int width : {160, 162}) {
        const std::string out = s_dir->path + "/show" + std::to_string(width) + ".mp4";
        ASSERT_EQ(run(*s_dir, s_scene + " -o " + out + " --size " + std::to_string(width) +
                                  "x90 --fps 10 --to 2.5 --quiet").status, 0);
        const std::string probe = s_dir->path + "/probe.txt";
        std::system(("ffprobe -v error -show_entries stream=codec_type,codec_name,width,height,r_frame_rate"
                     ":format=duration -of default=noprint_wrappers=1 " + out + " >" + probe).c_str());
        const std::string text = tempdir::read(probe);
        for (const std::string& line : std::vector<std::string>{"codec_name=h264", "width=" + std::to_string(width),
                                                                "height=90", "r_frame_rate=10/1",
                                                                "codec_type=audio", "codec_name=aac"})
            EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
        const auto at = text.find("duration=");
        ASSERT_NE(at, std::string::npos);
        EXPECT_NEAR(std::stod(text.substr(at + 9)), 2.5, 0.05);

        // Frame 21, upright and in its colours, where the PNG has it.
        // Raw RGB, not PNG: ffmpeg would tag a PNG with the video's gamma.
        const std::string still = s_dir->path + "/still.rgb";
        std::system(("ffmpeg -v error -y -i " + out + " -vf 'select=eq(n\\,21)' -frames:v 1 -f rawvideo "
                     "-pix_fmt rgb24 " + still).c_str());
        image_t image;
        image.width = width;
        image.height = 90;
        const std::string raw = tempdir::read(still);
        image.rgb.assign(raw.begin(), raw.end());
        ASSERT_EQ(image.rgb.size(), static_cast<std::size_t>(width) * 90 * 3);
        const auto [x, y] = redcentre(image);
        EXPECT_NEAR(x, cx + (width - 160) / 2, 1) << width;
        EXPECT_NEAR(y, cy, 1) << width;
        EXPECT_GT(image.at(x, y)[0], 200) << width;
        EXPECT_LT(image.at(x, y)[1], 80) << width;
        EXPECT_NEAR(image.at(2, 2)[1], k_background, 3) << "the background's grey";
    }
    // Nothing temporary is left beside them.
    for (const auto& entry : fs::directory_iterator(s_dir->path))
        EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos) << entry.path();
}

TEST_F(Render, BadInputsGiveOneLineAndAStatus)
{
    const std::string mp4 = s_dir->path + "/bad.mp4";
    const std::string broken = s_dir->write("broken.scene", "1\n0\nnonsense\n");
    const std::string shell = "[[shell]]\nkind = \"single\"\ntime = 0\n[music]\nfile = ";
    const std::string nomusic = s_dir->write("nomusic.toml", shell + "\"gone.ogg\"\n");
    s_dir->write("notes.txt", "not a sound\n");
    const std::string textmusic = s_dir->write("textmusic.toml", shell + "\"notes.txt\"\n");
    const std::string fakebin = s_dir->path + "/fakebin";
    fs::create_directories(fakebin);
    // The real ffmpeg, made to fail by an option it does not know.
    const std::string shim = s_dir->write("fakebin/ffmpeg", "#!/bin/sh\nexec /usr/bin/ffmpeg -no_such_option \"$@\"\n");
    fs::permissions(shim, fs::perms::owner_all);
    const struct {
        std::string arguments, environment;
        int status;
        std::string says;
    } cases[] = {
        {"single -o out.avi", "", 2, "out.avi"},
        {"single -o " + mp4 + " --size 0x10", "", 2, "0x10"},
        {"single -o " + mp4 + " --size 16386x10", "", 2, "16386x10"},
        {"single -o " + mp4 + " --size 1920", "", 2, "WxH"},
        {"single -o " + mp4 + " --fps 0", "", 2, "--fps"},
        {"single -o " + mp4 + " --fps many", "", 2, "--fps"},
        {"single -o " + mp4 + " --from 5 --to 3", "", 2, "--to"},
        {"single -o " + mp4 + " --to 3601", "", 2, "at most 3600 s"},
        {"single -o " + s_dir->path + "/many/ --fps 1000 --to 1000", "", 2, "at most 999999 frames"},
        {"single -o " + mp4 + " --size 161x90", "", 2, "even"},
        {"single -o " + mp4 + " --look dawn", "", 2, "--look dawn: unknown look 'dawn' (choose plain or night)"},
        {"single -o " + mp4 + " --look night,fog", "", 2, "unknown setting 'fog' (settings: water, wind, sky, horizon, smoke, glow)"},
        {"single -o " + mp4 + " --look night,wind=0:25:0", "", 2, "a wind of 25 m/s is too strong (at most 20 m/s)"},
        {"single -o " + mp4 + " --look night,glow=9", "", 2, "glow must lie from 0 to 4"},
        {"single -o " + mp4 + " --motion-blur 0", "", 2, "--motion-blur 0: must be a whole number from 1 to 64"},
        {"single -o " + mp4 + " --motion-blur 65", "", 2, "--motion-blur 65: must be a whole number from 1 to 64"},
        {"single -o " + mp4 + " --motion-blur two", "", 2, "--motion-blur two: must be a whole number from 1 to 64"},
        {"single -o " + mp4 + " --shutter 0", "", 2, "--shutter 0: must be a number above 0 and at most 1"},
        {"single -o " + mp4 + " --shutter 1.5", "", 2, "--shutter 1.5: must be a number above 0 and at most 1"},
        {"single -o " + mp4 + " --shutter nan", "", 2, "--shutter nan: must be a number above 0 and at most 1"},
        {"single", "", 2, "--output"},
        {"-o " + mp4, "", 2, "SHOW"},
        {"single -o " + mp4 + " --bogus", "", 2, "--bogus"},
        {"single -o /nonexistent/dir/out.mp4 --size 64x36", "", 1, "/nonexistent/dir/out.mp4"},
        {"single -o /nonexistent/dir/ --size 64x36", "", 1, "/nonexistent/dir/"},
        {broken + " -o " + mp4, "", 1, broken + ":1: "},
        {"/nonexistent.scene -o " + mp4, "", 1, "/nonexistent.scene"},
        {nomusic + " -o " + mp4 + " --size 64x36", "", 1, nomusic + ":5:8: music file: " + s_dir->path + "/gone.ogg: cannot read the file (No such file or directory)"},
        {textmusic + " -o " + mp4 + " --size 64x36", "", 1, textmusic + ":5:8: music file: " + s_dir->path + "/notes.txt: not a sound format"},
        {"single -o " + mp4 + " --size 64x36", "PATH=/nonexistent", 1, "Debian package ffmpeg"},
        {"single -o " + mp4 + " --size 64x36 --to 0.5", "PATH=" + fakebin, 1, "ffmpeg stopped reading frames: Error splitting the argument list"},
        {"single -o " + s_dir->path + "/noegl/ --size 64x36 --to 0.5",
         "__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent.json", 1, "no EGL device"},
    };
    for (const auto& c : cases) {
        const result_t r = run(*s_dir, c.arguments, c.environment);
        EXPECT_EQ(r.status, c.status) << c.arguments << "\n" << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c.arguments << "\n" << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.arguments << "\n" << r.err;
        if (std::getenv("VEXLOR_SHOW_MESSAGES")) std::cout << r.err;
    }
    EXPECT_FALSE(fs::exists(mp4)) << "no output from a failed render";
    EXPECT_EQ(run(*s_dir, "--help").status, 0);
    EXPECT_EQ(run(*s_dir, "--version").status, 0);
    EXPECT_FALSE(fs::exists(s_dir->path + "/noegl"));
    for (const auto& entry : fs::directory_iterator(s_dir->path))
        EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos) << entry.path();
}

TEST_F(Render, CtrlCStopsWithinASecondAndLeavesNothing)
{
    const std::string out = s_dir->path + "/stopped/";
    const pid_t child = fork();
    if (child == 0) {
        execl(RENDERTOOL, RENDERTOOL, "susuki", "-o", out.c_str(), "--size", "640x360", "--quiet",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    ASSERT_GT(child, 0);
    // Well into the drawing (the scan and sound track take a moment first).
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    kill(child, SIGINT);
    const auto sent = std::chrono::steady_clock::now();
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() - sent > std::chrono::seconds(5)) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            FAIL() << "still running 5 s after Ctrl-C";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - sent, std::chrono::seconds(1));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_FALSE(fs::exists(out));
    for (const auto& entry : fs::directory_iterator(s_dir->path))
        EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos) << entry.path();
}

} // namespace

// A show file renders from its shared designs exactly as its expansion does:
// the same frames, byte for byte, and the same sounds at the same times.
TEST_F(Render, AShowFileRendersAsItsExpandedScene)
{
    const std::string showpath = s_dir->path + "/pair.toml";
    std::ofstream(showpath) << "[[shell]]\nkind = \"simple\"\ntime = 0.0\nposition = [-20, 0, 0]\n"
                               "count = 3\ninterval = 0.4\nstep = [20, 0, 0]\n\n"
                               "[[shell]]\nkind = \"single\"\ntime = 0.2\n";
    vexlor::show_t show;
    std::string message;
    ASSERT_TRUE(vexlor::openshow(showpath, show, message)) << message;
    ASSERT_LT(show.designs.size(), show.shells.size());
    const std::string scenepath = s_dir->path + "/pair.scene";
    ASSERT_TRUE(vexlor::save(scenepath.c_str(), vexlor::expand(show)));

    vexlor::showrunner_t byshow, byscene;
    byshow.load(show);
    byscene.load(vexlor::sharescene(vexlor::expand(show)));
    const vexlor::renderspan_t a = byshow.renderspan(0.0, -1.0, 10.0), b = byscene.renderspan(0.0, -1.0, 10.0);
    EXPECT_EQ(a.frames, b.frames);
    const auto sa = byshow.rendersounds(a), sb = byscene.rendersounds(b);
    ASSERT_EQ(sa.size(), sb.size());
    ASSERT_EQ(sa.size(), 8u) << "a launch and a burst for each of the four shells";
    for (std::size_t i = 0; i < sa.size(); ++i) {
        EXPECT_EQ(sa[i].time, sb[i].time) << i;
        EXPECT_EQ(sa[i].what, sb[i].what) << i;
        EXPECT_EQ(sa[i].shell, sb[i].shell) << i;
    }

    vexlor::renderoptions_t o = options(s_dir->path + "/byshow/");
    o.show = showpath;
    o.to = 3.0;
    ASSERT_EQ(render(o), 0);
    o.show = scenepath;
    o.output = s_dir->path + "/byscene/";
    ASSERT_EQ(render(o), 0);
    ASSERT_EQ(files("byshow"), 30u + 1u);
    for (const auto& entry : fs::directory_iterator(fs::path(s_dir->path) / "byshow"))
        EXPECT_EQ(bytes(entry.path()), bytes(fs::path(s_dir->path) / "byscene" / entry.path().filename()))
            << entry.path().filename();
}

// Shells that start late or leave a long dark gap are rendered whole: every
// frame up to the last spark, the dark ones included, with each sound on its
// sample.
TEST_F(Render, ShowsThatStartLateOrPauseRenderWhole)
{
    std::vector<firework_t> late = probescene();
    late.resize(1);
    late[0].time = 5.0f;
    std::vector<firework_t> gap = probescene();
    gap.resize(2);
    gap[1].time = 30.0f;
    const struct {
        const char* name;
        std::vector<firework_t> scene;
        std::size_t frames;
        int dark;  // a frame before the launch, or in the gap
        int burst; // a frame just after the late burst
        std::vector<std::size_t> sounds; // onsets in sample frames
    } cases[] = {
        {"late", late, 130, 10, 71, {240000, 336000}},            // out at 12.95 s
        {"gap", gap, 380, 200, 321, {0, 96000, 1440000, 1536000}}, // out at 37.95 s
    };
    sndkit::clip_t clip;
    std::string message;
    ASSERT_TRUE(sndkit::loadclip(REVERB_WAV, vexlor::k_soundrate, clip, message)) << message;
    std::size_t first = 0;
    while (first < clip.frames() && std::fabs(clip.samples[2 * first]) * 32767.0f < 1.0f) ++first;
    for (const auto& c : cases) {
        const std::string scene = s_dir->path + "/" + c.name + ".scene";
        ASSERT_TRUE(vexlor::save(scene.c_str(), c.scene));
        vexlor::renderoptions_t o = options(s_dir->path + "/" + c.name + "/");
        o.show = scene;
        ASSERT_EQ(render(o), 0) << c.name;
        EXPECT_EQ(files(c.name), c.frames + 1) << c.name << ": frames and sound.wav";
        EXPECT_EQ(readpng(frame(c.name, c.dark).string()).lit(), 0) << c.name << ": dark before the launch, or in the gap";
        EXPECT_GT(readpng(frame(c.name, c.burst).string()).lit(), 20) << c.name << ": the star after the burst";
        SF_INFO info;
        const std::vector<short> track = readwav(s_dir->path + "/" + c.name + "/sound.wav", info);
        EXPECT_EQ(info.frames, static_cast<sf_count_t>(c.frames * 4800)) << c.name;
        std::vector<std::size_t> heard;
        std::size_t silent = 4800;
        for (std::size_t i = 0; i < static_cast<std::size_t>(info.frames); ++i) {
            const bool quiet = track[2 * i] == 0 && track[2 * i + 1] == 0;
            if (!quiet && silent >= 4800) heard.push_back(i - first);
            silent = quiet ? silent + 1 : 0;
        }
        EXPECT_EQ(heard, c.sounds) << c.name;
    }
}

// The sound track lasts as long as the span asked for, however few frames a
// slow rate gives it.
TEST_F(Render, TheSoundTrackLastsTheSpanWhateverTheFrameRate)
{
    vexlor::renderoptions_t o = options(s_dir->path + "/slow/");
    o.fps = 0.25;
    o.to = 10.0;
    ASSERT_EQ(render(o), 0);
    EXPECT_EQ(files("slow"), 3u + 1u) << "frames at 0, 4 and 8 s";
    SF_INFO info;
    readwav(s_dir->path + "/slow/sound.wav", info);
    EXPECT_EQ(info.frames, 10 * 48000);
}
