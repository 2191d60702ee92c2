#pragma once

#include <cstddef>
#include <cstdint>

class ktGlSurface;

/// GL's own types, so that no header of the system is needed.
using ktGlEnum = uint32_t;
using ktGlSize = std::ptrdiff_t;

/// Constants of the GL 3.3 core profile that the toolkit uses.
enum : ktGlEnum {
    ktGlLines = 0x0001,
    ktGlTriangles = 0x0004,
    ktGlSrcAlpha = 0x0302,
    ktGlOneMinusSrcAlpha = 0x0303,
    ktGlLineSmooth = 0x0B20,
    ktGlBlend = 0x0BE2,
    ktGlLineSmoothHint = 0x0C52,
    ktGlUnpackAlignment = 0x0CF5,
    ktGlTexture2d = 0x0DE1,
    ktGlNicest = 0x1102,
    ktGlUnsignedByte = 0x1401,
    ktGlShort = 0x1402,
    ktGlUnsignedInt = 0x1405,
    ktGlFloat = 0x1406,
    ktGlRed = 0x1903,
    ktGlLinear = 0x2601,
    ktGlTextureMagFilter = 0x2800,
    ktGlTextureMinFilter = 0x2801,
    ktGlTextureWrapS = 0x2802,
    ktGlTextureWrapT = 0x2803,
    ktGlColorBufferBit = 0x4000,
    ktGlRgba8 = 0x8058,
    ktGlUnsignedInt8888 = 0x8035,
    ktGlBgra = 0x80E1,
    ktGlClampToEdge = 0x812F,
    ktGlTexture0 = 0x84C0,
    ktGlArrayBuffer = 0x8892,
    ktGlElementArrayBuffer = 0x8893,
    ktGlStaticDraw = 0x88E4,
    ktGlFragmentShader = 0x8B30,
    ktGlVertexShader = 0x8B31,
    ktGlCompileStatus = 0x8B81,
    ktGlLinkStatus = 0x8B82,
};

/// Every GL function in use: result, name without "gl", parameters.
#define KT_GL_FUNCTIONS(GL)                                                                                  \
    GL(void, ActiveTexture, (ktGlEnum texture))                                                              \
    GL(void, AttachShader, (uint32_t program, uint32_t shader))                                              \
    GL(void, BindBuffer, (ktGlEnum target, uint32_t buffer))                                                 \
    GL(void, BindTexture, (ktGlEnum target, uint32_t texture))                                               \
    GL(void, BindVertexArray, (uint32_t array))                                                              \
    GL(void, BlendFunc, (ktGlEnum source, ktGlEnum destination))                                             \
    GL(void, BufferData, (ktGlEnum target, ktGlSize size, const void *data, ktGlEnum usage))                 \
    GL(void, BufferSubData, (ktGlEnum target, ktGlSize offset, ktGlSize size, const void *data))             \
    GL(void, Clear, (uint32_t mask))                                                                         \
    GL(void, ClearColor, (float r, float g, float b, float a))                                               \
    GL(void, CompileShader, (uint32_t shader))                                                               \
    GL(uint32_t, CreateProgram, ())                                                                          \
    GL(uint32_t, CreateShader, (ktGlEnum kind))                                                              \
    GL(void, DeleteBuffers, (int32_t count, const uint32_t *names))                                          \
    GL(void, DeleteProgram, (uint32_t program))                                                              \
    GL(void, DeleteShader, (uint32_t shader))                                                                \
    GL(void, DeleteTextures, (int32_t count, const uint32_t *names))                                         \
    GL(void, DeleteVertexArrays, (int32_t count, const uint32_t *names))                                     \
    GL(void, DrawElements, (ktGlEnum mode, int32_t count, ktGlEnum type, const void *indices))               \
    GL(void, Enable, (ktGlEnum what))                                                                        \
    GL(void, EnableVertexAttribArray, (uint32_t index))                                                      \
    GL(void, Finish, ())                                                                                     \
    GL(void, GenBuffers, (int32_t count, uint32_t *names))                                                   \
    GL(void, GenTextures, (int32_t count, uint32_t *names))                                                  \
    GL(void, GenVertexArrays, (int32_t count, uint32_t *names))                                              \
    GL(void, GetProgramInfoLog, (uint32_t program, int32_t size, int32_t *length, char *log))                \
    GL(void, GetProgramiv, (uint32_t program, ktGlEnum what, int32_t *value))                                \
    GL(void, GetShaderInfoLog, (uint32_t shader, int32_t size, int32_t *length, char *log))                  \
    GL(void, GetShaderiv, (uint32_t shader, ktGlEnum what, int32_t *value))                                  \
    GL(int32_t, GetUniformLocation, (uint32_t program, const char *name))                                    \
    GL(void, Hint, (ktGlEnum target, ktGlEnum mode))                                                         \
    GL(void, LineWidth, (float width))                                                                       \
    GL(void, LinkProgram, (uint32_t program))                                                                \
    GL(void, PixelStorei, (ktGlEnum name, int32_t value))                                                    \
    GL(void, ShaderSource,                                                                                   \
       (uint32_t shader, int32_t count, const char *const *texts, const int32_t *lengths))                   \
    GL(void, TexImage2D,                                                                                     \
       (ktGlEnum target, int32_t level, int32_t internalFormat, int32_t w, int32_t h, int32_t border,        \
        ktGlEnum format, ktGlEnum type, const void *pixels))                                                 \
    GL(void, TexParameteri, (ktGlEnum target, ktGlEnum name, int32_t value))                                 \
    GL(void, TexSubImage2D,                                                                                  \
       (ktGlEnum target, int32_t level, int32_t x, int32_t y, int32_t w, int32_t h, ktGlEnum format,         \
        ktGlEnum type, const void *pixels))                                                                  \
    GL(void, Uniform1f, (int32_t location, float value))                                                     \
    GL(void, UseProgram, (uint32_t program))                                                                 \
    GL(void, VertexAttribPointer,                                                                            \
       (uint32_t index, int32_t size, ktGlEnum type, uint8_t normalized, int32_t stride,                     \
        const void *offset))                                                                                 \
    GL(void, Viewport, (int32_t x, int32_t y, int32_t w, int32_t h))

/// The GL functions of one context; all of them on the render thread.
struct ktGlApi {
#define KT_GL_MEMBER(result, name, parameters) result(*name) parameters = nullptr;
    KT_GL_FUNCTIONS(KT_GL_MEMBER)
#undef KT_GL_MEMBER

    /// Looks every function up by name. False, with none of them kept, when the driver lacks one.
    bool Load(ktGlSurface &surface);
};
