#pragma once

#include "platform/window_system.h"

struct SDL_Window;

/// The drawing side of an SDL window. The window outlives the context.
class ktSdlGlSurface final : public ktGlSurface {
public:
    explicit ktSdlGlSurface(SDL_Window *drawnOn) : window(drawnOn) {}
    ktSdlGlSurface(const ktSdlGlSurface &) = delete;
    ktSdlGlSurface &operator=(const ktSdlGlSurface &) = delete;

    bool CreateContext() override;
    void *Resolve(const char *name) override;
    bool SetSwapInterval(int interval) override;
    void Swap() override;
    void DestroyContext() override;

private:
    SDL_Window *window;
    void *context = nullptr;
};

/// Says which pixel format the windows of this process get, and which GL their contexts. Main thread, before
/// the first window.
void ChooseGlFormat();
