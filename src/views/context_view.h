#pragma once

#include "gui/color.h"
#include "gui/component.h"

#include <array>
#include <cstdint>

struct ktContext;

/// The registers, a row each; the right button copies a value. Selecting and copying go by a register's
/// index, which counts those that are not filled, too, while the rows shown leave no gap for them.
class ktContextView final : public ktComponent {
public:
    static constexpr uint32_t registerCount = 64;
    static constexpr size_t valueSize = 64;

    uint32_t GetKind() const override { return ktKindContextView; }
    bool Draw(ktDrawList &list) override;
    /// Selects the row under the point.
    bool OnRightDown(int32_t px, int32_t py) override;
    /// Copies the value of the row that was selected, when the point is still on it, and ends the selection.
    bool OnRightUp(int32_t px, int32_t py) override;

    const ktContext *context = nullptr; ///< render thread; null for none
    std::array<ktSharedText<valueSize>, registerCount> values;
    ktColor text_color = ktColorText; ///< of the row in hand
    ktColor normal_color = ktColorText;
    ktColor selected_color = ktColorSelectedRow;
    ktColor back_color = ktColorView;
    uint32_t first_row = 2;
    ktRelaxed<uint32_t> line_height = 0; ///< pixels; Draw takes it from the font
    ktRelaxed<int32_t> selected_row = -1;
    int32_t back_first = -1;

private:
    void DrawRegisters(ktDrawList &list);
    void DrawText(ktDrawList &list, uint32_t textX, uint32_t textY, const char *text);
    /// Row under the point, counted from the top; past all rows before the first Draw.
    int64_t RowAt(int32_t py) const;
};
