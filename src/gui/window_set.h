#pragma once

#include "gui/relaxed.h"

#include <array>
#include <cstdint>
#include <map>
#include <vector>

class ktWindow;
struct ktKeyEvent;

/// The pages of the one native window, which of them are on show, and the overlay on top of them. Hands input
/// on. Main thread, but for `visible`, `windows` and `overlay`, which the render thread reads.
class ktWindowSet {
public:
    static constexpr uint32_t maxWindows = 16;

    ktWindowSet() = default;
    ktWindowSet(const ktWindowSet &) = delete;
    ktWindowSet &operator=(const ktWindowSet &) = delete;

    /// Appends a page and sets its index. False when there are `maxWindows` already.
    bool AddWindow(ktWindow &window);
    /// Makes `window` the only page on show.
    void Show(const ktWindow &window);
    /// Forgets all pages; the overlay stays.
    void ClearWindows();
    /// Page `place` of those on show, the front one being 0; null past the end and for an index without page.
    ktWindow *Visible(uint32_t place) const;
    uint32_t VisibleCount() const { return visible_count; }

    /// A page key shows its page; a hot key goes to its window; then the overlay and the pages on show are
    /// asked, until one consumes it.
    bool OnKey(const ktKeyEvent &event);
    bool OnLeftDown(int32_t x, int32_t y);
    bool OnLeftUp(int32_t x, int32_t y);
    bool OnRightDown(int32_t x, int32_t y);
    bool OnRightUp(int32_t x, int32_t y);
    bool OnMouseMove(int32_t x, int32_t y);
    bool OnWheel(bool down);
    /// To all pages in the order made, then to the overlay.
    void SetSize(uint32_t w, uint32_t h);

    ktWindow *overlay = nullptr;
    std::vector<ktWindow *> windows; ///< in the order made; unchanged while the render thread runs
    std::array<ktRelaxed<uint32_t>, maxWindows> visible{}; ///< indices into `windows`, the front one first
    ktRelaxed<uint32_t> visible_count = 0;
    std::map<uint64_t, ktWindow *> show_keys;
    std::map<uint64_t, ktWindow *> hot_keys;

private:
    using PointOperation = bool (ktWindow::*)(int32_t x, int32_t y);
    bool ToOverlayThenFirstHit(PointOperation operation, int32_t x, int32_t y);

protected:
    ~ktWindowSet() = default;
};
