// The interrupt controllers and the timer: 100 ticks a second.
#pragma once

#include <stdint.h>

enum { ticksPerSecond = 100, timerVector = 32, interruptLines = 16 };

extern volatile uint64_t tickCount;

void timerInit(void);
// An interrupt of the controllers is over.
void interruptDone(unsigned line);
// One tick of the timer.
void kernelTick(void);
void waitTicks(uint64_t ticks);
