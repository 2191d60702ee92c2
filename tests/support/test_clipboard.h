#pragma once

#include "gui/clipboard.h"
#include "support/fake_window_system.h"

#include <string>

/// A clipboard that components use while it lives.
class ktTestClipboard {
public:
    ktTestClipboard() { SetClipboardSystem(&system); }
    ~ktTestClipboard() { SetClipboardSystem(nullptr); }
    ktTestClipboard(const ktTestClipboard &) = delete;
    ktTestClipboard &operator=(const ktTestClipboard &) = delete;

    void Set(const std::string &text) { system.clipboard = text; }
    const std::string &Text() const { return system.clipboard; }
    /// From now on somebody else holds it.
    void Refuse() { system.hasClipboard = false; }

private:
    ktFakeWindowSystem system;
};
