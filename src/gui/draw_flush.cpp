#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/gl_api.h"
#include "gui/shader_program.h"

namespace {

void SetUniform(const ktGlApi &gl, const ktShaderProgram &program, const char *name, float value) {
    gl.Uniform1f(gl.GetUniformLocation(program.program, name), value);
}

/// Makes the program current for a target of `w` x `h` pixels. False, with nothing done, for one that is not
/// linked.
bool Use(const ktGlApi &gl, const ktShaderProgram *program, uint32_t w, uint32_t h) {
    if (program == nullptr || program->linked == 0) return false;
    gl.UseProgram(program->program);
    SetUniform(gl, *program, "res_x", static_cast<float>(w));
    SetUniform(gl, *program, "res_y", static_cast<float>(h));
    return true;
}

void SetOffset(const ktGlApi &gl, const ktShaderProgram &program, int32_t x, int32_t y) {
    SetUniform(gl, program, "off_x", static_cast<float>(x));
    SetUniform(gl, program, "off_y", static_cast<float>(y));
}

/// No window is drawn in grey; the shaders could.
void SetFullColor(const ktGlApi &gl, const ktShaderProgram &program) {
    SetUniform(gl, program, "gs_coef", 0.0f);
}

void BindToUnit0(const ktGlApi &gl, uint32_t texture) {
    gl.ActiveTexture(ktGlTexture0);
    gl.BindTexture(ktGlTexture2d, texture);
}

} // namespace

void ktDrawList::Flush() const {
    if (gl == nullptr || flat_program == nullptr || text_program == nullptr) return;
    for (const ktDrawBatch *batch : {&triangles, &lines, &text}) batch->Upload(*gl);
    if (Use(*gl, flat_program, res_x, res_y)) SetFullColor(*gl, *flat_program);
    triangles.DrawElements(*gl);
    lines.DrawElements(*gl);
    DrawImages();
    DrawAllText();
}

void ktDrawList::DrawImages() const {
    if (Use(*gl, image_program, res_x, res_y)) {
        SetOffset(*gl, *image_program, 0, 0);
        SetFullColor(*gl, *image_program);
    }
    for (const auto &[name, texture] : image_textures) {
        const auto found = image_batches.find(name);
        if (found == image_batches.end() || texture == nullptr) continue;
        const ktDrawBatch &batch = *found->second;
        batch.Upload(*gl);
        if (texture->state != ktTextureNone) BindToUnit0(*gl, texture->name);
        batch.DrawElements(*gl);
        gl->BindTexture(ktGlTexture2d, 0);
    }
}

void ktDrawList::DrawAllText() const {
    if (Use(*gl, text_program, res_x, res_y)) {
        SetOffset(*gl, *text_program, off_x, off_y);
        SetFullColor(*gl, *text_program);
    }
    if (font != nullptr && font->texture.state != ktTextureNone) BindToUnit0(*gl, font->texture.name);
    text.DrawElements(*gl);
}
