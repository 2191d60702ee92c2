#include "gui/renderer.h"

#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/shader_sources.h"
#include "gui/window.h"
#include "gui/window_set.h"
#include "platform/clock.h"
#include "platform/host.h"
#include "platform/window_system.h"

namespace {

/// Colour of the empty window: 43, 45, 49 of 255.
constexpr float clearRed = 0.168627456F;
constexpr float clearGreen = 0.176470593F;
constexpr float clearBlue = 0.192156866F;

constexpr uint64_t nanosecondsPerMicrosecond = 1000;

} // namespace

ktRenderer::ktRenderer(ktGlSurface &newSurface, ktClock &newClock) : surface(newSurface), clock(newClock) {}

ktRenderer::~ktRenderer() { Stop(); }

bool ktRenderer::Start() {
    if (stop) {
        started_event.Reset();
        start_error = 0;
        stop = false;
        if (!thread.Start(RunThread, this)) {
            stop = true;
            return false;
        }
    }
    started_event.Wait();
    if (start_error == 0) return true;
    Stop();
    SetLastSystemError(system_error);
    return false;
}

void ktRenderer::Stop() {
    stop = true;
    if (thread.IsStarted()) thread.Join();
}

void ktRenderer::Free() {
    draw_lists.clear();
    fonts.clear();
    // The context has gone, and the programs with it.
    for (ktShaderProgram *program : {&flat_program, &text_program, &image_program}) program->Forget();
}

void ktRenderer::RunThread(void *renderer) { static_cast<ktRenderer *>(renderer)->Run(); }

std::string ktRenderer::Problem() const {
    std::string problem = surface.Problem();
    for (const ktShaderProgram *program : {&flat_program, &text_program, &image_program})
        if (problem.empty()) problem = program->info_log.data();
    return problem;
}

void ktRenderer::Run() {
    SetLastSystemError(0);
    const bool ready = SetUp();
    system_error = LastSystemError();
    start_error = ready ? 0 : setupFailed;
    applied_size = 0; // of a context before
    started_event.Set();
    if (!ready) {
        gui = nullptr;
        return;
    }
    while (!stop) {
        if (paused) {
            clock.Sleep(static_cast<uint32_t>(frame_time_us / 1000));
            continue;
        }
        if (const uint64_t wanted = requested_size; wanted != applied_size) {
            applied_size = wanted;
            gl.Viewport(0, 0, static_cast<int32_t>(wanted >> 32), static_cast<int32_t>(wanted & 0xFFFFFFFF));
        }
        DrawFrame();
    }
    TearDown();
}

bool ktRenderer::SetUp() {
    if (!surface.CreateContext()) return false;
    if (gl.Load(surface)) {
        gl.Enable(ktGlBlend);
        gl.BlendFunc(ktGlSrcAlpha, ktGlOneMinusSrcAlpha);
        gl.Enable(ktGlLineSmooth);
        gl.Hint(ktGlLineSmoothHint, ktGlNicest);
        gl.LineWidth(1.0F);
        if (LoadPrograms()) {
            has_swap_interval = surface.SetSwapInterval(1);
            if (CreateGlObjects()) return true;
            for (ktShaderProgram *program : {&flat_program, &text_program, &image_program})
                program->Delete(gl);
        }
    }
    surface.DestroyContext();
    return false;
}

bool ktRenderer::LoadPrograms() {
    if (!flat_program.Build(gl, ktFlatVertexSource, ktFlatFragmentSource)) return false;
    if (text_program.Build(gl, ktTexturedVertexSource, ktTextFragmentSource)) {
        if (image_program.Build(gl, ktTexturedVertexSource, ktImageFragmentSource)) return true;
        text_program.Delete(gl);
    }
    flat_program.Delete(gl);
    return false;
}

bool ktRenderer::CreateGlObjects() {
    bool created = true;
    for (ktDrawList *list : draw_lists) created = created && list->CreateGlObjects(gl);
    for (ktFont *font : fonts) created = created && font->Upload(gl);
    if (!created) DeleteGlObjects();
    return created;
}

void ktRenderer::DeleteGlObjects() {
    for (ktDrawList *list : draw_lists) list->DeleteGlObjects();
    for (ktFont *font : fonts) font->DeleteTexture(gl);
}

void ktRenderer::TearDown() {
    DeleteGlObjects();
    surface.DestroyContext();
    gui = nullptr;
}

void ktRenderer::DrawFrame() {
    frame_start = clock.Nanoseconds();
    gl.ClearColor(clearRed, clearGreen, clearBlue, 0);
    gl.Clear(ktGlColorBufferBit);
    const ktWindowSet *windows = gui;
    if (!windows) return;
    for (uint32_t place = windows->VisibleCount(); place > 0; --place) {
        if (ktWindow *window = windows->Visible(place - 1)) DrawWindow(*window);
    }
    if (windows->overlay) DrawWindow(*windows->overlay); // last, so that it lies on top
    const bool follows = live_resize; // the corner is being dragged: the window has to follow the pointer
    if (!follows) gl.Finish();
    surface.Swap();
    if (!follows) Pace();
    frame_start = clock.Nanoseconds() - frame_start;
    frame_time_us = frame_start / nanosecondsPerMicrosecond;
}

void ktRenderer::DrawWindow(ktWindow &window) {
    ktDrawList &list = window.draw_list;
    list.res_x = static_cast<uint32_t>(applied_size >> 32);
    list.res_y = static_cast<uint32_t>(applied_size);
    list.flat_program = &flat_program;
    list.text_program = &text_program;
    list.image_program = &image_program;
    if (window.Draw()) list.Flush();
}

/// Without a swap interval the thread paces itself, by the time that the frame before took.
void ktRenderer::Pace() {
    const uint64_t lastFrame = frame_time_us;
    if (has_swap_interval || lastFrame >= framePeriodUs) return;
    clock.Sleep(static_cast<uint32_t>((framePeriodUs - lastFrame) / 1000));
}
