#include "kernel/print.h"

#include "common/console.h"
#include "kernel/spin_lock.h"

struct spinLock consoleLock;

void kernelPrint(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    spinTake(&consoleLock);
    consoleWrite("kernel: ", 8);
    consoleLine(format, arguments);
    spinGive(&consoleLock);
    va_end(arguments);
}

void kernelWrite(const char *text, size_t length) {
    spinTake(&consoleLock);
    consoleWrite(text, length);
    spinGive(&consoleLock);
}

void kernelPanic(const char *reason) {
    kernelPrint("stopped: %s", reason);
    for (;;) __asm__ volatile("cli\n\thlt");
}
