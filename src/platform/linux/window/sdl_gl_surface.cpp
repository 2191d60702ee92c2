#include "platform/linux/window/sdl_gl_surface.h"

#include <SDL_error.h>
#include <SDL_thread.h>
#include <SDL_video.h>

bool ktSdlGlSurface::CreateContext() {
    if (context) return false;
    context = SDL_GL_CreateContext(window); // makes it current as well
    if (context) return true;
    problem = SDL_GetError();
    SDL_TLSCleanup();
    return false;
}

void *ktSdlGlSurface::Resolve(const char *name) { return SDL_GL_GetProcAddress(name); }

bool ktSdlGlSurface::SetSwapInterval(int interval) { return SDL_GL_SetSwapInterval(interval) == 0; }

void ktSdlGlSurface::Swap() { SDL_GL_SwapWindow(window); }

void ktSdlGlSurface::DestroyContext() {
    if (!context) return;
    SDL_GL_MakeCurrent(window, nullptr);
    SDL_GL_DeleteContext(context);
    context = nullptr;
    SDL_TLSCleanup(); // what SDL keeps for a thread that it did not start itself
}

void ChooseGlFormat() {
    SDL_GL_SetAttribute(SDL_GL_RED_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, 8);
    // Without alpha bits: a desktop that composes windows would let others shine through.
    SDL_GL_SetAttribute(SDL_GL_ALPHA_SIZE, 0);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 0);
    SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, 0);
    // A context without a version is one of GL 2 or 3.0 with some drivers.
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_CORE);
}
