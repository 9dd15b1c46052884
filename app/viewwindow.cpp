// The viewer window: start-up, projection, the frame's evaluation and drawing.
#include "app/viewwindow.h"

#include "app/datapath.h"
#include "app/glfwymgr4.h"
#include "app/viewstate.h"
#include "audio/wavedispatch.h"
#include "firework/evaluate.h"
#include "firework/sample.h"
#include "firework/scenereader.h"
#include "glload/glextloader.h"
#include "glload/grerror.h"
#include "utils/futil.h"

#include <GL/glu.h>

#include <cmath>
#include <cstdlib>
#include <iostream>

namespace vexlor {
namespace {

// "error: " + code in hex + text; the stream is left in hexadecimal.
void reportglerror()
{
    const GLenum code = glGetError();
    if (code == GL_NO_ERROR) return;
    std::cerr << "error: " << std::hex << code << " ";
    if (auto text = gluErrorString(code))
        std::cerr << reinterpret_cast<const char*>(text);
    else
        std::cerr.setstate(std::ios_base::badbit);
    std::cerr << std::endl;
}

} // namespace

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
    if (m_argc <= 1) {
        makesusuki(m_scene);
        return;
    }
    std::string problem;
    if (!readscene(m_argv[1], m_scene, problem)) {
        std::cerr << problem << std::endl;
        std::exit(1);
    }
}

void ViewWindow::init()
{
    loadsound();
    glload::gl_extloader_init();
    winkit::glfwyMGR4::instance()->KeyRepeat(false);

    glClearColor(0.18f, 0.18f, 0.18f, 0.0f);
    glDisable(GL_DITHER);
    glDisable(GL_DEPTH_TEST);

    if (fullscreen) toworkarea(winkit::glfwyMGR4::instance()->handle(this));

    camerasetup();
    polyoffsetunit = polyoffsetfactor = 0;

    loadscene();
    for (auto& firework : m_scene) firework.position.z += 1000.0f;
    m_evaluator.prepare(m_scene);

    // A true bound, also for shells without stars, which still draw while rising.
    const std::size_t count = pointcapacity(m_scene);
    m_primitives.reserve(count);
    draw.Init(count);
    texture.Init();

    polyoffsetunit = polyoffsetfactor = 0;
    m_origin = m_pausestart = clockmicros();
}

void ViewWindow::reshape(int, int)
{
    glfwGetFramebufferSize(winkit::glfwyMGR4::instance()->handle(this), &width, &height);
    glViewport(0, 0, width, height);

    // 45 degrees across the diagonal: 414.21356237309504 is 1000 tan(22.5 deg).
    const double a = static_cast<double>(width) / static_cast<double>(height);
    const double d = 414.21356237309504 / std::sqrt(a * a + 1.0);
    const double halfwidth = a * d * 0.001;
    const double halfheight = d * 0.001;
    const geokit::projection_t frustum{-halfwidth, halfwidth, -halfheight, halfheight, 1.0, 1000.0};
    projmtx = geokit::getPerspectiveMatrix(frustum);
}

void ViewWindow::display()
{
    if (m_trail) {
        geokit::grPrintError("display(6)");
        glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
        geokit::grPrintError("display(7)");
        // Not cleared: frames accumulate.
        glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_trailtexture, 0);
        geokit::grPrintError("display(8)");
    } else {
        glClear(GL_COLOR_BUFFER_BIT);
    }

    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    // Under GL_MAX the factors have no effect: each channel keeps the brighter.
    glBlendEquation(GL_MAX);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE);
    glDisable(GL_DEPTH_TEST);

    // No polygon-offset mode is enabled: the pair is a diagnostic only.
    glPolygonOffset(static_cast<float>(polyoffsetfactor), static_cast<float>(polyoffsetunit));
    geokit::grPrintError("display(9)");

    draw.Draw(m_primitives.size(), modelmtx, projmtx);
    reportglerror();

    if (m_trail) {
        geokit::grPrintError("display(11)");
        glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 0, 0);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        texture.Draw(m_trailtexture);
    }
}

void ViewWindow::idle()
{
    m_now = clockmicros();
    m_elapsed = elapsedmicros(m_now, m_origin);
    const float t = scenetime(m_elapsed);

    m_evaluator.evaluate(m_scene, t, m_primitives,
                       [](std::size_t, sound_t) { wave->play(false); });
    draw.Update(m_primitives.data(), m_primitives.size());
    reportglerror();

    // Nothing in the air and nothing glowing: start the show again.
    if (m_primitives.empty()) keyboard(13, 0, 0);
    winkit::glfwyMGR4::instance()->PostRedisplay();
}

} // namespace vexlor
