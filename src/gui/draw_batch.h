#pragma once

#include "gui/color.h"

#include <cstddef>
#include <cstdint>
#include <memory>

struct ktGlApi;

enum ktBatchKind : uint32_t { ktBatchTriangles = 0, ktBatchLines = 1, ktBatchTextured = 2 };

struct ktFlatVertex {
    int16_t x;
    int16_t y;
    ktColor color;
};
struct ktTexturedVertex {
    int16_t x;
    int16_t y;
    ktColor color;
    float u;
    float v;
};
static_assert(sizeof(ktFlatVertex) == 8 && sizeof(ktTexturedVertex) == 16);

/// One array of vertices and one of indices, with the GL objects that mirror them. Reserved on the main
/// thread; everything else happens on the render thread. Nothing grows after Reserve.
class ktDrawBatch {
public:
    ktDrawBatch() = default;
    ~ktDrawBatch() = default; ///< the GL objects must have been deleted
    ktDrawBatch(const ktDrawBatch &) = delete;
    ktDrawBatch &operator=(const ktDrawBatch &) = delete;

    /// Room for `vertices` vertices and as many bytes of indices. False, with nothing held, without memory.
    bool Reserve(uint32_t newKind, uint32_t vertices);
    /// Frees both arrays and zeroes sizes and counts.
    void Free();
    /// Forgets what was appended.
    void Clear();
    /// Creates the GL objects at full capacity. False, with none left, for an unknown kind.
    bool CreateGlObjects(const ktGlApi &gl);
    void DeleteGlObjects(const ktGlApi &gl);
    /// Copies the used bytes of both arrays to the GL objects.
    void Upload(const ktGlApi &gl) const;
    /// Draws all indices as `kind` says; nothing without indices.
    void DrawElements(const ktGlApi &gl) const;

    /// Appends `count` vertices of `stride` bytes each from `vertices`, then `indexCount` indices, each of
    /// which counts from the first of these vertices. Returns the first vertex's number. -1 without room: for
    /// the vertices with nothing changed, for the indices alone with the vertices still counted.
    int32_t Append(const void *vertices, uint32_t count, const uint32_t *indices, uint32_t indexCount);
    /// Appends the four corners of a filled quad, clockwise from the top left, and its six indices.
    int32_t AppendQuad(const void *corners);
    /// The vertices from `first` on, to be written in place; `first` is not checked.
    ktFlatVertex *FlatAt(int32_t first);
    ktTexturedVertex *TexturedAt(int32_t first);

    uint32_t kind = 0;
    uint64_t stride = 0; ///< bytes of a vertex
    bool ready = false;  ///< the GL objects exist
    std::unique_ptr<std::byte[]> vertex_data;
    uint64_t vertex_capacity = 0; ///< bytes
    uint64_t vertex_used = 0;     ///< bytes
    std::unique_ptr<uint32_t[]> index_data;
    uint64_t index_capacity = 0; ///< bytes
    uint64_t index_used = 0;     ///< bytes
    uint32_t vao = 0;
    uint32_t vbo = 0;
    uint32_t ebo = 0;
    uint32_t vertex_count = 0;
    uint32_t vertex_max = 0; ///< what Reserve was asked for
    uint32_t index_count = 0;
    uint32_t index_max = 0; ///< the same number
};
