#pragma once

#include "platform/native_message.h"

#include <cstdint>
#include <string_view>
#include <vector>

/// One press or release, as the keyboard tells it.
struct ktKeyFacts {
    uint32_t scancode = 0; ///< number of the key in the USB keyboard page
    uint32_t sym = 0;      ///< character of the key without modifiers, or a number above all characters
    bool ctrl = false;     ///< what is held, this key counted
    bool leftAlt = false;
    bool rightAlt = false;
    bool shift = false;
    bool capsLock = false;
    bool numLock = false;
    bool shiftsLevel = false; ///< of the right Alt key: in this layout it is AltGr
};

/// Turns presses, releases and typed texts into the messages that a loop with the usual translation of keys
/// delivers. AltGr comes as Ctrl and Alt together. One thread.
class ktKeyTranslator {
public:
    /// Each appends to `messages`; a key that has no number appends nothing.
    void KeyDown(const ktKeyFacts &facts, std::vector<ktNativeMessage> &messages);
    void KeyUp(const ktKeyFacts &facts, std::vector<ktNativeMessage> &messages);
    /// `text`: UTF-8 that the last pressed key, or an input method, made. A byte that is none is left out.
    void Text(std::string_view text, std::vector<ktNativeMessage> &messages);

private:
    bool Types(uint32_t firstCharacter) const;

    ktKeyFacts last; // of the last press; what is held follows releases too
    bool altGrDown = false;
};
