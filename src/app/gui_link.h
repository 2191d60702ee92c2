#pragma once

class ktDisasm;
class ktSession;

/// What the floors below the windows know of them.
class ktGuiLink {
public:
    virtual ~ktGuiLink() = default;
    /// The session and its disassembler while connected; two nulls when it ends.
    virtual void SetSession(ktSession *session, ktDisasm *disasm) = 0;
    /// Asks the main window to close, when there is one. Does not wait.
    virtual void PostClose() = 0;
};
