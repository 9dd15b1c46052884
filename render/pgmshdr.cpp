// Shader compile and program link with the driver's log on failure.
#include "render/pgmshdr.h"

#include <iostream>
#include <vector>

namespace vexlor {
namespace {

bool s_failed = false;

bool compiled(GLuint shader)
{
    GLint status = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    return status == GL_TRUE;
}

bool linked(GLuint program)
{
    GLint status = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    return status == GL_TRUE;
}

template <typename GetLength, typename GetLog>
void printlog(const char* headline, GLuint name, GetLength getlength, GetLog getlog)
{
    GLint length = 0;
    getlength(name, GL_INFO_LOG_LENGTH, &length);
    std::vector<GLchar> log(static_cast<std::size_t>(length > 0 ? length : 0) + 1, '\0');
    getlog(name, static_cast<GLsizei>(log.size()), nullptr, log.data());
    log.back() = '\0';
    std::cerr << headline << std::endl << log.data() << std::endl;
}

} // namespace

GLuint InitShader(GLenum type, const char* source, GLint length)
{
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, &length);
    glCompileShader(shader);
    if (!compiled(shader)) {
        s_failed = true;
        printlog("shader compile error.", shader, glGetShaderiv, glGetShaderInfoLog);
    }
    return shader;
}

GLuint InitProgram(GLsizei count, const GLuint* shaders)
{
    const GLuint program = glCreateProgram();
    for (GLsizei i = 0; i < count; ++i) glAttachShader(program, shaders[i]);
    glLinkProgram(program);
    if (!linked(program)) {
        s_failed = true;
        printlog("program link error.", program, glGetProgramiv, glGetProgramInfoLog);
    }
    return program;
}

bool gl_program_t::Init(const char* vsource, GLint vlength, const char* fsource, GLint flength)
{
    if (m_refcount++ != 0) return false;
    m_vertex = InitShader(GL_VERTEX_SHADER, vsource, vlength);
    m_fragment = InitShader(GL_FRAGMENT_SHADER, fsource, flength);
    const GLuint shaders[] = {m_vertex, m_fragment};
    m_program = InitProgram(2, shaders);
    m_ok = compiled(m_vertex) && compiled(m_fragment) && linked(m_program);
    return true;
}

void gl_program_t::Destroy()
{
    if (m_refcount == 0) return;
    if (--m_refcount != 0) return;
    glDetachShader(m_program, m_vertex);
    glDetachShader(m_program, m_fragment);
    glDeleteShader(m_vertex);
    glDeleteShader(m_fragment);
    glDeleteProgram(m_program);
    m_vertex = m_fragment = m_program = 0;
    m_ok = false;
}

bool shaderfailed()
{
    return s_failed;
}

GLint gl_program_t::getUniformLocation(const char* name) const
{
    return glGetUniformLocation(m_program, name);
}

} // namespace vexlor
