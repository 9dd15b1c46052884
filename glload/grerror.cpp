// OpenGL error line: "label: Error 1280: invalid enumerator".
// Only the one pending error is fetched per call.
#include "glload/grerror.h"

#include "utils/common.h"

#include <epoxy/gl.h>
#include <GL/glu.h>

#include <iostream>
#include <string>

namespace geokit {

int grPrintError(const char* label)
{
    const GLenum code = glGetError();
    if (code == GL_NO_ERROR) return 0;
    if (label) std::cerr << label << ": ";
    // Decimal without touching the stream's base: the viewer leaves it in hex.
    std::cerr << "Error " << std::to_string(code) << ": ";
    // A null text sets the stream's bad bit, as inserting a null text does.
    if (auto text = gluErrorString(code))
        std::cerr << reinterpret_cast<const char*>(text);
    else
        std::cerr.setstate(std::ios_base::badbit);
    basekit::error();
    std::cerr << std::endl;
    return 1;
}

} // namespace geokit
