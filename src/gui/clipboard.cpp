#include "gui/clipboard.h"

#include <cstring>

#include "platform/window_system.h"

namespace {

ktWindowSystem *clipboardSystem = nullptr;

} // namespace

void SetClipboardSystem(ktWindowSystem *system) { clipboardSystem = system; }

bool CopyToClipboard(const char *text) {
    return text && clipboardSystem && clipboardSystem->SetClipboardText(text);
}

bool PasteFromClipboard(std::string &text) {
    if (!clipboardSystem || !clipboardSystem->GetClipboardText(text)) return false;
    text.resize(std::strlen(text.c_str())); // a text ends at its first terminator
    return true;
}
