#include "views/image_view.h"

#include <limits>
#include <utility>

#include "gui/draw_list.h"
#include "gui/gl_api.h"

bool ktImageView::SetFrame(std::unique_ptr<uint8_t[]> newPixels, uint64_t width, uint64_t height) {
    constexpr uint64_t longest = std::numeric_limits<int32_t>::max();
    if (!newPixels || width == 0 || height == 0 || width > longest || height > longest) return false;
    ktLockGuard guard(frameGuard);
    pixels = std::move(newPixels);
    frame_width = width;
    frame_height = height;
    frame_sequence = frame_sequence + 1;
    return true;
}

bool ktImageView::Draw(ktDrawList &list) {
    if (frame_sequence != shown_sequence && list.gl) Upload(*list.gl);
    if (first_vertex == -1) {
        first_vertex = list.AddImage(static_cast<uint16_t>(x), static_cast<uint16_t>(y), w,
                                     static_cast<uint16_t>(h), &texture);
        return first_vertex != -1;
    }
    const auto batch = list.image_batches.find(texture.name);
    if (batch == list.image_batches.end()) return false;
    const auto left = static_cast<int16_t>(x);
    const auto top = static_cast<int16_t>(y);
    const auto right = static_cast<int16_t>(x + w);
    const auto bottom = static_cast<int16_t>(y + h);
    const int16_t corners[4][2] = {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
    ktTexturedVertex *vertices = batch->second->TexturedAt(first_vertex);
    for (size_t at = 0; at < 4; ++at) {
        vertices[at].x = corners[at][0];
        vertices[at].y = corners[at][1];
    }
    return true;
}

void ktImageView::Upload(const ktGlApi &gl) {
    ktLockGuard guard(frameGuard);
    if (texture.state == ktTextureImage)
        UpdateTexture(gl);
    else
        MakeTexture(gl);
    shown_sequence = frame_sequence;
}

void ktImageView::UpdateTexture(const ktGlApi &gl) const {
    gl.BindTexture(ktGlTexture2d, texture.name);
    // A frame larger than the texture is refused by the driver, and the picture stays.
    gl.TexSubImage2D(ktGlTexture2d, 0, 0, 0, static_cast<int32_t>(frame_width),
                     static_cast<int32_t>(frame_height), ktGlBgra, ktGlUnsignedInt8888, pixels.get());
}

void ktImageView::MakeTexture(const ktGlApi &gl) {
    if (texture.name != 0) gl.DeleteTextures(1, &texture.name);
    gl.PixelStorei(ktGlUnpackAlignment, 1);
    gl.GenTextures(1, &texture.name);
    gl.BindTexture(ktGlTexture2d, texture.name);
    gl.TexImage2D(ktGlTexture2d, 0, static_cast<int32_t>(ktGlRgba8), static_cast<int32_t>(frame_width),
                  static_cast<int32_t>(frame_height), 0, ktGlBgra, ktGlUnsignedInt8888, pixels.get());
    for (const ktGlEnum axis : {ktGlTextureWrapS, ktGlTextureWrapT})
        gl.TexParameteri(ktGlTexture2d, axis, static_cast<int32_t>(ktGlClampToEdge));
    for (const ktGlEnum filter : {ktGlTextureMinFilter, ktGlTextureMagFilter})
        gl.TexParameteri(ktGlTexture2d, filter, static_cast<int32_t>(ktGlLinear));
    texture.width = static_cast<uint32_t>(frame_width);
    texture.height = static_cast<uint32_t>(frame_height);
    texture.state = ktTextureImage;
}
