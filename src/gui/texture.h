#pragma once

#include <cstdint>

enum ktTextureState : uint32_t { ktTextureNone = 0, ktTextureAtlas = 1, ktTextureImage = 2 };

/// A texture of the render thread's context.
struct ktTexture {
    uint32_t name = 0; ///< GL name, 0 for none
    uint32_t state = ktTextureNone;
    uint32_t width = 0;
    uint32_t height = 0;
};
