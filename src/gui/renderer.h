#pragma once

#include "gui/gl_api.h"
#include "gui/relaxed.h"
#include "gui/shader_program.h"
#include "platform/sync.h"
#include "platform/thread.h"

#include <cstdint>
#include <list>
#include <string>

class ktClock;
class ktDrawList;
class ktFont;
class ktGlSurface;
class ktWindow;
class ktWindowSet;

/// Width and height in one word, so that no reader sees one of them without the other.
constexpr uint64_t ktPackSize(uint32_t w, uint32_t h) { return uint64_t(w) << 32 | h; }

/// The thread that draws every frame, and the owner of the one GL context. The main thread reaches it through
/// `requested_size`, `live_resize` and `stop` only. It draws at full rate all the time: there is no idle
/// state.
class ktRenderer {
public:
    static constexpr uint32_t setupFailed = 1627;
    static constexpr uint64_t framePeriodUs = 16600; ///< aimed at without a swap interval

    /// `newSurface` must outlive the thread; it is used by that thread alone.
    ktRenderer(ktGlSurface &newSurface, ktClock &newClock);
    ~ktRenderer();
    ktRenderer(const ktRenderer &) = delete;
    ktRenderer &operator=(const ktRenderer &) = delete;

    /// Starts the thread and waits until it has set itself up. False when that failed; nothing runs then, and
    /// LastSystemError is what the system said on that thread.
    bool Start();
    /// Ends the thread and waits for it. Safe to call again, and without a start.
    void Stop();
    /// The driver's words on a start that failed; empty when it said none.
    std::string Problem() const;
    /// Forgets draw lists, fonts and the shader programs. After Stop.
    void Free();

    ktGlSurface &surface;
    ktThread thread;
    ktEvent started_event;
    uint32_t start_error = 0;  ///< valid once started_event is set
    uint32_t system_error = 0; ///< that a failed set-up met
    bool has_swap_interval = false;
    ktRelaxed<bool> stop = true;
    ktRelaxed<bool> live_resize = false; ///< the corner is being dragged: no waiting in a frame
    ktRelaxed<bool> paused = false;
    uint64_t frame_start = 0;              ///< nanoseconds; at a frame's end those that it took
    ktRelaxed<uint64_t> frame_time_us = 0; ///< length of the last frame, from its start to the next one's
    uint64_t applied_size = 0;             ///< last given to the viewport
    ktRelaxed<uint64_t> requested_size = 0;
    ktShaderProgram flat_program;
    ktShaderProgram text_program;
    ktShaderProgram image_program;
    ktRelaxed<ktWindowSet *> gui = nullptr; ///< cleared when the thread ends
    std::list<ktDrawList *> draw_lists;     ///< not owned; unchanged while the thread runs
    std::list<ktFont *> fonts;              ///< not owned; unchanged while the thread runs

private:
    static void RunThread(void *renderer);
    void Run();
    bool SetUp();
    bool LoadPrograms();
    bool CreateGlObjects();
    void TearDown();
    void DeleteGlObjects();
    void DrawFrame();
    void DrawWindow(ktWindow &window);
    void Pace();

    ktClock &clock;
    ktGlApi gl;
};
