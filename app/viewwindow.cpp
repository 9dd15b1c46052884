// The viewer window: start-up, projection, the frame's evaluation and drawing.
#include "app/viewwindow.h"

#include "app/datapath.h"
#include "app/glfwymgr4.h"
#include "app/viewstate.h"
#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "firework/showfile.h"
#include "firework/evaluate.h"
#include "glload/glextloader.h"
#include "render/pgmshdr.h"
#include "utils/futil.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

namespace vexlor {
using namespace view;

ViewWindow::ViewWindow(int argc, char** argv, viewoptions_t options)
    : m_argc(argc), m_argv(argv), m_options(std::move(options)), m_basename(basekit::basename(std::string(argv[0]))),
      m_dirname(basekit::dirname(std::string(argv[0])))
{
}

ViewWindow::~ViewWindow() = default;

void ViewWindow::loadsound()
{
    wave = sndkit::wave_dispatch(0).release();
    if (!wave) {
        std::cerr << "wave dispatch failed." << std::endl;
        std::exit(1);
    }
    const std::string path = finddata("reverb.wav", m_argv[0]);
    if (!wave->load(path.c_str())) {
        std::cerr << "wave load failed." << std::endl;
        std::exit(1);
    }
}

namespace {

constexpr char k_title[] = "vexlor";

} // namespace

void ViewWindow::startload()
{
    // No name plays the built-in susuki show.
    m_loader.start(m_options.show.empty() ? "susuki" : m_options.show);
}

// Called each pass while loading: the title and bar follow the read; a
// finished show starts at 0, a failed one ends the program with its line.
void ViewWindow::pollload()
{
    GLFWwindow* window = winkit::glfwyMGR4::instance()->handle(this);
    switch (m_loader.state()) {
    case showloader_t::state_t::failed:
        m_loader.Destroy();
        std::cerr << m_loader.message() << std::endl;
        std::exit(1);
    case showloader_t::state_t::done: break;
    default: {
        const int percent = static_cast<int>(m_loader.fraction() * 100.0);
        if (percent != m_shownpercent && window) {
            m_shownpercent = percent;
            const std::string title = std::string(k_title) + ": loading " + std::to_string(percent) + "%";
            glfwSetWindowTitle(window, title.c_str());
        }
        return;
    }
    }

    m_loader.take(m_show);
    liftlaunchsites(m_show);
    m_evaluator.prepare(m_show);
    // A true bound, also for shells without stars, which still draw while rising.
    const std::size_t count = pointcapacity(m_show);
    m_evaluator.setthreads(threadsfor(count));
    m_evaluator.reserve(frame_t::startcapacity(count));
    m_primitives.reserve(frame_t::startcapacity(count));
    m_frame.Init(frame_t::startcapacity(count));
    m_frame.Reshape(m_frame.width(), m_frame.height());
    // The command line's look over the show's, at the window's cost.
    const look_t look = chooselook(m_show.look, m_options.look);
    m_frame.SetLook(look, k_windowcost);
    if (look.night() && look.smoke) m_smoke.prepare(m_show, look.wind);
    // The log is out; a show without its shaders would be a blank window.
    if (shaderfailed()) std::exit(1);
    if (window) glfwSetWindowTitle(window, k_title);
    m_loaded = true;
    loadmusic();
    m_clock.start(clockmicros());
    movemusic();
}

// Quitting during a load stops the read without waiting for it: the reader
// sees the flag within a block, and anything slower is left to the exit.
void ViewWindow::quit()
{
    if (loading()) {
        m_loader.cancel();
        m_loader.settle(0.1);
    }
    std::exit(1);
}

// Music that cannot be played is told in one line; the show goes on without it.
void ViewWindow::loadmusic()
{
    if (m_show.music.file.empty()) return;
    std::string message;
    if (!m_music.Init(sndkit::xaudio2_t::engine(), m_show.music.file.c_str(), m_show.music.offset, m_show.music.gain,
                      message))
        std::cerr << musicproblem(m_show.music, message) << std::endl;
}

double ViewWindow::showtime() const
{
    const std::uint32_t at = m_clock.paused() ? m_clock.pausestart() : m_clock.now();
    return scenetime(elapsedmicros(at, m_clock.origin()));
}

void ViewWindow::movemusic()
{
    if (m_clock.paused())
        m_music.pause(showtime());
    else
        m_music.play(showtime());
}

void ViewWindow::init()
{
    loadsound();
    glload::gl_extloader_init();
    winkit::glfwyMGR4::instance()->KeyRepeat(false);

    if (fullscreen) toworkarea(winkit::glfwyMGR4::instance()->handle(this));

    startload();
}

void ViewWindow::reshape(int, int)
{
    int width = 0, height = 0;
    glfwGetFramebufferSize(winkit::glfwyMGR4::instance()->handle(this), &width, &height);
    m_frame.Reshape(width, height);
}

void ViewWindow::display()
{
    if (loading())
        m_frame.DrawProgress(m_loader.fraction());
    else
        m_frame.Draw();
}

void ViewWindow::idle()
{
    if (loading()) {
        pollload();
        winkit::glfwyMGR4::instance()->PostRedisplay();
        if (loading()) return;
    }
    const float t = m_clock.tick(clockmicros());
    m_music.sync(t);
    m_evaluator.evaluate(m_show, t, m_primitives,
                       [](std::size_t, sound_t) { wave->play(false); });
    m_frame.Update(m_primitives.data(), m_primitives.size());
    if (m_frame.look().night()) {
        m_smoke.evaluate(m_show, t, m_puffs);
        m_frame.UpdateSmoke(t, m_puffs.data(), m_puffs.size());
    }

    // Nothing in the air and nothing glowing: start the show again.
    if (m_primitives.empty()) keyboard(13, 0, 0);
    winkit::glfwyMGR4::instance()->PostRedisplay();
}

} // namespace vexlor
