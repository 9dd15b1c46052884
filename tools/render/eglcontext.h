// An OpenGL context without a window or an X server: EGL on Mesa's
// surfaceless platform, drawing only into framebuffer objects. It uses the
// GPU when the EGL driver has one, Mesa's software renderer otherwise.
#pragma once

#include <epoxy/egl.h>

#include <string>

namespace vexlor {

class eglcontext_t {
public:
    eglcontext_t() = default;
    ~eglcontext_t() { Destroy(); }
    eglcontext_t(const eglcontext_t&) = delete;
    eglcontext_t& operator=(const eglcontext_t&) = delete;

    // A 3.3 compatibility context made current on this thread. False with
    // one line in `message` when there is no EGL device to draw with.
    bool Init(std::string& message);
    void Destroy();

    bool initialised() const { return m_context != EGL_NO_CONTEXT; }

private:
    EGLDisplay m_display = EGL_NO_DISPLAY;
    EGLContext m_context = EGL_NO_CONTEXT;
};

} // namespace vexlor
