// A guest that stays in 32-bit code under the paging that VARIANT names (32 or PAE), for readers of page
// tables.
#include <stdint.h>

#include "boot/boot_console.h"
#include "boot/paging.h"
#include "common/console.h"

#define JOIN_NAMES(first, second) first##second
#define JOIN(first, second) JOIN_NAMES(first, second)
#define TEXT_OF(words) #words
#define TEXT(words) TEXT_OF(words)

struct variantState {
    uint32_t rounds;
    uint32_t checksum;
    volatile uint32_t *shown; // in the large page
};

struct variantState variantState = {0, 1, (volatile uint32_t *)SHOWN_LINEAR};

void bootMain(void);
uint32_t variantMix(uint32_t value);
void variantStep(struct variantState *state);
_Noreturn void variantLoop(void);

uint32_t variantMix(uint32_t value) { return value * 1664525u + 1013904223u; }

void variantStep(struct variantState *state) {
    ++state->rounds;
    state->checksum = variantMix(state->checksum);
    state->shown[1] = state->checksum;
}

void variantLoop(void) {
    for (;;) variantStep(&variantState);
}

void bootMain(void) {
    consoleInit();
    JOIN(startPaging, VARIANT)();
    *variantState.shown = 0x4F4D4544; // "DEMO"
    bootLine("variant: paging " TEXT(VARIANT) " is on");
    variantLoop();
}
