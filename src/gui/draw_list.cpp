#include "gui/draw_list.h"

#include "gui/gl_api.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace {

using ktRectCorners = std::array<ktFlatVertex, 4>;
using ktLineEnds = std::array<ktFlatVertex, 2>;
using ktCrossLines = std::array<ktLineEnds, 2>;
using ktBoxLines = std::array<ktLineEnds, 4>;

constexpr int32_t boxWidth = 8;
constexpr int32_t boxHeight = 10;

int16_t Low16(int64_t value) { return static_cast<int16_t>(value); }

ktRectCorners RectCorners(uint16_t x, uint16_t y, uint16_t w, uint16_t h, ktColor color) {
    return {{{Low16(x), Low16(y), color},
             {Low16(x + w), Low16(y), color},
             {Low16(x + w), Low16(y + h), color},
             {Low16(x), Low16(y + h), color}}};
}

ktLineEnds LineEnds(int32_t x0, int32_t y0, int32_t x1, int32_t y1, ktColor color) {
    return {{{Low16(x0), Low16(y0), color}, {Low16(x1), Low16(y1), color}}};
}

ktCrossLines CrossLines(uint16_t x, uint16_t y, int16_t size, ktColor color) {
    const int32_t half = size / 2;
    return {LineEnds(x - half, y - half, x + half, y + half, color),
            LineEnds(x + half, y - half, x - half, y + half, color)};
}

/// Top, right, bottom, left.
ktBoxLines BoxLines(uint16_t x, uint16_t y, ktColor color) {
    const int32_t right = x + boxWidth;
    const int32_t bottom = y + boxHeight;
    return {LineEnds(x, y, right, y, color), LineEnds(right, y, right, bottom, color),
            LineEnds(right, bottom, x, bottom, color), LineEnds(x, bottom, x, y, color)};
}

int32_t AppendLine(ktDrawBatch &batch, const ktLineEnds &ends) {
    constexpr uint32_t indices[2] = {0, 1};
    return batch.Append(ends.data(), 2, indices, 2);
}

/// The first line's first vertex; -1 when one of them finds no room.
template <size_t Count>
int32_t AppendLines(ktDrawBatch &batch, const std::array<ktLineEnds, Count> &figure) {
    int32_t first = -1;
    for (size_t i = 0; i < Count; ++i) {
        const int32_t vertex = AppendLine(batch, figure[i]);
        if (vertex == -1) return -1;
        if (i == 0) first = vertex;
    }
    return first;
}

template <size_t Count>
void Rewrite(ktDrawBatch &batch, int32_t first, const std::array<ktFlatVertex, Count> &vertices) {
    std::copy(vertices.begin(), vertices.end(), batch.FlatAt(first));
}

template <size_t Count>
void RewriteLines(ktDrawBatch &batch, int32_t first, const std::array<ktLineEnds, Count> &figure) {
    for (const ktLineEnds &ends : figure) {
        Rewrite(batch, first, ends);
        first += static_cast<int32_t>(ends.size());
    }
}

uint16_t Word(uint32_t value) { return static_cast<uint16_t>(value); }

} // namespace

ktDrawList::~ktDrawList() = default;

bool ktDrawList::Reserve(uint32_t textVertices) {
    if (triangles.Reserve(ktBatchTriangles, ktFlatVertices) && lines.Reserve(ktBatchLines, ktFlatVertices) &&
        text.Reserve(ktBatchTextured, textVertices))
        return true;
    Free();
    return false;
}

void ktDrawList::Free() {
    image_batches.clear();
    image_textures.clear();
    triangles.Free();
    lines.Free();
    text.Free();
}

bool ktDrawList::CreateGlObjects(const ktGlApi &api) {
    gl = &api;
    if (triangles.CreateGlObjects(api) && lines.CreateGlObjects(api) && text.CreateGlObjects(api))
        return true;
    DeleteGlObjects();
    return false;
}

void ktDrawList::DeleteGlObjects() {
    if (gl == nullptr) return;
    for (ktDrawBatch *batch : {&triangles, &lines, &text}) batch->DeleteGlObjects(*gl);
    for (auto &[name, batch] : image_batches) batch->DeleteGlObjects(*gl);
    gl = nullptr;
}

int32_t ktDrawList::AddRect(uint16_t x, uint16_t y, uint16_t w, uint16_t h, ktColor color) {
    return triangles.AppendQuad(RectCorners(x, y, w, h, color).data());
}

int32_t ktDrawList::AddLine(uint16_t x0, uint16_t y0, uint16_t x1, uint16_t y1, ktColor color) {
    return AppendLine(lines, LineEnds(x0, y0, x1, y1, color));
}

int32_t ktDrawList::AddCross(uint16_t centreX, uint16_t centreY, int16_t size, ktColor color) {
    return AppendLines(lines, CrossLines(centreX, centreY, size, color));
}

int32_t ktDrawList::AddOutlineBox(uint16_t x, uint16_t y, ktColor color) {
    return AppendLines(lines, BoxLines(x, y, color));
}

void ktDrawList::MoveOutlineBox(int32_t first, uint16_t x, uint16_t y, ktColor color) {
    RewriteLines(lines, first, BoxLines(x, y, color));
}

int32_t ktDrawList::AddTriangle(const int16_t (&corners)[3][2], ktColor color) {
    constexpr uint32_t indices[3] = {0, 1, 2};
    std::array<ktFlatVertex, 3> vertices;
    for (size_t i = 0; i < vertices.size(); ++i) vertices[i] = {corners[i][0], corners[i][1], color};
    return triangles.Append(vertices.data(), 3, indices, 3);
}

int32_t ktDrawList::AddImage(uint16_t x, uint16_t y, uint32_t w, uint16_t h, const ktTexture *texture) {
    if (texture == nullptr || texture->name == 0) return -1;
    ktDrawBatch *batch = ImageBatch(*texture);
    if (batch == nullptr) return -1;
    const int16_t right = Low16(int64_t(x) + w);
    const int16_t bottom = Low16(y + h);
    const ktTexturedVertex corners[4] = {{Low16(x), Low16(y), ktColorText, 0, 1},
                                         {right, Low16(y), ktColorText, 1, 1},
                                         {right, bottom, ktColorText, 1, 0},
                                         {Low16(x), bottom, ktColorText, 0, 0}};
    return batch->AppendQuad(corners);
}

ktDrawBatch *ktDrawList::ImageBatch(const ktTexture &texture) {
    const auto known = image_batches.find(texture.name);
    if (known != image_batches.end()) return known->second.get();
    if (gl == nullptr) return nullptr;
    std::unique_ptr<ktDrawBatch> batch(new (std::nothrow) ktDrawBatch);
    if (!batch || !batch->Reserve(ktBatchTextured, ktImageVertices) || !batch->CreateGlObjects(*gl))
        return nullptr;
    image_textures[texture.name] = &texture;
    return (image_batches[texture.name] = std::move(batch)).get();
}

void ktDrawList::PutRect(int32_t &first, uint32_t x, uint32_t y, uint32_t w, uint32_t h, ktColor color) {
    if (first == -1)
        first = AddRect(Word(x), Word(y), Word(w), Word(h), color);
    else
        Rewrite(triangles, first, RectCorners(Word(x), Word(y), Word(w), Word(h), color));
}

void ktDrawList::PutLine(int32_t &first, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1, ktColor color) {
    if (first == -1)
        first = AddLine(Word(x0), Word(y0), Word(x1), Word(y1), color);
    else
        Rewrite(lines, first, LineEnds(Word(x0), Word(y0), Word(x1), Word(y1), color));
}

void ktDrawList::PutCross(int32_t &first, uint32_t centreX, uint32_t centreY, int16_t size, ktColor color) {
    if (first == -1)
        first = AddCross(Word(centreX), Word(centreY), size, color);
    else
        RewriteLines(lines, first, CrossLines(Word(centreX), Word(centreY), size, color));
}
