#include "gui/shader_program.h"

#include "gui/gl_api.h"

namespace {

int32_t LogSize(const ktShaderProgram &program) { return static_cast<int32_t>(program.info_log.size()); }

/// Compiles one stage and gives its status. `shader` is 0 when it failed.
uint32_t Compile(ktShaderProgram &program, const ktGlApi &gl, ktGlEnum kind, const std::string &source,
                 uint32_t &shader) {
    shader = gl.CreateShader(kind);
    if (shader == 0) return 0;
    const char *text = source.c_str();
    const auto length = static_cast<int32_t>(source.size());
    gl.ShaderSource(shader, 1, &text, &length);
    gl.CompileShader(shader);
    int32_t status = 0;
    gl.GetShaderiv(shader, ktGlCompileStatus, &status);
    if (status == 0) {
        gl.GetShaderInfoLog(shader, LogSize(program), nullptr, program.info_log.data());
        gl.DeleteShader(shader);
        shader = 0;
    }
    return static_cast<uint32_t>(status);
}

uint32_t Link(ktShaderProgram &program, const ktGlApi &gl) {
    program.program = gl.CreateProgram();
    if (program.program == 0) return 0;
    gl.AttachShader(program.program, program.vertex_shader);
    gl.AttachShader(program.program, program.fragment_shader);
    gl.LinkProgram(program.program);
    int32_t status = 0;
    gl.GetProgramiv(program.program, ktGlLinkStatus, &status);
    if (status == 0)
        gl.GetProgramInfoLog(program.program, LogSize(program), nullptr, program.info_log.data());
    return static_cast<uint32_t>(status);
}

} // namespace

bool ktShaderProgram::Build(const ktGlApi &gl, const char *vertexSource, const char *fragmentSource) {
    Forget();
    info_log.fill(0);
    vertex_source = vertexSource;
    vertex_length = static_cast<uint32_t>(vertex_source.size());
    vertex_status = Compile(*this, gl, ktGlVertexShader, vertex_source, vertex_shader);
    if (vertex_status != 0) {
        fragment_source = fragmentSource;
        fragment_length = static_cast<uint32_t>(fragment_source.size());
        fragment_status = Compile(*this, gl, ktGlFragmentShader, fragment_source, fragment_shader);
    }
    if (fragment_status != 0) linked = Link(*this, gl);
    info_log.back() = 0;
    if (linked == 0) Delete(gl);
    return linked != 0;
}

void ktShaderProgram::Delete(const ktGlApi &gl) {
    if (program != 0) gl.DeleteProgram(program);
    if (vertex_shader != 0) gl.DeleteShader(vertex_shader);
    if (fragment_shader != 0) gl.DeleteShader(fragment_shader);
    Forget();
}

void ktShaderProgram::Forget() {
    program = vertex_shader = fragment_shader = 0;
    linked = vertex_status = fragment_status = 0;
    vertex_length = fragment_length = 0;
    std::string().swap(vertex_source);
    std::string().swap(fragment_source);
}
