#pragma once

#include "gui/key_event.h"

#include <cstdint>

/// A key that goes down.
inline ktKeyEvent KeyDown(uint64_t key, uint32_t mods = 0) {
    ktKeyEvent event;
    event.key = key;
    event.mods = mods;
    event.repeat = 1;
    event.code = key | (mods & ktModShift ? ktCodeShift : 0) | (mods & ktModAlt ? ktCodeAlt : 0) |
                 (mods & ktModCtrl ? ktCodeCtrl : 0);
    return event;
}

inline ktKeyEvent Character(uint64_t character, uint32_t mods = 0) {
    ktKeyEvent event = KeyDown(character, mods);
    event.is_char = true;
    event.code |= ktCodeChar;
    return event;
}

/// Sends `text` as characters to a component or a window.
template <class Receiver>
void TypeText(Receiver &receiver, const char *text) {
    for (; *text; ++text) receiver.OnKey(Character(static_cast<unsigned char>(*text)));
}
