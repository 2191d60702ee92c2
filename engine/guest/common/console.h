// Text for whoever watches: each byte goes to the serial port and to the debug port.
#pragma once

#include <stdarg.h>
#include <stddef.h>

void consoleInit(void);
void consolePut(char character);
void consoleWrite(const char *text, size_t length);
// One line; knows %s, %lu and %lx (with 0x and no leading zeros). The caller keeps other cores away.
void consoleLine(const char *format, va_list arguments);
