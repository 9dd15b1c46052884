// EGL on the X11 platform over a borrowed window. Xlib reports errors through
// one process-wide handler; the one here notes when the window we draw into
// has gone, so that the caller can end quietly.
#include "app/eglwindow.h"

#include "glload/eglshowcontext.h"

#include <unistd.h>

#include <iostream>
#include <vector>

namespace vexlor {
namespace {

Window g_watched = 0;   // the window drawn into
bool g_gone = false;    // it went away
int g_othererror = 0;   // the first X error about anything else
bool g_told = false;    // and it was told (once: a fault of every frame would flood)

int onxerror(Display*, XErrorEvent* error)
{
    const bool ours = error->resourceid == g_watched;
    if (ours && (error->error_code == BadWindow || error->error_code == BadDrawable))
        g_gone = true;
    else if (!g_othererror)
        g_othererror = error->error_code;
    return 0;
}

// The connection itself is lost: the display, and the screen we drew on,
// are gone. Xlib would print and exit with 1 after this returns.
int onxioerror(Display*)
{
    _exit(0);
}

void windowerror(Window window, const char* what)
{
    std::cerr << "vexlor: window 0x" << std::hex << window << std::dec << ": " << what
              << std::endl;
}

// A configuration for `visual`: the window's own visual, so that the surface
// can be made on it; otherwise the first offered.
EGLConfig chooseconfig(EGLDisplay display, VisualID visual)
{
    const EGLint wanted[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
                             EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_NONE};
    EGLint count = 0;
    if (!eglChooseConfig(display, wanted, nullptr, 0, &count) || count <= 0) return nullptr;
    std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
    if (!eglChooseConfig(display, wanted, configs.data(), count, &count) || count <= 0)
        return nullptr;
    for (EGLint i = 0; i < count; ++i) {
        EGLint id = 0;
        if (eglGetConfigAttrib(display, configs[i], EGL_NATIVE_VISUAL_ID, &id) &&
            static_cast<VisualID>(id) == visual)
            return configs[i];
    }
    return configs[0];
}

} // namespace

bool eglwindow_t::Init(bool root, unsigned long window)
{
    if (m_initialised) return true;
    m_display = XOpenDisplay(nullptr);
    if (!m_display) {
        std::cerr << "vexlor: cannot open display '" << XDisplayName(nullptr) << "'" << std::endl;
        return false;
    }
    XSetErrorHandler(onxerror);
    XSetIOErrorHandler(onxioerror);
    m_window = root ? DefaultRootWindow(m_display) : window;
    g_watched = m_window;
    g_gone = false;
    g_othererror = 0;
    g_told = false;

    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(m_display, m_window, &attributes) || g_gone) {
        windowerror(m_window, "no such window");
        Destroy();
        return false;
    }
    if (attributes.c_class == InputOnly) {
        windowerror(m_window, "an input-only window shows nothing");
        Destroy();
        return false;
    }

    m_egldisplay = eglGetPlatformDisplayEXT(EGL_PLATFORM_X11_KHR, m_display, nullptr);
    EGLint major = 0, minor = 0;
    if (m_egldisplay == EGL_NO_DISPLAY || !eglInitialize(m_egldisplay, &major, &minor)) {
        std::cerr << "vexlor: no EGL on display '" << XDisplayString(m_display) << "' (0x"
                  << std::hex << eglGetError() << std::dec << ")" << std::endl;
        m_egldisplay = EGL_NO_DISPLAY;
        Destroy();
        return false;
    }
    const EGLConfig config = chooseconfig(m_egldisplay, XVisualIDFromVisual(attributes.visual));
    if (config) m_context = glload::createshowcontext(m_egldisplay, config);
    if (m_context == EGL_NO_CONTEXT) {
        std::cerr << "vexlor: no OpenGL 3.3 context on display '" << XDisplayString(m_display)
                  << "' (0x" << std::hex << eglGetError() << std::dec << ")" << std::endl;
        Destroy();
        return false;
    }
    m_surface = eglCreateWindowSurface(m_egldisplay, config,
                                       static_cast<EGLNativeWindowType>(m_window), nullptr);
    if (m_surface == EGL_NO_SURFACE || !eglMakeCurrent(m_egldisplay, m_surface, m_surface, m_context)) {
        const EGLint code = eglGetError();
        XSync(m_display, False);
        if (g_gone)
            windowerror(m_window, "no such window");
        else
            std::cerr << "vexlor: window 0x" << std::hex << m_window << ": cannot draw into it (0x"
                      << code << ")" << std::dec << std::endl;
        Destroy();
        return false;
    }
    // Paced to the display where it paces; the caller caps the rate as well.
    eglSwapInterval(m_egldisplay, 1);
    m_initialised = true;
    return true;
}

bool eglwindow_t::Size(int& width, int& height)
{
    if (!m_initialised || g_gone) return false;
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(m_display, m_window, &attributes) || g_gone) {
        g_gone = true;
        return false;
    }
    if (g_othererror && !g_told) {
        char text[256] = "";
        XGetErrorText(m_display, g_othererror, text, sizeof text);
        std::cerr << "vexlor: X error: " << text << std::endl;
        g_told = true;
    }
    width = attributes.width;
    height = attributes.height;
    return true;
}

bool eglwindow_t::Swap()
{
    if (!m_initialised || g_gone) return false;
    if (eglSwapBuffers(m_egldisplay, m_surface)) return true;
    const EGLint code = eglGetError();
    // A window destroyed under us fails the swap: that is the daemon's way
    // of saying stop. Any other failure is told.
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(m_display, m_window, &attributes) || g_gone) {
        g_gone = true;
        return false;
    }
    std::cerr << "vexlor: eglSwapBuffers failed (0x" << std::hex << code << std::dec << ")"
              << std::endl;
    return false;
}

bool eglwindow_t::gone() const
{
    return g_gone;
}

void eglwindow_t::Destroy()
{
    if (m_egldisplay != EGL_NO_DISPLAY) {
        eglMakeCurrent(m_egldisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (m_surface != EGL_NO_SURFACE) eglDestroySurface(m_egldisplay, m_surface);
        if (m_context != EGL_NO_CONTEXT) eglDestroyContext(m_egldisplay, m_context);
        eglTerminate(m_egldisplay);
    }
    m_surface = EGL_NO_SURFACE;
    m_context = EGL_NO_CONTEXT;
    m_egldisplay = EGL_NO_DISPLAY;
    if (m_display) XCloseDisplay(m_display);
    m_display = nullptr;
    m_window = 0;
    g_watched = 0;
    m_initialised = false;
}

} // namespace vexlor
