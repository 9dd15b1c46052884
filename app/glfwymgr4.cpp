// Window manager: GLFW callbacks to GLUT-style calls, and the event loop that
// idles, redraws and waits for events.
#include "app/glfwymgr4.h"

#include "app/inputmap.h"

namespace winkit {
namespace {

// Built before main runs; its constructor registers it as the singleton.
glfwyMGR4 s_manager;

// Every window starts at this size, before its owner sizes it.
constexpr int k_startwidth = 640;
constexpr int k_startheight = 480;

glutyAPI4* target(GLFWwindow* window)
{
    glfwMakeContextCurrent(window);
    return glfwyMGR4::instance()->object(window);
}

void cursor(GLFWwindow* window, int& x, int& y)
{
    double dx = 0, dy = 0;
    glfwGetCursorPos(window, &dx, &dy);
    x = static_cast<int>(dx);
    y = static_cast<int>(dy);
}

void display(GLFWwindow* window)
{
    if (auto object = target(window)) object->display();
    glfwSwapBuffers(window);
}

void reshape(GLFWwindow* window, int width, int height)
{
    if (auto object = target(window)) object->reshape(width, height);
    glfwyMGR4::instance()->redisplay();
    glfwPostEmptyEvent();
}

winkit::rawinput_t* raw()
{
    return glfwyMGR4::instance()->rawinput();
}

void character(GLFWwindow* window, unsigned int codepoint)
{
    if (auto overlay = raw()) overlay->character(window, codepoint);
}

void entered(GLFWwindow* window, int entered)
{
    if (auto overlay = raw()) overlay->entered(window, entered);
}

void focused(GLFWwindow* window, int focused)
{
    if (auto overlay = raw()) overlay->focused(window, focused);
}

void motion(GLFWwindow* window, double x, double y)
{
    if (auto overlay = raw(); overlay && overlay->cursor(window, x, y)) return;
    // Always motion, also with no button held: passivemotion is never called.
    if (auto object = target(window)) object->motion(static_cast<int>(x), static_cast<int>(y));
}

void drop(GLFWwindow* window, int count, const char** paths)
{
    if (auto object = target(window)) object->drop(count, paths);
}

void wheel(GLFWwindow* window, double xoffset, double yoffset)
{
    if (auto overlay = raw(); overlay && overlay->scroll(window, xoffset, yoffset)) return;
    auto object = target(window);
    if (!object) return;
    int x = 0, y = 0;
    cursor(window, x, y);
    object->mousewheel(0, wheeldirection(yoffset), x, y);
}

void mouse(GLFWwindow* window, int button, int action, int mods)
{
    if (auto overlay = raw(); overlay && overlay->button(window, button, action, mods)) return;
    auto object = target(window);
    if (!object) return;
    const buttonevent_t event = translatebutton(button, action);
    if (event.kind == buttonevent_t::none) return;
    int x = 0, y = 0;
    cursor(window, x, y);
    if (event.kind == buttonevent_t::button)
        object->mouse(event.a, event.b, x, y);
    else
        object->mousewheel(event.a, event.b, x, y);
}

void keyboard(GLFWwindow* window, int key, int scancode, int action, int mods)
{
    if (auto overlay = raw(); overlay && overlay->key(window, key, scancode, action, mods)) return;
    auto object = target(window);
    if (!object) return;
    if (action == GLFW_REPEAT) {
        if (!glfwyMGR4::instance()->keyrepeat()) return;
        action = GLFW_PRESS;
    }
    int x = 0, y = 0;
    cursor(window, x, y);
    const keycode_t k = translatekey(key, mods);
    const auto c = static_cast<unsigned char>(k.code);
    if (action == GLFW_PRESS) {
        if (k.special)
            object->specialkey(k.code, x, y);
        else
            object->keyboard(c, x, y);
    } else if (action == GLFW_RELEASE) {
        if (k.special)
            object->specialkeyup(k.code, x, y);
        else
            object->keyboardup(c, x, y);
    }
}

} // namespace

glfwyMGR4::glfwyMGR4()
{
    set(this);
}

glfwyMGR4::~glfwyMGR4()
{
    m_objects.clear();
    m_windows.clear();
    set(nullptr);
}

void glfwyMGR4::PostRedisplay()
{
    m_redisplay = true;
    glfwPostEmptyEvent();
}

void glfwyMGR4::Wake()
{
    m_woken = true;
    glfwPostEmptyEvent();
}

void glfwyMGR4::SwapBuffers(glutyAPI4* window)
{
    glfwSwapBuffers(m_windows.at(window));
}

GLFWwindow* glfwyMGR4::handle(glutyAPI4* window) const
{
    const auto it = m_windows.find(window);
    return it == m_windows.end() ? nullptr : it->second;
}

glutyAPI4* glfwyMGR4::object(GLFWwindow* window) const
{
    const auto it = m_objects.find(window);
    return it == m_objects.end() ? nullptr : it->second;
}

GLFWwindow* glfwyMGR4::addWindow(glutyAPI4* window, const char* title)
{
    if (!window) return nullptr;
    GLFWwindow* handle = glfwCreateWindow(k_startwidth, k_startheight, title, nullptr, nullptr);
    if (!handle) return nullptr;
    m_objects[handle] = window;
    m_windows[window] = handle;

    glfwSetWindowRefreshCallback(handle, display);
    glfwSetWindowSizeCallback(handle, reshape);
    glfwSetKeyCallback(handle, keyboard);
    glfwSetMouseButtonCallback(handle, mouse);
    glfwSetScrollCallback(handle, wheel);
    glfwSetCursorPosCallback(handle, motion);
    glfwSetDropCallback(handle, drop);
    // Only an overlay reads these; the window's own calls have no use for them.
    glfwSetCharCallback(handle, character);
    glfwSetCursorEnterCallback(handle, entered);
    glfwSetWindowFocusCallback(handle, focused);
    // Without this GLFW never reports Caps Lock, and Shift/Caps Lock letter
    // case could not work.
    glfwSetInputMode(handle, GLFW_LOCK_KEY_MODS, GLFW_TRUE);

    glfwMakeContextCurrent(handle);
    glfwSwapInterval(1);
    const GLFWvidmode* mode = glfwGetVideoMode(glfwGetPrimaryMonitor());
    m_pacer.setrate(mode ? mode->refreshRate : 0);

    if (!window->init()) {
        m_initfailed = true;
        m_objects.erase(handle);
        m_windows.erase(window);
        glfwDestroyWindow(handle);
        return nullptr;
    }
    window->reshape(k_startwidth, k_startheight);
    return handle;
}

void glfwyMGR4::MainLoop()
{
    if (m_exit) return;
    for (;;) {
        const bool woken = m_woken.exchange(false);
        for (auto it = m_objects.begin(); it != m_objects.end();) {
            GLFWwindow* handle = it->first;
            glutyAPI4* object = it->second;
            if (glfwWindowShouldClose(handle)) {
                glfwDestroyWindow(handle);
                it = m_objects.erase(it);
                m_windows.erase(object);
                continue;
            }
            if (m_idle) {
                glfwMakeContextCurrent(handle);
                object->idle();
            } else if (woken) {
                glfwMakeContextCurrent(handle);
                object->wake();
            }
            // Read after idle, so a redisplay that idle posted is drawn in this pass.
            if (m_redisplay) display(handle);
            ++it;
        }
        if (m_objects.empty()) return;
        if (m_idle) m_pacer.pace();
        m_redisplay = false;
        glfwWaitEvents();
        if (m_exit) return;
    }
}

} // namespace winkit
