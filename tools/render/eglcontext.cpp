// Surfaceless EGL: a display with no native window system, a context with
// no config, made current with no surface.
#include "tools/render/eglcontext.h"

#include "glload/eglshowcontext.h"
#include "glload/keepdriver.h"

#include <cstring>

namespace vexlor {
namespace {

bool hasclientextension(const char* name)
{
    const char* list = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!list) return false;
    const std::size_t length = std::strlen(name);
    for (const char* p = list; (p = std::strstr(p, name)) != nullptr; p += length)
        if ((p == list || p[-1] == ' ') && (p[length] == ' ' || p[length] == '\0')) return true;
    return false;
}

} // namespace

bool eglcontext_t::Init(std::string& message)
{
    if (initialised()) return true;
    message = "no EGL device to draw with: ";
    if (!epoxy_has_egl()) {
        message += "libEGL cannot be loaded";
        return false;
    }
    if (!hasclientextension("EGL_MESA_platform_surfaceless")) {
        message += "EGL offers no surfaceless platform";
        return false;
    }
    m_display = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    EGLint major = 0, minor = 0;
    if (m_display == EGL_NO_DISPLAY || !eglInitialize(m_display, &major, &minor)) {
        message += "the surfaceless display does not start";
        m_display = EGL_NO_DISPLAY;
        return false;
    }
    m_context = glload::createshowcontext(m_display, EGL_NO_CONFIG_KHR);
    if (m_context == EGL_NO_CONTEXT) {
        message += "no OpenGL 3.3 context";
        Destroy();
        return false;
    }
    if (!eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, m_context)) {
        message += "the context cannot be made current";
        Destroy();
        return false;
    }
    glload::keepdriverloaded();
    message.clear();
    return true;
}

void eglcontext_t::Destroy()
{
    if (m_display == EGL_NO_DISPLAY) return;
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (m_context != EGL_NO_CONTEXT) eglDestroyContext(m_display, m_context);
    eglTerminate(m_display);
    m_context = EGL_NO_CONTEXT;
    m_display = EGL_NO_DISPLAY;
}

} // namespace vexlor
