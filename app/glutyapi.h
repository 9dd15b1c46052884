// The callback interface a window implements: GLUT-style handlers with empty
// default bodies, so a window overrides only what it needs.
#pragma once

namespace winkit {

class glutyAPI {
public:
    virtual void reshape(int /*width*/, int /*height*/) {}
    virtual void display() {}
    virtual void keyboard(unsigned char /*key*/, int /*x*/, int /*y*/) {}
    virtual void specialkey(int /*key*/, int /*x*/, int /*y*/) {}
    virtual void mouse(int /*button*/, int /*state*/, int /*x*/, int /*y*/) {}
    virtual void motion(int /*x*/, int /*y*/) {}
    virtual void passivemotion(int /*x*/, int /*y*/) {}
    virtual void idle() {}
    // Called with the window's context current; false when the window
    // cannot be shown (it has said why), and the manager gives it up.
    virtual bool init() { return true; }
    virtual ~glutyAPI() = default;
};

} // namespace winkit
