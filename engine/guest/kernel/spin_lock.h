// A lock between the cores. The one who holds it is not interrupted.
#pragma once

#include <stdint.h>

struct spinLock {
    volatile uint32_t isTaken;
    uint32_t takenCount;
    uint64_t flags; // of the holder
};

void spinTake(struct spinLock *lock);
void spinGive(struct spinLock *lock);
