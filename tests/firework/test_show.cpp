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

#include <cstring>
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
    EXPECT_EQ(pointcapacity(show), pointcapacity(original));

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
         {"3:8: time must not be negative", "4:1: unknown key 'colour' (known: kind, time, position, velocity, fuse, color, speed, file, count, interval, step)",
          "5:9: speed must be finite", "6:12: position must be an array of three numbers [x, y, z]"}},
        {"[[shell]]\nkind = \"rocket\"\ntime = 0\n\n[[shell]]\ntime = 1\n[[shell]]\nkind = 3\ntime = 1\n",
         {"2:8: unknown kind \"rocket\" (choose single, simple, blink, susuki, random, miniexhibition or scene)",
          "5:1: the shell has no kind (single, simple, blink, susuki, random, miniexhibition or scene)",
          "8:8: kind must be a string: single, simple, blink, susuki, random, miniexhibition or scene"}},
        {"[[shell]]\nkind = \"susuki\"\ntime = \"soon\"\ncount = 0\ninterval = -0.5\nstep = [0, nan, 0]\n",
         {"3:8: time must be a number", "4:9: count must be at least 1", "5:12: interval must not be negative", "6:12: step must be finite"}},
        {"[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"missing.scene\"\n[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"show.toml\"\n"
         "[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"broken.scene\"\nspeed = 2\n",
         {"4:8: scene file: " + dir.path + "/missing.scene: cannot read the file (No such file or directory)",
          "8:8: scene file: " + dir.path + "/show.toml is a show file; a show includes scene files only",
          "12:8: scene file: " + dir.path + "/broken.scene:4: expected the launch velocity as dir3(x, y, z), found \"not a velocity\"",
          "13:1: 'speed' does not apply to a scene shell"}},
        {"[[shell]]\nkind = \"random\"\ntime = 0\ncolor = [2, 0, 0]\n[[shell]]\nkind = \"scene\"\ntime = 1\n[[shell]]\nkind = \"blink\"\n",
         {"4:1: 'color' does not apply to a random shell", "5:1: a scene shell needs a file", "8:1: the shell has no time"}},
        {show + "count = 99999999999999\n", {"4:9: count 99999999999999 exceeds the limit of 100000 shells in a show"}},
        {show + "count = 60000\n" + show + "count = 40001\n", {"8:9: this would make the show hold more than 100000 shells"}},
        {show + "count = 5000\n[[shell]]\nkind = \"random\"\ntime = 0\ncount = 4131\n", {"8:9: this would make the show hold more than 100000 shells"}},
        {show + "count = 3\ninterval = 1e300\n", {"4:9: the last repetition's time is too large"}},
        {show + "count = 2.5\ncolor = [0.5, 0.5]\n", {"4:9: count must be a whole number", "5:9: color must be an array [red, green, blue] or [red, green, blue, alpha]"}},
        {"# nothing yet\n", {"1:1: the show holds no shells"}},
        {"shell = 3\nsong = \"a.ogg\"\n", {"1:9: 'shell' must be a list of [[shell]] tables", "2:1: unknown key 'song' (a show holds [[shell]] tables, one [music] table and one [look] table)"}},
        {show + "[music]\nfile = \"a.ogg\"\noffset = \"soon\"\ngain = -1\nvolume = 1\n",
         {"6:10: offset must be a number", "7:8: gain must not be negative", "8:1: unknown key 'volume' (music takes file, offset, gain)"}},
        {show + "[music]\nfile = 3\noffset = nan\ngain = inf\n", {"5:8: file must name a music file", "6:10: offset must be finite", "7:8: gain must be finite"}},
        {show + "[music]\noffset = 1e9\ngain = 17\n", {"4:1: the music has no file", "5:10: offset must lie within 86400 s either side of the show's start", "6:8: gain must be at most 16"}},
        {"music = 3\n" + show, {"1:9: 'music' must be a table [music] with file, offset and gain"}},
        {show + "[music]\nfile = \"a.ogg\"\n[music]\nfile = \"b.ogg\"\n", {"6:1: Error while parsing table header: cannot redefine existing table 'music'"}},
        {show + "fuse = in\n", {"4:10: Error while parsing floating-point: expected 'inf', saw 'in\\n'"}},
        {show + "[[[shell]]]\n", {"4:3: Error while parsing key: expected bare key starting character or string delimiter, saw '['"}},
        {show + "# a comment may say \u00e9t\u00e9\n\"f\u00fcr\" = 1\n", {"5:3: the character U+00FC is allowed only in comments"}},
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
    EXPECT_EQ(problems, std::vector<std::string>{dir.path + ": cannot read the file"});
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
    ASSERT_TRUE(sniffformat(scene.c_str(), format));
    EXPECT_EQ(format, fileformat_t::scene);
    ASSERT_TRUE(sniffformat(hex.c_str(), format));
    EXPECT_EQ(format, fileformat_t::scene);
    ASSERT_TRUE(sniffformat(toml.c_str(), format));
    EXPECT_EQ(format, fileformat_t::show);
    ASSERT_TRUE(sniffformat(empty.c_str(), format));
    EXPECT_EQ(format, fileformat_t::show);
    EXPECT_FALSE(sniffformat((dir.path + "/none").c_str(), format));

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
