#include "gui/draw_list.h"

#include "support/allocation_count.h"
#include "support/fake_gl.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

namespace {

constexpr ktColor red{255, 0, 0, 255};
constexpr ktColor green{0, 255, 0, 128};

using Points = std::vector<std::pair<int, int>>;

Points FlatPoints(ktDrawBatch &batch, int32_t first, int32_t count) {
    Points points;
    for (int32_t i = first; i < first + count; ++i)
        points.emplace_back(batch.FlatAt(i)->x, batch.FlatAt(i)->y);
    return points;
}

std::vector<uint32_t> Indices(const ktDrawBatch &batch) {
    return {batch.index_data.get(), batch.index_data.get() + batch.index_count};
}

class DrawList : public testing::Test {
protected:
    DrawList() { EXPECT_TRUE(list.Reserve()); }
    ~DrawList() override { list.DeleteGlObjects(); }

    ktFakeGl gl;
    ktDrawList list;
};

} // namespace

TEST_F(DrawList, StartsWithoutOffsetAndClip) {
    EXPECT_EQ(list.off_x, 0);
    EXPECT_EQ(list.off_y, 0);
    EXPECT_EQ(list.tab_width, 4);
    EXPECT_FALSE(list.clip_on);
    EXPECT_EQ(list.gl, nullptr);
}

TEST_F(DrawList, WindowsTextBatchHolds200000Vertices) {
    EXPECT_EQ(list.triangles.vertex_max, 1000u);
    EXPECT_EQ(list.lines.vertex_max, 1000u);
    EXPECT_EQ(list.text.vertex_max, 200000u);
    EXPECT_EQ(list.triangles.kind, ktBatchTriangles);
    EXPECT_EQ(list.lines.kind, ktBatchLines);
    EXPECT_EQ(list.text.kind, ktBatchTextured);
}

TEST_F(DrawList, SmallTextBatchForAWindowOfOneImage) {
    ktDrawList small;
    ASSERT_TRUE(small.Reserve(1000));
    EXPECT_EQ(small.text.vertex_max, 1000u);
    EXPECT_EQ(small.text.vertex_capacity, 16000u);
    EXPECT_EQ(small.triangles.vertex_max, 1000u);
    ASSERT_TRUE(small.CreateGlObjects(gl.api));
    const ktTexture texture{7, ktTextureImage, 2, 2};
    EXPECT_EQ(small.AddImage(0, 0, 2, 2, &texture), 0);
    EXPECT_EQ(small.text.vertex_count, 0u);
    EXPECT_EQ(small.image_batches.at(7)->vertex_max, 10u);
    small.DeleteGlObjects();
}

TEST_F(DrawList, ReserveWithoutMemoryHoldsNothing) {
    ktDrawList other;
    const int64_t before = LiveAllocationCount();
    const ktAllocationFailure failure(200000 * 16);
    EXPECT_FALSE(other.Reserve());
    EXPECT_EQ(LiveAllocationCount(), before);
    EXPECT_EQ(other.triangles.vertex_capacity, 0u);
    EXPECT_EQ(other.lines.vertex_capacity, 0u);
    EXPECT_EQ(other.text.vertex_capacity, 0u);
}

TEST_F(DrawList, RectIsFourCornersClockwiseAndSixIndices) {
    EXPECT_EQ(list.AddRect(10, 20, 30, 40, red), 0);
    EXPECT_EQ(list.AddRect(1, 2, 3, 4, green), 4);
    EXPECT_EQ(FlatPoints(list.triangles, 0, 4), (Points{{10, 20}, {40, 20}, {40, 60}, {10, 60}}));
    EXPECT_EQ(FlatPoints(list.triangles, 4, 4), (Points{{1, 2}, {4, 2}, {4, 6}, {1, 6}}));
    EXPECT_EQ(Indices(list.triangles), (std::vector<uint32_t>{0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7}));
    for (int32_t i = 0; i < 4; ++i) EXPECT_EQ(list.triangles.FlatAt(i)->color, red);
    for (int32_t i = 4; i < 8; ++i) EXPECT_EQ(list.triangles.FlatAt(i)->color, green);
}

TEST_F(DrawList, CoordinatesWrapAt16Bits) {
    list.AddRect(32767, 40000, 1, 30000, red);
    EXPECT_EQ(FlatPoints(list.triangles, 0, 4),
              (Points{{32767, -25536}, {-32768, -25536}, {-32768, 4464}, {32767, 4464}}));
    list.AddLine(65535, 0, 32768, 1, red);
    EXPECT_EQ(FlatPoints(list.lines, 0, 2), (Points{{-1, 0}, {-32768, 1}}));
}

TEST_F(DrawList, BatchOf1000Holds250RectsAnd500Lines) {
    for (int32_t i = 0; i < 250; ++i) ASSERT_EQ(list.AddRect(1, 1, 1, 1, red), i * 4);
    EXPECT_EQ(list.AddRect(1, 1, 1, 1, red), -1);
    EXPECT_EQ(list.triangles.vertex_count, 1000u);
    for (int32_t i = 0; i < 500; ++i) ASSERT_EQ(list.AddLine(1, 1, 1, 1, red), i * 2);
    EXPECT_EQ(list.AddLine(1, 1, 1, 1, red), -1);
    EXPECT_EQ(list.lines.vertex_count, 1000u);
    EXPECT_EQ(list.lines.index_count, 1000u);
}

TEST_F(DrawList, RectWithoutRoomForIndicesLeavesItsVertices) {
    list.triangles.index_capacity = 23;
    EXPECT_EQ(list.AddRect(1, 2, 3, 4, red), -1);
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_EQ(list.triangles.index_count, 0u);
}

TEST_F(DrawList, LineIsTwoVerticesAndTwoIndices) {
    EXPECT_EQ(list.AddLine(1, 2, 3, 4, red), 0);
    EXPECT_EQ(list.AddLine(5, 6, 7, 8, green), 2);
    EXPECT_EQ(FlatPoints(list.lines, 0, 4), (Points{{1, 2}, {3, 4}, {5, 6}, {7, 8}}));
    EXPECT_EQ(Indices(list.lines), (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(list.lines.FlatAt(3)->color, green);
}

TEST_F(DrawList, CrossIsTwoDiagonals) {
    EXPECT_EQ(list.AddCross(50, 60, 11, red), 0);
    EXPECT_EQ(FlatPoints(list.lines, 0, 4), (Points{{45, 55}, {55, 65}, {55, 55}, {45, 65}}));
    EXPECT_EQ(list.AddCross(2, 2, 8, red), 4);
    EXPECT_EQ(FlatPoints(list.lines, 4, 4), (Points{{-2, -2}, {6, 6}, {6, -2}, {-2, 6}}));
}

TEST_F(DrawList, CrossWithRoomForOneLineFails) {
    for (int32_t i = 0; i < 499; ++i) list.AddLine(1, 1, 1, 1, red);
    EXPECT_EQ(list.AddCross(50, 60, 10, red), -1);
    EXPECT_EQ(list.lines.vertex_count, 1000u);
    EXPECT_EQ(list.AddCross(50, 60, 10, red), -1);
}

TEST_F(DrawList, OutlineBoxIsTopRightBottomLeft) {
    EXPECT_EQ(list.AddOutlineBox(100, 200, red), 0);
    EXPECT_EQ(FlatPoints(list.lines, 0, 8), (Points{{100, 200},
                                                    {108, 200},
                                                    {108, 200},
                                                    {108, 210}, //
                                                    {108, 210},
                                                    {100, 210},
                                                    {100, 210},
                                                    {100, 200}}));
    EXPECT_EQ(list.AddOutlineBox(0, 0, red), 8);
    list.MoveOutlineBox(0, 10, 20, green);
    EXPECT_EQ(FlatPoints(list.lines, 0, 8), (Points{{10, 20},
                                                    {18, 20},
                                                    {18, 20},
                                                    {18, 30}, //
                                                    {18, 30},
                                                    {10, 30},
                                                    {10, 30},
                                                    {10, 20}}));
    for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(list.lines.FlatAt(i)->color, green);
    EXPECT_EQ(list.lines.FlatAt(8)->color, red);
    EXPECT_EQ(list.lines.vertex_count, 16u);
    EXPECT_EQ(list.lines.index_count, 16u);
}

TEST_F(DrawList, TriangleIsThreeCorners) {
    list.AddRect(1, 1, 1, 1, red);
    EXPECT_EQ(list.AddTriangle({{1, 2}, {3, 4}, {-5, 6}}, green), 4);
    EXPECT_EQ(FlatPoints(list.triangles, 4, 3), (Points{{1, 2}, {3, 4}, {-5, 6}}));
    EXPECT_EQ(Indices(list.triangles), (std::vector<uint32_t>{0, 1, 2, 0, 2, 3, 4, 5, 6}));
    EXPECT_EQ(list.triangles.FlatAt(6)->color, green);
}

TEST_F(DrawList, RetainedRectIsRewrittenInItsPlace) {
    int32_t other = -1;
    int32_t first = -1;
    list.PutRect(other, 1, 1, 1, 1, red);
    list.PutRect(first, 10, 20, 30, 40, red);
    EXPECT_EQ(first, 4);
    list.PutRect(first, 11, 21, 31, 41, green);
    EXPECT_EQ(first, 4);
    EXPECT_EQ(FlatPoints(list.triangles, 4, 4), (Points{{11, 21}, {42, 21}, {42, 62}, {11, 62}}));
    EXPECT_EQ(list.triangles.FlatAt(7)->color, green);
    EXPECT_EQ(list.triangles.FlatAt(3)->color, red);
    EXPECT_EQ(list.triangles.vertex_count, 8u);
    EXPECT_EQ(list.triangles.index_count, 12u);
}

TEST_F(DrawList, RetainedRectKeepsItsPlaceWhenTheWindowIsResized) {
    int32_t first = -1;
    list.res_x = 1440;
    list.res_y = 990;
    list.PutRect(first, 0, 0, 1440, 990, red);
    list.res_x = 100;
    list.res_y = 50;
    list.PutRect(first, 0, 0, 100, 50, red);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(FlatPoints(list.triangles, 0, 4), (Points{{0, 0}, {100, 0}, {100, 50}, {0, 50}}));
    EXPECT_EQ(list.triangles.index_count, 6u);
}

TEST_F(DrawList, RetainedFigureWithoutRoomTriesAgain) {
    for (int32_t i = 0; i < 250; ++i) list.AddRect(1, 1, 1, 1, red);
    int32_t first = -1;
    list.PutRect(first, 1, 2, 3, 4, red);
    EXPECT_EQ(first, -1);
    list.triangles.Clear();
    list.PutRect(first, 1, 2, 3, 4, red);
    EXPECT_EQ(first, 0);
}

TEST_F(DrawList, RetainedLineAndCrossAreRewrittenInTheirPlaces) {
    int32_t line = -1;
    int32_t cross = -1;
    list.PutLine(line, 1, 2, 3, 4, red);
    list.PutCross(cross, 50, 60, 10, red);
    EXPECT_EQ(line, 0);
    EXPECT_EQ(cross, 2);
    list.PutLine(line, 5, 6, 7, 8, green);
    list.PutCross(cross, 20, 30, 4, green);
    EXPECT_EQ(line, 0);
    EXPECT_EQ(cross, 2);
    EXPECT_EQ(FlatPoints(list.lines, 0, 6), (Points{{5, 6}, {7, 8}, {18, 28}, {22, 32}, {22, 28}, {18, 32}}));
    EXPECT_EQ(list.lines.vertex_count, 6u);
    EXPECT_EQ(list.lines.index_count, 6u);
    for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(list.lines.FlatAt(i)->color, green);
}

TEST_F(DrawList, RewritingDoesNotAllocate) {
    int32_t rect = -1;
    int32_t line = -1;
    int32_t cross = -1;
    const uint64_t before = AllocationCount();
    for (uint32_t i = 0; i < 100; ++i) {
        list.PutRect(rect, i, i, 10, 10, red);
        list.PutLine(line, i, i, 10, 10, red);
        list.PutCross(cross, i, i, 10, red);
    }
    EXPECT_EQ(AllocationCount(), before);
}

TEST_F(DrawList, ImageHasABatchOfItsOwn) {
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    const ktTexture texture{9, ktTextureImage, 640, 480};
    EXPECT_EQ(list.AddImage(10, 20, 640, 480, &texture), 0);
    ASSERT_EQ(list.image_batches.size(), 1u);
    EXPECT_EQ(list.image_textures.at(9), &texture);
    ktDrawBatch &batch = *list.image_batches.at(9);
    EXPECT_TRUE(batch.ready);
    EXPECT_EQ(batch.kind, ktBatchTextured);
    EXPECT_EQ(batch.stride, 16u);
    EXPECT_EQ(batch.vertex_max, 10u);
    const std::array<std::array<int, 4>, 4> expected = {
        {{10, 20, 0, 1}, {650, 20, 1, 1}, {650, 500, 1, 0}, {10, 500, 0, 0}}};
    for (int32_t i = 0; i < 4; ++i) {
        const ktTexturedVertex &vertex = *batch.TexturedAt(i);
        const auto &[x, y, u, v] = expected[size_t(i)];
        EXPECT_EQ(vertex.x, x);
        EXPECT_EQ(vertex.y, y);
        EXPECT_EQ(vertex.u, float(u));
        EXPECT_EQ(vertex.v, float(v));
        EXPECT_EQ(vertex.color, ktColorFrom(0xFFFFFFFF));
    }
    EXPECT_EQ(Indices(batch), (std::vector<uint32_t>{0, 1, 2, 0, 2, 3}));
    EXPECT_EQ(list.text.vertex_count, 0u);
}

TEST_F(DrawList, TextureHoldsTwoImages) {
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    const ktTexture texture{9, ktTextureImage, 1, 1};
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, &texture), 0);
    EXPECT_EQ(list.AddImage(5, 5, 1, 1, &texture), 4);
    EXPECT_EQ(list.AddImage(9, 9, 1, 1, &texture), -1);
    EXPECT_EQ(list.image_batches.size(), 1u);
    const ktTexture other{8, ktTextureImage, 1, 1};
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, &other), 0);
    EXPECT_EQ(list.image_batches.size(), 2u);
}

TEST_F(DrawList, ImageWithoutATextureIsNotAdded) {
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    const ktTexture nameless;
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, nullptr), -1);
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, &nameless), -1);
    EXPECT_TRUE(list.image_batches.empty());
    EXPECT_TRUE(list.image_textures.empty());
}

TEST_F(DrawList, ImageBatchThatCannotBeMadeLeavesNothing) {
    const ktTexture texture{9, ktTextureImage, 1, 1};
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, &texture), -1) << "no context";
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    gl.gives_names = false;
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, &texture), -1) << "no names";
    gl.gives_names = true;
    {
        const ktAllocationFailure failure(10 * 16);
        EXPECT_EQ(list.AddImage(0, 0, 1, 1, &texture), -1) << "no memory";
        EXPECT_EQ(failure.Count(), 2u);
    }
    EXPECT_TRUE(list.image_batches.empty());
    EXPECT_TRUE(list.image_textures.empty());
    EXPECT_EQ(list.AddImage(0, 0, 1, 1, &texture), 0);
}

TEST_F(DrawList, GlObjectsOfAllBatchesComeAndGo) {
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    EXPECT_EQ(list.gl, &gl.api);
    EXPECT_TRUE(list.triangles.ready && list.lines.ready && list.text.ready);
    const ktTexture texture{9, ktTextureImage, 1, 1};
    ASSERT_EQ(list.AddImage(0, 0, 1, 1, &texture), 0);
    list.DeleteGlObjects();
    EXPECT_EQ(list.gl, nullptr);
    EXPECT_FALSE(list.triangles.ready || list.lines.ready || list.text.ready ||
                 list.image_batches.at(9)->ready);
    EXPECT_EQ(gl.CallsOf("DeleteVertexArrays").size(), 4u);
    EXPECT_EQ(gl.CallsOf("DeleteBuffers").size(), 8u);
    list.DeleteGlObjects();
    EXPECT_EQ(gl.CallsOf("DeleteBuffers").size(), 8u);
}

TEST_F(DrawList, GlObjectsOfOneBatchThatFailsTakeTheOthersAlong) {
    list.text.kind = 3;
    EXPECT_FALSE(list.CreateGlObjects(gl.api));
    EXPECT_FALSE(list.triangles.ready || list.lines.ready || list.text.ready);
    EXPECT_EQ(gl.CallsOf("DeleteVertexArrays").size(), 3u);
    EXPECT_EQ(list.gl, nullptr);
}

TEST_F(DrawList, FreeEmptiesMapsAndBatches) {
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    const ktTexture texture{9, ktTextureImage, 1, 1};
    list.AddImage(0, 0, 1, 1, &texture);
    list.DeleteGlObjects();
    list.Free();
    EXPECT_TRUE(list.image_batches.empty());
    EXPECT_TRUE(list.image_textures.empty());
    EXPECT_EQ(list.triangles.vertex_capacity + list.lines.vertex_capacity + list.text.vertex_capacity, 0u);
    EXPECT_EQ(list.AddRect(1, 1, 1, 1, red), -1);
}
