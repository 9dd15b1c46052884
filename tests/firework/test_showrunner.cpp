// The show runner with a stepped clock: frames, sounds, pause, steps,
// restart, moves to any time, the restart after the end (with and without a
// delay), a show replaced while it plays, the sound side told of every move
// and followed while it has a clock, and a render's frames and sounds.
#include "firework/builtin.h"
#include "firework/showfile.h"
#include "firework/showrunner.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

using vexlor::fire_t;
using vexlor::firework_t;
using vexlor::powder_t;
using vexlor::show_t;
using vexlor::showrunner_t;
using vexlor::sound_t;

constexpr std::int64_t k_second = 1000000;
constexpr std::int64_t k_start = (std::int64_t{1} << 32) - k_second; // just before the old clock wrapped

fire_t star(float glow)
{
    return fire_t{{0, 0, 1}, 5.0f, {powder_t{0.0f, 10.0f, 1.0f, {{glow, {1, 1, 1, 1}, {1, 0, 0, 1}}}}}};
}

firework_t at(float time, float fuse, std::vector<fire_t> fires)
{
    firework_t shell = scenes::shell(fuse, std::move(fires));
    shell.time = time;
    return shell;
}

// Shells at 0 and 30 s: the second only after a long dark gap. Out at 35 s.
show_t gapshow()
{
    return vexlor::sharescene({at(0.0f, 2.0f, {star(1.5f)}), at(30.0f, 2.0f, {star(3.0f)})});
}

std::int64_t at_s(double seconds)
{
    return k_start + static_cast<std::int64_t>(std::llround(seconds * k_second));
}

// What the runner tells its sound side, in order.
class recorder_t : public vexlor::showaudio_t {
public:
    void load(const vexlor::music_t& music, const std::vector<vexlor::soundcue_t>& cues) override
    {
        log += "load " + music.file + " " + std::to_string(cues.size()) + ";";
    }
    void play(double t) override { log += "play " + text(t) + ";"; }
    void pause(double t) override { log += "pause " + text(t) + ";"; }
    bool clock(std::int64_t, double& t) override
    {
        if (heard < 0) return false;
        t = heard;
        return true;
    }
    void sound(const vexlor::soundhit_t& hit) override
    {
        log += (hit.what == sound_t::launch  ? "launch "
                : hit.what == sound_t::burst ? "burst "
                                             : "crackle ")
             + std::to_string(hit.shell) + ";";
    }
    static std::string text(double t)
    {
        char s[32];
        std::snprintf(s, sizeof s, "%.3f", t);
        return s;
    }
    std::string log;
    double heard = -1.0; // the sound's clock, none when negative
};

TEST(ShowRunner, FramesFollowTheClockAndAskForEachSoundOnce)
{
    showrunner_t runner;
    recorder_t audio;
    runner.load(gapshow());
    runner.setaudio(&audio);
    runner.start(at_s(0));
    EXPECT_EQ(audio.log, "load  4;play 0.000;");
    audio.log.clear();

    runner.frame(at_s(0.5));
    EXPECT_FLOAT_EQ(runner.time(), 0.5f);
    EXPECT_EQ(runner.points().size(), 1u) << "the rising shell";
    ASSERT_EQ(runner.sounds().size(), 1u);
    EXPECT_EQ(runner.sounds()[0].what, sound_t::launch);
    runner.frame(at_s(2.5));
    EXPECT_EQ(runner.points().size(), 1u) << "its star";
    runner.frame(at_s(2.6));
    EXPECT_EQ(audio.log, "launch 0;burst 0;") << "each sound once";

    // The dark gap plays on: the show is not over until its last spark.
    runner.frame(at_s(20));
    EXPECT_TRUE(runner.points().empty());
    EXPECT_FALSE(runner.restarted());
    runner.frame(at_s(31));
    EXPECT_EQ(runner.points().size(), 1u);
    EXPECT_EQ(runner.sounds().size(), 1u);
    EXPECT_FLOAT_EQ(runner.end(), 35.0f);
}

TEST(ShowRunner, PauseFreezesTheFramesAndStepsMoveThem)
{
    showrunner_t runner;
    runner.load(gapshow());
    runner.start(at_s(0));
    runner.togglepause(at_s(2.25));
    runner.frame(at_s(9));
    EXPECT_FLOAT_EQ(runner.time(), 2.25f);
    EXPECT_TRUE(runner.paused());
    runner.step(+vexlor::sceneclock_t::k_step, at_s(10));
    runner.frame(at_s(11));
    EXPECT_FLOAT_EQ(runner.time(), 3.25f);
    runner.frame(at_s(20));
    EXPECT_FALSE(runner.restarted()) << "no restart while paused";
    runner.togglepause(at_s(40));
    runner.frame(at_s(41));
    EXPECT_FLOAT_EQ(runner.time(), 4.25f);
}

TEST(ShowRunner, RestartsOnTheFirstFramePastTheEndAfterItsDelay)
{
    showrunner_t runner;
    runner.load(gapshow());
    runner.start(at_s(0));
    runner.frame(at_s(35.0)); // the last instant: still drawn
    EXPECT_EQ(runner.points().size(), 1u);
    EXPECT_FALSE(runner.restarted());
    runner.frame(at_s(35.001));
    EXPECT_TRUE(runner.points().empty());
    EXPECT_TRUE(runner.restarted());
    runner.frame(at_s(35.5));
    EXPECT_FLOAT_EQ(runner.time(), 0.499f);
    EXPECT_EQ(runner.sounds().size(), 1u) << "the first shell sounds again";

    // With a delay, the sky stays empty that long after the end.
    showrunner_t saver;
    saver.load(gapshow());
    saver.setrestartdelay(1.5);
    saver.start(at_s(0));
    saver.frame(at_s(36.4));
    EXPECT_FALSE(saver.restarted());
    saver.frame(at_s(36.6));
    EXPECT_TRUE(saver.restarted());

    // Nothing to draw at all: every frame starts it again.
    showrunner_t empty;
    empty.load(show_t{});
    empty.start(at_s(0));
    empty.frame(at_s(0.1));
    EXPECT_TRUE(empty.restarted());
}

TEST(ShowRunner, PauseStepsRestartAndMovesAreToldToTheSound)
{
    showrunner_t runner;
    recorder_t audio;
    runner.load(gapshow());
    runner.setaudio(&audio);
    runner.start(at_s(0));
    audio.log.clear();

    EXPECT_TRUE(runner.togglepause(at_s(2.25)));
    runner.step(+vexlor::sceneclock_t::k_step, at_s(10)); // the frozen time moves
    EXPECT_FALSE(runner.togglepause(at_s(12)));
    runner.step(-vexlor::sceneclock_t::k_step, at_s(13)); // 4.25 s then, 3.25 s after
    runner.restart(at_s(14));
    runner.seek(31.5, at_s(15));
    EXPECT_EQ(audio.log, "pause 2.250;pause 3.250;play 3.250;play 3.250;play 0.000;play 31.500;");

    // A move is silent: what launched before it does not sound now.
    audio.log.clear();
    runner.frame(at_s(15.1));
    EXPECT_FLOAT_EQ(runner.time(), 31.6f);
    EXPECT_TRUE(runner.sounds().empty());
    EXPECT_EQ(runner.points().size(), 1u);
    runner.frame(at_s(15.6));
    EXPECT_EQ(audio.log, "burst 1;");
}

// While the sound has a clock, the show's time is the time heard; between
// moves it never goes back, and without a clock the monotonic one goes on.
TEST(ShowRunner, FollowsTheSoundsClockWhileThereIsOne)
{
    showrunner_t runner;
    recorder_t audio;
    runner.load(gapshow());
    runner.setaudio(&audio);
    runner.start(at_s(0));
    audio.heard = 0.49;
    runner.frame(at_s(0.5));
    EXPECT_FLOAT_EQ(runner.time(), 0.49f);
    audio.heard = 0.48; // the device's reports wobble: the picture does not
    runner.frame(at_s(0.51));
    EXPECT_FLOAT_EQ(runner.time(), 0.49f);
    audio.heard = 0.99;
    runner.frame(at_s(1.0));
    EXPECT_FLOAT_EQ(runner.time(), 0.99f);
    // Paused, the time stands where it was heard.
    runner.togglepause(at_s(1.2));
    audio.heard = 5.0;
    runner.frame(at_s(3.0));
    EXPECT_NEAR(runner.time(), 0.99f, 1e-6f);
    runner.togglepause(at_s(4.0));
    audio.heard = -1.0; // the device went: the monotonic clock carries on
    runner.frame(at_s(4.5));
    EXPECT_NEAR(runner.time(), 1.49f, 1e-6f);
    // A move may go back; the sound's clock is believed again after it.
    runner.restart(at_s(5));
    audio.heard = 0.01;
    runner.frame(at_s(5.02));
    EXPECT_FLOAT_EQ(runner.time(), 0.01f);
}

TEST(ShowRunner, AReplacedShowKeepsTheTimeAndItsPastStaysQuiet)
{
    showrunner_t runner;
    recorder_t audio;
    runner.load(gapshow());
    runner.setaudio(&audio);
    runner.start(at_s(0));
    runner.frame(at_s(31));
    audio.log.clear();
    show_t edited = gapshow();
    edited.shells[1].fuse = 0.5f; // has burst by 31 s
    edited.music.file = "song.ogg";
    runner.replace(std::move(edited), at_s(31.25));
    EXPECT_EQ(audio.log, "load song.ogg 4;play 31.250;");
    audio.log.clear();
    runner.frame(at_s(31.5));
    EXPECT_FLOAT_EQ(runner.time(), 31.5f);
    EXPECT_EQ(audio.log, "") << "launched and burst before the edit: no sound now";
    EXPECT_FLOAT_EQ(runner.end(), 33.5f);
}

TEST(ShowRunner, AnyInstantAndTheTimelineLeaveTheShowAlone)
{
    showrunner_t runner;
    runner.load(gapshow());
    runner.start(at_s(0));
    std::vector<vexlor::primitive_t> points;
    runner.evaluate(31.0f, points);
    EXPECT_EQ(points.size(), 1u);
    runner.frame(at_s(0.5));
    EXPECT_EQ(runner.sounds().size(), 1u) << "the look ahead set no flag";
    ASSERT_EQ(runner.timeline().size(), 2u);
    EXPECT_EQ(runner.timeline()[1].launch, 30.0f);
    EXPECT_EQ(runner.timeline()[1].burst, 32.0);
    EXPECT_EQ(runner.timeline()[1].out, 35.0f);
    // Launch sites are lifted to where the camera looks.
    EXPECT_EQ(runner.show().shells[0].position.z, 1000.0f);
}

// A render's frames: frame k at from + k / fps exactly; up to `to`, or every
// frame up to the end, gaps and a late start included; the sounds its frames
// ask for at their own times.
TEST(ShowRunner, RenderSpansAndTheirSounds)
{
    showrunner_t runner;
    runner.load(gapshow());
    vexlor::renderspan_t all = runner.renderspan(0.0, -1.0, 10.0);
    EXPECT_EQ(all.frames, 351u) << "0, 0.1, ... 35.0 s";
    EXPECT_DOUBLE_EQ(all.seconds, 35.1);
    EXPECT_EQ(all.at(350), 35.0f);
    EXPECT_EQ(runner.rendersounds(all).size(), 4u);

    const vexlor::renderspan_t part = runner.renderspan(2.5, 31.0, 10.0);
    EXPECT_EQ(part.frames, 285u);
    EXPECT_DOUBLE_EQ(part.seconds, 28.5);
    const auto sounds = runner.rendersounds(part);
    ASSERT_EQ(sounds.size(), 3u) << "the second shell has not burst by 30.9 s";
    EXPECT_EQ(sounds[0].time, 0.0);
    EXPECT_EQ(sounds[1].time, 2.0);
    EXPECT_EQ(sounds[1].what, sound_t::burst);
    EXPECT_EQ(sounds[2].time, 30.0);
    EXPECT_EQ(sounds[2].shell, 1u);

    // A very slow rate: one frame, and the span is what was asked for.
    const vexlor::renderspan_t slow = runner.renderspan(0.0, 10.0, 0.01);
    EXPECT_EQ(slow.frames, 1u);
    EXPECT_DOUBLE_EQ(slow.seconds, 10.0);
    EXPECT_EQ(runner.renderspan(40.0, -1.0, 10.0).frames, 0u) << "past the end";
}

} // namespace

namespace {

// A crackling 150 mm shell and a 75 mm one heard from 686 m off: every sound
// is late by its distance at 343 m/s.
show_t distantshow()
{
    show_t show;
    std::vector<std::string> problems;
    const bool read = vexlor::readshowtext("[camera]\nposition = [0, -686, 0]\ntarget = [0, 0, 100]\nsound = \"distance\"\n"
                                           "[[shell]]\nkind = \"crackle\"\ntime = 1\ncalibre = \"150mm\"\n"
                                           "[[shell]]\nkind = \"peony\"\ntime = 2\n",
                                           "distant.toml", show, problems);
    EXPECT_TRUE(read) << (problems.empty() ? "" : problems.front());
    return show;
}

} // namespace

// Played frame by frame, each sound is asked for at the first frame at or
// after it is heard, with its own clip, once; a render places the very same
// sounds at their exact times; and the show does not start again before the
// last sound on its way has arrived.
TEST(ShowRunner, SoundsArriveAsLateAsTheirDistanceWithTheirOwnClips)
{
    showrunner_t runner;
    runner.load(distantshow());
    const vexlor::renderspan_t span = runner.renderspan(0.0, -1.0, 60.0);
    const std::vector<vexlor::rendersound_t> placed = runner.rendersounds(span);
    ASSERT_EQ(placed.size(), 5u) << "two launches, two bursts and a crackle";
    EXPECT_NEAR(placed[0].time, 1.0 + 2.0, 1e-5) << "686 m from the launch site";
    EXPECT_EQ(placed[0].clip, vexlor::soundclip_t::burst);
    std::size_t deep = 0, crackles = 0;
    for (const auto& sound : placed) {
        deep += sound.clip == vexlor::soundclip_t::deepburst ? 1 : 0;
        crackles += sound.clip == vexlor::soundclip_t::crackle ? 1 : 0;
    }
    EXPECT_EQ(deep, 1u) << "the 150 mm break sounds deeper";
    EXPECT_EQ(crackles, 1u);

    runner.start(at_s(0));
    std::vector<std::pair<double, vexlor::soundhit_t>> heard;
    bool restarted = false;
    for (int k = 1; k < 60 * 40 && !restarted; ++k) {
        runner.frame(at_s(k / 60.0));
        for (const vexlor::soundhit_t& hit : runner.sounds())
            heard.emplace_back(runner.time(), hit);
        restarted = runner.restarted();
    }
    ASSERT_TRUE(restarted);
    ASSERT_EQ(heard.size(), placed.size());
    for (std::size_t i = 0; i < placed.size(); ++i) {
        EXPECT_EQ(heard[i].second.clip, placed[i].clip) << i;
        EXPECT_EQ(heard[i].second.what, placed[i].what) << i;
        EXPECT_EQ(heard[i].second.shell, placed[i].shell) << i;
        EXPECT_GE(heard[i].first, placed[i].time - 1e-4) << i;
        EXPECT_LT(heard[i].first, placed[i].time + 1.0 / 60.0 + 1e-4) << i;
    }
    EXPECT_GE(heard.back().first, placed.back().time - 1e-4) << "no restart before the last sound";
}
