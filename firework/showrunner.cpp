// The show runner: the clock's moves told to the sound side, the sound's own
// clock followed while it has one, and the restart at the show's end.
#include "firework/showrunner.h"

#include <algorithm>
#include <cmath>

namespace vexlor {

void showrunner_t::load(show_t show)
{
    m_show = std::move(show);
    liftlaunchsites(m_show);
    m_timing.analyse(m_show);
    m_evaluator.prepare(m_show);
    m_capacity = m_timing.busiest(m_show).points;
    m_evaluator.setthreads(threadsfor(m_capacity));
    m_evaluator.reserve(m_capacity);
    m_points.reserve(m_capacity);
    for (firework_t& shell : m_show.shells) shell.launched = shell.exploded = false;
    m_pending.clear();
    if (m_audio) m_audio->load(m_show.music, soundcues(m_show));
}

void showrunner_t::setaudio(showaudio_t* audio)
{
    m_audio = audio;
    if (m_audio) m_audio->load(m_show.music, soundcues(m_show));
}

void showrunner_t::replace(show_t show, std::int64_t now)
{
    follow(now);
    const float t = m_clock.time(now);
    load(std::move(show));
    settle(t);
    moved(now);
}

void showrunner_t::start(std::int64_t now)
{
    m_clock.start(now);
    for (firework_t& shell : m_show.shells) shell.launched = shell.exploded = false;
    moved(now);
}

double showrunner_t::showtime(std::int64_t now) const
{
    return static_cast<double>(m_clock.micros(now)) / sceneclock_t::k_second;
}

// Tells the sound side where the clock now stands. Sounds on their way
// belong to the time left behind.
void showrunner_t::moved(std::int64_t now)
{
    m_moved = true;
    m_pending.clear();
    if (!m_audio) return;
    if (m_clock.paused())
        m_audio->pause(showtime(now));
    else
        m_audio->play(showtime(now));
}

// While the sound has a clock of its own, the show's clock follows it: what
// is seen is what is being heard. Between moves it never goes back.
void showrunner_t::follow(std::int64_t now)
{
    double heard = 0.0;
    if (m_clock.paused() || !m_audio || !m_audio->clock(now, heard)) return;
    if (!m_moved && heard < m_heard) heard = m_heard;
    m_heard = heard;
    m_moved = false;
    m_clock.set(heard, now);
}

// The sound flags as a run up to `t` leaves them, without asking for sounds.
void showrunner_t::settle(float t)
{
    m_evaluator.evaluate(m_show, t, m_scratch, [](std::size_t, sound_t) {});
}

// A launch or burst the evaluation found: its clip now, or on its way.
void showrunner_t::hear(std::size_t shell, sound_t what)
{
    const shellnote_t note = noteof(m_show, shell);
    const soundclip_t clip = what == sound_t::launch ? note.launch : note.burst;
    const firework_t& firework = m_show.shells[shell];
    const double happened = what == sound_t::launch ? static_cast<double>(firework.time)
                                                    : static_cast<double>(firework.time) + firework.fuse;
    const double delay = sounddelay(m_show, shell, what);
    if (clip != soundclip_t::none) {
        if (delay > 0.0) {
            m_pending.push_back({happened + delay, {shell, what, clip}});
            std::push_heap(m_pending.begin(), m_pending.end(), later);
        } else {
            m_sounds.push_back({shell, what, clip});
        }
    }
    if (what == sound_t::burst && note.crackle >= 0.0f) {
        m_pending.push_back({happened + note.crackle + delay, {shell, sound_t::crackle, soundclip_t::crackle}});
        std::push_heap(m_pending.begin(), m_pending.end(), later);
    }
}

// The sounds on their way that have arrived by show time `upto`.
void showrunner_t::arrive(double upto)
{
    while (!m_pending.empty() && m_pending.front().due <= upto) {
        m_sounds.push_back(m_pending.front().hit);
        std::pop_heap(m_pending.begin(), m_pending.end(), later);
        m_pending.pop_back();
    }
}

void showrunner_t::frame(std::int64_t now)
{
    m_sounds.clear();
    m_restarted = false;
    follow(now);
    m_time = m_clock.time(now);
    m_evaluator.evaluate(m_show, m_time, m_points, [this](std::size_t shell, sound_t what) { hear(shell, what); });
    arrive(m_time);
    if (m_audio)
        for (const soundhit_t& hit : m_sounds) m_audio->sound(hit);
    // Past the end nothing shows any more: this frame has asked for the
    // sounds due after the last point, and once the last sound on its way
    // has arrived the next one starts again.
    if (!m_clock.paused() && m_pending.empty()
        && static_cast<double>(m_time) > static_cast<double>(end()) + m_restartdelay) {
        restart(now);
        m_restarted = true;
    }
}

bool showrunner_t::togglepause(std::int64_t now)
{
    follow(now);
    const bool paused = m_clock.togglepause(now);
    moved(now);
    return paused;
}

void showrunner_t::step(std::int64_t micros, std::int64_t now)
{
    follow(now);
    m_clock.step(micros, now);
    moved(now);
}

void showrunner_t::restart(std::int64_t now)
{
    m_clock.restart(now);
    for (firework_t& shell : m_show.shells) shell.launched = shell.exploded = false;
    moved(now);
}

void showrunner_t::seek(double showtime, std::int64_t now)
{
    m_clock.set(showtime, now);
    settle(m_clock.time(now));
    moved(now);
}

void showrunner_t::evaluate(float t, std::vector<primitive_t>& points)
{
    m_evaluator.points(m_show, t, points);
}

renderspan_t showrunner_t::renderspan(double from, double to, double fps) const
{
    renderspan_t span;
    span.from = from;
    span.fps = fps;
    if (to > from) {
        // Frames before `to`; an end on a frame's own time excludes it.
        span.frames = static_cast<std::size_t>(std::max(0.0, std::ceil((to - from) * fps - 1e-9)));
        span.seconds = to - from;
        return span;
    }
    const float end = m_timing.end();
    if (!(static_cast<double>(end) >= from) || !m_timing.ends()) return span;
    // Every frame whose own time is not past the end.
    auto frames = static_cast<std::size_t>(std::floor((static_cast<double>(end) - from) * fps)) + 1;
    while (frames > 0 && span.at(frames - 1) > end) --frames;
    while (span.at(frames) <= end) ++frames;
    span.frames = frames;
    span.seconds = static_cast<double>(frames) / fps;
    return span;
}

std::vector<rendersound_t> showrunner_t::rendersounds(const renderspan_t& span) const
{
    std::vector<rendersound_t> sounds;
    if (span.frames == 0) return sounds;
    // A frame asks for a launch once its time is past the launch, and for a
    // burst once the time since the launch is past the fuse; the last frame
    // has seen every sound the span asks for. Each is placed where it is
    // heard, which may lie past the span's end: the track then ends first.
    const float last = span.at(span.frames - 1);
    for (std::size_t i = 0; i < m_show.shells.size(); ++i) {
        const firework_t& shell = m_show.shells[i];
        if (shell.time >= last) continue;
        const shellnote_t note = noteof(m_show, i);
        if (note.launch != soundclip_t::none)
            sounds.push_back({static_cast<double>(shell.time) + sounddelay(m_show, i, sound_t::launch), sound_t::launch,
                              i, note.launch});
        if (!(last - shell.time > shell.fuse)) continue;
        const double burst = static_cast<double>(shell.time) + shell.fuse;
        const double heard = sounddelay(m_show, i, sound_t::burst);
        if (note.burst != soundclip_t::none)
            sounds.push_back({burst + heard, sound_t::burst, i, note.burst});
        if (note.crackle >= 0.0f)
            sounds.push_back({burst + note.crackle + heard, sound_t::crackle, i, soundclip_t::crackle});
    }
    std::stable_sort(sounds.begin(), sounds.end(),
                     [](const rendersound_t& a, const rendersound_t& b) { return a.time < b.time; });
    return sounds;
}

} // namespace vexlor
