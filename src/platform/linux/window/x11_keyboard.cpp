#include "platform/linux/window/x11_keyboard.h"

#include "platform/linux/window/x11_connection.h"

#include <X11/XKBlib.h>
#include <X11/keysym.h>

#include <cstring>
#include <memory>

namespace {

struct FreeKeyboard {
    void operator()(XkbDescPtr keyboard) const { XkbFreeKeyboard(keyboard, XkbAllComponentsMask, True); }
};

/// Code of the key that the keyboard's description calls the right Alt; 0 when it has none.
unsigned RightAltCode(const XkbDescRec &keyboard) {
    if (!keyboard.names || !keyboard.names->keys) return 0;
    for (unsigned code = keyboard.min_key_code; code <= keyboard.max_key_code; ++code) {
        if (std::strncmp(keyboard.names->keys[code].name, "RALT", XkbKeyNameLength) == 0) return code;
    }
    return 0;
}

} // namespace

bool RightAltShiftsLevel(const ktX11Connection &connection) {
    // Asked anew each time, since the user may have changed the layout.
    const std::unique_ptr<XkbDescRec, FreeKeyboard> keyboard(
        XkbGetMap(connection.Get(), XkbKeyTypesMask | XkbKeySymsMask, XkbUseCoreKbd));
    XkbStateRec state = {};
    if (!keyboard || XkbGetNames(connection.Get(), XkbKeyNamesMask, keyboard.get()) != Success) return false;
    if (XkbGetState(connection.Get(), XkbUseCoreKbd, &state) != Success) return false;
    const unsigned code = RightAltCode(*keyboard);
    const unsigned groups = code ? XkbKeyNumGroups(keyboard.get(), code) : 0;
    if (groups == 0) return false;
    const KeySym sym = XkbKeySymEntry(keyboard.get(), code, 0, state.group % groups);
    return sym == XK_ISO_Level3_Shift || sym == XK_Mode_switch;
}
