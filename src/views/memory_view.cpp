#include "views/memory_view.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <span>

#include "app/cut_text.h"
#include "app/task_pool.h"
#include "commands/cmd_processor.h"
#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/key_event.h"
#include "gui/text_clip.h"
#include "platform/native_message.h"
#include "session/dump_format.h"
#include "session/session.h"

namespace {

constexpr int64_t rowsOfPage = 8; ///< that a page key moves by

uint64_t RunRefresh(ktTask *task) {
    reinterpret_cast<ktSession *>(task->args[0])->RefreshMemViews();
    return 0;
}

void QueueRefresh(ktSession &session) {
    void *memory = session.cmdProcessor ? std::malloc(sizeof(ktTask)) : nullptr;
    if (!memory) return;
    auto *task = new (memory) ktTask;
    task->entry = RunRefresh;
    task->argCount = 1;
    task->args[0] = reinterpret_cast<uint64_t>(&session);
    task->autoFree = true;
    if (!session.cmdProcessor->Worker().Submit(task, nullptr)) std::free(memory);
}

/// Lets a thread look at what a request got if nobody is filling it.
class TriedLock {
public:
    explicit TriedLock(ktCriticalSection &wanted) : section(wanted), held(wanted.TryEnter()) {}
    ~TriedLock() {
        if (held) section.Leave();
    }
    TriedLock(const TriedLock &) = delete;
    TriedLock &operator=(const TriedLock &) = delete;
    bool IsHeld() const { return held; }

private:
    ktCriticalSection &section;
    bool held;
};

} // namespace

ktMemoryView::ktMemoryView() {
    request.buffer = bytes;
    request.size = byteCount;
}

ktMemoryView::~ktMemoryView() { SetSession(nullptr); }

void ktMemoryView::SetSession(ktSession *newSession) {
    if (session) session->memViewRequests.remove(&request);
    session = newSession;
    if (session) session->memViewRequests.push_back(&request);
}

void ktMemoryView::Show(const ktAddress &address) {
    {
        ktLockGuard guard(request.addressLock);
        base = address;
    }
    delta = 0;
    RequestRefresh();
}

/// Memory is read by the command thread; until it has been, `pending` is not 0. It stays raised when the
/// round cannot be queued, and the next one, at the latest that of the next stop, serves it.
void ktMemoryView::RequestRefresh() {
    if (!session || !connected) return;
    {
        ktLockGuard guard(request.addressLock);
        request.address = base;
        request.address.value += static_cast<uint64_t>(delta);
        ++request.pending;
    }
    QueueRefresh(*session);
}

uint32_t ktMemoryView::RowStep() const { return format.columns * format.element_size; }

bool ktMemoryView::Scroll(int64_t by) {
    delta = static_cast<int64_t>(static_cast<uint64_t>(delta) + static_cast<uint64_t>(by));
    RequestRefresh();
    return true;
}

bool ktMemoryView::OnWheel(bool down) {
    const int64_t step = RowStep();
    return Scroll(down ? step : -step);
}

bool ktMemoryView::OnKey(const ktKeyEvent &event) {
    if (event.is_char) return false;
    const int64_t step = RowStep();
    switch (event.key) {
    case ktKeyPageUp:
        return Scroll(-rowsOfPage * step);
    case ktKeyPageDown:
        return Scroll(rowsOfPage * step);
    case ktKeyHome: // back to the address entered, as near as whole rows lead
        delta %= step;
        RequestRefresh();
        return true;
    case ktKeyUp:
        return Scroll(-step);
    case ktKeyDown:
        return Scroll(step);
    case ktKeyEnd:
    case ktKeyLeft:
    case ktKeyRight:
        return true;
    default:
        return false;
    }
}

bool ktMemoryView::Draw(ktDrawList &list) {
    const uint32_t lineHeight = font ? font->LineHeight() : 0;
    if (lineHeight == 0) return false;
    list.PutRect(back_first, x, y, w, h, back_color);
    const ktTextClip clip(list, *this);
    const auto putNote = [&](const char *note) {
        list.AddText(static_cast<uint16_t>(x), static_cast<uint16_t>(y), note, 0, text_color);
    };
    if (!connected) {
        putNote("Target not connected");
        return true;
    }
    const TriedLock content(request.contentLock); // before the place, so that both belong together
    const Place place = CurrentPlace();
    if (place.updating || !content.IsHeld()) {
        putNote("Updating data");
    } else {
        DrawRows(list, place, lineHeight);
    }
    return true;
}

ktMemoryView::Place ktMemoryView::CurrentPlace() {
    ktLockGuard guard(request.addressLock);
    return {request.address, base.value, request.paused == 0 && request.pending != 0};
}

void ktMemoryView::DrawRows(ktDrawList &list, const Place &place, uint32_t lineHeight) {
    if (place.address.kind == ktAddress::kindNone) return;
    const uint32_t rows = h / lineHeight;
    for (uint32_t row = 0; row < rows; ++row) {
        ktAddress address = place.address;
        address.value += uint64_t{row} * RowStep();
        char start[ktAddressTextSize];
        FormatAddress(address, start);
        ktCutText text(line);
        text.Put(start);
        text.Put(": ");
        PutBytes(text, place, address.value);
        const uint32_t rowY = y + row * lineHeight;
        list.AddText(static_cast<uint16_t>(x), static_cast<uint16_t>(rowY), line, 0, text_color);
    }
}

/// What came for the row at `address`; nothing for a row outside.
void ktMemoryView::PutBytes(ktCutText &text, const Place &place, uint64_t address) const {
    const uint64_t at = address - place.address.value - request.skipped; // in the buffer; wraps before it
    const uint64_t got = std::min<uint64_t>(request.gotSize, byteCount);
    if (at >= got) return;
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(RowStep(), got - at));
    ktDumpFormat dump;
    dump.rowBytes = RowStep();
    dump.elementWidth = format.element_size;
    dump.flags = static_cast<uint8_t>(format.flags);
    dump.maxColumns = format.width;
    dump.sink = format.sink;
    dump.PutRow(text, {address, static_cast<int64_t>(address - place.base), count,
                       std::span(bytes).subspan(at, got - at)});
}
