#include "gui/text_input.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "gui/clipboard.h"
#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/key_event.h"
#include "platform/native_message.h"

bool ktTextInput::Draw(ktDrawList &list) {
    const uint32_t left = x;
    const uint32_t top = y;
    const uint32_t width = w;
    const uint32_t bottom = top + h;
    list.PutRect(back_first, left, top, width, h, back_color);
    list.PutLine(line_first, left, bottom, left + width, bottom, text_color);
    const uint32_t advance = font ? font->CharacterAdvance() : 0;
    if (advance == 0) return true;

    const uint32_t shown = width / advance;
    const uint32_t place = caret;
    if (place < scroll) scroll = place;
    if (place > scroll + shown) scroll = place - shown;
    const uint32_t caretX = left + (place - scroll) * advance;
    list.PutLine(caret_first, caretX, top, caretX, bottom, caret_color);

    std::array<char, textSize> bytes;
    text.CopyTo(bytes);
    text_first = list.AddText(static_cast<uint16_t>(left), static_cast<uint16_t>(top), bytes.data() + scroll,
                              shown, text_color);
    return true;
}

bool ktTextInput::OnLeftDown(int32_t, int32_t) { return true; }
bool ktTextInput::OnLeftUp(int32_t, int32_t) { return true; }
bool ktTextInput::OnMouseMove(int32_t, int32_t) { return true; }
bool ktTextInput::OnHoverEnter() { return true; }
bool ktTextInput::OnHoverLeave() { return true; }

bool ktTextInput::SetFocus(bool focused) {
    has_focus = focused;
    caret_color = focused ? caret_focus_color : caret_blur_color;
    return true;
}

bool ktTextInput::OnEnter() { return false; }

bool ktTextInput::OnEscape() {
    Clear();
    return true;
}

bool ktTextInput::OnKey(const ktKeyEvent &event) {
    if (event.is_char) {
        Type(event.key);
        return true;
    }
    switch (event.key) {
    case ktKeyBackspace:
        if (caret == 0 || caret > length) break;
        caret = caret - 1;
        RemoveByte(caret);
        break;
    case ktKeyTab:
        return false; // the window may use it
    case ktKeyEnter:
        return OnEnter();
    case ktKeyEscape:
        return OnEscape();
    case ktKeyEnd:
        caret = length;
        break;
    case ktKeyHome:
        caret = 0;
        break;
    case ktKeyLeft:
        if (caret > 0) caret = caret - 1;
        break;
    case ktKeyRight:
        caret = std::min(caret + 1, length);
        break;
    case ktKeyDelete:
        if (caret < length) RemoveByte(caret);
        break;
    case 'V':
        if (event.mods == ktModCtrl) Paste();
        break;
    default:
        break;
    }
    return true;
}

void ktTextInput::SetText(const char *newText) {
    const char *source = newText ? newText : "";
    text.Set(source);
    high_water = 0;
    SetLength(static_cast<uint32_t>(std::min<size_t>(std::strlen(source), capacity)));
    caret = length;
}

void ktTextInput::Clear() {
    for (uint32_t at = 0; at < capacity; ++at) text.SetByte(at, 0);
    caret = 0;
    length = 0;
    high_water = 0;
    reserved = 0;
}

void ktTextInput::SetLength(uint32_t newLength) {
    length = newLength;
    high_water = std::max(high_water, newLength);
    text.SetByte(newLength, 0);
}

void ktTextInput::Type(uint64_t character) {
    // One byte is kept free: typing ends at one less than a text that is set can have.
    if (character < ' ' || character > '~' || length + 1 >= capacity) return;
    for (uint32_t at = length; at > caret; --at) text.SetByte(at, text[at - 1]);
    text.SetByte(caret, static_cast<char>(character));
    SetLength(length + 1);
    caret = caret + 1;
}

void ktTextInput::Paste() {
    std::string pasted;
    if (!PasteFromClipboard(pasted) || pasted.size() + length >= capacity) return;
    const auto count = static_cast<uint32_t>(pasted.size());
    // From the low end on purpose: a tail longer than what is pasted becomes a repetition of its first bytes.
    for (uint32_t at = caret; at < length; ++at) text.SetByte(at + count, text[at]);
    for (uint32_t at = 0; at < count; ++at) text.SetByte(caret + at, pasted[at]);
    SetLength(length + count);
    caret = caret + count;
}

void ktTextInput::RemoveByte(uint32_t place) {
    for (uint32_t at = place; at < length; ++at) text.SetByte(at, text[at + 1]);
    --length;
}
