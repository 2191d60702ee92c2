#pragma once

#include "gui/gl_api.h"
#include "platform/host.h"
#include "platform/window_system.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <type_traits>

/// A GL context that is not there, for tests that need a render thread and not what it draws: all calls
/// succeed and nothing is written down. A swap takes a millisecond, as a fast screen would.
class ktSilentGlSurface final : public ktGlSurface {
public:
    bool CreateContext() override {
        if (!hasContext) SetLastSystemError(systemError);
        return hasContext;
    }
    std::string Problem() const override { return problem; }
    void *Resolve(const char *name) override {
#define KT_SILENT_GL(result, function, parameters)                                                           \
    if (std::string("gl" #function) == name) {                                                               \
        struct Tag {                                                                                         \
            static std::string Name() { return #function; }                                                  \
        };                                                                                                   \
        return reinterpret_cast<void *>(&Silent<Tag, decltype(ktGlApi::function)>::Call);                    \
    }
        KT_GL_FUNCTIONS(KT_SILENT_GL)
#undef KT_SILENT_GL
        return nullptr;
    }
    bool SetSwapInterval(int) override { return true; }
    void Swap() override {
        ++swaps;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void DestroyContext() override {}

    bool hasContext = true;   ///< what CreateContext gives
    uint32_t systemError = 0; ///< that it leaves when it fails
    std::string problem;
    std::atomic<uint64_t> swaps = 0;

private:
    template <class Tag, class Function>
    struct Silent;
    template <class Tag, class Result, class... Arguments>
    struct Silent<Tag, Result (*)(Arguments...)> {
        static Result Call(Arguments... arguments) {
            [[maybe_unused]] static const bool asksStatus = Tag::Name().ends_with("iv");
            [[maybe_unused]] static const bool asksNames = Tag::Name().starts_with("Gen");
            (Answer(arguments, asksStatus, asksNames), ...);
            if constexpr (!std::is_void_v<Result>) return 1;
        }
        // Every status is good, and every object has the same name.
        static void Answer(int32_t *status, bool asksStatus, bool) {
            if (asksStatus) *status = 1;
        }
        static void Answer(uint32_t *name, bool, bool asksNames) {
            if (asksNames) *name = 1;
        }
        template <class Other>
        static void Answer(Other, bool, bool) {}
    };
};
