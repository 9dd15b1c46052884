// The OpenGL context every EGL drawer makes (the screensaver's window and
// the renderer's offscreen target): 3.3 with the compatibility profile,
// since the renderers enable point sprites, which a core profile refuses.
#pragma once

#include <epoxy/egl.h>

namespace glload {

// EGL_NO_CONTEXT on failure, with eglGetError() telling why. `config` may
// be EGL_NO_CONFIG_KHR where the display allows it.
inline EGLContext createshowcontext(EGLDisplay display, EGLConfig config)
{
    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
                                 EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                 EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT, EGL_NONE};
    if (!eglBindAPI(EGL_OPENGL_API)) return EGL_NO_CONTEXT;
    return eglCreateContext(display, config, EGL_NO_CONTEXT, attributes);
}

} // namespace glload
