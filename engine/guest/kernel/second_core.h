// The second core.
#pragma once

#include <stdint.h>

enum coreState { coreAbsent, coreStarting, coreBusy };

extern volatile enum coreState secondCoreState;
extern volatile uint64_t secondCoreCounter;

// Needs the timer. Says what came of it.
void secondCoreInit(void);
