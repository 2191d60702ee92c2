#pragma once

#include "app/gui_link.h"

#include <string>

class ktCmdProcessor;
class ktLines;
class ktSession;

/// What ktApp gives to its windows.
struct ktGuiWiring {
    ktCmdProcessor *processor = nullptr;
    ktLines *outputLines = nullptr;
    ktLines *logLines = nullptr;
    ktLines *remoteLines = nullptr;
    ktSession *session = nullptr;
};

/// The windows as ktApp starts, wires and stops them. Entry thread.
class ktAppGui : public ktGuiLink {
public:
    /// Creates the native window with all pages and starts the render thread. On failure Stop copes with what
    /// stands.
    virtual bool Start() = 0;
    /// Gives the windows what they show and drive. False when a window does not exist.
    virtual bool Link(const ktGuiWiring &wiring) = 0;
    /// Delivers messages until the window was closed.
    virtual void RunMessageLoop() = 0;
    /// Undoes Start. Safe to call again.
    virtual void Stop() = 0;
    /// Why Start failed, as a sentence; empty when that is unknown.
    virtual std::string Problem() const = 0;
};
