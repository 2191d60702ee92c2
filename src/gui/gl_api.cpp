#include "gui/gl_api.h"

#include "platform/window_system.h"

bool ktGlApi::Load(ktGlSurface &surface) {
    bool complete = true;
#define KT_GL_LOAD(result, name, parameters)                                                                 \
    name = reinterpret_cast<decltype(name)>(surface.Resolve("gl" #name));                                    \
    complete = complete && name != nullptr;
    KT_GL_FUNCTIONS(KT_GL_LOAD)
#undef KT_GL_LOAD
    if (!complete) *this = {};
    return complete;
}
