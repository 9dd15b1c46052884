// The viewer's keys: restart, pause, one-second steps (the music follows each), the diagnostic
// polygon-offset pair, the work-area toggle, trail mode on Shift, and quit.
#include "app/viewwindow.h"

#include "app/glfwymgr4.h"
#include "app/viewstate.h"

#include <cstdlib>
#include <iostream>

namespace vexlor {

using namespace view;

namespace {

constexpr std::int64_t k_step = sceneclock_t::k_step;

constexpr int k_left = GLFW_KEY_LEFT;
constexpr int k_right = GLFW_KEY_RIGHT;
constexpr int k_leftshift = GLFW_KEY_LEFT_SHIFT;
constexpr int k_rightshift = GLFW_KEY_RIGHT_SHIFT;

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
    m_frame.ResetCamera();
    m_clock.restart(clockmicros());
    movemusic();
    for (auto& shell : m_show.shells) shell.launched = shell.exploded = false;
}

void ViewWindow::togglepause()
{
    if (m_clock.togglepause(clockmicros()))
        winkit::glfwyMGR4::instance()->IdleOff();
    else
        winkit::glfwyMGR4::instance()->IdleOn();
    movemusic();
}

void ViewWindow::step(std::int64_t micros)
{
    m_clock.step(micros, clockmicros());
    movemusic();
    idle();
    redraw();
}

// While the show loads only quit and the work-area toggle mean something:
// there is no show yet to restart, pause or step.
void ViewWindow::keyboard(unsigned char key, int, int)
{
    if (loading() && key != 27 && key != 'q' && key != 'f') return;
    switch (key) {
    case 13: restart(); break;
    case 27:
    case 'q': quit(); break;
    case ' ': togglepause(); break;
    case '*': adjust(m_frame.polyoffsetfactor, +1, "polyoffsetfactor"); break;
    case '/': adjust(m_frame.polyoffsetfactor, -1, "polyoffsetfactor"); break;
    case '+': adjust(m_frame.polyoffsetunit, +1, "polyoffsetunit"); break;
    case '-': adjust(m_frame.polyoffsetunit, -1, "polyoffsetunit"); break;
    case 'f':
        toggleworkarea();
        redraw();
        break;
    default: break;
    }
}

void ViewWindow::specialkey(int key, int, int)
{
    if (loading()) return;
    switch (key) {
    case k_left: step(-k_step); break;
    case k_right: step(+k_step); break;
    case k_leftshift:
    case k_rightshift:
        if (!m_frame.trail()) {
            m_frame.EnterTrail();
            redraw();
        }
        break;
    default: break;
    }
}

void ViewWindow::specialkeyup(int key, int, int)
{
    if (loading()) return;
    if ((key == k_leftshift || key == k_rightshift) && m_frame.trail()) {
        m_frame.LeaveTrail();
        redraw();
    }
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
