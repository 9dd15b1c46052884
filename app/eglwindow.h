// OpenGL into an X window that someone else made: the root window or a
// screensaver daemon's window. Xlib opens the display and reads the window's
// size; EGL on the X11 platform makes the context and the window surface,
// since a window toolkit can only draw into windows it created itself.
#pragma once

#include <epoxy/egl.h>

#include <X11/Xlib.h>

namespace vexlor {

class eglwindow_t {
public:
    eglwindow_t() = default;
    ~eglwindow_t() { Destroy(); }
    eglwindow_t(const eglwindow_t&) = delete;
    eglwindow_t& operator=(const eglwindow_t&) = delete;

    // Opens $DISPLAY, then makes a GL 3.3 compatibility context current on
    // `window`, or on the root window when `root` is set. One line on
    // standard error and false when the display, the window or the context
    // is not there. Idempotent.
    bool Init(bool root, unsigned long window);

    // The window's size now. False once the window or the display is gone:
    // a daemon destroys its window without warning.
    bool Size(int& width, int& height);

    // Shows the frame drawn. False once the window is gone.
    bool Swap();

    void Destroy();

    // True after the window went away while we drew into it.
    bool gone() const;

private:
    bool m_initialised = false;
    Display* m_display = nullptr;
    Window m_window = 0;
    EGLDisplay m_egldisplay = EGL_NO_DISPLAY;
    EGLContext m_context = EGL_NO_CONTEXT;
    EGLSurface m_surface = EGL_NO_SURFACE;
};

} // namespace vexlor
