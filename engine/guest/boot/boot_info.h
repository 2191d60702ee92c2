// What the boot code tells the kernel.
#pragma once

#include <stdint.h>

struct bootInfo {
    uint64_t ramBytes;
};
