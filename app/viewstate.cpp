// The work-area sizing shared by start-up and the keys.
#include "app/viewstate.h"

namespace vexlor {

void toworkarea(GLFWwindow* window, viewstate_t& state)
{
    int ax = 0, ay = 0, aw = 0, ah = 0;
    glfwGetWindowSize(window, &state.winwidth, &state.winheight);
    glfwGetWindowPos(window, &state.winx, &state.winy);
    glfwGetMonitorWorkarea(glfwGetPrimaryMonitor(), &ax, &ay, &aw, &ah);
    glfwSetWindowPos(window, 0, 0);
    glfwSetWindowSize(window, aw, ah);
}

} // namespace vexlor
