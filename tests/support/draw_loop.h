#pragma once

#include "gui/window.h"
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

/// Draws a page again and again on a thread of its own, as the render thread does, while it lives.
class ktDrawLoop {
public:
    explicit ktDrawLoop(ktWindow &drawnPage) : page(drawnPage) { EXPECT_TRUE(thread.Start(Run, this)); }
    ~ktDrawLoop() { Stop(); }
    ktDrawLoop(const ktDrawLoop &) = delete;
    ktDrawLoop &operator=(const ktDrawLoop &) = delete;

    void Stop() {
        stop = true;
        thread.Join();
    }
    /// Returns once a frame was drawn that began after the call.
    void WaitForFrame() {
        const uint64_t wanted = frames + 2;
        while (frames < wanted) SleepMilliseconds(1);
    }

private:
    static void Run(void *argument) {
        auto &loop = *static_cast<ktDrawLoop *>(argument);
        while (!loop.stop) {
            loop.page.Draw();
            ++loop.frames;
        }
    }

    ktWindow &page;
    std::atomic<bool> stop = false;
    std::atomic<uint64_t> frames = 0;
    ktThread thread;
};
