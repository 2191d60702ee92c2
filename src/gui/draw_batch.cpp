#include "gui/draw_batch.h"

#include "gui/gl_api.h"

#include <cstring>
#include <new>

namespace {

/// One attribute of a vertex, as GL is told of it. Its location is its place in the table.
struct ktAttribute {
    int32_t size;
    ktGlEnum type;
    uint8_t normalized;
    uintptr_t offset;
};
constexpr ktAttribute attributes[] = {
    {2, ktGlShort, 0, offsetof(ktTexturedVertex, x)},
    {4, ktGlUnsignedByte, 1, offsetof(ktTexturedVertex, color)},
    {2, ktGlFloat, 0, offsetof(ktTexturedVertex, u)},
};
static_assert(offsetof(ktFlatVertex, x) == offsetof(ktTexturedVertex, x) &&
              offsetof(ktFlatVertex, color) == offsetof(ktTexturedVertex, color));

uint32_t AttributeCount(uint32_t kind) { return kind == ktBatchTextured ? 3 : 2; }

/// Indices go up as any other bytes: their own binding belongs to a vertex array, and none is bound.
void UploadTo(const ktGlApi &gl, uint32_t buffer, uint64_t size, const void *data) {
    gl.BindBuffer(ktGlArrayBuffer, buffer);
    gl.BufferSubData(ktGlArrayBuffer, 0, static_cast<ktGlSize>(size), data);
}

} // namespace

bool ktDrawBatch::Reserve(uint32_t newKind, uint32_t vertices) {
    Free();
    const uint64_t newStride = newKind == ktBatchTextured ? sizeof(ktTexturedVertex) : sizeof(ktFlatVertex);
    const uint64_t bytes = vertices * newStride;
    vertex_data.reset(new (std::nothrow) std::byte[bytes]());
    index_data.reset(new (std::nothrow) uint32_t[bytes / sizeof(uint32_t)]());
    if (vertex_data == nullptr || index_data == nullptr) {
        Free();
        return false;
    }
    kind = newKind;
    stride = newStride;
    vertex_capacity = index_capacity = bytes;
    vertex_max = index_max = vertices;
    return true;
}

void ktDrawBatch::Free() {
    vertex_data.reset();
    index_data.reset();
    stride = 0;
    vertex_capacity = vertex_used = index_capacity = index_used = 0;
    vertex_count = vertex_max = index_count = index_max = 0;
}

void ktDrawBatch::Clear() {
    if (vertex_used != 0) std::memset(vertex_data.get(), 0, vertex_used);
    if (index_used != 0) std::memset(index_data.get(), 0, index_used);
    vertex_used = index_used = 0;
    vertex_count = index_count = 0;
}

bool ktDrawBatch::CreateGlObjects(const ktGlApi &gl) {
    if (ready) return true;
    gl.GenVertexArrays(1, &vao);
    gl.GenBuffers(1, &vbo);
    gl.GenBuffers(1, &ebo);
    if (kind > ktBatchTextured || vao == 0 || vbo == 0 || ebo == 0) {
        DeleteGlObjects(gl);
        return false;
    }
    gl.BindVertexArray(vao);
    gl.BindBuffer(ktGlArrayBuffer, vbo);
    gl.BufferData(ktGlArrayBuffer, static_cast<ktGlSize>(vertex_capacity), vertex_data.get(), ktGlStaticDraw);
    gl.BindBuffer(ktGlElementArrayBuffer, ebo);
    gl.BufferData(ktGlElementArrayBuffer, static_cast<ktGlSize>(index_capacity), index_data.get(),
                  ktGlStaticDraw);
    for (uint32_t i = 0; i < AttributeCount(kind); ++i) {
        const ktAttribute &attribute = attributes[i];
        gl.VertexAttribPointer(i, attribute.size, attribute.type, attribute.normalized,
                               static_cast<int32_t>(stride),
                               reinterpret_cast<const void *>(attribute.offset));
        gl.EnableVertexAttribArray(i);
    }
    gl.BindVertexArray(0);
    ready = true;
    return true;
}

void ktDrawBatch::DeleteGlObjects(const ktGlApi &gl) {
    if (vao != 0) gl.DeleteVertexArrays(1, &vao);
    if (vbo != 0) gl.DeleteBuffers(1, &vbo);
    if (ebo != 0) gl.DeleteBuffers(1, &ebo);
    vao = vbo = ebo = 0;
    ready = false;
}

void ktDrawBatch::Upload(const ktGlApi &gl) const {
    UploadTo(gl, vbo, vertex_used, vertex_data.get());
    UploadTo(gl, ebo, index_used, index_data.get());
}

void ktDrawBatch::DrawElements(const ktGlApi &gl) const {
    gl.BindVertexArray(vao);
    if (index_count != 0 && kind <= ktBatchTextured)
        gl.DrawElements(kind == ktBatchLines ? ktGlLines : ktGlTriangles, static_cast<int32_t>(index_count),
                        ktGlUnsignedInt, nullptr);
    gl.BindVertexArray(0);
}

int32_t ktDrawBatch::Append(const void *vertices, uint32_t count, const uint32_t *indices,
                            uint32_t indexCount) {
    const uint64_t size = count * stride;
    if (vertex_data == nullptr || vertex_used + size > vertex_capacity) return -1;
    const uint32_t first = vertex_count;
    std::memcpy(vertex_data.get() + vertex_used, vertices, size);
    vertex_count += count;
    vertex_used = vertex_count * stride;

    if (index_used + indexCount * sizeof(uint32_t) > index_capacity) return -1;
    uint32_t *out = index_data.get() + index_count;
    for (uint32_t i = 0; i < indexCount; ++i) out[i] = first + indices[i];
    index_count += indexCount;
    index_used = index_count * sizeof(uint32_t);
    return static_cast<int32_t>(first);
}

int32_t ktDrawBatch::AppendQuad(const void *corners) {
    constexpr uint32_t indices[6] = {0, 1, 2, 0, 2, 3};
    return Append(corners, 4, indices, 6);
}

ktFlatVertex *ktDrawBatch::FlatAt(int32_t first) {
    return reinterpret_cast<ktFlatVertex *>(vertex_data.get()) + first;
}

ktTexturedVertex *ktDrawBatch::TexturedAt(int32_t first) {
    return reinterpret_cast<ktTexturedVertex *>(vertex_data.get()) + first;
}
