// The viewer's keys: restart, pause, steps of a second, ten seconds or a
// frame and a move to the start (the music follows each), the diagnostic polygon-offset pair, the work-area toggle, trail mode
// on Shift, and quit.
#include "app/viewwindow.h"

#include "app/glfwymgr4.h"
#include "app/inputmap.h"
#include "utils/mmtime.h"

#include <iostream>

namespace vexlor {

namespace {

constexpr std::int64_t k_step = sceneclock_t::k_step;
constexpr std::int64_t k_bigstep = 10 * k_step; // Page Up and Page Down
// What , and . move while paused: one frame at the rate renders default to.
constexpr double k_framestep = 1.0 / 60.0;

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
    m_state.frame.ResetCamera();
    m_state.runner.restart(basekit::monotonicmicros());
}

void ViewWindow::togglepause()
{
    if (m_state.runner.togglepause(basekit::monotonicmicros())) {
        winkit::glfwyMGR4::instance()->IdleOff();
        // The picture held is that of the paused time, which a reload or a
        // frame step starts from, not that of the last frame before it.
        idle();
    } else
        winkit::glfwyMGR4::instance()->IdleOn();
}

// A move to an exact time, also while paused; it shows at once.
void ViewWindow::seekto(double showtime)
{
    m_state.runner.seek(showtime, basekit::monotonicmicros());
    idle();
    redraw();
}

// The step shows at once, also while paused.
void ViewWindow::step(std::int64_t micros)
{
    m_state.runner.step(micros, basekit::monotonicmicros());
    idle();
    redraw();
}

// While the show loads only quit and the work-area toggle mean something:
// there is no show yet to restart, pause or step.
void ViewWindow::keyboard(unsigned char key, int, int)
{
    if (loading() && key != winkit::key_escape && key != 'q' && key != 'f') return;
    switch (key) {
    case winkit::key_enter: restart(); break;
    case winkit::key_escape:
    case 'q': quit(1); break;
    case winkit::key_space: togglepause(); break;
    case winkit::key_tab:
        m_state.timeline.toggle();
        redraw();
        break;
    case ',':
    case '.':
        if (m_state.runner.paused())
            seekto(m_state.runner.showtime(basekit::monotonicmicros()) + (key == '.' ? k_framestep : -k_framestep));
        break;
    case '*': adjust(m_state.frame.polyoffsetfactor, +1, "polyoffsetfactor"); break;
    case '/': adjust(m_state.frame.polyoffsetfactor, -1, "polyoffsetfactor"); break;
    case '+': adjust(m_state.frame.polyoffsetunit, +1, "polyoffsetunit"); break;
    case '-': adjust(m_state.frame.polyoffsetunit, -1, "polyoffsetunit"); break;
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
    case GLFW_KEY_LEFT: step(-k_step); break;
    case GLFW_KEY_RIGHT: step(+k_step); break;
    case GLFW_KEY_PAGE_UP: step(-k_bigstep); break;
    case GLFW_KEY_PAGE_DOWN: step(+k_bigstep); break;
    case GLFW_KEY_HOME: seekto(0.0); break;
    case GLFW_KEY_LEFT_SHIFT:
    case GLFW_KEY_RIGHT_SHIFT:
        if (!m_state.frame.trail()) {
            m_state.frame.EnterTrail();
            redraw();
        }
        break;
    default: break;
    }
}

void ViewWindow::specialkeyup(int key, int, int)
{
    if (loading()) return;
    if ((key == GLFW_KEY_LEFT_SHIFT || key == GLFW_KEY_RIGHT_SHIFT) && m_state.frame.trail()) {
        m_state.frame.LeaveTrail();
        redraw();
    }
}

void ViewWindow::toggleworkarea()
{
    GLFWwindow* window = winkit::glfwyMGR4::instance()->handle(this);
    if (m_state.fullscreen) {
        m_state.fullscreen = false;
        if (m_state.winwidth != 0 && m_state.winheight != 0) {
            glfwSetWindowSize(window, m_state.winwidth, m_state.winheight);
            glfwSetWindowPos(window, m_state.winx, m_state.winy);
        }
    } else {
        m_state.fullscreen = true;
        toworkarea(window, m_state);
    }
}

} // namespace vexlor
