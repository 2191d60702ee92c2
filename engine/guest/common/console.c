#include "common/console.h"

#include <stdbool.h>
#include <stdint.h>

#include "common/ports.h"

enum {
    debugPort = 0xE9,
    serialData = 0x3F8,
    serialInterrupts = 0x3F9,
    serialFifo = 0x3FA,
    serialFormat = 0x3FB,
    serialModem = 0x3FC,
    serialStatus = 0x3FD
};

enum { serialCanSend = 0x20 };

void consoleInit(void) {
    portWrite(serialInterrupts, 0);
    portWrite(serialFormat, 0x80); // the next two registers are the divisor
    portWrite(serialData, 1);      // 115200 bits a second
    portWrite(serialInterrupts, 0);
    portWrite(serialFormat, 0x03); // 8 bits, no parity
    portWrite(serialFifo, 0x07);
    portWrite(serialModem, 0x03);
}

void consolePut(char character) {
    portWrite(debugPort, (uint8_t)character);
    while ((portRead(serialStatus) & serialCanSend) == 0) __asm__ volatile("pause");
    portWrite(serialData, (uint8_t)character);
}

void consoleWrite(const char *text, size_t length) {
    for (size_t n = 0; n < length; ++n) consolePut(text[n]);
}

static void putText(const char *text) {
    while (*text != 0) consolePut(*text++);
}

static void putNumber(unsigned long value, unsigned base) {
    char digits[24];
    unsigned count = 0;
    do {
        digits[count++] = "0123456789abcdef"[value % base];
        value /= base;
    } while (value != 0);
    while (count > 0) consolePut(digits[--count]);
}

void consoleLine(const char *format, va_list arguments) {
    for (const char *at = format; *at != 0; ++at) {
        if (*at != '%') {
            consolePut(*at);
        } else if (*++at == 's') {
            putText(va_arg(arguments, const char *));
        } else {
            const bool isHex = *++at == 'x';
            if (isHex) putText("0x");
            putNumber(va_arg(arguments, unsigned long), isHex ? 16 : 10);
        }
    }
    consolePut('\n');
}
