// Shows with shared designs and show files: a show evaluates exactly as its
// expansion, on one thread or several; sharing keeps memory flat as shells
// are added; show files place, repeat and override shells, include scene
// files and the built-in shows, and report every problem at its position.
#include "firework/evaluate.h"
#include "firework/loadsave.h"
#include "firework/openshow.h"
#include "firework/sample.h"
#include "firework/showfile.h"
#include "tests/firework/reference.h"
#include "tests/firework/scenes.h"
#include "utils/classicrand.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <random>

using namespace vexlor;

namespace {

template <typename T> bool samebits(const T& a, const T& b) { return std::memcmp(&a, &b, sizeof(T)) == 0; }

bool identical(const std::vector<fire_t>& a, const std::vector<fire_t>& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!samebits(a[i].direction, b[i].direction) || a[i].speed != b[i].speed || a[i].powders.size() != b[i].powders.size())
            return false;
        for (std::size_t k = 0; k < a[i].powders.size(); ++k) {
            const powder_t &p = a[i].powders[k], &q = b[i].powders[k];
            if (p.delay != q.delay || p.size != q.size || p.drag != q.drag || p.films.size() != q.films.size()) return false;
            for (std::size_t f = 0; f < p.films.size(); ++f)
                if (!samebits(p.films[f], q.films[f])) return false;
        }
    }
    return true;
}

bool identical(const firework_t& a, const firework_t& b)
{
    return a.time == b.time && samebits(a.position, b.position) && samebits(a.velocity, b.velocity) && a.fuse == b.fuse
        && a.size == b.size && a.drag == b.drag && samebits(a.color, b.color) && identical(a.fires, b.fires);
}

struct recorder_t {
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    reference::sounds_t sounds;
    template <typename Scene> void operator()(Scene& scene, float t)
    {
        evaluator.evaluate(scene, t, points, [this](std::size_t i, sound_t what) { sounds.emplace_back(i, what); });
    }
};

bool samepoints(const std::vector<primitive_t>& a, const std::vector<primitive_t>& b)
{
    // memcmp must not see the null data of an empty list.
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(primitive_t)) == 0);
}

show_t readshow(const std::string& path)
{
    show_t show;
    std::vector<std::string> problems;
    EXPECT_TRUE(readshowfile(path.c_str(), show, problems)) << (problems.empty() ? path : problems.front());
    return show;
}

// Frames forwards, then random times (back and forth).
std::vector<float> times(float end, float step)
{
    std::vector<float> list;
    for (float t = 0.0f; t < end; t += step) list.push_back(t);
    std::mt19937 random(99);
    std::uniform_real_distribution<float> any(-1.0f, end);
    for (int i = 0; i < 40; ++i) list.push_back(any(random));
    return list;
}

} // namespace

TEST(Show, SharedDesignsExpandToTheSceneAndMemoryStaysFlat)
{
    std::vector<firework_t> scene;
    reference::makefinale(scene, 3, 0.5f);
    makesimple(scene, 6.25f, {1, 0, 0, 1});
    makesimple(scene, 6.25f, {1, 0, 0, 1});
    makesimple(scene, 6.25f, {0, 1, 0, 1});
    scene.back().fires[3].direction.z = -0.0f; // one bit apart from the others: its own design
    makesimple(scene, 6.25f, {0, 1, 0, 1});
    const std::vector<firework_t> original = scene;
    const show_t show = sharescene(std::move(scene));
    EXPECT_EQ(show.designs.size(), 4u); // susuki, red, green, the green with -0
    EXPECT_EQ(show.design, (std::vector<std::size_t>{0, 0, 0, 1, 1, 2, 3}));
    const std::vector<firework_t> expanded = expand(show);
    ASSERT_EQ(expanded.size(), original.size());
    for (std::size_t i = 0; i < original.size(); ++i) EXPECT_TRUE(identical(expanded[i], original[i])) << i;
    for (const firework_t& header : show.shells) EXPECT_TRUE(header.fires.empty());

    // Ten times the shells cost only their headers.
    std::vector<firework_t> few, many;
    reference::makefinale(few, 4, 0.5f);
    reference::makefinale(many, 40, 0.5f);
    const std::size_t small = showbytes(sharescene(std::move(few))), large = showbytes(sharescene(std::move(many)));
    EXPECT_LT(large - small, 36u * (sizeof(firework_t) + sizeof(std::size_t)) * 2u);
    EXPECT_LT(large, 20u << 20);

    // The shell-by-shell writer gives the same file as saving the expansion.
    tempdir dir;
    const std::string mine = dir.path + "/show.scene", theirs = dir.path + "/scene.scene";
    const std::vector<firework_t> simples(original.end() - 4, original.end());
    ASSERT_TRUE(save(mine.c_str(), sharescene(std::vector<firework_t>(simples))) && save(theirs.c_str(), simples));
    EXPECT_EQ(tempdir::read(mine), tempdir::read(theirs));
    // And fails, errno telling why, on a full disk.
    errno = 0;
    EXPECT_FALSE(save("/dev/full", sharescene(std::vector<firework_t>(simples))));
    EXPECT_EQ(errno, ENOSPC);
}

TEST(Show, EvaluatesExactlyAsItsExpansionOnAnyNumberOfThreads)
{
    basekit::classicsrand(1);
    for (const char* name : {"mixed.vexlor.toml", "scene.vexlor.toml", "salvo.vexlor.toml"}) {
        show_t show = readshow(std::string(SHOWS) + "/" + name);
        std::vector<firework_t> scene = expand(show);
        recorder_t plain, shared, twothreads, threethreads, scenethreads;
        ASSERT_TRUE(twothreads.evaluator.setthreads(2) && threethreads.evaluator.setthreads(3) && scenethreads.evaluator.setthreads(2));
        std::vector<firework_t> scene2 = scene;
        show_t show2 = show, show3 = show;
        for (float t : times(30.0f, 0.37f)) {
            plain(scene, t);
            shared(show, t);
            twothreads(show2, t);
            threethreads(show3, t);
            scenethreads(scene2, t);
            ASSERT_TRUE(samepoints(shared.points, plain.points)) << name << " t = " << t;
            ASSERT_TRUE(samepoints(twothreads.points, plain.points)) << name << " t = " << t;
            ASSERT_TRUE(samepoints(threethreads.points, plain.points)) << name << " t = " << t;
            ASSERT_TRUE(samepoints(scenethreads.points, plain.points)) << name << " t = " << t;
        }
        EXPECT_FALSE(plain.sounds.empty());
        for (const recorder_t* other : {&shared, &twothreads, &threethreads, &scenethreads})
            EXPECT_EQ(other->sounds, plain.sounds) << name;
    }
    // A thousand shells at busy times, where every thread has plenty to do.
    show_t show = readshow(std::string(SHOWS) + "/thousand.vexlor.toml"), copy = show;
    recorder_t one, two;
    ASSERT_TRUE(two.evaluator.setthreads(2));
    for (float t : {12.3f, 21.9f, 35.0f, 50.05f, 60.0f, 5.0f}) {
        one(show, t);
        two(copy, t);
        ASSERT_GT(one.points.size(), 1000u);
        ASSERT_TRUE(samepoints(two.points, one.points)) << t;
    }
    EXPECT_EQ(two.sounds, one.sounds);
}

TEST(ShowFile, TheFinaleFileIsTheFinaleWithOneDesign)
{
    const show_t show = readshow(std::string(SHOWS) + "/finale.vexlor.toml");
    ASSERT_EQ(show.shells.size(), 100u);
    ASSERT_EQ(show.designs.size(), 1u);
    std::vector<firework_t> finale;
    reference::makefinale(finale, 100, 0.5f);
    for (std::size_t i = 0; i < 100; ++i) {
        firework_t header = finale[i];
        header.fires.clear();
        EXPECT_TRUE(identical(show.shells[i], header)) << i;
    }
    EXPECT_TRUE(identical(show.designs[0], finale[0].fires));
}

TEST(ShowFile, RepetitionOverridesScenesAndBuiltinShows)
{
    tempdir dir;
    // Two copies of the small scene's shell in one file.
    std::string two = scenes::join(scenes::smalllines);
    two = "2" + two.substr(1) + two.substr(3);
    dir.write("two.scene", two);
    const std::string path = dir.write("show.toml", R"(# every kind of entry
[[shell]]
kind = "simple"
time = 1
position = [1, 2, 3]
velocity = [1, 0, 19]
fuse = 1.5
speed = 3
color = [0, 0.5, 1]
count = 3
interval = 0.5
step = [10, -1, 0.25]

[[shell]]
kind = "susuki"
time = 0.25
color = [0.2, 0.4, 0.6, 0.8]

[[shell]]
kind = "scene"
file = "two.scene"
time = 2
position = [100, 0, 0]
count = 2
interval = 10

[[shell]]
kind = "random"
time = 5

[[shell]]
kind = "simple"
time = 0
)");
    basekit::classicsrand(1);
    const show_t show = readshow(path);
    ASSERT_EQ(show.shells.size(), 3u + 1u + 4u + 23u + 1u);
    // Repetition: time + i interval, position + i step; the overrides on every copy.
    for (std::size_t i = 0; i < 3; ++i) {
        const firework_t& s = show.shells[i];
        const float n = static_cast<float>(i);
        EXPECT_TRUE(s.time == 1.0f + 0.5f * n && s.position.x == 1.0f + 10.0f * n && s.position.y == 2.0f - n
                    && s.position.z == 3.0f + 0.25f * n) << i;
        EXPECT_TRUE(s.velocity.x == 1.0f && s.velocity.z == 19.0f && s.fuse == 1.5f && s.size == 250.0f && s.drag == 0.95f);
        EXPECT_EQ(show.design[i], show.design[0]);
    }
    std::vector<firework_t> made;
    makesimple(made, 3.0f, {0, 0.5f, 1, 1}); // a colour of three components is opaque
    makesusuki(made, {0.2f, 0.4f, 0.6f, 0.8f});
    EXPECT_TRUE(identical(show.designs[show.design[0]], made[0].fires));
    EXPECT_TRUE(identical(show.designs[show.design[3]], made[1].fires));
    EXPECT_TRUE(show.shells[3].time == 0.25f && show.shells[3].velocity.z == 20.0f && show.shells[3].fuse == 2.0f);
    // The scene file: its own times and places shifted, twice; both its shells share one design.
    const std::vector<firework_t> small = scenes::small();
    std::vector<firework_t> loaded;
    ASSERT_TRUE(load((dir.path + "/two.scene").c_str(), loaded));
    for (std::size_t i = 4; i < 8; ++i) {
        const firework_t& s = show.shells[i];
        EXPECT_TRUE(s.time == (i < 6 ? 3.5f : 13.5f) && s.position.x == 101.0f && s.position.y == 2.5f) << i;
        EXPECT_TRUE(identical(show.designs[show.design[i]], loaded[0].fires));
    }
    // The random show placed at 5 s: the draws of a fresh generator.
    basekit::classicsrand(1);
    std::vector<firework_t> random;
    makerandom(random);
    for (std::size_t i = 0; i < 23; ++i) {
        const firework_t& s = show.shells[8 + i];
        EXPECT_TRUE(s.time == static_cast<float>(random[i].time + 5.0) && samebits(s.velocity, random[i].velocity)) << i;
    }
    // The defaults: exactly what the maker builds, white at speed 6.25; it shares the random show's design.
    EXPECT_EQ(show.design.back(), show.design[8]);
    EXPECT_EQ(show.designs.size(), 5u); // simple, susuki, the scene's, white simple, single
}

TEST(ShowFile, EveryProblemWithItsPosition)
{
    tempdir dir;
    std::vector<std::string> brokenlines = scenes::smalllines;
    brokenlines[3] = "not a velocity";
    dir.write("broken.scene", scenes::join(brokenlines));
    const std::string show = "[[shell]]\nkind = \"single\"\ntime = 0\n";
    struct { std::string text; std::vector<std::string> problems; } cases[] = {
        {"[[shell]]\nkind = \"simple\"\ntime = -1\ncolour = [1, 0, 0]\nspeed = inf\nposition = [1, 2]\n",
         {"3:8: time must lie from 0 to 14400 s", "4:1: unknown key 'colour' (a simple shell takes kind, time, burst, beat, position, velocity, fuse, color, speed, angle, azimuth, count, interval, step, every)",
          "5:9: speed must lie from 0 to 1000 m/s", "6:12: position must be an array of three numbers [x, y, z]"}},
        {"[[shell]]\nkind = \"rocket\"\ntime = 0\n\n[[shell]]\ntime = 1\n[[shell]]\nkind = 3\ntime = 1\n",
         {"2:8: unknown kind \"rocket\" (choose single, simple, blink, susuki, random, miniexhibition, scene, peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine or cake)",
          "5:1: the shell has no kind (single, simple, blink, susuki, random, miniexhibition, scene, peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine or cake)",
          "8:8: kind must be a string: single, simple, blink, susuki, random, miniexhibition, scene, peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine or cake"}},
        {"[[shell]]\nkind = \"susuki\"\ntime = \"soon\"\ncount = 0\ninterval = -0.5\nstep = [0, nan, 0]\n",
         {"3:8: time must be a number", "4:9: count must lie from 1 to 100000", "5:12: interval must lie from 0 to 14400 s",
          "6:12: each number of step must lie from -10000 to 10000 m"}},
        {"[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"missing.scene\"\n[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"show.toml\"\n"
         "[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"broken.scene\"\nspeed = 2\n",
         {"4:8: scene file: " + dir.path + "/missing.scene: cannot read the file (No such file or directory)",
          "8:8: scene file: " + dir.path + "/show.toml is a show file; a show includes scene files only",
          "12:8: scene file: " + dir.path + "/broken.scene:4: expected the launch velocity as dir3(x, y, z), found \"not a velocity\"",
          "13:1: 'speed' does not apply to a scene shell (it takes kind, time, position, file, count, interval, step)"}},
        {"[[shell]]\nkind = \"random\"\ntime = 0\ncolor = [2, 0, 0]\n[[shell]]\nkind = \"scene\"\ntime = 1\n[[shell]]\nkind = \"blink\"\n",
         {"4:1: 'color' does not apply to a random shell (it takes kind, time, position, count, interval, step)", "5:1: a scene shell needs a file", "8:1: the shell has no time: give time (its launch), burst (its break) or beat (the music's beat it breaks on)"}},
        {show + "count = 99999999999999\n", {"4:9: count must lie from 1 to 100000"}},
        {show + "count = 60000\n" + show + "count = 40001\n", {"8:9: this would make the show hold more than 100000 shells"}},
        {show + "count = 5000\n[[shell]]\nkind = \"random\"\ntime = 0\ncount = 4131\n", {"8:9: this would make the show hold more than 100000 shells"}},
        {show + "count = 3\ninterval = 10000\n", {"4:9: the last repetition would go up at 20000 s, after the latest time a show may use (14400 s)"}},
        {show + "count = 3\nposition = [0, 9000, 0]\nstep = [0, 600, 0]\n", {"4:9: the last repetition would stand more than 10000 m out"}},
        {show + "count = 2.5\ncolor = [0.5, 0.5]\n", {"4:9: count must be a whole number", "5:9: color must be a colour's name (red, orange, yellow, green, blue, purple, gold, silver or white) or an array [red, green, blue] or [red, green, blue, alpha]"}},
        {"# nothing yet\n", {"1:1: the show holds no shells"}},
        {"shell = 3\nsong = \"a.ogg\"\n", {"1:9: 'shell' must be a list of [[shell]] tables", "2:1: unknown key 'song' (a show holds [[shell]] tables, one [music], one [look] and one [camera] table)"}},
        {show + "[music]\nfile = \"a.ogg\"\noffset = \"soon\"\ngain = -1\nvolume = 1\n",
         {"6:10: offset must be a number", "7:8: gain must lie from 0 to 16", "8:1: unknown key 'volume' (music takes file, offset, gain, bpm, first_beat, beats)"}},
        {show + "[music]\nfile = 3\noffset = nan\ngain = inf\n", {"5:8: file must name a music file", "6:10: offset must lie from -86400 to 86400 s", "7:8: gain must lie from 0 to 16"}},
        {show + "[music]\noffset = 1e9\ngain = 17\n", {"4:1: the music has no file", "5:10: offset must lie from -86400 to 86400 s", "6:8: gain must lie from 0 to 16"}},
        {"music = 3\n" + show, {"1:9: 'music' must be a table [music] with file, offset, gain, bpm, first_beat and beats"}},
        {show + "[music]\nfile = \"a.ogg\"\n[music]\nfile = \"b.ogg\"\n", {"6:1: Error while parsing table header: cannot redefine existing table 'music'"}},
        {show + "fuse = in\n", {"4:10: Error while parsing floating-point: expected 'inf', saw 'in\\n'"}},
        {show + "[[[shell]]]\n", {"4:3: Error while parsing key: expected bare key starting character or string delimiter, saw '['"}},
        {show + "# a comment may say \u00e9t\u00e9\nf\u00fcr = 1\n", {"5:2: the character U+00FC may stand only in strings and comments"}},
        {show + "# a bell \x07 here\n", {"4:10: control character 0x07 is not allowed"}},
        {show + "time = 1\n", {"4:8: Error while parsing key-value pair: cannot redefine existing integer 'time'"}},
    };
    for (const auto& c : cases) {
        const std::string path = dir.write("show.toml", c.text);
        show_t read;
        std::vector<std::string> problems;
        EXPECT_FALSE(readshowfile(path.c_str(), read, problems)) << c.text;
        std::vector<std::string> expected;
        for (const std::string& p : c.problems) expected.push_back(path + ":" + p);
        EXPECT_EQ(problems, expected) << c.text;
        EXPECT_TRUE(read.shells.empty() && read.designs.empty());
    }
    std::vector<std::string> problems;
    show_t read;
    EXPECT_FALSE(readshowfile(dir.path.c_str(), read, problems));
    EXPECT_EQ(problems, std::vector<std::string>{dir.path + ": cannot read the file (Is a directory)"});
    // A flood of problems is cut short; a file too large is not parsed at all.
    std::string flood;
    for (int i = 0; i < 150; ++i) flood += "[[shell]]\nkind = \"x\"\ntime = 0\n";
    const std::string many = dir.write("many.toml", flood);
    problems.clear();
    EXPECT_FALSE(readshowfile(many.c_str(), read, problems));
    ASSERT_EQ(problems.size(), maxproblems + 1);
    EXPECT_EQ(problems[99].substr(0, many.size() + 7), many + ":299:8:");
    EXPECT_EQ(problems.back(), many + ": 50 more problems not listed");
    const std::string large = dir.write("large.toml", std::string(maxshowbytes + 1, '#'));
    problems.clear();
    EXPECT_FALSE(readshowfile(large.c_str(), read, problems));
    EXPECT_EQ(problems, std::vector<std::string>{large + ": a show file may hold at most 2 MB"});
}

// A show whose busiest frame cannot be drawn in bounded memory is refused
// with one line naming the file, counted from the designs and launch times:
// 2383 susuki shells at once are 4,194,080 points, one more is too many.
TEST(ShowFile, AFrameTooLargeToDrawIsRefused)
{
    tempdir dir;
    const auto susuki = [&](const std::string& count, const std::string& interval) {
        return dir.write("many.toml", "[[shell]]\nkind = \"susuki\"\ntime = 0\ncount = " + count + "\ninterval = " + interval + "\n");
    };
    show_t read;
    std::vector<std::string> problems;
    EXPECT_TRUE(readshowfile(susuki("2383", "0").c_str(), read, problems)) << problems.front();
    EXPECT_EQ(read.shells.size(), 2383u);
    for (const char* count : {"2384", "100000"}) {
        const std::string path = susuki(count, "0");
        problems.clear();
        EXPECT_FALSE(readshowfile(path.c_str(), read, problems)) << count;
        ASSERT_EQ(problems.size(), 1u);
        EXPECT_EQ(problems[0].rfind(path + ": its busiest frame (at 2.500 s) holds ", 0), 0u) << problems[0];
        EXPECT_NE(problems[0].find("more than the 4194304 one frame can draw"), std::string::npos) << problems[0];
        EXPECT_TRUE(read.shells.empty());
    }
    // Spread out, a hundred thousand of them overlap little: they play.
    problems.clear();
    EXPECT_TRUE(readshowfile(susuki("100000", "0.1").c_str(), read, problems)) << problems.front();
}

// The music is named relative to the show file; it is not opened here, so a
// missing track does not keep the show from playing.
TEST(ShowFile, MusicWithOffsetAndGain)
{
    tempdir dir;
    const std::string shell = "[[shell]]\nkind = \"single\"\ntime = 0\n";
    const std::string path = dir.write("music.toml", "[music]\nfile = \"tracks/song.ogg\"\noffset = -2.5\ngain = 0.5\n" + shell);
    show_t show;
    std::vector<std::string> problems;
    ASSERT_TRUE(readshowfile(path.c_str(), show, problems)) << problems.front();
    EXPECT_EQ(show.music.file, dir.path + "/tracks/song.ogg");
    EXPECT_EQ(show.music.offset, -2.5);
    EXPECT_EQ(show.music.gain, 0.5);
    EXPECT_EQ(show.music.line, 2u);
    EXPECT_EQ(show.music.column, 8u);
    EXPECT_EQ(show.music.showfile, path);
    // Without a table, no music; with only a file, from the start at full gain.
    const std::string plain = dir.write("plain.toml", shell);
    ASSERT_TRUE(readshowfile(plain.c_str(), show, problems));
    EXPECT_TRUE(show.music.file.empty());
    const std::string only = dir.write("only.toml", shell + "[music]\nfile = \"/abs/track.flac\"\n");
    ASSERT_TRUE(readshowfile(only.c_str(), show, problems));
    EXPECT_EQ(show.music.file, "/abs/track.flac");
    EXPECT_EQ(show.music.offset, 0.0);
    EXPECT_EQ(show.music.gain, 1.0);
}

TEST(OpenShow, FilesByContentAndBuiltinShowsByName)
{
    tempdir dir;
    const std::string scene = dir.write("show.toml", scenes::join(scenes::smalllines)); // a scene, whatever its name
    const std::string toml = dir.write("plain.scene", "[[shell]]\nkind = \"blink\"\ntime = 0\ncount = 4\n");
    const std::string hex = dir.write("hex", "0x0\r\n"), empty = dir.write("empty", "");
    fileformat_t format;
    std::string why;
    ASSERT_TRUE(sniffformat(scene.c_str(), format, why));
    EXPECT_EQ(format, fileformat_t::scene);
    ASSERT_TRUE(sniffformat(hex.c_str(), format, why));
    EXPECT_EQ(format, fileformat_t::scene);
    ASSERT_TRUE(sniffformat(toml.c_str(), format, why));
    EXPECT_EQ(format, fileformat_t::show);
    ASSERT_TRUE(sniffformat(empty.c_str(), format, why));
    EXPECT_EQ(format, fileformat_t::show);
    // What is neither is told as what it is, and a FIFO or a device is not
    // read at all (a FIFO without a writer would block the open; a hang
    // times the test out).
    const std::string fifo = dir.path + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string binary = dir.write("zeros", std::string("1\n") + std::string(300, '\0'));
    const std::pair<std::string, std::string> neither[] = {
        {dir.path + "/none", dir.path + "/none: cannot read the file (No such file or directory)"},
        {dir.path, dir.path + ": cannot read the file (Is a directory)"},
        {fifo, fifo + ": not a regular file (a FIFO)"},
        {"/dev/zero", "/dev/zero: not a regular file (a character device)"},
        {binary, binary + ": a binary file, neither a show file nor a scene file"},
    };
    for (const auto& [path, says] : neither) {
        EXPECT_FALSE(sniffformat(path.c_str(), format, why)) << path;
        EXPECT_EQ(why, says);
        show_t untouched;
        EXPECT_FALSE(openshow(path, untouched, why)) << path;
        if (path != dir.path + "/none") { // else a built-in show's name is tried
            EXPECT_EQ(why, says);
        }
    }

    show_t show;
    std::string message;
    ASSERT_TRUE(openshow(scene, show, message));
    std::vector<firework_t> loaded;
    ASSERT_TRUE(load(scene.c_str(), loaded));
    EXPECT_TRUE(show.shells.size() == 1u && identical(expandshell(show, 0), loaded[0]));
    ASSERT_TRUE(openshow(toml, show, message));
    EXPECT_TRUE(show.shells.size() == 4u && show.designs.size() == 1u);
    ASSERT_TRUE(openshow("miniexhibition", show, message));
    EXPECT_TRUE(show.shells.size() == 5u && show.designs.size() == 3u); // single, yellow, green

    EXPECT_FALSE(openshow("fountain", show, message));
    EXPECT_EQ(message, "fountain: no such file, nor a built-in show (single, simple, random, miniexhibition, blink or susuki)");
    EXPECT_FALSE(openshow(empty, show, message));
    EXPECT_EQ(message, empty + ":1:1: the show holds no shells");
    const std::string broken = dir.write("broken", "2\r\n");
    EXPECT_FALSE(openshow(broken, show, message));
    EXPECT_EQ(message, broken + ":1: expected the number of fireworks, at most 0 fireworks in the rest of the file, found \"2\"");
    EXPECT_EQ(show.shells.size(), 5u); // untouched by the failures
    int calls = 0;
    EXPECT_FALSE(openshow(scene, show, message, [&](std::uint64_t, std::uint64_t) { return ++calls < 1; }));
    EXPECT_EQ(message, scene + ": cancelled");
}

namespace {

// The problems a show text gives, each without the file's name in front.
std::vector<std::string> problemsof(const tempdir& dir, const std::string& text)
{
    const std::string path = dir.write("show.toml", text);
    show_t show;
    std::vector<std::string> problems;
    readshowfile(path.c_str(), show, problems);
    for (std::string& problem : problems)
        if (problem.rfind(path + ":", 0) == 0) problem.erase(0, path.size() + 1);
    return problems;
}

const std::string oneshell = "[[shell]]\nkind = \"single\"\ntime = 0\n";

} // namespace

// UTF-8 is text like any other in strings and comments, and names files.
// Only what toml++ 3.3 misreads where it tests for blanks is refused, with
// its position (and invalid UTF-8, anywhere): a misread character used to
// reach a point the parser marks unreachable.
TEST(ShowFile, UnicodeInStringsAndFileNames)
{
    tempdir dir;
    dir.write("m\u00fasica.scene", scenes::join(scenes::smalllines));
    const std::string every = "# \u00e9t\u00e9 \u2014 \u3042 \U0001F386\n[[shell]]\nkind = \"scene\" # \u00fa\n"
                              "file = \"m\u00fasica.scene\"\ntime = 1\n[music]\nfile = '''\u00e9t\u00e9 \u0499\uFB26\u3087.ogg'''\n"
                              "offset = 0 # \u2c8e\n";
    const std::string path = dir.write("show.toml", every);
    show_t show;
    std::vector<std::string> problems;
    ASSERT_TRUE(readshowfile(path.c_str(), show, problems)) << problems.front();
    EXPECT_EQ(show.shells.size(), 1u);
    EXPECT_EQ(show.music.file, dir.path + "/\u00e9t\u00e9 \u0499\uFB26\u3087.ogg");
    // Multi-line strings hold anything, a continued line too when it starts
    // with what the parser reads well.
    ASSERT_TRUE(readshowtext(oneshell + "[music]\nfile = \"\"\"\n\u00e9t\u00e9\\\n   \u20ac \u00fa.ogg\"\"\"\n", path.c_str(), show,
                             problems)) << problems.front();
    EXPECT_EQ(show.music.file, dir.path + "/\u00e9t\u00e9\u20ac \u00fa.ogg");

    const std::pair<std::string, std::string> refused[] = {
        {"kind = \"single\"\ntime = 0 \u00a0\n", "3:10: the character U+00A0 may stand only in strings and comments"},
        {"k\u00e9y = 1\n", "2:2: the character U+00E9 may stand only in strings and comments"},
        // A quote inside a malformed value is no string: the parser reads along it.
        {"kind = \"single\"\ntime =4k\"m\u00fasica\"\n", "3:11: the character U+00FA may stand only in strings and comments"},
        {"kind = \"single\"\ntime = [1, 4.[\"\u00fa\"]]\n", "3:16: the character U+00FA may stand only in strings and comments"},
        {"kind = \"single\" \"\u00fa\"\ntime = 0\n", "2:18: the character U+00FA may stand only in strings and comments"},
        {"[music]\nfile = \"\"\"a.ogg\\\n  \u00fa\"\"\"\n", "4:3: the character U+00FA cannot follow a line-ending backslash here "
                                                          "(the TOML reader misreads it); write it as \\u00FA"},
        {"[music]\nfile = \"\"\"a\\\u3001.ogg\"\"\"\n", "3:13: an escape cannot start with the character U+3001"},
        {"# \xff\n", "2:3: not UTF-8: the byte 0xFF is not a character's start or end"},
        {"# \xc0\xaf overlong\n", "2:3: not UTF-8: the byte 0xC0 is not a character's start or end"},
        {"kind = \"\xed\xa0\x80\"\n", "2:9: not UTF-8: the byte 0xED is not a character's start or end"},
        {"# cut \xe2\x82", "2:7: not UTF-8: the byte 0xE2 is not a character's start or end"},
    };
    for (const auto& [text, says] : refused)
        EXPECT_EQ(problemsof(dir, "[[shell]]\n" + text), std::vector<std::string>{says}) << text;
}

// Messages quote a short excerpt of what the file holds, escaped: nothing in
// it reaches the terminal raw, and a huge value is not quoted whole.
TEST(ShowFile, MessagesQuoteShortEscapedExcerpts)
{
    tempdir dir;
    const std::string huge(1900000, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"[[shell]]\nkind = \"\\u001b[2J\\u009b31m\\u202e\"\ntime = 0\n",
         "2:8: unknown kind \"\\u001B[2J\\u009B31m\\u202E\" (choose single, simple, blink, susuki, random, miniexhibition, scene, peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine or cake)"},
        {"[[shell]]\nkind = \"" + huge + "\"\ntime = 0\n",
         "2:8: unknown kind \"" + std::string(40, 'x') + "...\" (choose single, simple, blink, susuki, random, miniexhibition, scene, peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine or cake)"},
        {oneshell + "\"\\u0007" + huge + "\" = 1\n", "4:1: unknown key '\\u0007" + std::string(39, 'x') + "...' (a single shell takes "
                                                     "kind, time, burst, beat, position, velocity, fuse, color, angle, azimuth, count, interval, step, every)"},
        {oneshell + "[music]\nfile = \"\\u0000.ogg\"\n", "5:8: file: a file's name cannot hold the character U+0000"},
        {"[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"" + std::string(5000, 'y') + "\"\n",
         "4:8: file: the name \"" + std::string(40, 'y') + "...\" is longer than the 4095 bytes a file's name may have"},
    };
    for (const auto& [text, says] : cases) {
        const std::vector<std::string> problems = problemsof(dir, text);
        ASSERT_EQ(problems.size(), 1u) << says;
        EXPECT_EQ(problems[0], says);
    }
    // The parser's own descriptions are cut short too.
    const std::string key = "\"" + huge.substr(0, 900000) + "\"";
    const std::vector<std::string> problems = problemsof(dir, oneshell + key + " = 1\n" + key + " = 2\n");
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_LT(problems[0].size(), 300u);
    EXPECT_EQ(problems[0].rfind("5:", 0), 0u) << problems[0];
}

// Every number has a range in the model's units, and a whole number that a
// double cannot hold exactly is refused for being out of it, never read as 0.
TEST(ShowFile, EveryNumberInItsRange)
{
    tempdir dir;
    const std::pair<std::string, std::string> cases[] = {
        {"kind = \"simple\"\ntime = 0\nspeed = 1e39\n", "4:9: speed must lie from 0 to 1000 m/s"},
        {"kind = \"single\"\ntime = 0\nvelocity = [1e39, 0, 0]\n", "4:13: each number of velocity must lie from -1000 to 1000 m/s"},
        {"kind = \"single\"\ntime = 0\nfuse = 1e30\n", "4:8: fuse must lie from 0 to 60 s"},
        {"kind = \"single\"\ntime = 0\nfuse = -1\n", "4:8: fuse must lie from 0 to 60 s"},
        {"kind = \"single\"\ntime = 9007199254740993\n", "3:8: time must lie from 0 to 14400 s"},
        {"kind = \"single\"\ntime = 14400.001\n", "3:8: time must lie from 0 to 14400 s"},
        {"kind = \"single\"\ntime = 0\ncount = 9007199254740993\n", "4:9: count must lie from 1 to 100000"},
        {"kind = \"single\"\ntime = 0\nposition = [0, 0, -10001]\n", "4:19: each number of position must lie from -10000 to 10000 m"},
        {"kind = \"single\"\ntime = 0\ncolor = [1, 0, 1.5]\n", "4:16: each number of color must lie from 0 to 1"},
        {"kind = \"single\"\ntime = 0\ncolor = [1, \"red\", 1]\n", "4:13: color must hold numbers only"},
    };
    for (const auto& [text, says] : cases)
        EXPECT_EQ(problemsof(dir, "[[shell]]\n" + text), std::vector<std::string>{says}) << text;
    // The bounds themselves are in.
    EXPECT_TRUE(problemsof(dir, "[[shell]]\nkind = \"simple\"\ntime = 14400\nspeed = 1000\nvelocity = [-1000, 1000, 0]\n"
                                "fuse = 60\nposition = [10000, -10000, 0]\n").empty());
}

// A scene file included with nothing in it would show nothing: refused where
// it is named. A FIFO named as a scene file is refused unread.
TEST(ShowFile, IncludedScenesMustHoldFireworks)
{
    tempdir dir;
    dir.write("empty.scene", "0\r\n");
    ASSERT_EQ(mkfifo((dir.path + "/fifo.scene").c_str(), 0600), 0);
    EXPECT_EQ(problemsof(dir, "[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"empty.scene\"\n[[shell]]\nkind = \"scene\"\n"
                              "time = 0\nfile = \"fifo.scene\"\n"),
              (std::vector<std::string>{"4:8: scene file: " + dir.path + "/empty.scene holds no fireworks: the entry would show nothing",
                                        "8:8: scene file: " + dir.path + "/fifo.scene: not a regular file (a FIFO)"}));
}

// A built-in show repeated is made once for its entry and shared by every
// repetition: the 4347 random shows of 100000 shells hold its two designs
// (the timing is measured in bench_firework), and every repetition repeats
// the entry's draws; another entry draws anew.
TEST(ShowFile, BuiltinShowsAreMadeOncePerEntry)
{
    tempdir dir;
    const std::string path = dir.write("random.toml", "[[shell]]\nkind = \"random\"\ntime = 0\ncount = 4346\ninterval = 3\n"
                                                      "[[shell]]\nkind = \"random\"\ntime = 1\n");
    basekit::classicsrand(1);
    const show_t show = readshow(path);
    ASSERT_EQ(show.shells.size(), 4347u * 23u);
    EXPECT_EQ(show.designs.size(), 2u); // the white simple and the single
    std::vector<firework_t> first;
    basekit::classicsrand(1);
    makerandom(first);
    for (std::size_t i = 0; i < 4346u * 23u; i += 997) {
        const firework_t& s = show.shells[i];
        const std::size_t k = i % 23;
        EXPECT_TRUE(samebits(s.velocity, first[k].velocity)) << i;
        EXPECT_EQ(s.time, static_cast<float>(first[k].time + static_cast<double>(i / 23) * 3.0)) << i;
    }
    std::vector<firework_t> second;
    makerandom(second);
    for (std::size_t k = 0; k < 23; ++k)
        EXPECT_TRUE(samebits(show.shells[4346u * 23u + k].velocity, second[k].velocity)) << k;
    EXPECT_FALSE(samebits(first[0].velocity, second[0].velocity));
}
