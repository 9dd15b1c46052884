// Reports one pending OpenGL error on standard error, with a label.
// Part of the geometry library's family, kept here because it needs GL.
#pragma once

namespace geokit {

// Returns 1 (and writes "label: Error N: text") when an error was pending,
// 0 (and writes nothing) when none was.
int grPrintError(const char* label);

} // namespace geokit
