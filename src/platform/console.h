#pragma once

/// True when the process's standard input, or standard error, is a terminal.
bool StandardInputIsTerminal();
bool StandardErrorIsTerminal();

/// From now on notes when the user interrupts the process (Ctrl+C) instead of ending it, or, with false, no
/// longer. One that comes while a noted one waits to be taken ends the process at once, with exit code 130,
/// so that nothing that does not heed interrupts holds the user. Where the system cannot note them,
/// interrupts go on ending the process.
void NoteInterrupts(bool on);
/// True while a noted interrupt waits to be taken. Any thread.
bool InterruptIsNoted();
/// True once for the interrupts that were noted since the last call. Any thread.
bool TakeInterrupt();
/// Waits for a byte of standard input: 0 to 255, or -1 at its end, on an error, and as soon as an interrupt
/// is noted, which stays to be taken.
int ReadInputByte();

/// Ends the process at once, running nothing more.
[[noreturn]] void ExitProcessNow(int code);
