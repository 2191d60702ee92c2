#pragma once

/// The user's wish to stop what runs (Ctrl+C), noted until somebody takes it. One for the process.
class ktInterrupts {
public:
    /// Notes interrupts from now on, where they would end the process otherwise.
    ktInterrupts();
    ~ktInterrupts();
    ktInterrupts(const ktInterrupts &) = delete;
    ktInterrupts &operator=(const ktInterrupts &) = delete;

    /// True once for the interrupts since the last call.
    static bool Take();
};
