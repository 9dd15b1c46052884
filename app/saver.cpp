// The screensaver's loop: the viewer's evaluation, scene clock and frame
// drawing, driven by the window's size and a steady frame rate instead of
// window-system events.
#include "app/saver.h"

#include "app/datapath.h"
#include "app/eglwindow.h"
#include "app/framepacer.h"
#include "app/showloop.h"
#include "audio/musicplayer.h"
#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "firework/evaluate.h"
#include "firework/openshow.h"
#include "firework/sceneclock.h"
#include "firework/showfile.h"
#include "firework/smoke.h"
#include "glload/glextloader.h"
#include "glload/keepdriver.h"
#include "render/pgmshdr.h"
#include "render/frame.h"
#include "utils/mmtime.h"

#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <vector>

namespace vexlor {
namespace {

volatile std::sig_atomic_t g_signal = 0;

void onsignal(int signal)
{
    g_signal = signal;
}

// Without SA_RESTART: a frame's sleep ends early and the loop sees the flag.
void catchsignals()
{
    struct sigaction action {};
    action.sa_handler = onsignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

// Dies of the signal that ended the loop, so that whoever sent it sees so.
void dieofsignal()
{
    const int signal = g_signal;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::uint32_t clockmicros()
{
    return basekit::timeGetTime() * 1000u;
}

double steadyseconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The viewer's burst sound; null after its one line when there is none.
sndkit::wave_t* startsound(const char* argv0)
{
    // Made once and never deleted, as in the viewer: it plays until the end.
    sndkit::wave_t* wave = sndkit::wave_dispatch(0).release();
    if (!wave) {
        std::cerr << "wave dispatch failed." << std::endl;
        return nullptr;
    }
    const std::string path = finddata("reverb.wav", argv0);
    if (!wave->load(path.c_str())) {
        std::cerr << "wave load failed." << std::endl;
        return nullptr;
    }
    return wave;
}

} // namespace

int runsaver(const saveroptions_t& options, const char* argv0)
{
    catchsignals();

    show_t show;
    std::string problem;
    if (!openshow(options.show.empty() ? "susuki" : options.show, show, problem)) {
        std::cerr << problem << std::endl;
        return 1;
    }
    eglwindow_t target;
    if (!target.Init(options.root, options.window)) return 1;
    sndkit::wave_t* wave = nullptr;
    if (options.sound && !(wave = startsound(argv0))) return 1;
    glload::gl_extloader_init();

    liftlaunchsites(show);
    evaluator_t evaluator;
    evaluator.prepare(show);
    const std::size_t capacity = pointcapacity(show);
    evaluator.setthreads(threadsfor(capacity));
    evaluator.reserve(frame_t::startcapacity(capacity));
    std::vector<primitive_t> points;
    points.reserve(frame_t::startcapacity(capacity));
    frame_t frame;
    frame.Init(frame_t::startcapacity(capacity));
    // The command line's look over the show's, at the window's cost.
    const look_t look = chooselook(show.look, options.look);
    frame.SetLook(look, k_windowcost);
    smoke_t smoke;
    std::vector<primitive_t> puffs;
    if (look.night() && look.smoke) smoke.prepare(show, look.wind);
    glload::keepdriverloaded();
    // The log is out; a screensaver without its shaders would be a blank window.
    if (shaderfailed()) return 1;

    // With sound, a show's music plays too, following the loop's restarts.
    sndkit::musicplayer_t music;
    if (wave && !show.music.file.empty()) {
        std::string message;
        if (!music.Init(sndkit::xaudio2_t::engine(), show.music.file.c_str(), show.music.offset, show.music.gain,
                        message))
            std::cerr << musicproblem(show.music, message) << std::endl;
    }

    sceneclock_t clock;
    clock.start(clockmicros());
    music.play(0.0);
    showloop_t loop(options.delay);
    winkit::framepacer_t pacer; // 60 Hz: a swap interval of 1 does not pace everywhere
    const soundfunc_t onsound = [wave](std::size_t, sound_t) {
        if (wave) wave->play(false);
    };

    bool failed = false;
    while (!g_signal) {
        int width = 0, height = 0;
        if (!target.Size(width, height)) break;
        if (width != frame.width() || height != frame.height()) frame.Reshape(width, height);

        const float t = clock.tick(clockmicros());
        music.sync(t);
        evaluator.evaluate(show, t, points, onsound);
        if (loop.restart(points.empty(), steadyseconds())) {
            clock.restart(clockmicros());
            music.play(0.0);
            for (auto& shell : show.shells) shell.launched = shell.exploded = false;
        }
        frame.Update(points.data(), points.size());
        if (look.night()) {
            smoke.evaluate(show, t, puffs);
            frame.UpdateSmoke(t, puffs.data(), puffs.size());
        }
        frame.Draw();
        if (!target.Swap()) {
            failed = !target.gone();
            break;
        }
        pacer.pace();
    }

    music.Destroy();
    frame.Destroy();
    target.Destroy();
    if (g_signal) dieofsignal();
    return failed ? 1 : 0;
}

} // namespace vexlor
