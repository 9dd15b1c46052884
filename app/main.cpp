// vexlor: a real-time fireworks show. Builds the one viewer window, hands it
// to the window manager and runs the event loop until the window closes or a
// key ends it; or, as a screensaver, draws into a window it is given. Every
// end comes back here, so the show's threads have ended when it returns.
#include "app/glfwymgr4.h"
#include "app/saver.h"
#include "app/saveroptions.h"
#include "app/usage.h"
#include "app/viewstate.h"
#include "app/viewwindow.h"
#include "glload/keepdriver.h"
#include "utils/common.h"

#include <clocale>
#include <cstdlib>
#include <iostream>

int main(int argc, char** argv)
{
    std::setlocale(LC_ALL, "");

    vexlor::saveroptions_t saver;
    if (const int status = vexlor::saveroptions(argc, argv, std::getenv("XSCREENSAVER_WINDOW"), saver);
        status >= 0)
        return status;
    if (saver.on) return vexlor::runsaver(saver, argv[0]);

    vexlor::viewstate_t state;
    if (const int status = vexlor::commandline(argc, argv, state.options); status >= 0) return status;

    // Says why, when GLFW cannot start (no display, most often).
    glfwSetErrorCallback([](int, const char* what) { std::cerr << "glfw: " << what << std::endl; });
    const bool started = glfwInit();
    glfwSetErrorCallback(nullptr);
    if (!started) {
        basekit::error();
        std::cerr << "glfwInit() failed." << std::endl;
        return 1;
    }

    vexlor::ViewWindow view(argc, argv, state);
    if (!winkit::glfwyMGR4::instance()->addWindow(&view, "vexlor")) {
        // The window said why it could not start. Its context had loaded
        // the GL driver, which must stay for a sanitizer's leak check.
        if (winkit::glfwyMGR4::instance()->initfailed()) {
            glload::keepdriverloaded();
            glfwTerminate();
            return 1;
        }
        // No window or no OpenGL context: GLFW keeps the reason.
        const char* why = nullptr;
        glfwGetError(&why);
        basekit::error();
        std::cerr << "vexlor: cannot create the window: " << (why ? why : "GLFW gave no reason")
                  << std::endl;
        glfwTerminate();
        return 1;
    }
    glload::keepdriverloaded();
    winkit::glfwyMGR4::instance()->MainLoop();
    glfwTerminate();
    return state.status;
}
