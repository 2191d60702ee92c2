#pragma once

#include "gui/color.h"
#include "gui/component.h"
#include "gui/heap_text.h"
#include "gui/relaxed.h"

#include <cstdint>

class ktLines;

/// The lines of a store, as many as fit. It goes to the end whenever the number of lines changes. A right
/// click copies: in the first column the line, in the last all text, elsewhere the word.
class ktTextView final : public ktComponent {
public:
    uint32_t GetKind() const override { return ktKindTextView; }
    bool Draw(ktDrawList &list) override;
    bool OnRightDown(int32_t px, int32_t py) override;
    bool OnRightUp(int32_t px, int32_t py) override;
    bool OnKey(const ktKeyEvent &event) override;
    bool OnWheel(bool down) override;

    ktRelaxed<ktLines *> lines = nullptr; ///< not owned
    uint32_t last_w = 0;                  ///< at the last move to the end
    uint32_t last_h = 0;
    ktRelaxed<bool> auto_scroll = true;
    ktRelaxed<bool> bottom_align = false; ///< a short text stands at the bottom
    uint64_t last_count = 0;
    uint64_t wheel_lines = 3; ///< a page of the keyboard is as long
    uint64_t reserved = 0;
    ktRelaxed<uint64_t> scroll_y = 0; ///< pixels above the first line on show, whole lines
    ktColor text_color = ktColorText;
    ktColor back_color = ktColorView;
    int32_t back_first = -1;

private:
    uint32_t LineHeight() const;
    /// Whole lines that fit into `pixels`; none without a font.
    uint64_t LinesIn(uint64_t pixels) const;
    /// Lines that are above the last page.
    uint64_t LastPage(uint64_t count) const;
    /// Empty rows above the text.
    uint64_t RowsAbove(uint64_t count) const;
    uint64_t FirstLine() const;
    bool ScrollTo(uint64_t line);
    bool ScrollUp(uint64_t by);
    bool ScrollDown(uint64_t by);
    void FollowEnd(uint64_t count);
    /// What a click at a cell copies. Null for nothing.
    ktHeapText TextAt(int64_t column, int64_t row) const;
};
