// The screensaver's loop: the show runner and the frame drawing the viewer
// uses, driven by the window's size and a steady frame rate instead of
// window-system events.
#include "app/saver.h"

#include "app/eglwindow.h"
#include "app/framepacer.h"
#include "app/showsound.h"
#include "audio/trackscan.h"
#include "audio/wavedispatch.h"
#include "firework/openshow.h"
#include "firework/showrunner.h"
#include "firework/smoke.h"
#include "glload/glextloader.h"
#include "glload/keepdriver.h"
#include "render/frame.h"
#include "utils/datapath.h"
#include "utils/mmtime.h"

#include <csignal>
#include <iostream>
#include <memory>

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

// The viewer's burst sound; null after its one line when there is none.
std::unique_ptr<sndkit::wave_t> startsound(const std::string& path)
{
    std::unique_ptr<sndkit::wave_t> wave = sndkit::wave_dispatch(0);
    if (!wave) {
        std::cerr << "wave dispatch failed." << std::endl;
        return nullptr;
    }
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
    if (!openshow(options.show.empty() ? "susuki" : options.show, show, problem, {}, sndkit::readtrack)) {
        std::cerr << problem << std::endl;
        return 1;
    }
    eglwindow_t target;
    if (!target.Init(options.root, options.window)) return 1;
    const std::string soundpath = basekit::finddata("reverb.wav", argv0);
    std::unique_ptr<sndkit::wave_t> wave;
    if (options.sound && !(wave = startsound(soundpath))) return 1;
    glload::gl_extloader_init();

    showrunner_t runner;
    runner.load(std::move(show));
    runner.setrestartdelay(options.delay);
    frame_t frame;
    const bool built = frame.Init(frame_t::startcapacity(runner.capacity()));
    glload::keepdriverloaded();
    // The log is out; a screensaver without its shaders would be a blank window.
    if (!built) return 1;
    frame.SetView(runner.show().camera);
    // The command line's look over the show's, at the window's cost.
    const look_t look = chooselook(runner.show().look, options.look);
    frame.SetLook(look, k_windowcost);
    smoke_t smoke;
    std::vector<primitive_t> puffs;
    if (look.night() && look.smoke) smoke.prepare(runner.show(), look.wind);

    // With sound, a show's music plays too, and the show follows it.
    showsound_t sound;
    if (wave) {
        sound.Init(wave.get(), soundpath, argv0);
        runner.setaudio(&sound);
    }
    runner.start(basekit::monotonicmicros());
    winkit::framepacer_t pacer; // 60 Hz: a swap interval of 1 does not pace everywhere

    bool failed = false;
    while (!g_signal) {
        int width = 0, height = 0;
        if (!target.Size(width, height)) break;
        if (width != frame.width() || height != frame.height()) frame.Reshape(width, height);

        runner.frame(basekit::monotonicmicros());
        if (runner.restarted()) frame.ResetCamera();
        frame.Update(runner.points().data(), runner.points().size());
        if (look.night()) {
            smoke.evaluate(runner.show(), runner.time(), puffs);
            frame.UpdateSmoke(runner.time(), puffs.data(), puffs.size());
        }
        frame.Draw();
        if (!target.Swap()) {
            failed = !target.gone();
            break;
        }
        pacer.pace();
    }

    sound.Destroy();
    frame.Destroy();
    target.Destroy();
    if (g_signal) dieofsignal();
    return failed ? 1 : 0;
}

} // namespace vexlor
