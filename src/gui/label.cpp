#include "gui/label.h"

#include <array>

#include "gui/draw_list.h"
#include "gui/font.h"

ktLabel::ktLabel() {
    for (size_t at = 0; at + 1 < textSize; ++at) text.SetByte(at, ' ');
    text.SetByte(textSize - 1, 0);
}

bool ktLabel::Draw(ktDrawList &list) {
    std::array<char, textSize> shown;
    text.CopyTo(shown);
    first_vertex =
        list.AddText(static_cast<uint16_t>(x), static_cast<uint16_t>(y), shown.data(), 0, text_color);
    return true;
}

void ktLabel::SetText(const char *newText) {
    if (!font || !newText) return;
    text.Set(newText);
    std::array<char, textSize> kept;
    text.CopyTo(kept);
    w = font->TextWidth(kept.data());
    h = font->HasFallback() ? font->LineHeight() : 0;
}
