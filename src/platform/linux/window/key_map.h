#pragma once

#include <cstdint>

/// Virtual-key number of a key; 0 when it has none. Letters and digits go by the layout; keys which make
/// neither go by their place on the keyboard, as does the row of digits where the layout has them on Shift
/// only. `scancode`: the key's number in the USB keyboard page. `sym`: the character that the layout makes of
/// the key without modifiers, or a number above all characters. `numeric`: the keypad makes digits, not
/// movements.
uint32_t VirtualKeyOf(uint32_t scancode, uint32_t sym, bool numeric);

/// Whether the key stands on the keypad and has another number when that does not make digits.
bool IsKeypadMovement(uint32_t scancode);
