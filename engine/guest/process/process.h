// What both processes are made with.
#pragma once

#include <stddef.h>
#include <stdint.h>

// At the same address in each process: its body differs.
#define STEP_FUNCTION __attribute__((section(".step"), noinline))

struct account {
    uint64_t steps;
    uint64_t total;
    int32_t lastChange;
    char owner[8];
};

long systemCall(long number, uint64_t first, uint64_t second, uint64_t third);
long attempt(void (*function)(void));

void sayLine(const char *text);
// "OWNER: step N, total N".
void sayAccount(const struct account *account);
int isPowerOfTwo(uint64_t value);

void processMain(void);
void processStep(struct account *account);
