#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/shader_program.h"

#include "support/allocation_count.h"
#include "support/fake_gl.h"
#include "support/test_font.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr ktColor white{255, 255, 255, 255};

class Flush : public testing::Test {
protected:
    Flush() {
        EXPECT_TRUE(list.Reserve(400));
        EXPECT_TRUE(list.CreateGlObjects(gl.api));
        EXPECT_TRUE(flat.Build(gl.api, "", ""));
        EXPECT_TRUE(text.Build(gl.api, "", ""));
        EXPECT_TRUE(image.Build(gl.api, "", ""));
        list.flat_program = &flat;
        list.text_program = &text;
        list.image_program = &image;
        list.res_x = 640;
        list.res_y = 480;
        gl.Forget();
    }
    ~Flush() override { list.DeleteGlObjects(); }

    /// The calls of one flush.
    std::vector<ktGlCall> CallsOfFlush() {
        gl.Forget();
        list.Flush();
        return gl.Calls();
    }

    void ExpectUpload(std::vector<ktGlCall> &expected, const ktDrawBatch &batch) {
        Expect(expected, "BindBuffer", {ktGlArrayBuffer, double(batch.vbo)});
        Expect(expected, "BufferSubData", {ktGlArrayBuffer, 0, double(batch.vertex_used), 0});
        Expect(expected, "BindBuffer", {ktGlArrayBuffer, double(batch.ebo)});
        Expect(expected, "BufferSubData", {ktGlArrayBuffer, 0, double(batch.index_used), 0});
    }
    void ExpectUniform(std::vector<ktGlCall> &expected, const ktShaderProgram &program, const char *name,
                       double value) {
        Expect(expected, "GetUniformLocation", {double(program.program), 0});
        Expect(expected, "Uniform1f", {double(gl.UniformLocation(name)), value});
    }
    void ExpectDraw(std::vector<ktGlCall> &expected, const ktDrawBatch &batch, double mode) {
        Expect(expected, "BindVertexArray", {double(batch.vao)});
        if (batch.index_count != 0)
            Expect(expected, "DrawElements", {mode, double(batch.index_count), ktGlUnsignedInt, 0});
        Expect(expected, "BindVertexArray", {0});
    }
    static void Expect(std::vector<ktGlCall> &expected, const char *name, std::vector<double> arguments) {
        expected.push_back({name, std::move(arguments), {}, {}});
    }
    void ExpectUse(std::vector<ktGlCall> &expected, const ktShaderProgram &program) {
        Expect(expected, "UseProgram", {double(program.program)});
        ExpectUniform(expected, program, "res_x", 640);
        ExpectUniform(expected, program, "res_y", 480);
    }
    void ExpectOffset(std::vector<ktGlCall> &expected, const ktShaderProgram &program, double x, double y) {
        ExpectUniform(expected, program, "off_x", x);
        ExpectUniform(expected, program, "off_y", y);
    }

    ktFakeGl gl;
    ktDrawList list;
    ktShaderProgram flat;
    ktShaderProgram text;
    ktShaderProgram image;
};

} // namespace

TEST_F(Flush, UploadsThenDrawsRectsLinesImagesAndText) {
    const ktTexture high{77, ktTextureImage, 1, 1};
    const ktTexture low{33, ktTextureImage, 1, 1};
    ktFont font;
    font.path = TestFontPath();
    ASSERT_TRUE(font.Load());
    font.Upload(gl.api);
    list.font = &font;
    // Appended in another order than they are drawn in.
    list.AddText(0, 0, "abc", 0, white);
    list.AddImage(0, 0, 10, 10, &high);
    list.AddImage(0, 0, 10, 10, &low);
    list.AddLine(0, 0, 1, 1, white);
    list.AddRect(0, 0, 1, 1, white);
    const std::vector<ktGlCall> calls = CallsOfFlush();

    std::vector<ktGlCall> expected;
    ExpectUpload(expected, list.triangles);
    ExpectUpload(expected, list.lines);
    ExpectUpload(expected, list.text);
    ExpectUse(expected, flat);
    ExpectUniform(expected, flat, "gs_coef", 0);
    ExpectDraw(expected, list.triangles, ktGlTriangles);
    ExpectDraw(expected, list.lines, ktGlLines);
    ExpectUse(expected, image);
    ExpectOffset(expected, image, 0, 0);
    ExpectUniform(expected, image, "gs_coef", 0);
    for (uint32_t name : {33u, 77u}) {
        ExpectUpload(expected, *list.image_batches.at(name));
        Expect(expected, "ActiveTexture", {ktGlTexture0});
        Expect(expected, "BindTexture", {ktGlTexture2d, double(name)});
        ExpectDraw(expected, *list.image_batches.at(name), ktGlTriangles);
        Expect(expected, "BindTexture", {ktGlTexture2d, 0});
    }
    ExpectUse(expected, text);
    ExpectOffset(expected, text, 0, 0);
    ExpectUniform(expected, text, "gs_coef", 0);
    Expect(expected, "ActiveTexture", {ktGlTexture0});
    Expect(expected, "BindTexture", {ktGlTexture2d, double(font.texture.name)});
    ExpectDraw(expected, list.text, ktGlTriangles);
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(gl.CallsOf("DrawElements").size(), 5u);
    font.DeleteTexture(gl.api);
}

TEST_F(Flush, UploadsTheBytesInUse) {
    list.AddRect(0x0102, 3, 4, 5, {6, 7, 8, 9});
    const std::vector<ktGlCall> calls = CallsOfFlush();
    ASSERT_EQ(calls[1].data.size(), 32u);
    EXPECT_EQ(std::vector<uint8_t>(calls[1].data.begin(), calls[1].data.begin() + 8),
              (std::vector<uint8_t>{2, 1, 3, 0, 6, 7, 8, 9}));
    ASSERT_EQ(calls[3].data.size(), 24u);
    EXPECT_EQ(calls[3].data[8], 2);
    EXPECT_TRUE(calls[5].data.empty());
}

TEST_F(Flush, EmptyBatchesAreBoundButNotDrawn) {
    CallsOfFlush();
    EXPECT_TRUE(gl.CallsOf("DrawElements").empty());
    EXPECT_EQ(gl.CallsOf("BindVertexArray").size(), 6u);
    EXPECT_EQ(gl.CallsOf("UseProgram").size(), 3u);
}

TEST_F(Flush, NothingIsDoneWithoutTheFlatOrTheTextProgram) {
    list.AddRect(0, 0, 1, 1, white);
    list.flat_program = nullptr;
    EXPECT_TRUE(CallsOfFlush().empty());
    list.flat_program = &flat;
    list.text_program = nullptr;
    EXPECT_TRUE(CallsOfFlush().empty());
    list.text_program = &text;
    list.image_program = nullptr;
    EXPECT_FALSE(CallsOfFlush().empty());
}

TEST_F(Flush, NothingIsDoneWithoutGlObjects) {
    list.AddRect(0, 0, 1, 1, white);
    list.DeleteGlObjects();
    EXPECT_TRUE(CallsOfFlush().empty());
}

TEST_F(Flush, FlatProgramThatIsNotLinkedIsNotUsed) {
    list.AddRect(0, 0, 1, 1, white);
    flat.linked = 0;
    CallsOfFlush();
    const std::vector<ktGlCall> used = gl.CallsOf("UseProgram");
    ASSERT_EQ(used.size(), 2u);
    EXPECT_EQ(used[0].arguments[0], double(image.program));
    EXPECT_EQ(used[1].arguments[0], double(text.program));
    EXPECT_EQ(gl.CallsOf("DrawElements").size(), 1u);
}

TEST_F(Flush, OffsetOfTheListReachesTheTextOnly) {
    list.off_x = 5;
    list.off_y = -6;
    CallsOfFlush();
    std::vector<std::string> offsets;
    const std::vector<ktGlCall> values = gl.CallsOf("Uniform1f");
    for (const ktGlCall &call : values)
        for (const char *name : {"off_x", "off_y"})
            if (call.arguments[0] == double(gl.UniformLocation(name)))
                offsets.push_back(name + (" " + std::to_string(int(call.arguments[1]))));
    EXPECT_EQ(offsets, (std::vector<std::string>{"off_x 0", "off_y 0", "off_x 5", "off_y -6"}));
}

TEST_F(Flush, NoProgramIsEverGrey) {
    CallsOfFlush();
    size_t found = 0;
    for (const ktGlCall &call : gl.CallsOf("Uniform1f")) {
        if (call.arguments[0] != double(gl.UniformLocation("gs_coef"))) continue;
        EXPECT_EQ(call.arguments[1], 0.0);
        ++found;
    }
    EXPECT_EQ(found, 3u);
}

TEST_F(Flush, UniformsAreLookedUpByNameInEachFlush) {
    const std::vector<ktGlCall> first = CallsOfFlush();
    EXPECT_EQ(gl.CallsOf("GetUniformLocation").size(), 13u);
    EXPECT_EQ(CallsOfFlush(), first);
}

TEST_F(Flush, ImageWhoseTextureIsNotMadeIsDrawnUnbound) {
    ktTexture texture{33, ktTextureImage, 1, 1};
    list.AddImage(0, 0, 10, 10, &texture);
    texture.state = ktTextureNone;
    CallsOfFlush();
    EXPECT_TRUE(gl.CallsOf("ActiveTexture").empty());
    EXPECT_EQ(gl.CallsOf("BindTexture"),
              (std::vector<ktGlCall>{{"BindTexture", {ktGlTexture2d, 0}, {}, {}}}));
    EXPECT_EQ(gl.CallsOf("DrawElements").size(), 1u);
}

TEST_F(Flush, ImageNeedsABatchAndATexture) {
    const ktTexture texture{33, ktTextureImage, 1, 1};
    list.AddImage(0, 0, 10, 10, &texture);
    list.image_textures[33] = nullptr;
    CallsOfFlush();
    EXPECT_TRUE(gl.CallsOf("DrawElements").empty());
    list.image_textures = {{44, &texture}};
    CallsOfFlush();
    EXPECT_TRUE(gl.CallsOf("DrawElements").empty());
}

TEST_F(Flush, FontWithoutATextureIsNotBound) {
    list.font = &TestFont();
    list.AddText(0, 0, "abc", 0, white);
    CallsOfFlush();
    EXPECT_TRUE(gl.CallsOf("BindTexture").empty());
    EXPECT_EQ(gl.CallsOf("DrawElements").size(), 1u);
}

TEST_F(Flush, DoesNotAllocate) {
    const ktTexture texture{33, ktTextureImage, 1, 1};
    list.font = &TestFont();
    list.AddImage(0, 0, 10, 10, &texture);
    gl.record = false;
    const uint64_t before = AllocationCount();
    for (int frame = 0; frame < 3; ++frame) {
        list.text.Clear();
        list.AddText(0, 0, "a frame", 0, white);
        list.Flush();
    }
    EXPECT_EQ(AllocationCount(), before);
    gl.record = true;
}
