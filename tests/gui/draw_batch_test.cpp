#include "gui/draw_batch.h"

#include "support/allocation_count.h"
#include "support/fake_gl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

constexpr ktColor red{255, 0, 0, 255};
constexpr ktFlatVertex corner{1, 2, red};
constexpr uint32_t noIndices[1] = {};

using Calls = std::vector<ktGlCall>;

ktGlCall Call(const char *name, std::vector<double> arguments) {
    return {name, std::move(arguments), {}, {}};
}

bool IsZero(const ktDrawBatch &batch) {
    return std::all_of(batch.vertex_data.get(), batch.vertex_data.get() + batch.vertex_capacity,
                       [](std::byte byte) { return byte == std::byte{}; }) &&
           std::all_of(batch.index_data.get(), batch.index_data.get() + batch.index_capacity / 4,
                       [](uint32_t index) { return index == 0; });
}

} // namespace

TEST(Vertex, HasTheLayoutThatGlIsToldOf) {
    EXPECT_EQ(offsetof(ktFlatVertex, x), 0u);
    EXPECT_EQ(offsetof(ktFlatVertex, y), 2u);
    EXPECT_EQ(offsetof(ktFlatVertex, color), 4u);
    EXPECT_EQ(offsetof(ktTexturedVertex, x), 0u);
    EXPECT_EQ(offsetof(ktTexturedVertex, y), 2u);
    EXPECT_EQ(offsetof(ktTexturedVertex, color), 4u);
    EXPECT_EQ(offsetof(ktTexturedVertex, u), 8u);
    EXPECT_EQ(offsetof(ktTexturedVertex, v), 12u);
}

TEST(Color, IsAWordOfAlphaBlueGreenRed) {
    EXPECT_EQ(ktColorFrom(0x44332211), (ktColor{0x11, 0x22, 0x33, 0x44}));
    struct ktRecord {
        char text[3];
        ktColor color;
    };
    EXPECT_EQ(offsetof(ktRecord, color), 3u);
}

TEST(DrawBatch, ReserveGivesAsManyBytesToIndicesAsToVertices) {
    for (uint32_t kind : {ktBatchTriangles, ktBatchLines, ktBatchTextured}) {
        ktDrawBatch batch;
        ASSERT_TRUE(batch.Reserve(kind, 1000));
        const uint64_t stride = kind == ktBatchTextured ? 16 : 8;
        EXPECT_EQ(batch.kind, kind);
        EXPECT_EQ(batch.stride, stride);
        EXPECT_EQ(batch.vertex_capacity, 1000 * stride);
        EXPECT_EQ(batch.index_capacity, 1000 * stride);
        EXPECT_EQ(batch.vertex_max, 1000u);
        EXPECT_EQ(batch.index_max, 1000u);
        EXPECT_EQ(batch.vertex_used + batch.index_used + batch.vertex_count + batch.index_count, 0u);
        EXPECT_FALSE(batch.ready);
        EXPECT_TRUE(IsZero(batch));
    }
}

TEST(DrawBatch, ReserveWithoutMemoryHoldsNothing) {
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 10));
    batch.Free();
    const int64_t before = LiveAllocationCount();
    const ktAllocationFailure failure(1000 * 8);
    EXPECT_FALSE(batch.Reserve(ktBatchTriangles, 1000));
    EXPECT_GT(failure.Count(), 0u);
    EXPECT_EQ(LiveAllocationCount(), before);
    EXPECT_EQ(batch.vertex_data, nullptr);
    EXPECT_EQ(batch.index_data, nullptr);
    EXPECT_EQ(batch.vertex_capacity, 0u);
    EXPECT_EQ(batch.vertex_max, 0u);
}

TEST(DrawBatch, FreeZeroesSizesAndCounts) {
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchLines, 10));
    const ktFlatVertex ends[2] = {corner, corner};
    const uint32_t indices[2] = {0, 1};
    ASSERT_EQ(batch.Append(ends, 2, indices, 2), 0);
    batch.Free();
    EXPECT_EQ(batch.vertex_data, nullptr);
    EXPECT_EQ(batch.index_data, nullptr);
    EXPECT_EQ(batch.stride + batch.vertex_capacity + batch.vertex_used + batch.index_capacity +
                  batch.index_used,
              0u);
    EXPECT_EQ(batch.vertex_count + batch.vertex_max + batch.index_count + batch.index_max, 0u);
    EXPECT_EQ(batch.Append(ends, 2, indices, 2), -1);
    EXPECT_EQ(batch.vertex_count, 0u);
}

TEST(DrawBatch, AppendCountsIndicesFromItsOwnVertices) {
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 100));
    const ktFlatVertex corners[4] = {{1, 2, red}, {3, 4, red}, {5, 6, red}, {7, 8, red}};
    EXPECT_EQ(batch.AppendQuad(corners), 0);
    EXPECT_EQ(batch.AppendQuad(corners), 4);
    EXPECT_EQ(batch.vertex_count, 8u);
    EXPECT_EQ(batch.vertex_used, 64u);
    EXPECT_EQ(batch.index_count, 12u);
    EXPECT_EQ(batch.index_used, 48u);
    const uint32_t expected[12] = {0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), batch.index_data.get()));
    EXPECT_EQ(batch.FlatAt(6)->x, 5);
    EXPECT_EQ(batch.FlatAt(6)->y, 6);
    EXPECT_EQ(batch.FlatAt(6)->color, red);
}

TEST(DrawBatch, AppendFillsTheLastByteOfTheVertices) {
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 10));
    const ktFlatVertex corners[4] = {};
    EXPECT_EQ(batch.AppendQuad(corners), 0);
    EXPECT_EQ(batch.AppendQuad(corners), 4);
    EXPECT_EQ(batch.AppendQuad(corners), -1);
    EXPECT_EQ(batch.vertex_count, 8u);
    EXPECT_EQ(batch.index_count, 12u);
    EXPECT_EQ(batch.Append(corners, 2, noIndices, 0), 8);
    EXPECT_EQ(batch.Append(corners, 1, noIndices, 0), -1);
    EXPECT_EQ(batch.vertex_used, batch.vertex_capacity);
}

TEST(DrawBatch, VerticesStayCountedWhenIndicesFindNoRoom) {
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 100));
    batch.index_capacity = 47;
    const ktFlatVertex corners[4] = {};
    EXPECT_EQ(batch.AppendQuad(corners), 0);
    EXPECT_EQ(batch.AppendQuad(corners), -1);
    EXPECT_EQ(batch.vertex_count, 8u);
    EXPECT_EQ(batch.vertex_used, 64u);
    EXPECT_EQ(batch.index_count, 6u);
    EXPECT_EQ(batch.index_used, 24u);
}

TEST(DrawBatch, ClearZeroesUsedBytesAndCounters) {
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTextured, 100));
    const ktTexturedVertex corners[4] = {
        {1, 2, red, 3, 4}, {1, 2, red, 3, 4}, {1, 2, red, 3, 4}, {1, 2, red, 3, 4}};
    batch.AppendQuad(corners);
    batch.AppendQuad(corners);
    EXPECT_FALSE(IsZero(batch));
    batch.Clear();
    EXPECT_TRUE(IsZero(batch));
    EXPECT_EQ(batch.vertex_used + batch.index_used + batch.vertex_count + batch.index_count, 0u);
    EXPECT_EQ(batch.vertex_capacity, 1600u);
    EXPECT_EQ(batch.AppendQuad(corners), 0);
}

TEST(DrawBatch, ClearOfAnUnreservedBatchDoesNothing) {
    ktDrawBatch batch;
    batch.Clear();
    EXPECT_EQ(batch.vertex_used, 0u);
}

TEST(DrawBatch, GlObjectsTakeTheWholeArraysAndTwoAttributes) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchLines, 10));
    ASSERT_TRUE(batch.CreateGlObjects(gl.api));
    EXPECT_TRUE(batch.ready);
    EXPECT_EQ(gl.Calls(), (Calls{Call("GenVertexArrays", {1, 0}), Call("GenBuffers", {1, 0}),
                                 Call("GenBuffers", {1, 0}), Call("BindVertexArray", {double(batch.vao)}),
                                 Call("BindBuffer", {ktGlArrayBuffer, double(batch.vbo)}),
                                 Call("BufferData", {ktGlArrayBuffer, 80, 0, ktGlStaticDraw}),
                                 Call("BindBuffer", {ktGlElementArrayBuffer, double(batch.ebo)}),
                                 Call("BufferData", {ktGlElementArrayBuffer, 80, 0, ktGlStaticDraw}),
                                 Call("VertexAttribPointer", {0, 2, ktGlShort, 0, 8, 0}),
                                 Call("EnableVertexAttribArray", {0}),
                                 Call("VertexAttribPointer", {1, 4, ktGlUnsignedByte, 1, 8, 4}),
                                 Call("EnableVertexAttribArray", {1}), Call("BindVertexArray", {0})}));
    EXPECT_EQ(gl.CallsOf("BufferData")[0].data, std::vector<uint8_t>(80));
}

TEST(DrawBatch, TexturedVerticesHaveAThirdAttribute) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTextured, 10));
    ASSERT_TRUE(batch.CreateGlObjects(gl.api));
    EXPECT_EQ(gl.CallsOf("VertexAttribPointer"),
              (Calls{Call("VertexAttribPointer", {0, 2, ktGlShort, 0, 16, 0}),
                     Call("VertexAttribPointer", {1, 4, ktGlUnsignedByte, 1, 16, 4}),
                     Call("VertexAttribPointer", {2, 2, ktGlFloat, 0, 16, 8})}));
    EXPECT_EQ(gl.CallsOf("EnableVertexAttribArray").size(), 3u);
}

TEST(DrawBatch, GlObjectsAreMadeOnce) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTextured, 10));
    ASSERT_TRUE(batch.CreateGlObjects(gl.api));
    gl.Forget();
    EXPECT_TRUE(batch.CreateGlObjects(gl.api));
    EXPECT_TRUE(gl.Calls().empty());
}

TEST(DrawBatch, UnknownKindGetsNoGlObjects) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(3, 10));
    EXPECT_FALSE(batch.CreateGlObjects(gl.api));
    EXPECT_FALSE(batch.ready);
    EXPECT_EQ(batch.vao + batch.vbo + batch.ebo, 0u);
    EXPECT_EQ(gl.CallsOf("DeleteVertexArrays").size(), 1u);
    EXPECT_EQ(gl.CallsOf("DeleteBuffers").size(), 2u);
}

TEST(DrawBatch, DriverWithoutNamesFailsTheGlObjects) {
    ktFakeGl gl;
    gl.gives_names = false;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 10));
    EXPECT_FALSE(batch.CreateGlObjects(gl.api));
    EXPECT_FALSE(batch.ready);
    EXPECT_TRUE(gl.CallsOf("BufferData").empty());
    EXPECT_TRUE(gl.CallsOf("DeleteBuffers").empty());
}

TEST(DrawBatch, DeletingGlObjectsZeroesTheirNames) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 10));
    ASSERT_TRUE(batch.CreateGlObjects(gl.api));
    const double vao = batch.vao;
    const double vbo = batch.vbo;
    const double ebo = batch.ebo;
    gl.Forget();
    batch.DeleteGlObjects(gl.api);
    EXPECT_EQ(gl.Calls(), (Calls{Call("DeleteVertexArrays", {1, vao}), Call("DeleteBuffers", {1, vbo}),
                                 Call("DeleteBuffers", {1, ebo})}));
    EXPECT_EQ(batch.vao + batch.vbo + batch.ebo, 0u);
    EXPECT_FALSE(batch.ready);
    batch.DeleteGlObjects(gl.api);
    EXPECT_EQ(gl.Calls().size(), 3u);
}

TEST(DrawBatch, UploadSendsTheUsedBytesFromTheStart) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 10));
    ASSERT_TRUE(batch.CreateGlObjects(gl.api));
    const ktFlatVertex corners[4] = {{0x0201, 0x0403, {5, 6, 7, 8}}, corner, corner, corner};
    batch.AppendQuad(corners);
    gl.Forget();
    batch.Upload(gl.api);
    const Calls calls = gl.Calls();
    EXPECT_EQ(calls, (Calls{Call("BindBuffer", {ktGlArrayBuffer, double(batch.vbo)}),
                            Call("BufferSubData", {ktGlArrayBuffer, 0, 32, 0}),
                            Call("BindBuffer", {ktGlArrayBuffer, double(batch.ebo)}),
                            Call("BufferSubData", {ktGlArrayBuffer, 0, 24, 0})}));
    EXPECT_EQ(std::vector<uint8_t>(calls[1].data.begin(), calls[1].data.begin() + 8),
              (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(calls[3].data[4], 1);
}

TEST(DrawBatch, KindSaysWhatIsDrawn) {
    struct ktCase {
        uint32_t kind;
        std::vector<double> modes;
    };
    for (const ktCase &test : {ktCase{ktBatchTriangles, {ktGlTriangles}}, ktCase{ktBatchLines, {ktGlLines}},
                               ktCase{ktBatchTextured, {ktGlTriangles}}, ktCase{3, {}}}) {
        ktFakeGl gl;
        ktDrawBatch batch;
        ASSERT_TRUE(batch.Reserve(test.kind, 10));
        const ktTexturedVertex corners[4] = {};
        batch.AppendQuad(corners);
        batch.DrawElements(gl.api);
        Calls expected = {Call("BindVertexArray", {0})};
        for (double mode : test.modes)
            expected.push_back(Call("DrawElements", {mode, 6, ktGlUnsignedInt, 0}));
        expected.push_back(Call("BindVertexArray", {0}));
        EXPECT_EQ(gl.Calls(), expected) << test.kind;
    }
}

TEST(DrawBatch, NothingIsDrawnWithoutIndices) {
    ktFakeGl gl;
    ktDrawBatch batch;
    ASSERT_TRUE(batch.Reserve(ktBatchTriangles, 10));
    batch.DrawElements(gl.api);
    EXPECT_TRUE(gl.CallsOf("DrawElements").empty());
    EXPECT_EQ(gl.CallsOf("BindVertexArray").size(), 2u);
}
