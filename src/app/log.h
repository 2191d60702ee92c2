#pragma once

#include "platform/compiler.h"

class ktLines;

/// Formats like printf into 512 bytes, cut to fit, and appends the line to the sink.
/// Returns 0 and does nothing while no sink is set, 1 when a line was handed on. Any thread.
int ktLog(const char *format, ...) KT_PRINTF_FORMAT(1, 2);

/// Sets or replaces the one sink, which must outlive its use here. Null is refused.
bool SetLogSink(ktLines *sink);
/// Ends logging: later messages are dropped.
void ClearLogSink();
