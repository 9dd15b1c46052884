// The viewer's keys: restart, pause, one-second steps, the diagnostic
// polygon-offset pair, the work-area toggle, trail mode on Shift, and quit.
#include "app/viewwindow.h"

#include "app/glfwymgr4.h"
#include "app/viewstate.h"

#include <cstdlib>
#include <iostream>

namespace vexlor {

using namespace view;

namespace {

constexpr std::int64_t k_step = 1000000; // one second on the microsecond clock

constexpr int k_left = 263;
constexpr int k_right = 262;
constexpr int k_leftshift = 340;
constexpr int k_rightshift = 344;

void redraw()
{
    winkit::glfwyMGR4::instance()->PostRedisplay();
}

void adjust(int& value, int by, const char* name)
{
    value += by;
    std::cout << name << ": " << value << std::endl;
    redraw();
}

} // namespace

// The key handlers read the clock themselves: while paused no frame runs, and
// the pause arithmetic needs the time of the key press.
void ViewWindow::restart()
{
    camerasetup();
    m_now = clockmicros();
    m_origin = m_now;
    for (auto& firework : m_scene) firework.launched = firework.exploded = false;
}

void ViewWindow::togglepause()
{
    m_paused = !m_paused;
    m_now = clockmicros();
    if (m_paused) {
        m_pausestart = m_now;
        winkit::glfwyMGR4::instance()->IdleOff();
    } else {
        m_origin += m_now - m_pausestart;
        winkit::glfwyMGR4::instance()->IdleOn();
    }
}

void ViewWindow::step(std::int64_t micros)
{
    // Clock values are 32-bit microseconds and wrap like the clock itself.
    const auto delta = static_cast<std::uint32_t>(micros);
    m_now = clockmicros();
    if (!m_paused) {
        m_origin -= delta;
    } else {
        m_pausestart += delta;
        m_origin += m_now - m_pausestart;
        m_pausestart = m_now;
    }
    idle();
    redraw();
}

void ViewWindow::keyboard(unsigned char key, int, int)
{
    switch (key) {
    case 13: restart(); break;
    case 27:
    case 'q': std::exit(1);
    case ' ': togglepause(); break;
    case '*': adjust(polyoffsetfactor, +1, "polyoffsetfactor"); break;
    case '/': adjust(polyoffsetfactor, -1, "polyoffsetfactor"); break;
    case '+': adjust(polyoffsetunit, +1, "polyoffsetunit"); break;
    case '-': adjust(polyoffsetunit, -1, "polyoffsetunit"); break;
    case 'f':
        toggleworkarea();
        redraw();
        break;
    default: break;
    }
}

void ViewWindow::specialkey(int key, int, int)
{
    switch (key) {
    case k_left: step(-k_step); break;
    case k_right: step(+k_step); break;
    case k_leftshift:
    case k_rightshift:
        if (!m_trail) entertrail();
        break;
    default: break;
    }
}

void ViewWindow::specialkeyup(int key, int, int)
{
    if ((key == k_leftshift || key == k_rightshift) && m_trail) leavetrail();
}

void ViewWindow::entertrail()
{
    m_trail = true;
    glGenFramebuffers(1, &m_framebuffer);
    glGenTextures(1, &m_trailtexture);
    glBindTexture(GL_TEXTURE_2D, m_trailtexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glFramebufferTexture(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_trailtexture, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    redraw();
}

void ViewWindow::leavetrail()
{
    m_trail = false;
    glDeleteTextures(1, &m_trailtexture);
    glDeleteFramebuffers(1, &m_framebuffer);
    m_trailtexture = m_framebuffer = 0;
    redraw();
}

void ViewWindow::toggleworkarea()
{
    GLFWwindow* window = winkit::glfwyMGR4::instance()->handle(this);
    if (fullscreen) {
        fullscreen = false;
        if (winwidth != 0 && winheight != 0) {
            glfwSetWindowSize(window, winwidth, winheight);
            glfwSetWindowPos(window, winx, winy);
        }
    } else {
        fullscreen = true;
        toworkarea(window);
    }
}

} // namespace vexlor
