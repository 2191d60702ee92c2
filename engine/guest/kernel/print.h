// Lines from any core.
#pragma once

#include <stddef.h>

// Puts "kernel: " before the line; %s, %lu and %lx only.
__attribute__((format(printf, 1, 2))) void kernelPrint(const char *format, ...);
// Bytes as they are, not mixed with those of others.
void kernelWrite(const char *text, size_t length);
// Says why, and stops this core.
_Noreturn void kernelPanic(const char *reason);
