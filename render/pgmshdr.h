// GLSL program building: compile, link, print the driver's log on failure.
// Each renderer owns one gl_program_t; its reference count makes the first
// Init build it and the last Destroy free it.
#pragma once

#include <epoxy/gl.h>

#include <cstdint>

namespace vexlor {

// Compiles one shader; prints "shader compile error." and the log on failure.
// Returns the shader name either way.
GLuint InitShader(GLenum type, const char* source, GLint length);

// Links the given shaders; prints "program link error." and the log on failure.
// Returns the program name either way.
GLuint InitProgram(GLsizei count, const GLuint* shaders);

// True once any shader or program in this process has failed to build; the
// viewer does not start then, since it would draw nothing.
bool shaderfailed();

class gl_program_t {
public:
    gl_program_t() = default;
    ~gl_program_t() {}
    gl_program_t(const gl_program_t&) = delete;
    gl_program_t& operator=(const gl_program_t&) = delete;

    // True only for the call that built the program; callers fetch their
    // uniform locations then.
    bool Init(const char* vsource, GLint vlength, const char* fsource, GLint flength);
    void Destroy();

    GLint getUniformLocation(const char* name) const;
    void Use() const { glUseProgram(m_program); }
    void Unuse() const { glUseProgram(0); }

    std::uint64_t refcount() const { return m_refcount; }
    // Both shaders compiled and the program linked.
    bool ok() const { return m_ok; }
    GLuint program() const { return m_program; }

private:
    std::uint64_t m_refcount = 0;
    GLuint m_vertex = 0;
    GLuint m_fragment = 0;
    GLuint m_program = 0;
    bool m_ok = false;
};

} // namespace vexlor
