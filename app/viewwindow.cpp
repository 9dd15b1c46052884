// The viewer window: start-up, projection, the frame's evaluation and drawing.
#include "app/viewwindow.h"

#include "app/glfwymgr4.h"
#include "audio/wavedispatch.h"
#include "glload/glextloader.h"
#include "utils/datapath.h"
#include "utils/futil.h"
#include "utils/mmtime.h"

#include <iostream>
#include <string>

namespace vexlor {

namespace {

constexpr char k_title[] = "vexlor";

} // namespace

ViewWindow::ViewWindow(int argc, char** argv, viewstate_t& state)
    : m_argc(argc), m_argv(argv), m_basename(basekit::basename(std::string(argv[0]))),
      m_dirname(basekit::dirname(std::string(argv[0]))), m_state(state)
{
}

void ViewWindow::quit(int status)
{
    // A read still going on sees the flag within a block; main waits for it.
    if (loading()) m_state.loader.cancel();
    m_state.status = status;
    winkit::glfwyMGR4::instance()->Exit();
}

bool ViewWindow::loadsound()
{
    m_state.wave = sndkit::wave_dispatch(0);
    if (!m_state.wave) {
        std::cerr << "wave dispatch failed." << std::endl;
        return false;
    }
    const std::string path = basekit::finddata("reverb.wav", m_argv[0]);
    if (!m_state.wave->load(path.c_str())) {
        std::cerr << "wave load failed." << std::endl;
        return false;
    }
    m_state.sound.Init(m_state.wave.get(), path, m_argv[0]);
    return true;
}

// Called each pass while loading: the title and bar follow the read; a
// finished show starts at 0, a failed one ends the program with its line.
void ViewWindow::pollload()
{
    GLFWwindow* window = winkit::glfwyMGR4::instance()->handle(this);
    switch (m_state.loader.state()) {
    case showloader_t::state_t::failed:
        std::cerr << m_state.loader.message() << std::endl;
        quit(1);
        return;
    case showloader_t::state_t::done: break;
    default: {
        const int percent = static_cast<int>(m_state.loader.fraction() * 100.0);
        if (percent != m_state.shownpercent && window) {
            m_state.shownpercent = percent;
            const std::string title = std::string(k_title) + ": loading " + std::to_string(percent) + "%";
            glfwSetWindowTitle(window, title.c_str());
        }
        return;
    }
    }

    show_t show;
    m_state.loader.take(show);
    showrunner_t& runner = m_state.runner;
    runner.load(std::move(show));
    // The log is out; a show without its shaders would be a blank window.
    if (!m_state.frame.Init(frame_t::startcapacity(runner.capacity()))) {
        quit(1);
        return;
    }
    m_state.frame.SetView(runner.show().camera);
    m_state.frame.Reshape(m_state.frame.width(), m_state.frame.height());
    // The command line's look over the show's, at the window's cost.
    const look_t look = chooselook(runner.show().look, m_state.options.look);
    m_state.frame.SetLook(look, k_windowcost);
    if (look.night() && look.smoke) m_state.smoke.prepare(runner.show(), look.wind);
    if (window) glfwSetWindowTitle(window, k_title);
    m_state.loaded = true;
    runner.setaudio(&m_state.sound);
    runner.start(basekit::monotonicmicros());
}

bool ViewWindow::init()
{
    if (!loadsound()) return false;
    glload::gl_extloader_init();
    winkit::glfwyMGR4::instance()->KeyRepeat(false);

    if (m_state.fullscreen) toworkarea(winkit::glfwyMGR4::instance()->handle(this), m_state);

    // No name plays the built-in susuki show.
    m_state.loader.start(m_state.options.show.empty() ? "susuki" : m_state.options.show);
    return true;
}

void ViewWindow::reshape(int, int)
{
    int width = 0, height = 0;
    glfwGetFramebufferSize(winkit::glfwyMGR4::instance()->handle(this), &width, &height);
    m_state.frame.Reshape(width, height);
}

void ViewWindow::display()
{
    if (loading())
        m_state.frame.DrawProgress(m_state.loader.fraction());
    else
        m_state.frame.Draw();
}

void ViewWindow::idle()
{
    if (loading()) {
        pollload();
        winkit::glfwyMGR4::instance()->PostRedisplay();
        if (loading()) return;
    }
    showrunner_t& runner = m_state.runner;
    runner.frame(basekit::monotonicmicros());
    m_state.frame.Update(runner.points().data(), runner.points().size());
    if (m_state.frame.look().night()) {
        m_state.smoke.evaluate(runner.show(), runner.time(), m_state.puffs);
        m_state.frame.UpdateSmoke(runner.time(), m_state.puffs.data(), m_state.puffs.size());
    }
    // The show is over: it starts again, and so does the camera.
    if (runner.restarted()) m_state.frame.ResetCamera();
    winkit::glfwyMGR4::instance()->PostRedisplay();
}

} // namespace vexlor
