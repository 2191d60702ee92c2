#pragma once

#include <array>
#include <cstdint>
#include <string>

struct ktGlApi;

/// A vertex and a fragment shader linked to a program. Render thread.
struct ktShaderProgram {
    uint32_t vertex_shader = 0;
    std::string vertex_source;
    uint32_t vertex_length = 0;
    uint32_t vertex_status = 0;
    uint32_t fragment_shader = 0;
    uint32_t fragment_length = 0;
    std::string fragment_source;
    uint32_t fragment_status = 0;
    uint32_t program = 0;
    uint32_t linked = 0;
    std::array<char, 512> info_log{};

    /// Compiles and links. On failure what the driver says stands in `info_log`, cut to its size, and nothing
    /// else is left behind. A program that was built before must have been deleted or forgotten.
    bool Build(const ktGlApi &gl, const char *vertexSource, const char *fragmentSource);
    /// Deletes what Build made.
    void Delete(const ktGlApi &gl);
    /// Forgets GL names whose context is gone, and the sources. The log stays.
    void Forget();
};
