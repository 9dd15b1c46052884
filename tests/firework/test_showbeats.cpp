// Shells timed by their burst or by the music's beats: where their launches
// land, repetitions in beats, beats given as a tempo or as detected times,
// the beat of any show time, and each way of getting it wrong. The track's
// facts come from a reader handed in, as the programs hand in the sound
// library's.
#include "firework/sample.h"
#include "firework/showbeats.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vexlor;

namespace {

// A 30 s track; with detection, beats that drift from a 0.5 s grid as a
// player's would.
const std::vector<double> k_detected = {0.25, 0.76, 1.24, 1.77, 2.25, 2.74};

trackreader_t track(double seconds, bool readable = true)
{
    return [seconds, readable](const std::string&, bool detect, double& length, double& bpm, std::vector<double>& beats,
                               std::string& why) {
        if (!readable) {
            why = "not a sound file";
            return false;
        }
        length = seconds;
        if (detect) {
            bpm = 120.0;
            beats = k_detected;
        }
        return true;
    };
}

float fuseof(void (*make)(std::vector<firework_t>&))
{
    std::vector<firework_t> scene;
    make(scene);
    return scene.front().fuse;
}

struct readresult_t {
    bool ok = false;
    show_t show;
    std::vector<std::string> problems;
};

readresult_t read(const tempdir& dir, const std::string& text, const trackreader_t& tracks)
{
    readresult_t r;
    const std::string path = dir.write("show.toml", text);
    r.ok = readshowfile(path.c_str(), r.show, r.problems, {}, tracks);
    for (std::string& p : r.problems)
        if (p.compare(0, path.size() + 1, path + ":") == 0) p.erase(0, path.size() + 1);
    return r;
}

double breakat(const show_t& show, std::size_t i)
{
    return static_cast<double>(show.shells[i].time) + static_cast<double>(show.shells[i].fuse);
}

} // namespace

TEST(ShowBeats, BurstAndBeatPlaceTheBreakAndTheLaunchFollows)
{
    tempdir dir;
    const std::string music = "[music]\nfile = \"m.ogg\"\noffset = 1.0\nbpm = 120\nfirst_beat = 0.48\n";
    const readresult_t r = read(dir,
                                music
                                    + "[[shell]]\nkind = \"single\"\nburst = 12.0\n"
                                      "[[shell]]\nkind = \"simple\"\nburst = 5.0\nfuse = 3.5\ncount = 2\ninterval = 1.5\n"
                                      "[[shell]]\nkind = \"blink\"\nbeat = 16\ncount = 3\nevery = 4\n"
                                      "[[shell]]\nkind = \"single\"\nbeat = 2.5\n",
                                track(30.0));
    ASSERT_TRUE(r.ok) << (r.problems.empty() ? "" : r.problems.front());
    ASSERT_EQ(r.show.shells.size(), 7u);
    // The maker's own fuse when none is given; the file's when it is.
    EXPECT_NEAR(breakat(r.show, 0), 12.0, 1e-5);
    EXPECT_FLOAT_EQ(r.show.shells[0].fuse, fuseof(makesingle));
    EXPECT_NEAR(r.show.shells[1].time, 1.5, 1e-5);
    EXPECT_NEAR(breakat(r.show, 2), 6.5, 1e-5);
    // Beat 1 is first_beat into the track, the track starts at the offset.
    for (std::size_t k = 0; k < 3; ++k)
        EXPECT_NEAR(breakat(r.show, 3 + k), 1.0 + 0.48 + (15.0 + 4.0 * k) * 0.5, 1e-5) << k;
    EXPECT_FLOAT_EQ(r.show.shells[3].fuse, fuseof(makeblink));
    EXPECT_NEAR(breakat(r.show, 6), 1.0 + 0.48 + 1.5 * 0.5, 1e-5) << "half way between beats 2 and 3";

    // Each shell keeps where it was written, repetitions share it.
    const shellorigin_t* third = originof(r.show, 4);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->line, 15u);
    EXPECT_EQ(third->kind, "blink");
    EXPECT_EQ(third->first, 3u);
    EXPECT_EQ(third->count, 3u);

    // The beat of a show time, both ways round.
    beatplace_t place;
    ASSERT_TRUE(beatat(r.show.music, breakat(r.show, 4), place));
    EXPECT_EQ(place.beat, 20u);
    EXPECT_NEAR(place.off, 0.0, 1e-5);
    ASSERT_TRUE(beatat(r.show.music, 1.48 + 0.1, place));
    EXPECT_EQ(place.beat, 1u);
    EXPECT_NEAR(place.off, 0.1, 1e-9);
    // 30 s from 0.48 at 0.5 s: beats 1 to 60.
    EXPECT_EQ(beatcount(r.show.music), 60u);
}

TEST(ShowBeats, DetectedBeatsAreCountedAsFound)
{
    tempdir dir;
    const readresult_t r = read(dir,
                                "[music]\nfile = \"m.ogg\"\noffset = -0.2\nbeats = \"detect\"\n"
                                "[[shell]]\nkind = \"single\"\nbeat = 4\nfuse = 1\ncount = 2\nevery = 1.5\n",
                                track(3.0));
    ASSERT_TRUE(r.ok) << (r.problems.empty() ? "" : r.problems.front());
    ASSERT_EQ(r.show.shells.size(), 2u);
    EXPECT_NEAR(breakat(r.show, 0), k_detected[3] - 0.2, 1e-5);
    // Beat 5.5 lies half way between the fifth and sixth beats found.
    EXPECT_NEAR(breakat(r.show, 1), (k_detected[4] + k_detected[5]) / 2 - 0.2, 1e-5);
    EXPECT_EQ(beatcount(r.show.music), k_detected.size());
    beatplace_t place;
    ASSERT_TRUE(beatat(r.show.music, k_detected[2] - 0.2 + 0.2, place));
    EXPECT_EQ(place.beat, 3u) << "0.2 s after beat 3 is nearer it than beat 4";
    EXPECT_NEAR(place.off, 0.2, 1e-9);
}

TEST(ShowBeats, EveryWrongWayWithItsPosition)
{
    tempdir dir;
    const std::string tempo = "[music]\nfile = \"m.ogg\"\nbpm = 120\nfirst_beat = 0.5\n";
    const std::string shell = "[[shell]]\nkind = \"single\"\n";
    const struct {
        std::string text;
        std::vector<std::string> problems;
        bool readable = true;
    } cases[] = {
        {shell + "beat = 4\n", {"3:8: beat counts the music's beats, and the show has no [music]"}},
        {"[music]\nfile = \"m.ogg\"\n" + shell + "beat = 4\n",
         {"5:8: beat counts the music's beats: give [music] bpm and first_beat, or beats = \"detect\""}},
        // A beat on the track's last sample still counts.
        {tempo + shell + "beat = 61\n", {"7:8: beat 61 is past the music's end: its last beat is beat 60 at 30.000 s"}},
        {tempo + shell + "beat = 51\ncount = 3\nevery = 5\n",
         {"7:8: the last repetition's beat 61 is past the music's end: its last beat is beat 60 at 30.000 s"}},
        {shell + "burst = 0.5\nfuse = 1\n", {"3:9: burst at 0.5 s, before the shell can rise: its fuse burns 1 s"}},
        {shell + "time = 1\nburst = 5\n",
         {"4:9: both time and burst: a shell goes up at its time, or breaks at its burst or on a beat, one of them"}},
        {tempo + shell + "beat = 3\nburst = 9\ninterval = 1\n",
         {"8:9: both beat and burst: a shell goes up at its time, or breaks at its burst or on a beat, one of them",
          "9:12: with beat, repetitions are counted in beats: use every instead of interval"}},
        {shell + "time = 1\nevery = 2\n",
         {"4:9: every counts the beats between repetitions and goes with beat; with time or burst use interval"}},
        {shell + "fuse = 1\n",
         {"1:1: the shell has no time: give time (its launch), burst (its break) or beat (the music's beat it breaks on)"}},
        {"[music]\nfile = \"m.ogg\"\nbeats = \"guess\"\n" + shell + "time = 0\n", {"3:9: beats must be \"detect\""}},
        {"[music]\nfile = \"m.ogg\"\nbeats = \"detect\"\nbpm = 90\n" + shell + "time = 0\n",
         {"3:9: beats = \"detect\" finds the tempo in the track: give it or bpm, not both"}},
        {"[music]\nfile = \"m.ogg\"\nbpm = 90\nfirst_beat = 31\n" + shell + "time = 0\n",
         {"4:14: first_beat at 31 s lies past the track's end (30.000 s)"}},
        {"[music]\nfile = \"m.ogg\"\nbeats = \"detect\"\n" + shell + "beat = 2\n",
         {"6:8: beat cannot be used: the music file " + dir.path + "/m.ogg cannot be read (not a sound file)"},
         false},
    };
    for (const auto& c : cases) {
        const readresult_t r = read(dir, c.text, track(30.0, c.readable));
        EXPECT_FALSE(r.ok) << c.text;
        EXPECT_EQ(r.problems, c.problems) << c.text;
    }
}

// A track that cannot be read costs the beats, not the show.
TEST(ShowBeats, AnUnreadableTrackStillPlaysWithoutBeats)
{
    tempdir dir;
    const readresult_t r =
        read(dir, "[music]\nfile = \"m.ogg\"\nbeats = \"detect\"\n[[shell]]\nkind = \"single\"\nburst = 4\n",
             track(30.0, false));
    ASSERT_TRUE(r.ok);
    EXPECT_FALSE(hasbeats(r.show.music));
    EXPECT_EQ(r.show.music.beatproblem, dir.path + "/show.toml:2:8: music file: " + dir.path + "/m.ogg: not a sound file");
    EXPECT_NEAR(breakat(r.show, 0), 4.0, 1e-5);
}

// Real shells timed by burst or beat break then, however high their calibre
// sends them: the launch comes their maker's fuse earlier. A multibreak's
// later breaks and a palm's rising tail keep to the one launch.
TEST(ShowBeats, RealShellsBreakOnTheirBurstAndBeat)
{
    tempdir dir;
    const std::string music = "[music]\nfile = \"m.ogg\"\noffset = 1.0\nbpm = 120\nfirst_beat = 0.48\n";
    const readresult_t r = read(dir,
                                music
                                    + "[[shell]]\nkind = \"peony\"\ncalibre = \"150mm\"\nburst = 20\n"
                                      "[[shell]]\nkind = \"multibreak\"\ncalibre = 200\nstyle = \"cylinder\"\n"
                                      "breakinterval = 0.5\nburst = 12\n"
                                      "[[shell]]\nkind = \"palm\"\nbeat = 16\ncount = 2\nevery = 4\n"
                                      "[[shell]]\nkind = \"peony\"\ncalibre = 300\ntime = 2\n",
                                track(30.0));
    ASSERT_TRUE(r.ok) << (r.problems.empty() ? "" : r.problems.front());
    // peony; multibreak's two breaks; palm's break and tail, twice; peony.
    ASSERT_EQ(r.show.shells.size(), 8u);
    showtiming_t timing;
    timing.analyse(r.show);
    const std::vector<shelltimes_t>& times = timing.shells();
    EXPECT_NEAR(times[0].burst, 20.0, 1e-4);
    EXPECT_NEAR(times[1].burst, 12.0, 1e-4);
    EXPECT_NEAR(times[2].burst, 12.5, 1e-4) << "the second break half a second after the first";
    EXPECT_FLOAT_EQ(times[2].launch, times[1].launch);
    for (std::size_t k = 0; k < 2; ++k) {
        const double beat = 1.0 + 0.48 + (15.0 + 4.0 * static_cast<double>(k)) * 0.5;
        EXPECT_NEAR(times[3 + 2 * k].burst, beat, 1e-4) << k;
        EXPECT_FLOAT_EQ(times[4 + 2 * k].launch, times[3 + 2 * k].launch) << "the rising tail goes up with it";
    }
    EXPECT_NEAR(times[7].launch, 2.0, 1e-6);
    // A 150 mm shell rises for seconds, not the classic shell's two.
    EXPECT_GT(r.show.shells[0].fuse, 3.0f);

    // Both the timeline's origins and info's entries name every shell.
    const char* kinds[] = {"peony", "multibreak", "multibreak", "palm", "palm", "palm", "palm", "peony"};
    ASSERT_EQ(r.show.notes.size(), r.show.shells.size());
    for (std::size_t i = 0; i < r.show.shells.size(); ++i) {
        const shellorigin_t* origin = originof(r.show, i);
        ASSERT_NE(origin, nullptr) << i;
        EXPECT_EQ(origin->kind, kinds[i]) << i;
        EXPECT_EQ(r.show.entries.at(noteof(r.show, i).entry).kind, kinds[i]) << i;
    }
    const shellorigin_t* palm = originof(r.show, 5);
    EXPECT_EQ(palm->line, 16u);
    EXPECT_EQ(palm->first, 3u);
    EXPECT_EQ(palm->each, 2u);
    EXPECT_EQ(palm->count, 2u);
}

// What has no one burst is refused burst, beat and every, in one line that
// says why; a real shell's burst must still leave it time to rise.
TEST(ShowBeats, RealShellsWithoutOneBurstAreRefusedIt)
{
    tempdir dir;
    const std::string tempo = "[music]\nfile = \"m.ogg\"\nbpm = 120\n";
    const struct {
        std::string text;
        std::vector<std::string> problems;
    } cases[] = {
        {"[[shell]]\nkind = \"cake\"\ntime = 1\nburst = 5\n",
         {"4:1: 'burst' does not apply to a cake shell: its shots break one after another, with no one burst to time; "
          "give time, its first shot's launch"}},
        {tempo + "[[shell]]\nkind = \"mine\"\nbeat = 3\n",
         {"4:1: a mine shell needs a time",
          "6:1: 'beat' does not apply to a mine shell: it goes off as it leaves the ground, with no burst to time; give "
          "time, its launch"}},
        {"[[shell]]\nkind = \"comet\"\ntime = 0\ncount = 2\nevery = 1\n",
         {"5:1: 'every' does not apply to a comet shell: it burns from the ground up and never breaks; give time, its "
          "launch"}},
        {"[[shell]]\nkind = \"willow\"\ncalibre = \"300mm\"\nburst = 3\n",
         {"4:9: burst at 3 s, before the shell can rise: its fuse burns "}},
        {"[[shell]]\nkind = \"ring\"\ntime = 1\nburst = 9\n",
         {"4:9: both time and burst: a shell goes up at its time, or breaks at its burst or on a beat, one of them"}},
        {"[[shell]]\nkind = \"dahlia\"\nburst = 14399\ncount = 3\ninterval = 10\n",
         {"3:9: the last repetition would go up at "}},
        {"[[shell]]\nkind = \"cake\"\ntime = 14399\nshots = 10\nshotinterval = 1\n",
         {"1:1: the last repetition would go up at 14408 s, after the latest time a show may use (14400 s)"}},
    };
    for (const auto& c : cases) {
        const readresult_t r = read(dir, c.text, track(30.0));
        EXPECT_FALSE(r.ok) << c.text;
        ASSERT_EQ(r.problems.size(), c.problems.size()) << c.text << (r.problems.empty() ? "" : r.problems.front());
        for (std::size_t i = 0; i < c.problems.size(); ++i)
            EXPECT_EQ(r.problems[i].compare(0, c.problems[i].size(), c.problems[i]), 0) << r.problems[i];
    }
}
