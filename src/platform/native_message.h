#pragma once

#include <cstdint>

/// Virtual-key numbers that the toolkit names. Letters and digits have the numbers of their upper-case
/// characters.
enum ktVirtualKey : uint32_t {
    ktKeyBackspace = 8,
    ktKeyTab = 9,
    ktKeyEnter = 13,
    ktKeyShift = 16,
    ktKeyCtrl = 17,
    ktKeyAlt = 18,
    ktKeyEscape = 27,
    ktKeySpace = 32,
    ktKeyPageUp = 33,
    ktKeyPageDown = 34,
    ktKeyEnd = 35,
    ktKeyHome = 36,
    ktKeyLeft = 37,
    ktKeyUp = 38,
    ktKeyRight = 39,
    ktKeyDown = 40,
    ktKeyDelete = 46,
    ktKeyF1 = 112,
    ktKeyF4 = 115,
    ktKeyF5 = 116,
    ktKeyF11 = 122,
    ktKeyGrave = 192,
};

enum class ktMessageKind : uint32_t {
    destroyed, ///< the window is gone
    activated, ///< the window was made active or inactive
    focusLost,
    paint,
    placed, ///< the window may have another place or size than it asked for. Not while the mouse is captured
            ///< nor while an answer to what it asked for is on its way, but once behind both
    close,  ///< somebody wants the window closed
    keyDown,
    keyUp,
    character,
    mouseMove,
    leftDown,
    leftUp,
    rightDown,
    rightUp,
    wheel,
};

/// What the native window layer delivers, in the order it happened, on the main thread. A pressed key comes
/// as keyDown and, when it makes a character, as a character right behind it: Ctrl with a letter makes the
/// control character 1 to 26, Alt alone makes none. AltGr comes as Ctrl and Alt together, and types.
struct ktNativeMessage {
    ktMessageKind kind = ktMessageKind::paint;
    uint32_t key = 0;    ///< virtual-key number; of a character its UTF-16 code unit
    uint8_t scan = 0;    ///< the key's number on the keyboard
    uint16_t repeat = 0; ///< presses that this message stands for
    int16_t x = 0;       ///< of mouse messages: pixels from the left of the client area; may lie outside it
    int16_t y = 0;
    int32_t screenX = 0; ///< of leftUp: where on the screen the pointer was; it may be elsewhere by now
    int32_t screenY = 0;
    bool wheelDown = false; ///< of wheel messages: towards the user
};
