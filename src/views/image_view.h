#pragma once

#include <cstdint>
#include <memory>

#include "gui/component.h"
#include "gui/relaxed.h"
#include "gui/texture.h"
#include "platform/sync.h"

struct ktGlApi;

/// A picture of 32 bits a pixel, uploaded when a new one has come. Draws nothing before the first.
class ktImageView final : public ktComponent {
public:
    uint32_t GetKind() const override { return ktKindImageView; }
    bool Draw(ktDrawList &list) override;

    /// Takes the next frame: `width` times `height` pixels, row by row from the top, four bytes each: blue,
    /// green, red, one unused. False, with the frame before kept, when there are none or a side is too long
    /// to upload. The picture keeps the size of the first frame. Any thread; waits for an upload of the frame
    /// before.
    bool SetFrame(std::unique_ptr<uint8_t[]> newPixels, uint64_t width, uint64_t height);

    ktTexture texture;                      ///< render thread
    int32_t first_vertex = -1;              ///< in the texture's batch; render thread
    ktRelaxed<uint64_t> frame_sequence = 0; ///< raised with each frame
    uint64_t shown_sequence = 0;            ///< the one in `texture`; render thread
    std::unique_ptr<uint8_t[]> pixels;      ///< as the two below under `frameGuard`
    uint64_t frame_width = 0;
    uint64_t frame_height = 0;

private:
    void Upload(const ktGlApi &gl);
    void UpdateTexture(const ktGlApi &gl) const;
    void MakeTexture(const ktGlApi &gl);

    ktCriticalSection frameGuard; // an upload must not read pixels that are being freed
};
