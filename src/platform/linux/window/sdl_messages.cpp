#include "platform/linux/window/sdl_messages.h"

#include "platform/linux/window/x11_connection.h"
#include "platform/linux/window/x11_keyboard.h"

#include <SDL_events.h>
#include <SDL_syswm.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace {

uint32_t postedType = 0;               // written once, before there is a second thread
std::array<std::atomic<bool>, 2> lost; // by ktPostedMessage

int16_t Clamped(int32_t value) {
    return static_cast<int16_t>(std::clamp<int32_t>(value, INT16_MIN, INT16_MAX));
}

void TranslateWindowEvent(const SDL_WindowEvent &event, std::vector<ktNativeMessage> &messages) {
    switch (event.event) {
    case SDL_WINDOWEVENT_FOCUS_GAINED:
        messages.push_back(MessageOf(ktMessageKind::activated));
        break;
    case SDL_WINDOWEVENT_FOCUS_LOST:
        messages.push_back(MessageOf(ktMessageKind::focusLost));
        break;
    case SDL_WINDOWEVENT_EXPOSED:
        messages.push_back(MessageOf(ktMessageKind::paint));
        break;
    case SDL_WINDOWEVENT_MOVED:
    case SDL_WINDOWEVENT_SIZE_CHANGED:
        messages.push_back(MessageOf(ktMessageKind::placed));
        break;
    case SDL_WINDOWEVENT_CLOSE:
        messages.push_back(MessageOf(ktMessageKind::close));
        break;
    default:
        break;
    }
}

void TranslateWheel(const SDL_MouseWheelEvent &event, std::vector<ktNativeMessage> &messages) {
    if (event.y == 0) return; // sideways
    ktNativeMessage message = MouseMessageOf(ktMessageKind::wheel, event.mouseX, event.mouseY);
    message.wheelDown = (event.y < 0) != (event.direction == SDL_MOUSEWHEEL_FLIPPED);
    messages.push_back(message);
}

} // namespace

ktNativeMessage MessageOf(ktMessageKind kind) {
    ktNativeMessage message;
    message.kind = kind;
    return message;
}

ktNativeMessage MouseMessageOf(ktMessageKind kind, int32_t x, int32_t y) {
    ktNativeMessage message = MessageOf(kind);
    message.x = Clamped(x);
    message.y = Clamped(y);
    return message;
}

bool ReservePostedMessages() {
    if (postedType == 0) {
        const uint32_t type = SDL_RegisterEvents(1);
        if (type == UINT32_MAX) return false;
        postedType = type;
    }
    return true;
}

void PostSdlMessage(ktPostedMessage message) {
    SDL_Event event = {};
    event.type = postedType;
    event.user.code = static_cast<int32_t>(message);
    if (SDL_PushEvent(&event) != 1) lost[static_cast<size_t>(message)] = true;
}

bool TakeLostMessage(ktPostedMessage message) { return lost[static_cast<size_t>(message)].exchange(false); }

bool IsPostedQuit(const SDL_Event &event) {
    return event.type == postedType && event.user.code == static_cast<int32_t>(ktPostedMessage::quit);
}

void ktSdlMessages::Translate(const SDL_Event &event, std::vector<ktNativeMessage> &messages) {
    switch (event.type) {
    case SDL_WINDOWEVENT:
        TranslateWindowEvent(event.window, messages);
        break;
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        TranslateKey(event, messages);
        break;
    case SDL_TEXTINPUT:
        keys.Text(event.text.text, messages);
        break;
    case SDL_MOUSEMOTION:
        messages.push_back(MouseMessageOf(ktMessageKind::mouseMove, event.motion.x, event.motion.y));
        break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        TranslateButton(event.button, messages);
        break;
    case SDL_SYSWMEVENT:
        NoteRelease(event.syswm);
        break;
    case SDL_MOUSEWHEEL:
        TranslateWheel(event.wheel, messages);
        break;
    case SDL_QUIT: // a signal that asks the process to end
        messages.push_back(MessageOf(ktMessageKind::close));
        break;
    default:
        if (event.type == postedType) messages.push_back(MessageOf(ktMessageKind::close));
        break;
    }
}

void ktSdlMessages::TranslateKey(const SDL_Event &event, std::vector<ktNativeMessage> &messages) {
    const SDL_Keysym &key = event.key.keysym;
    ktKeyFacts facts;
    facts.scancode = static_cast<uint32_t>(key.scancode);
    facts.sym = static_cast<uint32_t>(key.sym);
    facts.ctrl = (key.mod & KMOD_CTRL) != 0;
    facts.leftAlt = (key.mod & KMOD_LALT) != 0;
    facts.rightAlt = (key.mod & KMOD_RALT) != 0;
    facts.shift = (key.mod & KMOD_SHIFT) != 0;
    facts.capsLock = (key.mod & KMOD_CAPS) != 0;
    facts.numLock = (key.mod & KMOD_NUM) != 0;
    if (event.type == SDL_KEYUP) {
        keys.KeyUp(facts, messages);
        return;
    }
    facts.shiftsLevel = key.scancode == SDL_SCANCODE_RALT && RightAltShiftsLevel(connection);
    keys.KeyDown(facts, messages);
}

void ktSdlMessages::TranslateButton(const SDL_MouseButtonEvent &event,
                                    std::vector<ktNativeMessage> &messages) {
    const bool isDown = event.type == SDL_MOUSEBUTTONDOWN;
    if (event.button == SDL_BUTTON_LEFT) {
        const ktMessageKind kind = isDown ? ktMessageKind::leftDown : ktMessageKind::leftUp;
        messages.push_back(MouseMessageOf(kind, event.x, event.y));
        if (!isDown) PlaceRelease(messages.back());
    } else if (event.button == SDL_BUTTON_RIGHT) {
        const ktMessageKind kind = isDown ? ktMessageKind::rightDown : ktMessageKind::rightUp;
        messages.push_back(MouseMessageOf(kind, event.x, event.y));
    }
}

/// SDL tells places of the window only, and the window may have moved since.
void ktSdlMessages::NoteRelease(const SDL_SysWMEvent &event) {
    const XEvent &own = event.msg->msg.x11.event;
    if (own.type != ButtonRelease || own.xbutton.button != Button1) return;
    hasRelease = true;
    releaseX = own.xbutton.x_root;
    releaseY = own.xbutton.y_root;
}

void ktSdlMessages::PlaceRelease(ktNativeMessage &message) {
    bool isDown = false;
    if (!hasRelease) ReadX11Pointer(connection.Get(), releaseX, releaseY, isDown); // SDL made it up itself
    hasRelease = false;
    message.screenX = releaseX;
    message.screenY = releaseY;
}
