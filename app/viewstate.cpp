// The viewer's process-wide state and the work-area sizing shared by start-up
// and the keys.
#include "app/viewstate.h"

#include "utils/mmtime.h"

namespace vexlor {
namespace view {

sndkit::wave_t* wave = nullptr;

bool fullscreen = true;
int winwidth = 0;
int winheight = 0;
int winx = 0;
int winy = 0;

void toworkarea(GLFWwindow* window)
{
    int ax = 0, ay = 0, aw = 0, ah = 0;
    glfwGetWindowSize(window, &winwidth, &winheight);
    glfwGetWindowPos(window, &winx, &winy);
    glfwGetMonitorWorkarea(glfwGetPrimaryMonitor(), &ax, &ay, &aw, &ah);
    glfwSetWindowPos(window, 0, 0);
    glfwSetWindowSize(window, aw, ah);
}

std::uint32_t clockmicros()
{
    return basekit::timeGetTime() * 1000u;
}

} // namespace view

} // namespace vexlor
