#include "boot/boot_console.h"

#include "common/console.h"

void bootLine(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    consoleLine(format, arguments);
    va_end(arguments);
}
