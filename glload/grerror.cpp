// OpenGL error line: "label: Error 1280: invalid enumerator".
// Only the one pending error is fetched per call.
#include "glload/grerror.h"

#include "utils/common.h"

#include <epoxy/gl.h>
#include <GL/glu.h>

#include <iostream>
#include <string>

namespace geokit {

const char* glerrortext(unsigned code)
{
    if (const GLubyte* text = gluErrorString(code))
        return reinterpret_cast<const char*>(text);
    // A text left out would leave the line without its reason, and inserting
    // a null text would set the stream's bad bit and silence every later
    // error line: a code GLU does not know gets a text all the same.
    return code == GL_CONTEXT_LOST ? "context lost" : "unknown error";
}

void grPrintErrorCode(const char* label, unsigned code)
{
    if (label) std::cerr << label << ": ";
    // Decimal without touching the stream's base: the viewer leaves it in hex.
    std::cerr << "Error " << std::to_string(code) << ": " << glerrortext(code);
    basekit::error();
    std::cerr << std::endl;
}

int grPrintError(const char* label)
{
    const GLenum code = glGetError();
    if (code == GL_NO_ERROR) return 0;
    grPrintErrorCode(label, code);
    return 1;
}

} // namespace geokit
