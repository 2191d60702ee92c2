#pragma once

#include "platform/compiler.h"

#include <span>

class ktLines;

/// Formats like printf into 512 bytes, cut to fit, and appends the line to the sink.
/// Returns 0 and does nothing while no sink is set, 1 when a line was handed on. Any thread.
int ktLog(const char *format, ...) KT_PRINTF_FORMAT(1, 2);

/// Hands on lines that are formatted already, in order and with no other thread's between them. Each has at
/// most 511 bytes. Nothing while no sink is set. Any thread.
void ktLogLinesAtOnce(std::span<const char *const> texts);

/// Sets or replaces the one sink, which must outlive its use here. Null is refused.
bool SetLogSink(ktLines *sink);
/// Ends logging: later messages are dropped.
void ClearLogSink();
