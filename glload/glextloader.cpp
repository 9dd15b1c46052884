// Records the core versions and extensions of the current GL context.
// libepoxy does the entry-point resolution itself; nothing here loads by hand.
#include "glload/glextloader.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <epoxy/glx.h>

#include <set>
#include <string>

namespace glload {
namespace {

std::set<std::string>& offered()
{
    static std::set<std::string> names;
    return names;
}

// Core versions from 1.2 on, the first that a loader would have to resolve.
constexpr int k_versions[] = {12, 13, 14, 15, 20, 21, 30, 31, 32, 33, 40, 41, 42, 43, 44, 45, 46};

void record_extensions(std::set<std::string>& names, int version)
{
    if (version >= 30) {
        GLint count = 0;
        glGetIntegerv(GL_NUM_EXTENSIONS, &count);
        for (GLint i = 0; i < count; ++i) {
            if (auto ext = glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(i)))
                names.insert(reinterpret_cast<const char*>(ext));
        }
        return;
    }
    // Before 3.0 the list is one blank-separated string.
    auto list = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    std::string all = list ? list : "";
    std::size_t begin = 0;
    while (begin < all.size()) {
        std::size_t end = all.find(' ', begin);
        if (end == std::string::npos) end = all.size();
        if (end > begin) names.insert(all.substr(begin, end - begin));
        begin = end + 1;
    }
}

} // namespace

int gl_extloader_init()
{
    auto& names = offered();
    names.clear();
    const int version = epoxy_gl_version();
    for (int v : k_versions) {
        if (v <= version)
            names.insert("GL_VERSION_" + std::to_string(v / 10) + "_" + std::to_string(v % 10));
    }
    record_extensions(names, version);
    return version;
}

bool gl_offers(const char* name)
{
    return name && offered().count(name) != 0;
}

bool gl_context_current()
{
    // GLFW makes GLX contexts on X11, the screensaver and headless renders EGL
    // ones; libepoxy resolves both without a context.
    return glXGetCurrentContext() != nullptr || eglGetCurrentContext() != EGL_NO_CONTEXT;
}

std::size_t gl_offered_count()
{
    return offered().size();
}

} // namespace glload
