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
    m_state.reloader.cancel();
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
    // Beats asked for and not found: no shell counts them, or the read
    // would have failed; the show plays without them.
    if (!show.music.beatproblem.empty()) std::cerr << show.music.beatproblem << std::endl;
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
    m_state.timeline.setshow(runner.show(), runner.timing());
    runner.setaudio(&m_state.sound);
    runner.start(basekit::monotonicmicros());
    if (m_state.options.watch && !runner.show().files.empty()) {
        std::string why;
        const auto wake = [] { winkit::glfwyMGR4::instance()->Wake(); };
        m_state.reloader.onfinish(wake);
        if (m_state.watch.Init(wake, why))
            watchfiles(false);
        else
            std::cerr << "vexlor: " << why << "; saves are not played" << std::endl;
    }
}

// The plain title, or the problem of the last save while there is one.
void ViewWindow::settitle()
{
    GLFWwindow* window = winkit::glfwyMGR4::instance()->handle(this);
    if (!window) return;
    const std::string title = m_state.problem.empty() ? k_title : std::string(k_title) + ": " + m_state.problem;
    glfwSetWindowTitle(window, title.c_str());
}

// The files of the show playing; after a bad save any file in their folders,
// since the fix may lie in one the good show did not read.
void ViewWindow::watchfiles(bool anyinfolder)
{
    const show_t& show = m_state.runner.show();
    std::vector<std::string> files = show.files;
    if (!show.music.file.empty()) files.push_back(show.music.file);
    m_state.watch.watch(files, anyinfolder);
}

// Called each pass while the show plays: a save starts a read on the
// reloader's thread (one at a time; saves during it make one more read); a
// good read replaces the show at its time, a bad one is told once and the
// last good show plays on. True when there is something new to draw.
bool ViewWindow::pollreload()
{
    if (m_state.watch.take()) m_state.reloadwanted = true;
    showloader_t& reloader = m_state.reloader;
    bool changed = false;
    switch (reloader.state()) {
    case showloader_t::state_t::loading: return false;
    case showloader_t::state_t::done: {
        show_t show;
        reloader.take(show);
        replaceshow(std::move(show));
        changed = true;
        break;
    }
    case showloader_t::state_t::failed: {
        const std::string message = reloader.message();
        reloader.reset();
        if (message != m_state.problem) {
            std::cerr << message << std::endl;
            m_state.problem = message;
            watchfiles(true);
            settitle();
            changed = true;
        }
        break;
    }
    default: break;
    }
    if (m_state.reloadwanted) {
        m_state.reloadwanted = false;
        reloader.start(m_state.options.show);
    }
    return changed;
}

// Woken while paused: a frame is drawn only when a save brought something
// new, so that the paused picture is not drawn again for nothing.
void ViewWindow::wake()
{
    if (!loading() && pollreload()) idle();
}

void ViewWindow::replaceshow(show_t show)
{
    showrunner_t& runner = m_state.runner;
    runner.replace(std::move(show), basekit::monotonicmicros());
    const look_t look = chooselook(runner.show().look, m_state.options.look);
    m_state.frame.SetLook(look, k_windowcost);
    if (look.night() && look.smoke) m_state.smoke.prepare(runner.show(), look.wind);
    m_state.timeline.setshow(runner.show(), runner.timing());
    const bool told = !m_state.problem.empty();
    m_state.problem.clear();
    watchfiles(false);
    if (told) settitle();
}

bool ViewWindow::init()
{
    if (!loadsound()) return false;
    glload::gl_extloader_init();
    winkit::glfwyMGR4::instance()->KeyRepeat(false);

    GLFWwindow* window = winkit::glfwyMGR4::instance()->handle(this);
    if (m_state.fullscreen) toworkarea(window, m_state);
    // The timeline is a help, not the show: without it the show still plays.
    if (m_state.timeline.Init(window))
        winkit::glfwyMGR4::instance()->SetRawInput(&m_state.timeline);
    else
        std::cerr << "vexlor: the timeline cannot be drawn here" << std::endl;

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
    if (loading()) {
        m_state.frame.DrawProgress(m_state.loader.fraction());
        return;
    }
    // A click or drag on the timeline since the last frame: this one shows
    // that time.
    if (double to = 0.0; m_state.timeline.takeseek(to)) seekto(to);
    m_state.frame.Draw();
    const showrunner_t& runner = m_state.runner;
    m_state.timeline.draw(runner.time(), runner.paused(), m_state.problem);
}

void ViewWindow::idle()
{
    if (loading()) {
        pollload();
        winkit::glfwyMGR4::instance()->PostRedisplay();
        if (loading()) return;
    }
    pollreload();
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
