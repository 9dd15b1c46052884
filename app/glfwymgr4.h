// The window manager: creates GLFW windows for callback objects, keeps the
// two-way association, translates GLFW events into GLUT-style calls and runs
// the event loop. One static instance exists, reachable as singleton.
#pragma once

#include "app/framepacer.h"
#include "app/glutyapi4.h"
#include "app/singleton.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include <atomic>
#include <map>

namespace winkit {

// Raw GLFW input, seen before it is translated: an overlay drawn over a
// window (the viewer's timeline) takes what it uses. Each returns true when
// the event is used up; the window then does not see it.
class rawinput_t {
public:
    virtual ~rawinput_t() = default;
    virtual bool key(GLFWwindow*, int /*key*/, int /*scancode*/, int /*action*/, int /*mods*/) { return false; }
    virtual bool character(GLFWwindow*, unsigned int /*codepoint*/) { return false; }
    virtual bool button(GLFWwindow*, int /*button*/, int /*action*/, int /*mods*/) { return false; }
    virtual bool cursor(GLFWwindow*, double /*x*/, double /*y*/) { return false; }
    virtual bool scroll(GLFWwindow*, double /*x*/, double /*y*/) { return false; }
    virtual void entered(GLFWwindow*, int /*entered*/) {}
    virtual void focused(GLFWwindow*, int /*focused*/) {}
};

class glfwyMGR4 : public singleton<glfwyMGR4> {
public:
    glfwyMGR4();
    ~glfwyMGR4();
    glfwyMGR4(const glfwyMGR4&) = delete;
    glfwyMGR4& operator=(const glfwyMGR4&) = delete;

    void IdleOn() { m_idle = true; }
    void IdleOff() { m_idle = false; }
    void Exit() { m_exit = true; }
    void KeyRepeat(bool on) { m_keyrepeat = on; }
    void PostRedisplay();
    // From any thread: the next pass idles the windows, or while idling is
    // off calls their wake(), so that news from a worker (a saved file) is
    // taken up.
    void Wake();
    void SwapBuffers(glutyAPI4* window);

    // Creates a 640 x 480 window titled `title` for `window`, makes its context
    // current, then calls init() and reshape(640, 480). Null on failure: no
    // window or context (GLFW keeps the reason), or an init() that failed
    // (the window is then destroyed again and initfailed() is set).
    GLFWwindow* addWindow(glutyAPI4* window, const char* title);
    bool initfailed() const { return m_initfailed; }
    void MainLoop();

    // The GLFW handle of a registered object (null when not registered).
    GLFWwindow* handle(glutyAPI4* window) const;
    glutyAPI4* object(GLFWwindow* window) const;

    // The overlay that sees input first (null: none); it must outlive its use.
    void SetRawInput(rawinput_t* raw) { m_raw = raw; }
    rawinput_t* rawinput() const { return m_raw; }

    bool idling() const { return m_idle; }
    bool keyrepeat() const { return m_keyrepeat; }
    void redisplay() { m_redisplay = true; }

private:
    std::map<GLFWwindow*, glutyAPI4*> m_objects;
    std::map<glutyAPI4*, GLFWwindow*> m_windows;
    [[maybe_unused]] bool m_reserved = false;  // set nowhere
    bool m_exit = false;
    bool m_idle = true;
    bool m_keyrepeat = false;
    bool m_redisplay = false;
    bool m_initfailed = false;
    std::atomic<bool> m_woken{false};
    rawinput_t* m_raw = nullptr;
    framepacer_t m_pacer;
};

} // namespace winkit
