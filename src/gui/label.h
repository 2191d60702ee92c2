#pragma once

#include "gui/color.h"
#include "gui/component.h"

#include <cstddef>

/// One string. A new label shows 254 spaces.
class ktLabel : public ktComponent {
public:
    static constexpr size_t textSize = 255;

    ktLabel();
    uint32_t GetKind() const final { return ktKindLabel; }
    /// The text at the label's position.
    bool Draw(ktDrawList &list) override;
    /// Takes the first 254 bytes and sets the width to the text's and the height to the line's. Without a
    /// font nothing changes.
    void SetText(const char *newText);

    ktSharedText<textSize> text;
    ktRelaxed<ktColor> text_color = ktColorText;
    ktRelaxed<ktColor> back_color = ktColorIconHover; ///< not drawn
    int32_t first_vertex = -1;
};
