#include "views/tv_window.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocation_count.h"
#include "support/fake_gl.h"

namespace {

std::unique_ptr<uint8_t[]> Pixels(uint64_t width, uint64_t height, uint8_t value = 0) {
    const auto size = static_cast<size_t>(width * height * 4);
    auto pixels = std::make_unique<uint8_t[]>(size);
    std::memset(pixels.get(), value, size);
    return pixels;
}

class TvWindow : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(window.draw_list.Reserve(1000));
        ASSERT_TRUE(window.draw_list.CreateGlObjects(gl.api));
        window.SetSize(1440, 990);
        gl.Forget();
    }
    void TearDown() override {
        window.draw_list.DeleteGlObjects();
        window.draw_list.Free();
    }

    ktImageView &view = window.image_view;
    std::vector<int> Corners() {
        std::vector<int> corners;
        const ktTexturedVertex *vertices =
            window.draw_list.image_batches.at(view.texture.name)->TexturedAt(0);
        for (int at = 0; at < 4; ++at) {
            corners.push_back(vertices[at].x);
            corners.push_back(vertices[at].y);
        }
        return corners;
    }

    ktFakeGl gl;
    ktTvWindow window;
};

TEST_F(TvWindow, StartsWithoutAPicture) {
    EXPECT_EQ(view.GetKind(), 9u);
    EXPECT_EQ(view.texture.state, 0u);
    EXPECT_EQ(view.texture.name, 0u);
    EXPECT_EQ(view.first_vertex, -1);
    EXPECT_EQ(view.frame_sequence, 0u);
    EXPECT_EQ(view.shown_sequence, 0u);
    EXPECT_EQ(view.pixels, nullptr);
    EXPECT_EQ(view.frame_width, 0u);
    EXPECT_EQ(view.frame_height, 0u);
}

TEST_F(TvWindow, ThePictureHasItsPlaceWhateverTheWindowsSize) {
    for (const uint32_t side : {100u, 1280u, 2560u}) {
        window.SetSize(side, side);
        EXPECT_EQ(window.w, side);
        EXPECT_EQ(window.h, side);
        EXPECT_EQ(view.x, 0u);
        EXPECT_EQ(view.y, 100u);
        EXPECT_EQ(view.w, 1280u);
        EXPECT_EQ(view.h, 720u);
    }
}

TEST_F(TvWindow, WithoutAFrameOnlyTheClearColourShows) {
    EXPECT_TRUE(window.Draw());
    EXPECT_FALSE(view.Draw(window.draw_list));
    EXPECT_TRUE(gl.Calls().empty());
    EXPECT_TRUE(window.draw_list.image_batches.empty());
    EXPECT_EQ(window.draw_list.triangles.vertex_count, 0u);
    EXPECT_EQ(window.draw_list.lines.vertex_count, 0u);
    EXPECT_EQ(window.draw_list.text.vertex_count, 0u);
}

TEST_F(TvWindow, AFrameIsOneStep) {
    EXPECT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    EXPECT_EQ(view.frame_sequence, 1u);
    EXPECT_EQ(view.frame_width, 4u);
    EXPECT_EQ(view.frame_height, 2u);
    EXPECT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    EXPECT_EQ(view.frame_sequence, 2u);
    EXPECT_EQ(view.shown_sequence, 0u);
}

TEST_F(TvWindow, AFrameWithoutPixelsIsRefused) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    EXPECT_FALSE(view.SetFrame(nullptr, 4, 2));
    EXPECT_FALSE(view.SetFrame(Pixels(1, 1), 0, 2));
    EXPECT_FALSE(view.SetFrame(Pixels(1, 1), 4, 0));
    EXPECT_FALSE(view.SetFrame(Pixels(1, 1), uint64_t(1) << 31, 1));
    EXPECT_FALSE(view.SetFrame(Pixels(1, 1), 1, uint64_t(1) << 32));
    EXPECT_EQ(view.frame_sequence, 1u);
    EXPECT_EQ(view.frame_width, 4u);
    EXPECT_NE(view.pixels, nullptr);
}

TEST_F(TvWindow, TheFirstFrameMakesTheTexture) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2, 7), 4, 2));
    window.Draw();
    const double name = view.texture.name;
    ASSERT_NE(name, 0);
    const std::vector<ktGlCall> expected = {
        {"PixelStorei", {ktGlUnpackAlignment, 1}, {}, {}},
        {"GenTextures", {1, 0}, {}, {}},
        {"BindTexture", {ktGlTexture2d, name}, {}, {}},
        {"TexImage2D", {ktGlTexture2d, 0, ktGlRgba8, 4, 2, 0, ktGlBgra, ktGlUnsignedInt8888, 0}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureWrapS, ktGlClampToEdge}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureWrapT, ktGlClampToEdge}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureMinFilter, ktGlLinear}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureMagFilter, ktGlLinear}, {}, {}},
    };
    std::vector<ktGlCall> calls = gl.Calls();
    ASSERT_GE(calls.size(), expected.size()); // the image's batch gets its objects behind them
    EXPECT_EQ(calls[3].data, std::vector<uint8_t>(32, 7));
    calls.resize(expected.size());
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(view.texture.state, 2u);
    EXPECT_EQ(view.texture.width, 4u);
    EXPECT_EQ(view.texture.height, 2u);
    EXPECT_EQ(view.shown_sequence, 1u);
    EXPECT_EQ(view.first_vertex, 0);
    EXPECT_EQ(Corners(), (std::vector<int>{0, 100, 1280, 100, 1280, 820, 0, 820}));
}

TEST_F(TvWindow, AnOldTextureIsDeletedBeforeAnotherIsMade) {
    view.texture.name = 77;
    view.texture.state = ktTextureAtlas;
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    window.Draw();
    EXPECT_EQ(gl.Calls().front(), (ktGlCall{"DeleteTextures", {1, 77}, {}, {}}));
    EXPECT_NE(view.texture.name, 77u);
}

TEST_F(TvWindow, LaterFramesUpdateTheTextureInPlace) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    window.Draw();
    const double name = view.texture.name;
    ASSERT_TRUE(view.SetFrame(Pixels(4, 1, 9), 4, 1));
    gl.Forget();
    window.Draw();
    EXPECT_EQ(gl.Calls(),
              (std::vector<ktGlCall>{
                  {"BindTexture", {ktGlTexture2d, name}, {}, {}},
                  {"TexSubImage2D", {ktGlTexture2d, 0, 0, 0, 4, 1, ktGlBgra, ktGlUnsignedInt8888, 0}, {}, {}},
              }));
    EXPECT_EQ(gl.Calls()[1].data, std::vector<uint8_t>(16, 9));
    EXPECT_EQ(view.shown_sequence, 2u);
}

TEST_F(TvWindow, TheTextureKeepsTheSizeOfTheFirstFrame) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    window.Draw();
    ASSERT_TRUE(view.SetFrame(Pixels(8, 8), 8, 8));
    window.Draw();
    EXPECT_EQ(view.texture.width, 4u);
    EXPECT_EQ(view.texture.height, 2u);
    EXPECT_EQ(view.shown_sequence, 2u);
    EXPECT_EQ(gl.CallsOf("TexImage2D").size(), 1u);
}

TEST_F(TvWindow, WithoutANewFrameNothingIsUploaded) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    window.Draw();
    gl.Forget();
    window.Draw();
    window.Draw();
    EXPECT_TRUE(gl.Calls().empty());
    EXPECT_EQ(window.draw_list.image_batches.at(view.texture.name)->vertex_count, 4u);
}

TEST_F(TvWindow, OfSeveralFramesTheLastIsUploaded) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2, 1), 4, 2));
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2, 2), 4, 2));
    window.Draw();
    ASSERT_EQ(gl.CallsOf("TexImage2D").size(), 1u);
    EXPECT_EQ(gl.CallsOf("TexImage2D")[0].data, std::vector<uint8_t>(32, 2));
    EXPECT_EQ(view.shown_sequence, 2u);
}

TEST_F(TvWindow, ThePictureMovesInPlace) {
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    window.Draw();
    view.SetRect(10, 20, 30, 40);
    window.Draw();
    EXPECT_EQ(Corners(), (std::vector<int>{10, 20, 40, 20, 40, 60, 10, 60}));
    EXPECT_EQ(window.draw_list.image_batches.at(view.texture.name)->vertex_count, 4u);
}

TEST_F(TvWindow, ASteadyFrameAllocatesNothing) {
    gl.record = false;
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    window.Draw();
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    const uint64_t before = AllocationCount();
    window.Draw();
    window.Draw();
    EXPECT_EQ(AllocationCount(), before);
}

TEST_F(TvWindow, WithoutAContextTheFrameWaits) {
    ktDrawList bare;
    ASSERT_TRUE(bare.Reserve(1000));
    ASSERT_TRUE(view.SetFrame(Pixels(4, 2), 4, 2));
    EXPECT_FALSE(view.Draw(bare));
    EXPECT_EQ(view.shown_sequence, 0u);
    EXPECT_TRUE(view.Draw(window.draw_list));
    EXPECT_EQ(view.shown_sequence, 1u);
}

TEST_F(TvWindow, FramesMayArriveWhileOthersAreUploaded) {
    constexpr uint64_t frames = 500;
    std::thread producer([this] {
        for (uint64_t at = 0; at < frames; ++at)
            view.SetFrame(Pixels(16, 16, static_cast<uint8_t>(at)), 16, 16);
    });
    while (view.shown_sequence != frames) window.Draw();
    producer.join();
    for (const char *name : {"TexImage2D", "TexSubImage2D"})
        for (const ktGlCall &call : gl.CallsOf(name))
            EXPECT_EQ(call.data, std::vector<uint8_t>(16 * 16 * 4, call.data.at(0)));
}

} // namespace
