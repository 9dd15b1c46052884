// GL entry points for the viewer and the renderers. libepoxy resolves every
// function beyond GL 1.1 on first use; this records which core versions and
// extensions the current context offers, so callers can ask by name.
#pragma once

#include <cstddef>

namespace glload {

// Call once with a context current. Returns the context's version as
// major * 10 + minor (45 for GL 4.5).
int gl_extloader_init();

// True when the context seen by the last gl_extloader_init offered `name`:
// a core version from "GL_VERSION_1_2" to "GL_VERSION_4_6", or an extension.
bool gl_offers(const char* name);

// True when a GL context is current on this thread. Renderers ask before
// deleting their objects: at process exit the context may already be gone,
// and its objects with it.
bool gl_context_current();

// How many names (versions and extensions) were recorded.
std::size_t gl_offered_count();

} // namespace glload
