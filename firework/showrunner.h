// The one show runner: holds a show, its timing and its evaluation, and keeps
// the show's time: the clock, pause, one-second steps, restart, moves to any
// time, and the restart once the show is over. Every program that plays a
// show hands it clock readings and draws the points it gets back; the sound
// side hears of every move and every sound through showaudio_t. Free of GL,
// windows and audio, so its tests step time instead of sleeping.
#pragma once

#include "firework/evaluate.h"
#include "firework/primitive.h"
#include "firework/sceneclock.h"
#include "firework/show.h"
#include "firework/showaudio.h"
#include "firework/showtiming.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexlor {

// The frames of a render: frame k is the show at exactly from + k / fps,
// whichever frames are drawn and in whatever order.
struct renderspan_t {
    double from = 0.0;
    double fps = 60.0;
    std::size_t frames = 0;
    double seconds = 0.0; // how long the span lasts: its sound track's length
    float at(std::size_t k) const { return static_cast<float>(from + static_cast<double>(k) / fps); }
};

// A sound of a render's track, at its own time (not its frame's), so that it
// lands on its exact sample.
struct rendersound_t {
    double time = 0.0;
    sound_t what = sound_t::launch;
    std::size_t shell = 0;
    soundclip_t clip = soundclip_t::burst;
};

class showrunner_t {
public:
    // Takes the show, lifts its launch sites to where the camera looks,
    // derives its timing and prepares its evaluation (threads for large
    // shows). The clock starts with start().
    void load(show_t show);

    // Replaces the show by an edited one, keeping the show's time: what the
    // new show has launched by then does not sound again.
    void replace(show_t show, std::int64_t now);

    // The sound side (null: silent), told the show now and every move later.
    void setaudio(showaudio_t* audio);
    // Empty sky after the show's end before it begins again (0: at once).
    void setrestartdelay(double seconds) { m_restartdelay = seconds; }

    // Show time 0 at monotonic reading `now` (microseconds).
    void start(std::int64_t now);

    // The frame at `now`: its show time, points and sounds. Once the time has
    // passed the show's end (and the delay) and every sound on its way has
    // been heard, the show restarts; restarted() then says so for this
    // frame, whose points are those of the end. A sound that reaches the
    // audience later than it happens (by distance, or a crackle after its
    // burst) is asked for by the frame in which it arrives.
    void frame(std::int64_t now);
    float time() const { return m_time; }
    const std::vector<primitive_t>& points() const { return m_points; }
    const std::vector<soundhit_t>& sounds() const { return m_sounds; }
    bool restarted() const { return m_restarted; }

    // The keys: pause (true when now paused), steps by `micros`, restart
    // (a pause in force is kept), and a move to any show time.
    bool togglepause(std::int64_t now);
    void step(std::int64_t micros, std::int64_t now);
    void restart(std::int64_t now);
    void seek(double showtime, std::int64_t now);
    bool paused() const { return m_clock.paused(); }
    // The show time at `now`, to the microsecond.
    double showtime(std::int64_t now) const;

    const show_t& show() const { return m_show; }
    const showtiming_t& timing() const { return m_timing; }
    // The last instant anything shows (showtiming_t::end).
    float end() const { return m_timing.end(); }
    // Each shell's launch, burst and last lit instant, in the show's order.
    const std::vector<shelltimes_t>& timeline() const { return m_timing.shells(); }
    // The busiest frame at 60 frames a second: what point buffers start with.
    std::size_t capacity() const { return m_capacity; }

    // The points at any instant, leaving the sounds and the clock alone (a
    // timeline's scrubbing, several instants a frame for motion blur).
    void evaluate(float t, std::vector<primitive_t>& points);

    // A render's frames from `from` at `fps`: before `to` when to > from,
    // else every frame up to the show's end (none when it never ends).
    renderspan_t renderspan(double from, double to, double fps) const;
    // The sounds its frames ask for, in order of the time they are heard.
    std::vector<rendersound_t> rendersounds(const renderspan_t& span) const;

private:
    // A sound on its way, heard at show time `due`.
    struct pending_t {
        double due = 0.0;
        soundhit_t hit;
    };
    static bool later(const pending_t& a, const pending_t& b) { return a.due > b.due; }

    void moved(std::int64_t now);
    void hear(std::size_t shell, sound_t what);
    void arrive(double upto);
    void follow(std::int64_t now);
    void settle(float t);

    show_t m_show;
    showtiming_t m_timing;
    evaluator_t m_evaluator;
    sceneclock_t m_clock;
    showaudio_t* m_audio = nullptr;
    double m_restartdelay = 0.0;
    std::size_t m_capacity = 0;
    std::vector<primitive_t> m_points;
    std::vector<primitive_t> m_scratch;
    std::vector<soundhit_t> m_sounds;
    std::vector<pending_t> m_pending; // a heap, earliest first
    float m_time = 0.0f;
    double m_heard = 0.0;   // the show time of the last frame the sound's clock gave
    bool m_moved = true;    // the clock moved since: the sound's clock may go back
    bool m_restarted = false;
};

} // namespace vexlor
