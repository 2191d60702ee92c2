#pragma once

#include "gui/color.h"
#include "gui/component.h"
#include "views/disasm_lines.h"
#include "views/disasm_names.h"

#include <array>
#include <cstdint>

class ktCriticalSection;
class ktDisasm;

/// The instructions round the instruction pointer, with a bar under the current one.
class ktDisasmView final : public ktComponent {
public:
    uint32_t GetKind() const override { return ktKindDisasmView; }
    bool Draw(ktDrawList &list) override;

    ktRelaxed<ktDisasm *> disasm = nullptr;
    ktRelaxed<ktCriticalSection *> disasm_lock =
        nullptr;                               ///< held while `disasm` is used; entered only by trying
    bool may_look_up = false;                  ///< in this frame `disasm` and spaces may be used
    const ktSnapshotState *snapshot = nullptr; ///< render thread; null for none
    ktColor text_color = ktColorText;
    ktColor back_color = ktColorView;
    ktColor current_color = ktColorCurrentLine;
    int32_t back_first = -1;
    int32_t line_first = -1; ///< of the text of the row in hand
    int32_t current_first = -1;
    ktDisasmNames names;
    ktDisasmLines decoded;
    std::array<char, 512> scratch{}; ///< the row in hand

private:
    enum class Lines { none, withoutCurrent, withCurrent };

    /// Brings the lines to the snapshot and tells what there is to draw.
    Lines Refresh();
    bool Decode();
    void DrawRows(ktDrawList &list, uint32_t lineHeight, bool hasCurrent);
    void DrawRow(ktDrawList &list, uint32_t line, uint32_t rowY);
    void HideBar(ktDrawList &list);
};
