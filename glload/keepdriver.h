// Keeps the GL driver's shared objects loaded until the process ends, in
// sanitizer builds only. Mesa unloads its driver at exit, after which the
// leak checker can name neither the driver nor its allocations, so its
// process-lifetime allocations could not be told from ours.
#pragma once

#if defined(VEXLOR_SANITIZED)
#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <initializer_list>
#endif

namespace glload {

// Call once a context exists, when the driver has been loaded.
inline void keepdriverloaded()
{
#if defined(VEXLOR_SANITIZED)
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void*) {
            const char* name = info->dlpi_name;
            if (!name || !*name) return 0;
            for (const char* part :
                 {"_dri.so", "libgallium", "libGLX_mesa", "libEGL_mesa", "libglapi", "libLLVM"}) {
                if (std::strstr(name, part)) {
                    // Already loaded: this only marks it never to be unloaded.
                    dlopen(name, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
                    break;
                }
            }
            return 0;
        },
        nullptr);
#endif
}

} // namespace glload
