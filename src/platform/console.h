#pragma once

/// True when the process's standard input, or standard error, is a terminal.
bool StandardInputIsTerminal();
bool StandardErrorIsTerminal();

/// Calls `handler` whenever the user interrupts the process (Ctrl+C) instead of ending it; null
/// restores the default. The handler runs in signal context: it may only store to atomics.
void SetInterruptHandler(void (*handler)());

/// Ends the process at once, running nothing more.
[[noreturn]] void ExitProcessNow(int code);
