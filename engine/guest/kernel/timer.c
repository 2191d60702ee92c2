#include "kernel/timer.h"

#include "common/ports.h"
#include "kernel/print.h"

enum { firstCommand = 0x20, firstData = 0x21, secondCommand = 0xA0, secondData = 0xA1 };
enum { timerChannel = 0x40, timerCommand = 0x43, timerHertz = 1193182 };
enum { endOfInterrupt = 0x20, secondLine = 2, linesOfOne = 8 };

volatile uint64_t tickCount;

void timerInit(void) {
    portWrite(firstCommand, 0x11); // four words follow, the last is not skipped
    portWrite(secondCommand, 0x11);
    portWrite(firstData, timerVector);
    portWrite(secondData, timerVector + linesOfOne);
    portWrite(firstData, 1 << secondLine);
    portWrite(secondData, secondLine);
    portWrite(firstData, 1);
    portWrite(secondData, 1);
    portWrite(firstData, 0xFE); // only the timer's line
    portWrite(secondData, 0xFF);

    const unsigned divisor = timerHertz / ticksPerSecond;
    portWrite(timerCommand, 0x34); // channel 0, both bytes, again and again
    portWrite(timerChannel, (uint8_t)divisor);
    portWrite(timerChannel, (uint8_t)(divisor >> 8));
    kernelPrint("timer at %lu ticks a second", (unsigned long)ticksPerSecond);
}

void interruptDone(unsigned line) {
    if (line >= linesOfOne) portWrite(secondCommand, endOfInterrupt);
    portWrite(firstCommand, endOfInterrupt);
}

void kernelTick(void) { ++tickCount; }

void waitTicks(uint64_t ticks) {
    const uint64_t start = tickCount;
    while (tickCount - start < ticks) __asm__ volatile("hlt");
}
