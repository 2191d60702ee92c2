#include "platform/linux/window/key_translator.h"

#include "platform/linux/window/key_map.h"

#include <cstddef>

namespace {

constexpr uint32_t rightAltScancode = 230;
constexpr uint32_t leftCtrlScancode = 224;
constexpr uint32_t firstBeyondUtf16 = 0x10000;

ktNativeMessage MessageOf(ktMessageKind kind, uint32_t key, uint32_t scancode) {
    ktNativeMessage message;
    message.kind = kind;
    message.key = key;
    message.scan = static_cast<uint8_t>(scancode);
    message.repeat = 1;
    return message;
}

/// Shift turns the keypad round for as long as it is held.
bool KeypadIsNumeric(const ktKeyFacts &facts) { return facts.numLock && !facts.shift; }

uint32_t KeyOf(const ktKeyFacts &facts) {
    return VirtualKeyOf(facts.scancode, facts.sym, KeypadIsNumeric(facts));
}

struct ControlRow {
    uint32_t key;
    uint32_t plain;        ///< character without Ctrl; 0 for none
    uint32_t withCtrl;     ///< with Ctrl and without Shift; 0 for none
    uint32_t withBoth = 0; ///< with Ctrl and Shift
};

constexpr ControlRow controls[] = {
    {ktKeyEnter, 13, 10}, {ktKeyBackspace, 8, 127},
    {ktKeyTab, 9, 0},     {ktKeyEscape, 27, 27},
    {ktKeySpace, 0, ' '}, // without Ctrl the keyboard makes the space itself
    {219, 0, 27},         {220, 0, 28},
    {226, 0, 28},         {221, 0, 29},
    {'6', 0, 0, 30},      {189, 0, 0, 31},
};

/// The character that a press makes without any text from the keyboard; 0 for none.
uint32_t ControlCharacterOf(uint32_t key, const ktKeyFacts &facts) {
    if (facts.leftAlt || facts.rightAlt) return 0;
    if (facts.ctrl && key >= 'A' && key <= 'Z') return key - 'A' + 1;
    for (const ControlRow &row : controls) {
        if (row.key != key) continue;
        if (!facts.ctrl) return row.plain;
        return facts.shift ? row.withBoth : row.withCtrl;
    }
    return 0;
}

/// Takes the character that `text` starts with and the bytes that it has off. False when the first byte
/// starts no character; that byte is taken off alone.
bool TakeCharacter(std::string_view &text, uint32_t &character) {
    const auto byteAt = [&text](size_t at) { return static_cast<uint8_t>(text[at]); };
    const uint32_t first = byteAt(0);
    const size_t size = first < 0x80   ? 1
                        : first < 0xC2 ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
    character = size == 1 ? first : size == 2 ? first & 0x1F : size == 3 ? first & 0x0F : first & 0x07;
    bool whole = size != 0 && size <= text.size();
    for (size_t at = 1; whole && at < size; ++at) {
        whole = (byteAt(at) & 0xC0) == 0x80;
        character = character << 6 | (byteAt(at) & 0x3F);
    }
    constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, firstBeyondUtf16};
    whole = whole && character >= smallest[size] && character <= 0x10FFFF &&
            (character < 0xD800 || character > 0xDFFF);
    text.remove_prefix(whole ? size : 1);
    return whole;
}

} // namespace

void ktKeyTranslator::KeyDown(const ktKeyFacts &facts, std::vector<ktNativeMessage> &messages) {
    last = facts;
    if (facts.scancode == rightAltScancode && facts.shiftsLevel) {
        altGrDown = true;
        messages.push_back(MessageOf(ktMessageKind::keyDown, ktKeyCtrl, leftCtrlScancode));
    }
    const uint32_t key = KeyOf(facts);
    if (!key) return;
    messages.push_back(MessageOf(ktMessageKind::keyDown, key, facts.scancode));
    if (const uint32_t character = ControlCharacterOf(key, facts)) {
        messages.push_back(MessageOf(ktMessageKind::character, character, facts.scancode));
    }
}

void ktKeyTranslator::KeyUp(const ktKeyFacts &facts, std::vector<ktNativeMessage> &messages) {
    last.ctrl = facts.ctrl;
    last.leftAlt = facts.leftAlt;
    last.rightAlt = facts.rightAlt;
    last.shift = facts.shift;
    if (facts.scancode == rightAltScancode && altGrDown) {
        altGrDown = false;
        messages.push_back(MessageOf(ktMessageKind::keyUp, ktKeyCtrl, leftCtrlScancode));
    }
    if (const uint32_t key = KeyOf(facts)) {
        messages.push_back(MessageOf(ktMessageKind::keyUp, key, facts.scancode));
    }
}

void ktKeyTranslator::Text(std::string_view text, std::vector<ktNativeMessage> &messages) {
    bool isFirst = true;
    while (!text.empty()) {
        uint32_t character = 0;
        if (!TakeCharacter(text, character)) continue;
        if (isFirst && !Types(character)) return;
        isFirst = false;
        if (character >= firstBeyondUtf16) {
            const uint32_t rest = character - firstBeyondUtf16;
            messages.push_back(MessageOf(ktMessageKind::character, 0xD800 + (rest >> 10), last.scancode));
            character = 0xDC00 + (rest & 0x3FF);
        }
        messages.push_back(MessageOf(ktMessageKind::character, character, last.scancode));
    }
}

/// Whether a text is one that the user typed. The keyboard also makes texts of chords: with Alt the key's own
/// character, which belongs to a shortcut; with Ctrl that of a digit, whose control character came with the
/// press.
bool ktKeyTranslator::Types(uint32_t firstCharacter) const {
    if (IsKeypadMovement(last.scancode) && !KeypadIsNumeric(last)) return false;
    if (altGrDown && !last.leftAlt) return true;
    const bool alt = last.leftAlt || last.rightAlt;
    if (!alt) return !last.ctrl;
    if (last.leftAlt && !last.ctrl) return false;
    // The right Alt key alone, or Ctrl and Alt: whether that reaches another level of the layout is seen from
    // the character, as long as nothing else could have changed it.
    return !last.shift && !last.capsLock && last.sym >= ' ' && last.sym <= 0x10FFFF &&
           firstCharacter != last.sym;
}
