#include "platform/linux/window/window_icon.h"

#include <SDL_surface.h>
#include <SDL_video.h>

#include <cstdint>

namespace {

constexpr int side = 64;

constexpr uint8_t pixels[side * side * 4] = {
#include <window_icon.inc>
};

} // namespace

void SetWindowIcon(SDL_Window *window) {
    // SDL takes a writable pointer and only reads through it.
    auto *const bytes = const_cast<uint8_t *>(pixels);
    SDL_Surface *const icon =
        SDL_CreateRGBSurfaceWithFormatFrom(bytes, side, side, 32, side * 4, SDL_PIXELFORMAT_RGBA32);
    if (!icon) return;
    SDL_SetWindowIcon(window, icon);
    SDL_FreeSurface(icon);
}
