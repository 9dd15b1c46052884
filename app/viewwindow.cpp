// The viewer window: start-up, projection, the frame's evaluation and drawing.
#include "app/viewwindow.h"

#include "app/datapath.h"
#include "app/glfwymgr4.h"
#include "app/showsource.h"
#include "app/viewstate.h"
#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "firework/showfile.h"
#include "firework/evaluate.h"
#include "glload/glextloader.h"
#include "render/pgmshdr.h"
#include "utils/futil.h"

#include <cstdlib>
#include <iostream>

namespace vexlor {
using namespace view;

ViewWindow::ViewWindow(int argc, char** argv)
    : m_argc(argc), m_argv(argv), m_basename(basekit::basename(std::string(argv[0]))),
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

void ViewWindow::loadscene()
{
    if (!openshow(m_argc > 1 ? m_argv[1] : nullptr, m_scene, m_musicfile)) std::exit(1);
}

// Music that cannot be played is told in one line; the show goes on without it.
void ViewWindow::loadmusic()
{
    if (m_musicfile.file.empty()) return;
    std::string message;
    if (!m_music.Init(sndkit::xaudio2_t::engine(), m_musicfile.file.c_str(), m_musicfile.offset, m_musicfile.gain,
                      message))
        std::cerr << musicproblem(m_musicfile, message) << std::endl;
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

    loadscene();
    for (auto& firework : m_scene) firework.position.z += 1000.0f;
    m_evaluator.prepare(m_scene);

    // A true bound, also for shells without stars, which still draw while rising.
    const std::size_t count = pointcapacity(m_scene);
    m_primitives.reserve(count);
    m_frame.Init(count);
    // The log is out; a show without its shaders would be a blank window.
    if (shaderfailed()) std::exit(1);
    loadmusic();
    m_clock.start(clockmicros());
    movemusic();
}

void ViewWindow::reshape(int, int)
{
    int width = 0, height = 0;
    glfwGetFramebufferSize(winkit::glfwyMGR4::instance()->handle(this), &width, &height);
    m_frame.Reshape(width, height);
}

void ViewWindow::display()
{
    m_frame.Draw();
}

void ViewWindow::idle()
{
    const float t = m_clock.tick(clockmicros());
    m_music.sync(t);
    m_evaluator.evaluate(m_scene, t, m_primitives,
                       [](std::size_t, sound_t) { wave->play(false); });
    m_frame.Update(m_primitives.data(), m_primitives.size());

    // Nothing in the air and nothing glowing: start the show again.
    if (m_primitives.empty()) keyboard(13, 0, 0);
    winkit::glfwyMGR4::instance()->PostRedisplay();
}

} // namespace vexlor
