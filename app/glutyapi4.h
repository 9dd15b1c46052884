// The callback interface extended with key releases, the mouse wheel and
// dropped files.
#pragma once

#include "app/glutyapi.h"

namespace winkit {

class glutyAPI4 : public glutyAPI {
public:
    virtual void keyboardup(unsigned char /*key*/, int /*x*/, int /*y*/) {}
    virtual void specialkeyup(int /*key*/, int /*x*/, int /*y*/) {}
    virtual void mousewheel(int /*wheel*/, int /*direction*/, int /*x*/, int /*y*/) {}
    virtual void drop(int /*count*/, const char** /*paths*/) {}
    // A wake from another thread while idling is off (glfwyMGR4::Wake).
    virtual void wake() { idle(); }
};

} // namespace winkit
