#pragma once

#include "platform/linux/window/key_translator.h"
#include "platform/native_message.h"

#include <vector>

class ktX11Connection;
struct SDL_MouseButtonEvent;
struct SDL_SysWMEvent;
union SDL_Event;

/// What the program posts to its own loop.
enum class ktPostedMessage { close, quit };

/// Queues one. Any thread, once ReservePostedMessages was called.
void PostSdlMessage(ktPostedMessage message);
/// Takes one that found no room in the queue, when the queue is empty. False when there is none.
bool TakeLostMessage(ktPostedMessage message);
/// Once before the first is posted.
bool ReservePostedMessages();
/// Whether `event` is the end of the loop.
bool IsPostedQuit(const SDL_Event &event);

ktNativeMessage MessageOf(ktMessageKind kind);
/// A message about the mouse at a place of the client area, which may lie far outside it.
ktNativeMessage MouseMessageOf(ktMessageKind kind, int32_t x, int32_t y);

/// Turns SDL's events into messages of the window. Main thread.
class ktSdlMessages {
public:
    explicit ktSdlMessages(const ktX11Connection &keyboardSource) : connection(keyboardSource) {}

    /// Appends what `event` stands for: nothing, one message or a few.
    void Translate(const SDL_Event &event, std::vector<ktNativeMessage> &messages);

private:
    void TranslateKey(const SDL_Event &event, std::vector<ktNativeMessage> &messages);
    void TranslateButton(const SDL_MouseButtonEvent &event, std::vector<ktNativeMessage> &messages);
    void NoteRelease(const SDL_SysWMEvent &event);
    void PlaceRelease(ktNativeMessage &message);

    const ktX11Connection &connection;
    ktKeyTranslator keys;
    bool hasRelease = false; ///< the display's own event of a release came, and SDL's comes next
    int32_t releaseX = 0;    ///< on the screen
    int32_t releaseY = 0;
};
