#pragma once

#include "platform/window_system.h"

#include <string>

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
    std::string Problem() const override { return problem; }

private:
    SDL_Window *window;
    void *context = nullptr;
    std::string problem;
};

/// Says which pixel format the windows of this process get, and which GL their contexts. Main thread, before
/// the first window.
void ChooseGlFormat();
