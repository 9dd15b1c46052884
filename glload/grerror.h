// Reports one pending OpenGL error on standard error, with a label.
// Part of the geometry library's family, kept here because it needs GL.
#pragma once

namespace geokit {

// Returns 1 (and writes "label: Error N: text") when an error was pending,
// 0 (and writes nothing) when none was.
int grPrintError(const char* label);

// The line grPrintError writes for `code`, whatever is pending.
void grPrintErrorCode(const char* label, unsigned code);

// GLU's text for an error code, or our own where GLU has none (it knows no
// GL_CONTEXT_LOST): never null, so a report never breaks the stream.
const char* glerrortext(unsigned code);

} // namespace geokit
