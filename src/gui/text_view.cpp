#include "gui/text_view.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "app/lines.h"
#include "gui/clipboard.h"
#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/heap_text.h"
#include "gui/key_event.h"
#include "gui/text_clip.h"
#include "gui/word_at.h"
#include "platform/native_message.h"

namespace {

/// Bytes of a line that are looked at, for each pixel of width. A glyph moves the pen by a pixel at least, so
/// that all that can show is among them, and a line without end costs no more than a long one.
constexpr uint32_t bytesPerPixel = 4;

class SharedLines {
public:
    explicit SharedLines(ktLines &heldLines) : lines(heldLines) { lines.LockShared(); }
    ~SharedLines() { lines.UnlockShared(); }
    SharedLines(const SharedLines &) = delete;
    SharedLines &operator=(const SharedLines &) = delete;

private:
    ktLines &lines;
};

/// A terminated copy; null without memory.
ktHeapText CopyOf(std::string_view bytes) {
    ktHeapText copy(static_cast<char *>(std::calloc(bytes.size() + 1, 1)));
    if (copy) bytes.copy(copy.get(), bytes.size());
    return copy;
}

} // namespace

bool ktTextView::Draw(ktDrawList &list) {
    const uint32_t top = y;
    const uint32_t width = w;
    const uint32_t height = h;
    list.PutRect(back_first, x, top, width, height, back_color);
    ktLines *const store = lines;
    const uint32_t lineHeight = LineHeight();
    if (!store || lineHeight == 0) return true;

    const SharedLines held(*store);
    const uint64_t count = store->GetLineCount();
    FollowEnd(count);
    const uint64_t first = FirstLine();
    const auto offset = static_cast<uint32_t>(RowsAbove(count)) * lineHeight;
    const uint32_t rows = height / lineHeight;
    const uint32_t maxBytes = std::max(width, 1u) * bytesPerPixel;
    const ktTextClip clip(list, *this);
    for (uint32_t row = 0; row < rows; ++row) {
        const char *line = store->GetLine(first + row);
        if (!line) break;
        const uint32_t rowY = top + row * lineHeight + offset;
        list.AddText(static_cast<uint16_t>(x), static_cast<uint16_t>(rowY), line, maxBytes, text_color);
    }
    return true;
}

void ktTextView::FollowEnd(uint64_t count) {
    if (!auto_scroll) return;
    const uint32_t width = w;
    const uint32_t height = h;
    if (count == last_count && width == last_w && height == last_h) return;
    scroll_y = LastPage(count) * LineHeight();
    last_count = count;
    last_w = width;
    last_h = height;
}

uint32_t ktTextView::LineHeight() const { return font ? font->LineHeight() : 0; }

uint64_t ktTextView::LinesIn(uint64_t pixels) const {
    const uint32_t lineHeight = LineHeight();
    return lineHeight == 0 ? 0 : pixels / lineHeight;
}

uint64_t ktTextView::LastPage(uint64_t count) const {
    const uint64_t rows = LinesIn(h);
    return count > rows ? count - rows : 0;
}

uint64_t ktTextView::RowsAbove(uint64_t count) const {
    const uint64_t rows = LinesIn(h);
    return bottom_align && count < rows ? rows - count : 0;
}

uint64_t ktTextView::FirstLine() const { return LinesIn(scroll_y); }

bool ktTextView::ScrollTo(uint64_t line) {
    scroll_y = std::min(line, LastPage(lines->GetLineCount())) * LineHeight();
    return true;
}

bool ktTextView::ScrollUp(uint64_t by) {
    const uint64_t first = FirstLine();
    return ScrollTo(first - std::min(first, by));
}

bool ktTextView::ScrollDown(uint64_t by) { return ScrollTo(FirstLine() + by); }

bool ktTextView::OnWheel(bool down) {
    if (!lines || LineHeight() == 0) return false;
    return down ? ScrollDown(wheel_lines) : ScrollUp(wheel_lines);
}

bool ktTextView::OnKey(const ktKeyEvent &event) {
    if (event.is_char || !lines || LineHeight() == 0) return false;
    switch (event.key) {
    case ktKeyPageUp:
        return ScrollUp(wheel_lines);
    case ktKeyPageDown:
        return ScrollDown(wheel_lines);
    case ktKeyEnd:
        return ScrollTo(LastPage(lines->GetLineCount()));
    case ktKeyHome:
        return ScrollTo(0);
    case ktKeyUp:
        return ScrollUp(1);
    case ktKeyDown:
        return ScrollDown(1);
    default:
        return false;
    }
}

bool ktTextView::OnRightDown(int32_t px, int32_t py) {
    const uint32_t cellWidth = font ? font->max_glyph_width : 0;
    const uint32_t cellHeight = LineHeight();
    const int64_t right = int64_t{px} - x;
    const int64_t down = int64_t{py} - y;
    if (!lines || cellWidth == 0 || cellHeight == 0 || right < 0 || down < 0) return false;
    const ktHeapText text = TextAt(right / cellWidth, down / cellHeight);
    return CopyToClipboard(text.get());
}

bool ktTextView::OnRightUp(int32_t, int32_t) { return true; }

ktHeapText ktTextView::TextAt(int64_t column, int64_t row) const {
    ktLines &store = *lines;
    const SharedLines held(store);
    row -= static_cast<int64_t>(RowsAbove(store.GetLineCount()));
    const char *line = row < 0 ? nullptr : store.GetLine(FirstLine() + static_cast<uint64_t>(row));
    if (!line) return nullptr;
    if (column == 0) return CopyOf(line);
    const int64_t lastColumn = int64_t{w / font->max_glyph_width} - 1;
    if (column == lastColumn) return ktHeapText(store.GetText());
    const std::string_view word = WordAt(line, static_cast<size_t>(column));
    return word.empty() ? nullptr : CopyOf(word);
}
