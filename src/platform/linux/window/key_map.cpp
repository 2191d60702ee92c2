#include "platform/linux/window/key_map.h"

#include "platform/native_message.h"

#include <SDL_scancode.h>

namespace {

/// First keys of the runs that are numbered in the same order on both sides.
struct KeyRun {
    SDL_Scancode first;
    SDL_Scancode last;
    uint32_t key;
};

constexpr KeyRun runs[] = {
    {SDL_SCANCODE_A, SDL_SCANCODE_Z, 'A'},
    {SDL_SCANCODE_1, SDL_SCANCODE_9, '1'},
    {SDL_SCANCODE_0, SDL_SCANCODE_0, '0'},
    {SDL_SCANCODE_F1, SDL_SCANCODE_F12, ktKeyF1},
    {SDL_SCANCODE_F13, SDL_SCANCODE_F24, ktKeyF1 + 12},
};

struct KeyRow {
    SDL_Scancode scancode;
    uint32_t key;
};

constexpr KeyRow places[] = {
    {SDL_SCANCODE_RETURN, ktKeyEnter},
    {SDL_SCANCODE_KP_ENTER, ktKeyEnter},
    {SDL_SCANCODE_ESCAPE, ktKeyEscape},
    {SDL_SCANCODE_BACKSPACE, ktKeyBackspace},
    {SDL_SCANCODE_TAB, ktKeyTab},
    {SDL_SCANCODE_SPACE, ktKeySpace},
    {SDL_SCANCODE_LSHIFT, ktKeyShift},
    {SDL_SCANCODE_RSHIFT, ktKeyShift},
    {SDL_SCANCODE_LCTRL, ktKeyCtrl},
    {SDL_SCANCODE_RCTRL, ktKeyCtrl},
    {SDL_SCANCODE_LALT, ktKeyAlt},
    {SDL_SCANCODE_RALT, ktKeyAlt},
    {SDL_SCANCODE_PAUSE, 19},
    {SDL_SCANCODE_CAPSLOCK, 20},
    {SDL_SCANCODE_PAGEUP, ktKeyPageUp},
    {SDL_SCANCODE_PAGEDOWN, ktKeyPageDown},
    {SDL_SCANCODE_END, ktKeyEnd},
    {SDL_SCANCODE_HOME, ktKeyHome},
    {SDL_SCANCODE_LEFT, ktKeyLeft},
    {SDL_SCANCODE_UP, ktKeyUp},
    {SDL_SCANCODE_RIGHT, ktKeyRight},
    {SDL_SCANCODE_DOWN, ktKeyDown},
    {SDL_SCANCODE_PRINTSCREEN, 44},
    {SDL_SCANCODE_INSERT, 45},
    {SDL_SCANCODE_DELETE, ktKeyDelete},
    {SDL_SCANCODE_LGUI, 91},
    {SDL_SCANCODE_RGUI, 92},
    {SDL_SCANCODE_APPLICATION, 93},
    {SDL_SCANCODE_MENU, 93},
    {SDL_SCANCODE_KP_MULTIPLY, 106},
    {SDL_SCANCODE_KP_PLUS, 107},
    {SDL_SCANCODE_KP_COMMA, 108},
    {SDL_SCANCODE_KP_MINUS, 109},
    {SDL_SCANCODE_KP_DIVIDE, 111},
    {SDL_SCANCODE_NUMLOCKCLEAR, 144},
    {SDL_SCANCODE_SCROLLLOCK, 145},
    {SDL_SCANCODE_SEMICOLON, 186},
    {SDL_SCANCODE_EQUALS, 187},
    {SDL_SCANCODE_COMMA, 188},
    {SDL_SCANCODE_MINUS, 189},
    {SDL_SCANCODE_PERIOD, 190},
    {SDL_SCANCODE_SLASH, 191},
    {SDL_SCANCODE_GRAVE, ktKeyGrave},
    {SDL_SCANCODE_LEFTBRACKET, 219},
    {SDL_SCANCODE_BACKSLASH, 220},
    {SDL_SCANCODE_NONUSHASH, 220},
    {SDL_SCANCODE_RIGHTBRACKET, 221},
    {SDL_SCANCODE_APOSTROPHE, 222},
    {SDL_SCANCODE_NONUSBACKSLASH, 226},
};

struct KeypadRow {
    SDL_Scancode scancode;
    uint32_t digit;
    uint32_t movement;
};

constexpr KeypadRow keypad[] = {
    {SDL_SCANCODE_KP_0, 96, 45},
    {SDL_SCANCODE_KP_1, 97, ktKeyEnd},
    {SDL_SCANCODE_KP_2, 98, ktKeyDown},
    {SDL_SCANCODE_KP_3, 99, ktKeyPageDown},
    {SDL_SCANCODE_KP_4, 100, ktKeyLeft},
    {SDL_SCANCODE_KP_5, 101, 12},
    {SDL_SCANCODE_KP_6, 102, ktKeyRight},
    {SDL_SCANCODE_KP_7, 103, ktKeyHome},
    {SDL_SCANCODE_KP_8, 104, ktKeyUp},
    {SDL_SCANCODE_KP_9, 105, ktKeyPageUp},
    {SDL_SCANCODE_KP_PERIOD, 110, ktKeyDelete},
};

struct CharacterRow {
    char character;
    uint32_t key;
};

constexpr CharacterRow characters[] = {
    {';', 186}, {'=', 187}, {',', 188},  {'-', 189}, {'.', 190},  {'/', 191},
    {'`', 192}, {'[', 219}, {'\\', 220}, {']', 221}, {'\'', 222},
};

const KeypadRow *KeypadRowOf(uint32_t scancode) {
    for (const KeypadRow &row : keypad) {
        if (row.scancode == scancode) return &row;
    }
    return nullptr;
}

/// Number of the key at this place of a keyboard with the US layout; 0 when it has none.
uint32_t KeyAtPlace(uint32_t scancode) {
    for (const KeyRun &run : runs) {
        if (scancode >= run.first && scancode <= run.last) return run.key + (scancode - run.first);
    }
    for (const KeyRow &row : places) {
        if (row.scancode == scancode) return row.key;
    }
    return 0;
}

uint32_t KeyOfCharacter(uint32_t sym) {
    for (const CharacterRow &row : characters) {
        if (static_cast<uint32_t>(row.character) == sym) return row.key;
    }
    return 0;
}

bool IsDigit(uint32_t character) { return character >= '0' && character <= '9'; }

} // namespace

uint32_t VirtualKeyOf(uint32_t scancode, uint32_t sym, bool numeric) {
    if (const KeypadRow *row = KeypadRowOf(scancode)) return numeric ? row->digit : row->movement;
    if (sym >= 'a' && sym <= 'z') return sym - 'a' + 'A';
    if ((sym >= 'A' && sym <= 'Z') || IsDigit(sym)) return sym;
    const uint32_t atPlace = KeyAtPlace(scancode);
    if (IsDigit(atPlace)) return atPlace;
    const uint32_t ofCharacter = KeyOfCharacter(sym);
    return ofCharacter ? ofCharacter : atPlace;
}

bool IsKeypadMovement(uint32_t scancode) { return KeypadRowOf(scancode) != nullptr; }
