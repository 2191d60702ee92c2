#pragma once

#include "gui/address_input.h"
#include "gui/window.h"
#include "views/memory_view.h"

class ktSession;

/// The page for reading target memory: a dump, and above it the line for its address.
class ktMemViewWindow final : public ktWindow {
public:
    ktMemViewWindow();
    /// Enter in the line shows the address typed there.
    bool OnKey(const ktKeyEvent &event) override;
    void SetSize(uint32_t newW, uint32_t newH) override;
    /// Before the first command runs, as ktMemoryView::SetSession.
    void SetSession(ktSession *session) { view.SetSession(session); }
    /// Whether there is a target. Any thread.
    void SetConnected(bool connected) { view.connected = connected; }

    ktMemoryView view;
    ktAddressInput input;
};
